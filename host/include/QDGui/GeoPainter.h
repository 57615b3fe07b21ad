#pragma once
#include "QDGui/Export.h"

#include <QtCore/QPointF>
#include <QtCore/QRectF>
#include <QtGui/QPainter>
#include <QtGui/QTransform>

namespace Korvane {

// A painter on a map's device that also knows how world coordinates map onto it. Drawing
// calls take device coordinates as usual; the world helpers map first.
class QDGUI_EXPORT GeoPainter : public QPainter {
public:
    GeoPainter(QPaintDevice* device, const QTransform& worldToDevice);

    const QTransform& worldToDevice() const { return m_worldToDevice; }
    QTransform deviceToWorld() const;
    QPointF toDevice(const QPointF& world) const { return m_worldToDevice.map(world); }
    QPointF toWorld(const QPointF& device) const { return deviceToWorld().map(device); }

    // Draws with the current pen and brush the rectangle whose opposite world corners are
    // (x1, y1) and (x2, y2); corners may be given in either order.
    void drawWorldRect(double x1, double y1, double x2, double y2);
    // The same for a rectangle given like a layer's bounds (height may be negative).
    void drawWorldRect(const QRectF& world);

private:
    QTransform m_worldToDevice;
};

}  // namespace Korvane
