#include "QDGui/MapViewport.h"

#include <QtCore/QtGlobal>

namespace Korvane {
namespace Map {

namespace {
// Far beyond any map's needs, close enough to keep the transform invertible.
constexpr double MinUnitsPerPixel = 1e-9;
constexpr double MaxUnitsPerPixel = 1e12;
}  // namespace

void MapViewport::setUnitsPerPixel(double unitsPerPixel)
{
    if (!(unitsPerPixel > 0.0))  // also rejects NaN
        return;
    m_unitsPerPixel = qBound(MinUnitsPerPixel, unitsPerPixel, MaxUnitsPerPixel);
}

QPointF MapViewport::toDevice(const QPointF& world) const
{
    const double dx = (world.x() - m_center.x()) / m_unitsPerPixel;
    const double dy = (world.y() - m_center.y()) / m_unitsPerPixel;
    return QPointF(dx + m_size.width() / 2.0, (m_yUp ? -dy : dy) + m_size.height() / 2.0);
}

QPointF MapViewport::toWorld(const QPointF& device) const
{
    const double dx = (device.x() - m_size.width() / 2.0) * m_unitsPerPixel;
    const double dy = (device.y() - m_size.height() / 2.0) * m_unitsPerPixel;
    return QPointF(m_center.x() + dx, m_yUp ? m_center.y() - dy : m_center.y() + dy);
}

QTransform MapViewport::worldToDevice() const
{
    const double s = 1.0 / m_unitsPerPixel;
    const double sy = m_yUp ? -s : s;
    return QTransform(s, 0, 0, sy, m_size.width() / 2.0 - m_center.x() * s, m_size.height() / 2.0 - m_center.y() * sy);
}

QRectF MapViewport::visibleWorld() const
{
    return worldOf(QRectF(QPointF(0, 0), QSizeF(m_size)));
}

QRectF MapViewport::worldOf(const QRectF& device) const
{
    return QRectF(toWorld(device.topLeft()), toWorld(device.bottomRight()));
}

QRectF MapViewport::deviceOf(const QPointF& worldCorner1, const QPointF& worldCorner2) const
{
    return QRectF(toDevice(worldCorner1), toDevice(worldCorner2)).normalized();
}

void MapViewport::zoomAt(const QPointF& devicePos, double factor)
{
    if (!(factor > 0.0)) return;
    const QPointF anchor = toWorld(devicePos);
    setUnitsPerPixel(m_unitsPerPixel / factor);
    // Put the centre where it has to be for the anchor to land on devicePos again.
    const QPointF fromCenter = toWorld(devicePos) - m_center;
    m_center = anchor - fromCenter;
}

void MapViewport::panBy(const QPointF& deviceDelta)
{
    const double dx = deviceDelta.x() * m_unitsPerPixel;
    const double dy = deviceDelta.y() * m_unitsPerPixel;
    m_center.rx() -= dx;
    m_center.ry() += m_yUp ? dy : -dy;
}

void MapViewport::fit(const QRectF& world)
{
    const QRectF area = world.normalized();
    if (area.width() <= 0.0 && area.height() <= 0.0) return;
    const double perPixelX = area.width() / qMax(1, m_size.width());
    const double perPixelY = area.height() / qMax(1, m_size.height());
    setUnitsPerPixel(qMax(perPixelX, perPixelY));
    m_center = area.center();
}

}  // namespace Map
}  // namespace Korvane
