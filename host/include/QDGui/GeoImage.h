#pragma once
#include "QDGui/Export.h"

#include <QtCore/QRectF>
#include <QtGui/QColor>
#include <QtGui/QImage>

class QPainter;

namespace Korvane {

// A picture that knows which part of the world it shows: (x1, y1) is the world point of its
// top-left corner, (x2, y2) that of its bottom-right corner (so y2 < y1 for north-up data).
class QDGUI_EXPORT GeoImage : public QImage {
public:
    GeoImage() = default;
    // A width x height picture of the world rectangle (x1, y1)-(x2, y2). With a fill colour
    // every pixel gets it; without one the picture starts fully transparent.
    GeoImage(int width, int height, double x1, double y1, double x2, double y2,
             QImage::Format format = QImage::Format_ARGB32, const QColor* fill = nullptr);
    // Shares the pixels of an existing image (copy on write, as QImage does).
    GeoImage(const QImage& image, double x1, double y1, double x2, double y2);

    double x1() const { return m_x1; }
    double y1() const { return m_y1; }
    double x2() const { return m_x2; }
    double y2() const { return m_y2; }
    // From corner (x1, y1) to corner (x2, y2); the height is negative for north-up pictures.
    QRectF worldRect() const;
    void setWorldRect(double x1, double y1, double x2, double y2);

    // Draws the part of this picture that lies in the world rectangle (wx1, wy1)-(wx2, wy2)
    // into the device rectangle (dx1, dy1)-(dx2, dy2): the world corners land on the device
    // corners. Parts of the world rectangle that the picture does not cover are left alone.
    // The painter's opacity, transform and SmoothPixmapTransform hint apply.
    void paint(QPainter& painter, double dx1, double dy1, double dx2, double dy2, double wx1, double wy1, double wx2,
               double wy2) const;

private:
    double m_x1 = 0.0;
    double m_y1 = 0.0;
    double m_x2 = 0.0;
    double m_y2 = 0.0;
};

}  // namespace Korvane
