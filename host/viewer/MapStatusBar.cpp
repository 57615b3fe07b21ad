#include "MapStatusBar.h"

#include "QDGui/GeographicTransform.h"
#include "QDGui/Layer.h"
#include "QDGui/MapView.h"
#include "QDGui/RasterLayer.h"

#include <QtCore/QLocale>
#include <QtCore/QTimer>
#include <QtGui/QPainter>
#include <QtWidgets/QLabel>
#include <QtWidgets/QProgressBar>
#include <QtWidgets/QStatusBar>

#include <cmath>

using Korvane::Map::GeographicTransform;
using Korvane::Map::MapView;
using Korvane::Map::RasterLayer;

namespace {

constexpr int ScaleBarMaxPixels = 110;
constexpr double MetresPerInch = 0.0254;

// Enough decimals to tell neighbouring pixels apart at this scale.
int decimalsFor(double unitsPerPixel)
{
    if (!(unitsPerPixel > 0.0)) return 2;
    return qBound(0, int(std::ceil(-std::log10(unitsPerPixel))) + 1, 10);
}

QString lengthText(double length, bool inMetres)
{
    if (!inMetres) return ScaleBar::tr("%1 units").arg(length, 0, 'g', 6);
    if (length >= 1000.0) return ScaleBar::tr("%1 km").arg(length / 1000.0, 0, 'g', 6);
    if (length >= 1.0) return ScaleBar::tr("%1 m").arg(length, 0, 'g', 6);
    return ScaleBar::tr("%1 cm").arg(length * 100.0, 0, 'g', 6);
}

}  // namespace

ScaleBar::ScaleBar(QWidget* parent) : QWidget(parent)
{
    setObjectName(QStringLiteral("scaleBar"));
}

double ScaleBar::roundLength(double maxLength)
{
    if (!(maxLength > 0.0) || !std::isfinite(maxLength)) return 0.0;
    const double power = std::pow(10.0, std::floor(std::log10(maxLength)));
    for (double step : {5.0, 2.0, 1.0})
        if (step * power <= maxLength * (1 + 1e-12)) return step * power;
    return power;
}

void ScaleBar::setResolution(double perPixel, bool inMetres)
{
    const double length = roundLength(perPixel * ScaleBarMaxPixels);
    m_pixels = length > 0.0 ? qMax(1, qRound(length / perPixel)) : 0;
    m_text = length > 0.0 ? lengthText(length, inMetres) : QString();
    setToolTip(m_text);
    update();
}

QSize ScaleBar::sizeHint() const
{
    return QSize(ScaleBarMaxPixels + fontMetrics().horizontalAdvance(QStringLiteral("00000 km")) + 12,
                 fontMetrics().height());
}

void ScaleBar::paintEvent(QPaintEvent*)
{
    if (m_pixels <= 0) return;
    QPainter painter(this);
    painter.setPen(palette().color(QPalette::WindowText));
    const int x0 = 2, x1 = x0 + m_pixels, y = height() - 4;
    // A line with end ticks, like the bar on a paper map.
    painter.drawLine(x0, y, x1, y);
    painter.drawLine(x0, y, x0, y - 6);
    painter.drawLine(x1, y, x1, y - 6);
    painter.drawText(QRect(x1 + 6, 0, width() - x1 - 6, height()), Qt::AlignVCenter | Qt::AlignLeft, m_text);
}

MapStatusBar::MapStatusBar(QStatusBar* bar) : QObject(bar)
{
    auto makeLabel = [bar](const char* name, int width) {
        auto* label = new QLabel(bar);
        label->setObjectName(QLatin1String(name));
        label->setMinimumWidth(width);
        return label;
    };
    m_scaleBar = new ScaleBar(bar);
    m_scale = makeLabel("scaleLabel", 90);
    m_cursor = makeLabel("cursorLabel", 220);
    m_crs = makeLabel("crsLabel", 120);
    m_progress = new QProgressBar(bar);
    m_progress->setObjectName(QStringLiteral("decodeProgress"));
    m_progress->setRange(0, 100);
    m_progress->setMaximumWidth(160);
    m_progress->setFormat(tr("Decoding %p%"));
    bar->addPermanentWidget(m_scaleBar);
    bar->addPermanentWidget(m_scale);
    bar->addPermanentWidget(m_cursor);
    bar->addPermanentWidget(m_crs);
    bar->addPermanentWidget(m_progress);
    m_timer = new QTimer(this);
    m_timer->setInterval(PollMs);
    connect(m_timer, &QTimer::timeout, this, &MapStatusBar::pollProgress);
    m_timer->start();
    setMapView(nullptr);
}

MapStatusBar::~MapStatusBar() = default;

void MapStatusBar::setMapView(MapView* view)
{
    if (m_view) disconnect(m_view, nullptr, this, nullptr);
    m_view = view;
    m_cursor->setText(tr("No map"));
    if (m_view) {
        connect(m_view, &MapView::cursorWorldPositionChanged, this, &MapStatusBar::showCursor);
        connect(m_view, &MapView::scaleChanged, this, &MapStatusBar::showScale);
        connect(m_view, &MapView::layersChanged, this, &MapStatusBar::updateCoordinateSystem);
        m_cursor->setText(tr("Move the cursor over the map"));
    }
    updateCoordinateSystem();
    pollProgress();
}

void MapStatusBar::updateCoordinateSystem()
{
    int epsg = 0;
    if (m_view)
        for (Korvane::Map::Layer* layer : m_view->layers())
            if (auto* raster = qobject_cast<RasterLayer*>(layer); raster && raster->crs().isKnown()) {
                epsg = raster->crs().epsg();
                break;
            }
    if (!m_geo || m_geo->epsg() != epsg) m_geo = std::make_unique<GeographicTransform>(epsg);
    if (m_geo->isValid())
        m_crs->setText(tr("EPSG:%1 %2").arg(epsg).arg(m_geo->name()));
    else
        m_crs->setText(m_view && !m_view->layers().isEmpty() ? tr("No coordinate system") : QString());
    m_crs->setToolTip(m_crs->text());
    showScale();
}

void MapStatusBar::showCursor(const QPointF& world)
{
    const int decimals = m_view ? decimalsFor(m_view->unitsPerPixel()) : 2;
    QString text = tr("X: %1  Y: %2").arg(world.x(), 0, 'f', decimals).arg(world.y(), 0, 'f', decimals);
    QPointF lonLat;
    if (m_geo && m_geo->isValid() && m_geo->toLonLat(world, &lonLat))
        text += tr("   Lat: %1  Lon: %2")
                    .arg(GeographicTransform::formatDegrees(lonLat.y(), true),
                         GeographicTransform::formatDegrees(lonLat.x(), false));
    m_cursor->setText(text);
}

void MapStatusBar::showScale()
{
    if (!m_view || m_view->layers().isEmpty()) {
        m_scale->clear();
        m_scaleBar->setResolution(0, false);
        return;
    }
    const double unitsPerPixel = m_view->unitsPerPixel();
    const double metresPerUnit = m_geo && m_geo->isValid() ? m_geo->metresPerUnit(m_view->viewport().center()) : 0.0;
    if (metresPerUnit <= 0.0) {
        m_scale->setText(tr("1 pixel = %1 units").arg(unitsPerPixel, 0, 'g', 4));
        m_scaleBar->setResolution(unitsPerPixel, false);
        return;
    }
    const double groundPerPixel = unitsPerPixel * metresPerUnit;
    const double screenPerPixel = MetresPerInch / qMax(1, m_view->logicalDpiX());
    const double denominator = groundPerPixel / screenPerPixel;
    // Three significant figures are all a screen scale is good for.
    const double magnitude = std::pow(10.0, std::max(0.0, std::floor(std::log10(denominator)) - 2));
    m_scale->setText(tr("1:%1").arg(QLocale().toString(std::round(denominator / magnitude) * magnitude, 'f', 0)));
    m_scale->setToolTip(tr("1 pixel = %1 m on the ground").arg(groundPerPixel, 0, 'g', 4));
    m_scaleBar->setResolution(groundPerPixel, true);
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
