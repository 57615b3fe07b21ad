#pragma once
#include "QDGui/Export.h"

namespace Korvane {
namespace Map {

// Whoever hosts a raster layer's rendering outside a map view (a print job, an export) may
// hand the layer one of these. Layers keep it only to pass it on to their base class; the
// map views of this host pass none.
class QDGUI_EXPORT IRendererClient {
public:
    virtual ~IRendererClient();
};

}  // namespace Map
}  // namespace Korvane
