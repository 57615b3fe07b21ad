#pragma once
#include <QtCore/QList>
#include <QtCore/QPointer>
#include <QtWidgets/QDialog>

class QTabWidget;

namespace Korvane {
class PluginManager;
namespace Map {
class Layer;
}
}  // namespace Korvane

// Layer > Information: the host's summary page and the plug-ins' information pages as tabs.
// A plug-in's pages belong to its own layers: they are shown, and given the layer through
// setLayer, only for layers of that plug-in's class; the others are hidden and hold no layer.
// OK calls apply on the pages shown.
class LayerInfoDialog : public QDialog {
    Q_OBJECT
public:
    explicit LayerInfoDialog(const Korvane::PluginManager* plugins = nullptr, QWidget* parent = nullptr);

    // Takes ownership of the page. layerClass: the class of the layers it is for (a plug-in's
    // getClassName()); empty for pages that suit every layer.
    void addPage(QWidget* page, const QString& layerClass = QString());
    int pageCount() const;
    // Pages shown for the current layer.
    QList<QWidget*> visiblePages() const;
    // Hands the layer to the pages that belong to it, null to the others.
    void setLayer(Korvane::Map::Layer* layer);

public slots:
    void accept() override;

private:
    QTabWidget* m_tabs = nullptr;
    struct Page {
        QPointer<QWidget> widget;
        QByteArray layerClass;
        bool shown = true;
    };
    QList<Page> m_pages;
};
