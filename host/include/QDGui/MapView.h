#pragma once
#include "QDGui/Export.h"
#include "QDGui/Layer.h"
#include "QDGui/MapViewport.h"

#include <QtCore/QList>
#include <QtCore/QPointer>
#include <QtCore/QStringList>
#include <QtGui/QColor>
#include <QtWidgets/QWidget>

class QTimer;

namespace Korvane {

class GeoPainter;

namespace Map {

class Layer;
class RasterLayer;

// A widget that shows a stack of layers. Index 0 is the bottom layer. Dragging with the
// left button pans, the wheel zooms about the cursor, + and - zoom, the arrow keys pan and
// Home shows all layers; each is bracketed by beginUpdate /
// endUpdate on the raster layers, and after every change of what is visible each visible
// raster layer gets setView with the device size and visible world rectangle.
class QDGUI_EXPORT MapView : public QWidget {
    Q_OBJECT
public:
    explicit MapView(QWidget* parent = nullptr, Qt::WindowFlags flags = Qt::WindowFlags());
    ~MapView() override;

    // Adds a layer at position (0 = bottom; -1 or past the end = on top) and takes
    // ownership. Returns its index, or -1 for a null layer or one already in the view.
    // The bottom raster layer sets the view's orientation. Until the user pans or zooms (or
    // setCenterAndScale is called) the view shows all its layers, also after resizes; after
    // that a layer that lies wholly outside the view brings the view to it.
    int addLayer(Korvane::Map::Layer* layer, int position = -1);
    // Removes and deletes the layer; false when it is not in this view. When it is the active
    // layer, activeLayerChanged names the next one (or null) before the layer is deleted; a
    // view being destroyed reports a null active layer before its layers go.
    bool removeLayer(Korvane::Map::Layer* layer);
    // Removes the layer without deleting it; the caller owns it again.
    Korvane::Map::Layer* takeLayer(Korvane::Map::Layer* layer);
    bool moveLayer(Korvane::Map::Layer* layer, int newIndex);
    QList<Korvane::Map::Layer*> layers() const { return m_layers; }
    int indexOf(Korvane::Map::Layer* layer) const { return m_layers.indexOf(layer); }

    Korvane::Map::Layer* activeLayer() const { return m_activeLayer; }
    void setActiveLayer(Korvane::Map::Layer* layer);
    // Changes the layer's visibility and updates what the view shows.
    void setLayerVisible(Korvane::Map::Layer* layer, bool visible);

    // The geometry at the widget's current size (also while hidden, when Qt delays resize
    // events).
    const MapViewport& viewport() const;
    QTransform worldToDevice() const { return viewport().worldToDevice(); }
    QPointF toWorld(const QPointF& device) const { return viewport().toWorld(device); }
    QPointF toDevice(const QPointF& world) const { return viewport().toDevice(world); }
    // World of the top-left and bottom-right device corners (negative height when north-up).
    QRectF visibleWorld() const { return viewport().visibleWorld(); }
    double unitsPerPixel() const { return viewport().unitsPerPixel(); }

    // Places a world point at the centre at the given scale (a programmatic change: it
    // stops the view from fitting its layers again when it is resized).
    void setCenterAndScale(const QPointF& center, double unitsPerPixel);
    // Zooms by factor (> 1 closer) keeping the world point under devicePos in place.
    void zoomAt(const QPointF& devicePos, double factor);
    void panBy(const QPointF& deviceDelta);
    void zoomToLayer(Korvane::Map::Layer* layer);
    void zoomToAll();
    // Twice as close / twice as far, about the centre of the view.
    void zoomIn();
    void zoomOut();
    // The top visible layer whose extent holds the device point, or null.
    Korvane::Map::Layer* layerAt(const QPointF& devicePos) const;

    QColor backgroundColor() const { return m_background; }
    void setBackgroundColor(const QColor& color);

    // Paints the layers as this view shows them into image (top-left aligned; meant for an
    // image of the view's size), without a screen.
    void renderTo(QImage& image);

signals:
    void activeLayerChanged(Korvane::Map::Layer* layer);
    void layersChanged();
    void layerVisibilityChanged(Korvane::Map::Layer* layer, bool visible);
    void cursorWorldPositionChanged(const QPointF& world);
    // World units per device pixel.
    void scaleChanged(double unitsPerPixel);
    void extentChanged(const QRectF& visibleWorld);
    // Local files dropped on the view (from a file manager).
    void filesDropped(const QStringList& paths);

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private slots:
    void onLayerRefresh(double x1, double y1, double x2, double y2);
    void onLayerDestroyed(QObject* layer);
    void endWheelInteraction();

private:
    MapViewport& liveViewport();
    QList<RasterLayer*> rasterLayers() const;
    QRectF layerExtent(Layer* layer) const;
    QRectF layerExtentOfAll() const;
    void updateOrientation();
    void beginInteraction();
    void endInteraction();
    void viewChanged();
    void updateLayerViews();
    void paintLayers(GeoPainter& painter, const QRect& device);
    void forgetLayer(Layer* layer);

    mutable MapViewport m_viewport;
    QList<Layer*> m_layers;
    QPointer<Layer> m_activeLayer;
    QColor m_background = Qt::white;
    bool m_autoFit = true;
    int m_interactionDepth = 0;
    bool m_dragging = false;
    QPointF m_lastDragPos;
    QTimer* m_wheelTimer = nullptr;
};

}  // namespace Map
}  // namespace Korvane
