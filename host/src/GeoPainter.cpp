#include "QDGui/GeoPainter.h"

namespace Korvane {

GeoPainter::GeoPainter(QPaintDevice* device, const QTransform& worldToDevice)
    : QPainter(device), m_worldToDevice(worldToDevice)
{}

QTransform GeoPainter::deviceToWorld() const
{
    return m_worldToDevice.inverted();
}

void GeoPainter::drawWorldRect(double x1, double y1, double x2, double y2)
{
    const QPointF a = m_worldToDevice.map(QPointF(x1, y1));
    const QPointF b = m_worldToDevice.map(QPointF(x2, y2));
    drawRect(QRectF(a, b).normalized());
}

void GeoPainter::drawWorldRect(const QRectF& world)
{
    drawWorldRect(world.left(), world.top(), world.left() + world.width(), world.top() + world.height());
}

}  // namespace Korvane
