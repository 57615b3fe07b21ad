#include "TestLayerPlugin.h"

#include "TestRasterLayer.h"

#include "QDGui/Application.h"

#include <QtCore/QSettings>
#include <QtWidgets/QDockWidget>
#include <QtWidgets/QLabel>
#include <QtWidgets/QMdiSubWindow>
#include <QtWidgets/QSpinBox>
#include <QtWidgets/QVBoxLayout>

using Korvane::Application;

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

QList<QWidget*> TestLayerPlugin::getPreferencePages()
{
    return {new TestPreferencesPage};
}

TestPanel::TestPanel() : m_label(new QLabel(QStringLiteral("no layer"), this))
{
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_label);
    layout->addWidget(new QSpinBox(this));
    layout->addWidget(new QSpinBox(this));
}

void TestPanel::onLayerActivated(Korvane::Map::Layer* layer)
{
    const QString name = layer ? layer->displayName() : QStringLiteral("none");
    m_label->setText(name);
    Application::logMessage(QStringLiteral("test panel: layer %1").arg(name), Application::Notice);
}

void TestPanel::onSubWindowActivated(QMdiSubWindow* window)
{
    const QString title = window ? window->windowTitle() : QStringLiteral("none");
    Application::logMessage(QStringLiteral("test panel: window %1").arg(title), Application::Notice);
}

void TestInfoPage::setLayer(Korvane::Map::Layer* layer)
{
    const QString name = layer ? layer->displayName() : QStringLiteral("none");
    Application::logMessage(QStringLiteral("test page: layer %1").arg(name), Application::Notice);
}

void TestPreferencesPage::onSavePrefs()
{
    Application::settings()->setValue(QStringLiteral("HostTest/PrefsSaved"), true);
}
