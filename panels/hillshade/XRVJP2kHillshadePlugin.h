// A small plug-in of its own that gives the host the hillshade panel as a dock. The layer
// plug-in does not hand this panel out itself; a host that loads dock providers shows it
// beside the layer's properties, and the host's activation notices reach the panel there.
// It names itself like every plug-in, so that the host can list it; it makes no layers.
#pragma once

#include <QObject>

#include "QDGui/IDockWidgetProvider.h"
#include "QDGui/ILayerPluginInfo.h"

class XRVJP2kHillshadePlugin : public QObject, public ILayerPluginInfo, public IDockWidgetProvider {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "com.korvane.viewer.IDockWidgetProvider/1.0" FILE "hillshade.json")
    Q_INTERFACES(ILayerPluginInfo IDockWidgetProvider)

public:
    explicit XRVJP2kHillshadePlugin(QObject* parent = nullptr);

    // ILayerPluginInfo: identity only; no class name and no file filter, as no layers come from here.
    QString getVersion() override;
    QString getVendor() override;
    QString getDescription() override;
    QString getClassName() override;
    QString getId() override;
    QIcon getIcon() override;
    QString getFileFilter() override;
    void setEnabled(bool enabled) override;
    bool isEnabled() override;

    QList<QDockWidget*> createDockWidgets() override;

private:
    bool m_enabled = true;
};
