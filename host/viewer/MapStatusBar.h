#pragma once
#include "QDGui/MapView.h"

#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QPointF>

class QLabel;
class QProgressBar;
class QStatusBar;
class QTimer;

// Fills the main window's status bar for the active map view: the world coordinates under
// the cursor, the scale, and how far the active layer's picture is decoded (polled every
// 200 ms, as layers decode on their own threads and report nothing by signal).
class MapStatusBar : public QObject {
    Q_OBJECT
public:
    static constexpr int PollMs = 200;

    explicit MapStatusBar(QStatusBar* bar);

    void setMapView(Korvane::Map::MapView* view);

private slots:
    void showCursor(const QPointF& world);
    void showScale(double unitsPerPixel);
    void pollProgress();

private:
    QPointer<Korvane::Map::MapView> m_view;
    QLabel* m_cursor = nullptr;
    QLabel* m_scale = nullptr;
    QProgressBar* m_progress = nullptr;
    QTimer* m_timer = nullptr;
};
