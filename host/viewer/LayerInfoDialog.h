#pragma once
#include <QtCore/QList>
#include <QtCore/QPointer>
#include <QtWidgets/QDialog>

class QTabWidget;

namespace Korvane {
namespace Map {
class Layer;
}
}  // namespace Korvane

// Layer > Information: the host's summary page and every plug-in's information pages as
// tabs. Each page gets the layer through setLayer before the dialog shows; OK calls apply.
class LayerInfoDialog : public QDialog {
    Q_OBJECT
public:
    explicit LayerInfoDialog(QWidget* parent = nullptr);

    // Takes ownership of the page.
    void addPage(QWidget* page);
    int pageCount() const;
    // Hands the layer to every page.
    void setLayer(Korvane::Map::Layer* layer);

public slots:
    void accept() override;

private:
    QTabWidget* m_tabs = nullptr;
    QList<QPointer<QWidget>> m_pages;
};
