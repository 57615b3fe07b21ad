#include "QDGui/GeoImage.h"

#include <QtGui/QPainter>

#include <cmath>

namespace Korvane {

GeoImage::GeoImage(int width, int height, double x1, double y1, double x2, double y2, QImage::Format format,
                   const QColor* fill)
    : QImage(width, height, format), m_x1(x1), m_y1(y1), m_x2(x2), m_y2(y2)
{
    if (isNull()) return;
    if (fill)
        QImage::fill(*fill);
    else
        QImage::fill(Qt::transparent);
}

GeoImage::GeoImage(const QImage& image, double x1, double y1, double x2, double y2)
    : QImage(image), m_x1(x1), m_y1(y1), m_x2(x2), m_y2(y2)
{}

QRectF GeoImage::worldRect() const
{
    return QRectF(QPointF(m_x1, m_y1), QPointF(m_x2, m_y2));
}

void GeoImage::setWorldRect(double x1, double y1, double x2, double y2)
{
    m_x1 = x1;
    m_y1 = y1;
    m_x2 = x2;
    m_y2 = y2;
}

void GeoImage::paint(QPainter& painter, double dx1, double dy1, double dx2, double dy2, double wx1, double wy1,
                     double wx2, double wy2) const
{
    if (isNull() || m_x1 == m_x2 || m_y1 == m_y2) return;
    // The world rectangle in this picture's pixel coordinates.
    const double sx1 = (wx1 - m_x1) / (m_x2 - m_x1) * width();
    const double sx2 = (wx2 - m_x1) / (m_x2 - m_x1) * width();
    const double sy1 = (wy1 - m_y1) / (m_y2 - m_y1) * height();
    const double sy2 = (wy2 - m_y1) / (m_y2 - m_y1) * height();
    if (sx1 == sx2 || sy1 == sy2 || dx1 == dx2 || dy1 == dy2) return;

    // Only whole pixels of the picture that the world rectangle touches are drawn, through a
    // transform that puts picture pixels where they belong on the device; the device
    // rectangle clips the overhang. Drawing whole pixels keeps nearest-neighbour painting
    // exact, and the transform also handles a world rectangle that runs the other way.
    const QRectF wanted = QRectF(QPointF(sx1, sy1), QPointF(sx2, sy2)).normalized();
    const QRectF inside = wanted.intersected(QRectF(0, 0, width(), height()));
    if (inside.isEmpty()) return;
    const QRectF source(QPointF(std::floor(inside.left()), std::floor(inside.top())),
                        QPointF(std::ceil(inside.right()), std::ceil(inside.bottom())));
    const double scaleX = (dx2 - dx1) / (sx2 - sx1);
    const double scaleY = (dy2 - dy1) / (sy2 - sy1);
    const QTransform pictureToDevice(scaleX, 0, 0, scaleY, dx1 - sx1 * scaleX, dy1 - sy1 * scaleY);

    painter.save();
    painter.setClipRect(QRectF(QPointF(dx1, dy1), QPointF(dx2, dy2)).normalized(), Qt::IntersectClip);
    painter.setTransform(pictureToDevice, true);
    painter.drawImage(source, *this, source);
    painter.restore();
}

}  // namespace Korvane
