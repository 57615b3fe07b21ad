#include "TestPreferencesPage.h"

#include "QDGui/Application.h"

#include <QtCore/QSettings>

TestPreferencesPage::TestPreferencesPage(QWidget* parent) : QWidget(parent)
{
    setWindowTitle(QStringLiteral("Test preferences"));
}

void TestPreferencesPage::onSavePrefs()
{
    Korvane::Application::settings()->setValue(QStringLiteral("HostTest/PrefsSaved"), true);
}
