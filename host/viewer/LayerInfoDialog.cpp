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

LayerInfoDialog::LayerInfoDialog(const Korvane::PluginManager* plugins, QWidget* parent) : QDialog(parent)
{
    setWindowTitle(tr("Layer Information"));
    auto* layout = new QVBoxLayout(this);
    m_tabs = new QTabWidget(this);
    layout->addWidget(m_tabs);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    layout->addWidget(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, &LayerInfoDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &LayerInfoDialog::reject);
    addPage(new LayerSummaryPage(plugins));
    resize(720, 700);
}

void LayerInfoDialog::addPage(QWidget* page, const QString& layerClass)
{
    if (!page) return;
    m_pages.append({page, layerClass.toLatin1(), true});
    m_tabs->addTab(page, pageTitle(page, m_tabs->count() + 1));
}

int LayerInfoDialog::pageCount() const
{
    return m_tabs->count();
}

QList<QWidget*> LayerInfoDialog::visiblePages() const
{
    QList<QWidget*> pages;
    for (const Page& page : m_pages)
        if (page.widget && page.shown) pages << page.widget;
    return pages;
}

void LayerInfoDialog::setLayer(Korvane::Map::Layer* layer)
{
    for (Page& page : m_pages) {
        if (!page.widget) continue;
        page.shown = page.layerClass.isEmpty() || (layer && layer->inherits(page.layerClass.constData()));
        m_tabs->setTabVisible(m_tabs->indexOf(page.widget), page.shown);
        Korvane::Map::Layer* given = page.shown ? layer : nullptr;
        if (auto* properties = propertiesOf(page.widget))
            properties->setLayer(given);
        else
            PluginSlots::callWithLayer(page.widget, "setLayer", given);
    }
    // The first tab may just have been hidden.
    if (!m_tabs->isTabVisible(m_tabs->currentIndex())) m_tabs->setCurrentIndex(0);
}

void LayerInfoDialog::accept()
{
    for (const Page& page : qAsConst(m_pages)) {
        if (!page.widget || !page.shown) continue;
        if (auto* properties = propertiesOf(page.widget))
            properties->apply();
        else
            PluginSlots::call(page.widget, "apply");
    }
    QDialog::accept();
}
