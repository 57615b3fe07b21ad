#pragma once
#include "QDGui/ILayerEditorPlugin.h"
#include "QDGui/ILayerPlugin.h"
#include "QDGui/ILayerPluginInfo.h"

#include <QtCore/QObject>

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
    QList<QToolBar*> getToolBars() override;
    QList<QAction*> getActions() override;
    QList<QWidget*> getPreferencePages() override;

private:
    bool m_enabled = true;
};
