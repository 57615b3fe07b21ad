#include "XRVJP2kHillshadePlugin.h"

#include <QCoreApplication>
#include <QDockWidget>

#include "XRVJP2kSunshade.h"

XRVJP2kHillshadePlugin::XRVJP2kHillshadePlugin(QObject* parent) : QObject(parent) {}

QString XRVJP2kHillshadePlugin::getVersion()
{
    return QStringLiteral("6.0.0.1513");
}

QString XRVJP2kHillshadePlugin::getVendor()
{
    return QCoreApplication::organizationName();
}

QString XRVJP2kHillshadePlugin::getDescription()
{
    return QStringLiteral("XRV JPEG 2000 Hillshade");
}

QString XRVJP2kHillshadePlugin::getClassName()
{
    return QString();
}

QString XRVJP2kHillshadePlugin::getId()
{
    return QStringLiteral("5B0D2C7E-3A41-4F5E-9C1D-7E2A9B4C6F10");
}

QIcon XRVJP2kHillshadePlugin::getIcon()
{
    return QIcon(QStringLiteral(":/Resources/sun.png"));
}

QString XRVJP2kHillshadePlugin::getFileFilter()
{
    return QString();
}

void XRVJP2kHillshadePlugin::setEnabled(bool enabled)
{
    m_enabled = enabled;
}

bool XRVJP2kHillshadePlugin::isEnabled()
{
    return m_enabled;
}

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
