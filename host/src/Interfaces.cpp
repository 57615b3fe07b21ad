// Out-of-line destructors anchor the interfaces' type information in the library, so
// dynamic_cast works across the plug-in boundary.
#include "QDGui/IRasterLayerHistogram.h"
#include "QDGui/IRendererClient.h"

namespace Korvane {
namespace Map {

IRendererClient::~IRendererClient() = default;
IRasterLayerHistogram::~IRasterLayerHistogram() = default;

}  // namespace Map
}  // namespace Korvane
