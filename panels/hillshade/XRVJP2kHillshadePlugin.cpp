#include "XRVJP2kHillshadePlugin.h"

#include <QDockWidget>

#include "XRVJP2kSunshade.h"

XRVJP2kHillshadePlugin::XRVJP2kHillshadePlugin(QObject* parent) : QObject(parent) {}

QList<QDockWidget*> XRVJP2kHillshadePlugin::createDockWidgets()
{
    auto* dock = new QDockWidget(tr("XRV JPEG 2000 Hillshade"));
    dock->setObjectName(QStringLiteral("XRV JPEG 2000 Hillshade"));
    dock->setFeatures(QDockWidget::DockWidgetClosable | QDockWidget::DockWidgetMovable |
                      QDockWidget::DockWidgetFloatable);
    dock->setAllowedAreas(Qt::AllDockWidgetAreas);
    dock->setWidget(new XRVJP2kSunshade);
    return {dock};
}
