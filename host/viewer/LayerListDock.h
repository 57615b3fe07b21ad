#pragma once
#include "QDGui/MapView.h"

#include <QtCore/QPointer>
#include <QtWidgets/QDockWidget>

class QListWidget;
class QListWidgetItem;
class QToolButton;

// The layers of the active map view, top layer first: a check box per layer for its
// visibility, buttons to move the selected layer up or down or remove it, a menu on right
// click. The selection and the view's active layer follow each other.
class LayerListDock : public QDockWidget {
    Q_OBJECT
public:
    explicit LayerListDock(QWidget* parent = nullptr);

    void setMapView(Korvane::Map::MapView* view);
    Korvane::Map::MapView* mapView() const { return m_view; }

signals:
    void zoomToLayerRequested(Korvane::Map::Layer* layer);
    // A right click on a layer, which is now the active one; pos is global.
    void layerMenuRequested(const QPoint& pos);

private slots:
    void rebuild();
    void onItemChanged(QListWidgetItem* item);
    void onCurrentRowChanged(int row);
    void onActiveLayerChanged(Korvane::Map::Layer* layer);
    void moveUp();
    void moveDown();
    void removeSelected();
    void onItemDoubleClicked(QListWidgetItem* item);

private:
    Korvane::Map::Layer* layerAtRow(int row) const;
    int rowOf(Korvane::Map::Layer* layer) const;
    void moveSelected(int step);
    void updateButtons();

    QPointer<Korvane::Map::MapView> m_view;
    QListWidget* m_list = nullptr;
    QToolButton* m_up = nullptr;
    QToolButton* m_down = nullptr;
    QToolButton* m_remove = nullptr;
    bool m_rebuilding = false;
};
