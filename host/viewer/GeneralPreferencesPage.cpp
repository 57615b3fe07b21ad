#include "GeneralPreferencesPage.h"

#include "QDGui/Application.h"

#include <QtCore/QSettings>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QFormLayout>
#include <QtWidgets/QLabel>

using Korvane::Application;

const char* const GeneralPreferencesPage::LogLevelKey = "QDViewer/LogLevel";

GeneralPreferencesPage::GeneralPreferencesPage(QWidget* parent) : QWidget(parent)
{
    setWindowTitle(tr("General"));
    auto* form = new QFormLayout(this);
    m_logLevel = new QComboBox(this);
    m_logLevel->setObjectName(QStringLiteral("logLevelCombo"));
    for (int level = Application::Trace; level <= Application::Critical; ++level)
        m_logLevel->addItem(Application::logLevelName(level), level);
    m_logLevel->setCurrentIndex(Application::getLogLevel());
    form->addRow(tr("Write log messages to the terminal from:"), m_logLevel);
    auto* note = new QLabel(tr("The log window always keeps every message."), this);
    note->setWordWrap(true);
    form->addRow(note);
}

void GeneralPreferencesPage::onSavePrefs()
{
    const int level = m_logLevel->currentData().toInt();
    Application::setLogLevel(level);
    Application::settings()->setValue(QLatin1String(LogLevelKey), level);
}
