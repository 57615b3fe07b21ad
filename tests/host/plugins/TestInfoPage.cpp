#include "TestInfoPage.h"

#include "QDGui/Application.h"
#include "QDGui/Layer.h"

using Korvane::Application;

TestInfoPage::TestInfoPage(QWidget* parent) : QWidget(parent)
{
    setWindowTitle(QStringLiteral("Test page"));
}

void TestInfoPage::setLayer(Korvane::Map::Layer* layer)
{
    Application::logMessage(
        QStringLiteral("test page: layer %1").arg(layer ? layer->displayName() : QStringLiteral("none")),
        Application::Notice);
}

void TestInfoPage::apply() {}
