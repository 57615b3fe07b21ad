#include "LayerInfoDialog.h"

#include "LayerSummaryPage.h"
#include "PluginSlots.h"

#include "QDGui/ILayerPropertiesWidget.h"
#include "QDGui/Layer.h"

#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QTabWidget>
#include <QtWidgets/QVBoxLayout>

namespace {

// Plug-in pages normally name the interface in Q_INTERFACES; dynamic_cast covers those that
// only derive from it.
Korvane::ILayerPropertiesWidget* propertiesOf(QWidget* page)
{
    if (auto* properties = qobject_cast<Korvane::ILayerPropertiesWidget*>(page)) return properties;
    return dynamic_cast<Korvane::ILayerPropertiesWidget*>(page);
}

QString pageTitle(QWidget* page, int number)
{
    if (!page->windowTitle().isEmpty()) return page->windowTitle();
    if (!page->objectName().isEmpty()) return page->objectName();
    return LayerInfoDialog::tr("Page %1").arg(number);
}

}  // namespace

LayerInfoDialog::LayerInfoDialog(QWidget* parent) : QDialog(parent)
{
    setWindowTitle(tr("Layer Information"));
    auto* layout = new QVBoxLayout(this);
    m_tabs = new QTabWidget(this);
    layout->addWidget(m_tabs);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    layout->addWidget(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, &LayerInfoDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &LayerInfoDialog::reject);
    addPage(new LayerSummaryPage);
    resize(640, 520);
}

void LayerInfoDialog::addPage(QWidget* page)
{
    if (!page) return;
    m_pages << page;
    m_tabs->addTab(page, pageTitle(page, m_tabs->count() + 1));
}

int LayerInfoDialog::pageCount() const
{
    return m_tabs->count();
}

void LayerInfoDialog::setLayer(Korvane::Map::Layer* layer)
{
    for (QWidget* page : qAsConst(m_pages)) {
        if (!page) continue;
        if (auto* properties = propertiesOf(page))
            properties->setLayer(layer);
        else
            PluginSlots::callWithLayer(page, "setLayer", layer);
    }
}

void LayerInfoDialog::accept()
{
    for (QWidget* page : qAsConst(m_pages)) {
        if (!page) continue;
        if (auto* properties = propertiesOf(page))
            properties->apply();
        else
            PluginSlots::call(page, "apply");
    }
    QDialog::accept();
}
