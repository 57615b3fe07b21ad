#pragma once
#include "QDGui/Export.h"
#include "QDGui/HistogramT.h"

#include <QtCore/QSize>
#include <QtCore/QVector>

namespace Korvane {
namespace Map {

// Raster layers that can tell the histograms of their bands implement this beside
// RasterLayer; the host finds it with dynamic_cast.
class QDGUI_EXPORT IRasterLayerHistogram {
public:
    virtual ~IRasterLayerHistogram();

    // reset: recompute rather than answer from a cache; approximate: a sample is enough;
    // size and the world rectangle (x1, y1)-(x2, y2): the area to count, when the layer
    // supports counting a part of the image.
    virtual QVector<HistogramT<quint64>> getHistograms(bool reset, bool approximate, QSize size, double x1, double y1,
                                                       double x2, double y2) = 0;
};

}  // namespace Map
}  // namespace Korvane
