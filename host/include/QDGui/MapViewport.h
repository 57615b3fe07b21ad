#pragma once
#include "QDGui/Export.h"

#include <QtCore/QPointF>
#include <QtCore/QRectF>
#include <QtCore/QSize>
#include <QtGui/QTransform>

namespace Korvane {
namespace Map {

// The geometry of a map view: which world point sits at the centre of the device, how many
// world units one device pixel covers (the same across and down), and whether world y grows
// upwards (north-up data) or downwards (pixel and south-up data).
class QDGUI_EXPORT MapViewport {
public:
    MapViewport() = default;

    QSize size() const { return m_size; }
    void setSize(const QSize& size) { m_size = size; }
    QPointF center() const { return m_center; }
    void setCenter(const QPointF& center) { m_center = center; }
    double unitsPerPixel() const { return m_unitsPerPixel; }
    // Clamped to a range where the transform stays well defined.
    void setUnitsPerPixel(double unitsPerPixel);
    bool isYUp() const { return m_yUp; }
    void setYUp(bool up) { m_yUp = up; }

    QPointF toDevice(const QPointF& world) const;
    QPointF toWorld(const QPointF& device) const;
    QTransform worldToDevice() const;
    // World of the device's top-left corner and of its bottom-right corner, as a QRectF
    // from the first to the second (negative height when y grows upwards).
    QRectF visibleWorld() const;
    // The same for any device rectangle.
    QRectF worldOf(const QRectF& device) const;
    // Device rectangle covering the world rectangle whose opposite corners are given.
    QRectF deviceOf(const QPointF& worldCorner1, const QPointF& worldCorner2) const;

    // Zooms by factor (> 1 closer) so that the world point under devicePos stays there.
    void zoomAt(const QPointF& devicePos, double factor);
    // Moves the picture by a device distance, as dragging does.
    void panBy(const QPointF& deviceDelta);
    // Shows the whole world rectangle (corners in any order), centred.
    void fit(const QRectF& world);

private:
    QSize m_size{1, 1};
    QPointF m_center;
    double m_unitsPerPixel = 1.0;
    bool m_yUp = true;
};

}  // namespace Map
}  // namespace Korvane
