#pragma once
#include "QDGui/ILayerEditorPlugin.h"
#include "QDGui/ILayerPlugin.h"
#include "QDGui/ILayerPluginInfo.h"
#include "QDGui/ILayerPropertiesWidget.h"

#include <QtWidgets/QWidget>

class QLabel;
class QMdiSubWindow;

// A complete layer plug-in, as a third party would write one against the host's headers.
class TestLayerPlugin : public QObject, public ILayerPluginInfo, public ILayerPlugin, public ILayerEditorPlugin {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "com.korvane.viewer.plugin.HostTestLayerPlugin")
    Q_INTERFACES(ILayerPluginInfo ILayerPlugin ILayerEditorPlugin)
public:
    QString getVersion() override { return QStringLiteral("1.2.3"); }
    QString getVendor() override { return QStringLiteral("Host tests"); }
    QString getDescription() override { return QStringLiteral("Test raster"); }
    QString getClassName() override;
    QString getId() override { return QStringLiteral("host-test-layer"); }
    QIcon getIcon() override { return QIcon(); }
    QString getFileFilter() override { return QStringLiteral("Test Raster (*.tstr)"); }
    void setEnabled(bool enabled) override { m_enabled = enabled; }
    bool isEnabled() override { return m_enabled; }

    Korvane::Map::Layer* createLayer(bool askForUrl) override;

    QList<QDockWidget*> getDockWidgets() override;
    QList<QWidget*> getInfoPages() override;
    QList<QToolBar*> getToolBars() override { return {}; }
    QList<QAction*> getActions() override { return {}; }
    QList<QWidget*> getPreferencePages() override;

private:
    bool m_enabled = true;
};

// The plug-in's dock panel: shows and logs which layer and map window the host reported, so a
// test can follow the host's notifications from outside the process; has fields to tab between.
class TestPanel : public QWidget {
    Q_OBJECT
public:
    TestPanel();

public slots:
    void onLayerActivated(Korvane::Map::Layer* layer);
    void onSubWindowActivated(QMdiSubWindow* window);

private:
    QLabel* m_label;
};

// The plug-in's information page: logs the layer it is given.
class TestInfoPage : public QWidget, public Korvane::ILayerPropertiesWidget {
    Q_OBJECT
    Q_INTERFACES(Korvane::ILayerPropertiesWidget)
public:
    TestInfoPage() { setWindowTitle(QStringLiteral("Test page")); }

public slots:
    void setLayer(Korvane::Map::Layer* layer) override;
    void apply() override {}
};

// The plug-in's preferences page; onSavePrefs marks the settings.
class TestPreferencesPage : public QWidget {
    Q_OBJECT
public slots:
    void onSavePrefs();
};
