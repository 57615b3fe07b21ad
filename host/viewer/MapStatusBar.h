#pragma once
#include "QDGui/MapView.h"

#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QPointF>
#include <QtWidgets/QWidget>

#include <memory>

class QLabel;
class QProgressBar;
class QStatusBar;
class QTimer;

namespace Korvane {
namespace Map {
class GeographicTransform;
}
}  // namespace Korvane

// A bar of a round length on the ground ("500 m", "2 km") or, on maps without a coordinate
// system, in map units.
class ScaleBar : public QWidget {
    Q_OBJECT
public:
    explicit ScaleBar(QWidget* parent = nullptr);
    // Ground metres per device pixel, or map units per pixel when inMetres is false; 0 or
    // less hides the bar.
    void setResolution(double perPixel, bool inMetres);
    QString text() const { return m_text; }
    int barPixels() const { return m_pixels; }
    QSize sizeHint() const override;

    // The longest of 1, 2, 5 x 10^n that is at most maxLength.
    static double roundLength(double maxLength);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString m_text;
    int m_pixels = 0;
};

// Fills the main window's status bar for the active map view: the scale bar, the "1:n"
// scale, the world coordinates under the cursor with their latitude and longitude, the map's
// coordinate system, and how far the active layer's picture is decoded (polled every 200 ms,
// as layers decode on their own threads and report nothing by signal). The coordinate system
// is the bottom raster layer's with a known EPSG code.
class MapStatusBar : public QObject {
    Q_OBJECT
public:
    static constexpr int PollMs = 200;

    explicit MapStatusBar(QStatusBar* bar);
    ~MapStatusBar() override;

    void setMapView(Korvane::Map::MapView* view);

private slots:
    void showCursor(const QPointF& world);
    void showScale();
    void updateCoordinateSystem();
    void pollProgress();

private:
    QPointer<Korvane::Map::MapView> m_view;
    std::unique_ptr<Korvane::Map::GeographicTransform> m_geo;
    ScaleBar* m_scaleBar = nullptr;
    QLabel* m_cursor = nullptr;
    QLabel* m_scale = nullptr;
    QLabel* m_crs = nullptr;
    QProgressBar* m_progress = nullptr;
    QTimer* m_timer = nullptr;
};
