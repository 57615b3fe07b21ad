// A small plug-in of its own that gives the host the hillshade panel as a dock. The layer
// plug-in does not hand this panel out itself; a host that loads dock providers shows it
// beside the layer's properties, and the host's activation notices reach the panel there.
#pragma once

#include <QObject>

#include "QDGui/IDockWidgetProvider.h"

class XRVJP2kHillshadePlugin : public QObject, public IDockWidgetProvider {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "com.korvane.viewer.IDockWidgetProvider/1.0")
    Q_INTERFACES(IDockWidgetProvider)

public:
    explicit XRVJP2kHillshadePlugin(QObject* parent = nullptr);

    QList<QDockWidget*> createDockWidgets() override;
};
