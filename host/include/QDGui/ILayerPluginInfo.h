#pragma once
#include <QtCore/QString>
#include <QtCore/QtPlugin>
#include <QtGui/QIcon>

// Identity of a layer plug-in. The host keeps the order of these operations; plug-ins
// implement all of them.
class ILayerPluginInfo {
public:
    virtual ~ILayerPluginInfo() = default;

    virtual QString getVersion() = 0;
    virtual QString getVendor() = 0;
    virtual QString getDescription() = 0;
    // Qualified class name of the layers the plug-in makes (what their metaObject() says);
    // the host uses it to find the plug-in for a layer stored in a project.
    virtual QString getClassName() = 0;
    virtual QString getId() = 0;
    virtual QIcon getIcon() = 0;
    // Open-file dialog filter, e.g. "Some Image (*.abc *.abd);;Other (*.xyz)".
    virtual QString getFileFilter() = 0;
    virtual void setEnabled(bool enabled) = 0;
    virtual bool isEnabled() = 0;
};

#define ILayerPluginInfo_iid "com.korvane.viewer.ILayerPluginInfo/1.0"
Q_DECLARE_INTERFACE(ILayerPluginInfo, ILayerPluginInfo_iid)
