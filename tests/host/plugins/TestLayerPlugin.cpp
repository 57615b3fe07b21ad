#include "TestLayerPlugin.h"

#include "TestInfoPage.h"
#include "TestPanel.h"
#include "TestPreferencesPage.h"
#include "TestRasterLayer.h"

#include <QtWidgets/QAction>
#include <QtWidgets/QDockWidget>
#include <QtWidgets/QToolBar>

QString TestLayerPlugin::getClassName()
{
    return QString::fromLatin1(TestRasterLayer::staticMetaObject.className());
}

Korvane::Map::Layer* TestLayerPlugin::createLayer(bool askForUrl)
{
    return askForUrl ? nullptr : new TestRasterLayer;
}

QList<QDockWidget*> TestLayerPlugin::getDockWidgets()
{
    auto* dock = new QDockWidget(QStringLiteral("Test panel"));
    dock->setObjectName(QStringLiteral("testPanelDock"));
    dock->setWidget(new TestPanel);
    return {dock};
}

QList<QWidget*> TestLayerPlugin::getInfoPages()
{
    return {new TestInfoPage};
}

QList<QToolBar*> TestLayerPlugin::getToolBars()
{
    auto* bar = new QToolBar(QStringLiteral("Test tools"));
    bar->setObjectName(QStringLiteral("testToolBar"));
    bar->addAction(QStringLiteral("Test tool"));
    return {bar};
}

QList<QAction*> TestLayerPlugin::getActions()
{
    return {new QAction(QStringLiteral("Test action"), nullptr)};
}

QList<QWidget*> TestLayerPlugin::getPreferencePages()
{
    return {new TestPreferencesPage};
}
