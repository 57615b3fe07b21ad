#include "QDGui/MapView.h"

#include "QDGui/GeoPainter.h"
#include "QDGui/Layer.h"
#include "QDGui/RasterLayer.h"

#include <QtCore/QFileInfo>
#include <QtCore/QMimeData>
#include <QtCore/QTimer>
#include <QtCore/QUrl>
#include <QtGui/QDragEnterEvent>
#include <QtGui/QDropEvent>
#include <QtGui/QKeyEvent>
#include <QtGui/QMouseEvent>
#include <QtGui/QPaintEvent>
#include <QtGui/QWheelEvent>

#include <cmath>

namespace Korvane {
namespace Map {

namespace {
// One wheel notch (120 units) zooms by this factor.
constexpr double ZoomPerNotch = 1.25;
// A burst of wheel steps counts as one interaction; it ends this long after the last step.
constexpr int WheelQuietMs = 250;
// Keys and buttons zoom by a factor of two and pan by a quarter of the view.
constexpr double ZoomStep = 2.0;
constexpr double PanStep = 0.25;

QStringList localFiles(const QMimeData* data)
{
    QStringList files;
    if (!data) return files;
    for (const QUrl& url : data->urls())
        if (url.isLocalFile() && QFileInfo(url.toLocalFile()).isFile()) files << url.toLocalFile();
    return files;
}
}  // namespace

MapView::MapView(QWidget* parent, Qt::WindowFlags flags) : QWidget(parent, flags), m_wheelTimer(new QTimer(this))
{
    setMouseTracking(true);
    setAttribute(Qt::WA_OpaquePaintEvent);
    // A click gives the map the keyboard; Tab never does, so tabbing through a panel cannot
    // land in (and activate) another map window.
    setFocusPolicy(Qt::ClickFocus);
    setAcceptDrops(true);
    setMinimumSize(64, 64);
    m_wheelTimer->setSingleShot(true);
    m_wheelTimer->setInterval(WheelQuietMs);
    connect(m_wheelTimer, &QTimer::timeout, this, &MapView::endWheelInteraction);
}

MapView::~MapView()
{
    // Whoever shows the active layer lets go of it before it is deleted; then the layers go,
    // while the view they may still call back is whole.
    if (m_activeLayer) {
        m_activeLayer = nullptr;
        emit activeLayerChanged(nullptr);
    }
    const QList<Layer*> layers = m_layers;
    m_layers.clear();
    for (Layer* layer : layers) {
        disconnect(layer, nullptr, this, nullptr);
        delete layer;
    }
}

const MapViewport& MapView::viewport() const
{
    m_viewport.setSize(size());
    return m_viewport;
}

MapViewport& MapView::liveViewport()
{
    m_viewport.setSize(size());
    return m_viewport;
}

int MapView::addLayer(Layer* layer, int position)
{
    if (!layer || m_layers.contains(layer)) return -1;
    const int index = (position < 0 || position > m_layers.size()) ? m_layers.size() : position;
    m_layers.insert(index, layer);
    layer->setParent(this);
    connect(layer, &Layer::refreshRequested, this, &MapView::onLayerRefresh);
    connect(layer, &QObject::destroyed, this, &MapView::onLayerDestroyed);
    if (m_interactionDepth > 0)
        if (auto* raster = qobject_cast<RasterLayer*>(layer)) raster->beginUpdate(true);

    updateOrientation();
    const QRectF extent = layerExtent(layer);
    if (m_autoFit)
        liveViewport().fit(layerExtentOfAll());
    else if (!extent.isNull() &&
             (layerExtentOfAll() == extent || !extent.intersects(liveViewport().visibleWorld().normalized())))
        liveViewport().fit(extent);  // the first layer, or one out of sight: rather than an empty map
    emit layersChanged();
    setActiveLayer(layer);
    viewChanged();
    return index;
}

bool MapView::removeLayer(Layer* layer)
{
    if (!takeLayer(layer)) return false;
    delete layer;
    return true;
}

Layer* MapView::takeLayer(Layer* layer)
{
    if (!layer || !m_layers.contains(layer)) return nullptr;
    disconnect(layer, nullptr, this, nullptr);
    forgetLayer(layer);
    layer->setParent(nullptr);
    return layer;
}

void MapView::forgetLayer(Layer* layer)
{
    const int index = m_layers.indexOf(layer);
    m_layers.removeAll(layer);
    updateOrientation();
    emit layersChanged();
    if (m_activeLayer == layer || m_activeLayer.isNull()) {
        // Also when nothing is left: panels must hear of it before the layer is deleted.
        Layer* next = m_layers.isEmpty() ? nullptr : m_layers.value(qMax(0, index - 1), m_layers.last());
        m_activeLayer = next;
        emit activeLayerChanged(next);
    }
    update();
}

void MapView::onLayerDestroyed(QObject* object)
{
    // Someone deleted a layer behind the view's back; the object is only a QObject by now.
    for (Layer* layer : m_layers) {
        if (static_cast<QObject*>(layer) == object) {
            forgetLayer(layer);
            return;
        }
    }
}

bool MapView::moveLayer(Layer* layer, int newIndex)
{
    const int from = m_layers.indexOf(layer);
    if (from < 0 || newIndex < 0 || newIndex >= m_layers.size()) return false;
    if (from == newIndex) return true;
    m_layers.move(from, newIndex);
    updateOrientation();
    emit layersChanged();
    update();
    return true;
}

void MapView::setActiveLayer(Layer* layer)
{
    if (layer && !m_layers.contains(layer)) return;
    if (m_activeLayer == layer) return;
    m_activeLayer = layer;
    emit activeLayerChanged(layer);
}

void MapView::setLayerVisible(Layer* layer, bool visible)
{
    if (!m_layers.contains(layer)) return;
    layer->setVisible(visible);
    updateLayerViews();
    update();
    emit layerVisibilityChanged(layer, visible);
}

QList<RasterLayer*> MapView::rasterLayers() const
{
    QList<RasterLayer*> result;
    for (Layer* layer : m_layers)
        if (auto* raster = qobject_cast<RasterLayer*>(layer)) result.append(raster);
    return result;
}

QRectF MapView::layerExtent(Layer* layer) const
{
    auto* raster = qobject_cast<RasterLayer*>(layer);
    if (!raster) return QRectF();
    const QRectF bounds = raster->getBounds().normalized();
    return (bounds.width() > 0.0 || bounds.height() > 0.0) ? bounds : QRectF();
}

QRectF MapView::layerExtentOfAll() const
{
    QRectF all;
    for (Layer* layer : m_layers) {
        const QRectF extent = layerExtent(layer);
        if (extent.isNull()) continue;
        all = all.isNull() ? extent : all.united(extent);
    }
    return all;
}

void MapView::updateOrientation()
{
    // The bottom raster layer decides: a negative bounds height means its rows run from
    // north to south, so world y grows upwards on screen.
    const QList<RasterLayer*> rasters = rasterLayers();
    if (rasters.isEmpty()) return;
    liveViewport().setYUp(rasters.first()->getBounds().height() <= 0.0);
}

void MapView::setCenterAndScale(const QPointF& center, double unitsPerPixel)
{
    m_autoFit = false;
    liveViewport().setCenter(center);
    liveViewport().setUnitsPerPixel(unitsPerPixel);
    viewChanged();
}

void MapView::zoomAt(const QPointF& devicePos, double factor)
{
    m_autoFit = false;
    beginInteraction();
    liveViewport().zoomAt(devicePos, factor);
    endInteraction();
}

void MapView::panBy(const QPointF& deviceDelta)
{
    m_autoFit = false;
    beginInteraction();
    liveViewport().panBy(deviceDelta);
    endInteraction();
}

void MapView::zoomToLayer(Layer* layer)
{
    const QRectF extent = layerExtent(layer);
    if (extent.isNull()) return;
    beginInteraction();
    liveViewport().fit(extent);
    endInteraction();
}

void MapView::zoomToAll()
{
    const QRectF extent = layerExtentOfAll();
    if (extent.isNull()) return;
    beginInteraction();
    liveViewport().fit(extent);
    endInteraction();
}

void MapView::zoomIn()
{
    zoomAt(QPointF(width() / 2.0, height() / 2.0), ZoomStep);
}

void MapView::zoomOut()
{
    zoomAt(QPointF(width() / 2.0, height() / 2.0), 1.0 / ZoomStep);
}

Layer* MapView::layerAt(const QPointF& devicePos) const
{
    const QPointF world = viewport().toWorld(devicePos);
    for (int i = m_layers.size() - 1; i >= 0; --i) {
        Layer* layer = m_layers.at(i);
        if (layer->isVisible() && layerExtent(layer).contains(world)) return layer;
    }
    return nullptr;
}

void MapView::setBackgroundColor(const QColor& color)
{
    m_background = color;
    update();
}

void MapView::beginInteraction()
{
    if (m_interactionDepth++ > 0) return;
    for (RasterLayer* layer : rasterLayers()) layer->beginUpdate(true);
}

void MapView::endInteraction()
{
    if (m_interactionDepth == 0) return;
    if (--m_interactionDepth == 0)
        for (RasterLayer* layer : rasterLayers()) layer->endUpdate();
    // Whatever changed reaches the layers now; once the interaction is over they may also
    // want the view again at full quality.
    viewChanged();
}

void MapView::viewChanged()
{
    updateLayerViews();
    update();
    emit scaleChanged(liveViewport().unitsPerPixel());
    emit extentChanged(liveViewport().visibleWorld());
}

void MapView::updateLayerViews()
{
    const QSize size = liveViewport().size();
    if (size.isEmpty()) return;
    const QRectF world = liveViewport().visibleWorld();
    for (RasterLayer* layer : rasterLayers()) {
        if (layer->isVisible())
            layer->setView(size.width(), size.height(), world.left(), world.top(), world.left() + world.width(),
                           world.top() + world.height());
    }
}

void MapView::paintLayers(GeoPainter& painter, const QRect& device)
{
    const QRectF world = liveViewport().worldOf(QRectF(device));
    for (Layer* layer : m_layers) {
        auto* raster = qobject_cast<RasterLayer*>(layer);
        if (!raster || !raster->isVisible()) continue;
        painter.save();
        raster->paint(painter, &world, &device);
        painter.restore();
    }
}

void MapView::paintEvent(QPaintEvent* event)
{
    GeoPainter painter(this, liveViewport().worldToDevice());
    painter.fillRect(event->rect(), m_background);
    paintLayers(painter, event->rect());
}

void MapView::renderTo(QImage& image)
{
    if (image.isNull()) return;
    image.fill(m_background);
    GeoPainter painter(&image, liveViewport().worldToDevice());
    paintLayers(painter, image.rect());
}

void MapView::onLayerRefresh(double x1, double y1, double x2, double y2)
{
    auto* layer = qobject_cast<Layer*>(sender());
    if (layer && !layer->isVisible() && !(x1 == 0 && y1 == 0 && x2 == 0 && y2 == 0)) return;
    if (x1 == 0 && y1 == 0 && x2 == 0 && y2 == 0) {
        update();
        return;
    }
    // A pixel of slack on every side covers rounding and smoothed edges.
    const QRectF device = liveViewport().deviceOf(QPointF(x1, y1), QPointF(x2, y2));
    const QRect area = device.toAlignedRect().adjusted(-1, -1, 1, 1).intersected(rect());
    if (!area.isEmpty()) update(area);
}

void MapView::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    if (m_autoFit) {
        const QRectF extent = layerExtentOfAll();
        if (!extent.isNull()) liveViewport().fit(extent);
    }
    viewChanged();
}

void MapView::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton || m_dragging) {
        QWidget::mousePressEvent(event);
        return;
    }
    m_dragging = true;
    m_lastDragPos = event->localPos();
    setCursor(Qt::ClosedHandCursor);
    beginInteraction();
}

void MapView::mouseMoveEvent(QMouseEvent* event)
{
    const QPointF pos = event->localPos();
    if (m_dragging) {
        m_autoFit = false;
        liveViewport().panBy(pos - m_lastDragPos);
        m_lastDragPos = pos;
        viewChanged();
    }
    emit cursorWorldPositionChanged(liveViewport().toWorld(pos));
}

void MapView::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton || !m_dragging) {
        QWidget::mouseReleaseEvent(event);
        return;
    }
    liveViewport().panBy(event->localPos() - m_lastDragPos);
    m_dragging = false;
    unsetCursor();
    endInteraction();
}

void MapView::wheelEvent(QWheelEvent* event)
{
    const int delta = event->angleDelta().y();
    if (delta == 0) {
        event->ignore();
        return;
    }
    m_autoFit = false;
    if (!m_wheelTimer->isActive()) beginInteraction();
    m_wheelTimer->start();
    liveViewport().zoomAt(event->position(), std::pow(ZoomPerNotch, delta / 120.0));
    viewChanged();
    emit cursorWorldPositionChanged(liveViewport().toWorld(event->position()));
    event->accept();
}

void MapView::keyPressEvent(QKeyEvent* event)
{
    const QPointF step(width() * PanStep, height() * PanStep);
    switch (event->key()) {
        case Qt::Key_Plus:
        case Qt::Key_Equal:
            zoomIn();
            break;
        case Qt::Key_Minus:
            zoomOut();
            break;
        case Qt::Key_Home:
            zoomToAll();
            break;
        // An arrow moves the view that way: the picture moves the other.
        case Qt::Key_Left:
            panBy(QPointF(step.x(), 0));
            break;
        case Qt::Key_Right:
            panBy(QPointF(-step.x(), 0));
            break;
        case Qt::Key_Up:
            panBy(QPointF(0, step.y()));
            break;
        case Qt::Key_Down:
            panBy(QPointF(0, -step.y()));
            break;
        default:
            QWidget::keyPressEvent(event);
            return;
    }
    event->accept();
}

void MapView::dragEnterEvent(QDragEnterEvent* event)
{
    if (!localFiles(event->mimeData()).isEmpty()) event->acceptProposedAction();
}

void MapView::dropEvent(QDropEvent* event)
{
    const QStringList files = localFiles(event->mimeData());
    if (files.isEmpty()) return;
    event->acceptProposedAction();
    emit filesDropped(files);
}

void MapView::endWheelInteraction()
{
    endInteraction();
}

}  // namespace Map
}  // namespace Korvane
