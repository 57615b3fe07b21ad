#include "MapStatusBar.h"

#include "QDGui/Layer.h"
#include "QDGui/MapView.h"
#include "QDGui/RasterLayer.h"

#include <QtCore/QTimer>
#include <QtWidgets/QLabel>
#include <QtWidgets/QProgressBar>
#include <QtWidgets/QStatusBar>

#include <cmath>

using Korvane::Map::MapView;
using Korvane::Map::RasterLayer;

namespace {

// Enough decimals to tell neighbouring pixels apart at this scale.
int decimalsFor(double unitsPerPixel)
{
    if (!(unitsPerPixel > 0.0)) return 2;
    return qBound(0, int(std::ceil(-std::log10(unitsPerPixel))) + 1, 10);
}

}  // namespace

MapStatusBar::MapStatusBar(QStatusBar* bar) : QObject(bar)
{
    m_cursor = new QLabel(bar);
    m_cursor->setObjectName(QStringLiteral("cursorLabel"));
    m_cursor->setMinimumWidth(220);
    m_scale = new QLabel(bar);
    m_scale->setObjectName(QStringLiteral("scaleLabel"));
    m_scale->setMinimumWidth(140);
    m_progress = new QProgressBar(bar);
    m_progress->setObjectName(QStringLiteral("decodeProgress"));
    m_progress->setRange(0, 100);
    m_progress->setMaximumWidth(160);
    m_progress->setFormat(tr("Decoding %p%"));
    bar->addPermanentWidget(m_cursor);
    bar->addPermanentWidget(m_scale);
    bar->addPermanentWidget(m_progress);
    m_timer = new QTimer(this);
    m_timer->setInterval(PollMs);
    connect(m_timer, &QTimer::timeout, this, &MapStatusBar::pollProgress);
    m_timer->start();
    setMapView(nullptr);
}

void MapStatusBar::setMapView(MapView* view)
{
    if (m_view) disconnect(m_view, nullptr, this, nullptr);
    m_view = view;
    m_cursor->setText(tr("No map"));
    m_scale->clear();
    if (m_view) {
        connect(m_view, &MapView::cursorWorldPositionChanged, this, &MapStatusBar::showCursor);
        connect(m_view, &MapView::scaleChanged, this, &MapStatusBar::showScale);
        m_cursor->setText(tr("Move the cursor over the map"));
        showScale(m_view->unitsPerPixel());
    }
    pollProgress();
}

void MapStatusBar::showCursor(const QPointF& world)
{
    const int decimals = m_view ? decimalsFor(m_view->unitsPerPixel()) : 2;
    m_cursor->setText(tr("X: %1  Y: %2").arg(world.x(), 0, 'f', decimals).arg(world.y(), 0, 'f', decimals));
}

void MapStatusBar::showScale(double unitsPerPixel)
{
    m_scale->setText(tr("1 pixel = %1 units").arg(unitsPerPixel, 0, 'g', 4));
}

void MapStatusBar::pollProgress()
{
    auto* layer = m_view ? qobject_cast<RasterLayer*>(m_view->activeLayer()) : nullptr;
    const int percent = layer ? layer->getPercentComplete() : -1;
    m_progress->setVisible(percent >= 0);
    if (percent < 0) return;
    m_progress->setValue(qMin(percent, 100));
    m_progress->setFormat(percent >= 100 ? tr("Complete") : tr("Decoding %p%"));
}
