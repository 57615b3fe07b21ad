#include "LayerListDock.h"

#include "QDGui/Layer.h"
#include "QDGui/MapView.h"

#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QListWidget>
#include <QtWidgets/QStyle>
#include <QtWidgets/QToolButton>
#include <QtWidgets/QVBoxLayout>

using Korvane::Map::Layer;
using Korvane::Map::MapView;

LayerListDock::LayerListDock(QWidget* parent) : QDockWidget(tr("Layers"), parent)
{
    setObjectName(QStringLiteral("layerListDock"));
    auto* body = new QWidget(this);
    auto* layout = new QVBoxLayout(body);
    layout->setContentsMargins(3, 3, 3, 3);
    m_list = new QListWidget(body);
    m_list->setObjectName(QStringLiteral("layerList"));
    layout->addWidget(m_list);

    auto* buttons = new QHBoxLayout;
    auto makeButton = [this, body, buttons](QStyle::StandardPixmap icon, const QString& tip) {
        auto* button = new QToolButton(body);
        button->setIcon(style()->standardIcon(icon));
        button->setToolTip(tip);
        buttons->addWidget(button);
        return button;
    };
    m_up = makeButton(QStyle::SP_ArrowUp, tr("Move the layer up"));
    m_down = makeButton(QStyle::SP_ArrowDown, tr("Move the layer down"));
    m_remove = makeButton(QStyle::SP_TrashIcon, tr("Remove the layer"));
    m_remove->setObjectName(QStringLiteral("removeLayerButton"));
    buttons->addStretch();
    layout->addLayout(buttons);
    setWidget(body);

    connect(m_list, &QListWidget::itemChanged, this, &LayerListDock::onItemChanged);
    connect(m_list, &QListWidget::currentRowChanged, this, &LayerListDock::onCurrentRowChanged);
    connect(m_list, &QListWidget::itemDoubleClicked, this, &LayerListDock::onItemDoubleClicked);
    m_list->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(m_list, &QWidget::customContextMenuRequested, this, [this](const QPoint& pos) {
        QListWidgetItem* item = m_list->itemAt(pos);
        if (!item) return;
        m_list->setCurrentItem(item);
        emit layerMenuRequested(m_list->viewport()->mapToGlobal(pos));
    });
    connect(m_up, &QToolButton::clicked, this, &LayerListDock::moveUp);
    connect(m_down, &QToolButton::clicked, this, &LayerListDock::moveDown);
    connect(m_remove, &QToolButton::clicked, this, &LayerListDock::removeSelected);
    updateButtons();
}

void LayerListDock::setMapView(MapView* view)
{
    if (m_view == view) return;
    if (m_view) disconnect(m_view, nullptr, this, nullptr);
    m_view = view;
    if (m_view) {
        connect(m_view, &MapView::layersChanged, this, &LayerListDock::rebuild);
        connect(m_view, &MapView::activeLayerChanged, this, &LayerListDock::onActiveLayerChanged);
        connect(m_view, &MapView::layerVisibilityChanged, this, [this](Layer* layer, bool visible) {
            QListWidgetItem* item = m_list->item(rowOf(layer));
            if (!item || m_rebuilding) return;
            m_rebuilding = true;
            item->setCheckState(visible ? Qt::Checked : Qt::Unchecked);
            m_rebuilding = false;
        });
        // Half destroyed by now: the view is only a QObject and must not be looked at.
        connect(m_view, &QObject::destroyed, this, [this]() {
            m_view.clear();
            rebuild();
        });
    }
    rebuild();
}

Layer* LayerListDock::layerAtRow(int row) const
{
    if (!m_view || row < 0) return nullptr;
    const QList<Layer*> layers = m_view->layers();
    const int index = layers.size() - 1 - row;
    return index >= 0 && index < layers.size() ? layers.at(index) : nullptr;
}

int LayerListDock::rowOf(Layer* layer) const
{
    if (!m_view || !layer) return -1;
    const int index = m_view->indexOf(layer);
    return index < 0 ? -1 : m_view->layers().size() - 1 - index;
}

void LayerListDock::rebuild()
{
    m_rebuilding = true;
    m_list->clear();
    if (m_view) {
        const QList<Layer*> layers = m_view->layers();
        for (int i = layers.size() - 1; i >= 0; --i) {
            Layer* layer = layers.at(i);
            auto* item = new QListWidgetItem(layer->getIcon(), layer->displayName(), m_list);
            item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
            item->setCheckState(layer->isVisible() ? Qt::Checked : Qt::Unchecked);
            item->setToolTip(layer->getDataSource());
        }
        m_list->setCurrentRow(rowOf(m_view->activeLayer()));
    }
    m_rebuilding = false;
    updateButtons();
}

void LayerListDock::onItemChanged(QListWidgetItem* item)
{
    if (m_rebuilding || !m_view) return;
    if (Layer* layer = layerAtRow(m_list->row(item))) m_view->setLayerVisible(layer, item->checkState() == Qt::Checked);
}

void LayerListDock::onCurrentRowChanged(int row)
{
    updateButtons();
    if (m_rebuilding || !m_view) return;
    if (Layer* layer = layerAtRow(row)) m_view->setActiveLayer(layer);
}

void LayerListDock::onActiveLayerChanged(Layer* layer)
{
    const int row = rowOf(layer);
    if (row != m_list->currentRow()) {
        m_rebuilding = true;
        m_list->setCurrentRow(row);
        m_rebuilding = false;
    }
    updateButtons();
}

void LayerListDock::moveSelected(int step)
{
    Layer* layer = layerAtRow(m_list->currentRow());
    if (!layer) return;
    // Up in the list is towards the top of the stack, a higher index in the view.
    m_view->moveLayer(layer, m_view->indexOf(layer) + step);
    m_view->setActiveLayer(layer);
    m_list->setCurrentRow(rowOf(layer));
}

void LayerListDock::moveUp()
{
    moveSelected(+1);
}

void LayerListDock::moveDown()
{
    moveSelected(-1);
}

void LayerListDock::removeSelected()
{
    if (Layer* layer = layerAtRow(m_list->currentRow())) m_view->removeLayer(layer);
}

void LayerListDock::onItemDoubleClicked(QListWidgetItem* item)
{
    if (Layer* layer = layerAtRow(m_list->row(item))) emit zoomToLayerRequested(layer);
}

void LayerListDock::updateButtons()
{
    const int row = m_list->currentRow();
    const bool selected = layerAtRow(row) != nullptr;
    m_up->setEnabled(selected && row > 0);
    m_down->setEnabled(selected && row < m_list->count() - 1);
    m_remove->setEnabled(selected);
}
