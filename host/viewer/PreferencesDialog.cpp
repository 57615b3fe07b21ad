#include "PreferencesDialog.h"

#include "GeneralPreferencesPage.h"
#include "PluginSlots.h"

#include "QDGui/Application.h"

#include <QtCore/QSettings>
#include <QtGui/QShowEvent>
#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QListWidget>
#include <QtWidgets/QScrollArea>
#include <QtWidgets/QStackedWidget>
#include <QtWidgets/QVBoxLayout>

PreferencesDialog::PreferencesDialog(QWidget* parent) : QDialog(parent)
{
    setWindowTitle(tr("Preferences"));
    auto* layout = new QVBoxLayout(this);
    auto* row = new QHBoxLayout;
    m_list = new QListWidget(this);
    m_list->setMaximumWidth(180);
    m_stack = new QStackedWidget(this);
    row->addWidget(m_list);
    row->addWidget(m_stack, 1);
    layout->addLayout(row);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    layout->addWidget(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, &PreferencesDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &PreferencesDialog::reject);
    connect(m_list, &QListWidget::currentRowChanged, m_stack, &QStackedWidget::setCurrentIndex);
    addPage(new GeneralPreferencesPage);
    m_list->setCurrentRow(0);
    resize(760, 560);
}

void PreferencesDialog::addPage(QWidget* page)
{
    if (!page) return;
    m_pages << page;
    QString title = page->windowTitle();
    if (title.isEmpty()) title = page->objectName();
    if (title.isEmpty()) title = tr("Plug-in %1").arg(m_list->count());
    m_list->addItem(title);
    // Plug-in pages may be taller than the dialog.
    auto* scroll = new QScrollArea(m_stack);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidget(page);
    m_stack->addWidget(scroll);
}

int PreferencesDialog::pageCount() const
{
    return m_list->count();
}

void PreferencesDialog::showEvent(QShowEvent* event)
{
    if (!event->spontaneous())
        for (QWidget* page : qAsConst(m_pages))
            if (page) PluginSlots::call(page, "init");
    QDialog::showEvent(event);
}

void PreferencesDialog::accept()
{
    for (QWidget* page : qAsConst(m_pages))
        if (page) PluginSlots::call(page, "onSavePrefs");
    Korvane::Application::settings()->sync();
    QDialog::accept();
}
