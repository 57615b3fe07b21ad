#pragma once
#include <QtCore/QList>
#include <QtCore/QtPlugin>

class QDockWidget;

// A plug-in that gives the host dock widgets of its own, apart from any layer plug-in. The
// host asks once at start-up; every call makes new docks, created without a parent, that the
// host owns afterwards. As with a layer plug-in's docks, a widget inside a dock that has the
// slots onLayerActivated(Korvane::Map::Layer*) or onSubWindowActivated(QMdiSubWindow*) is told
// when the active layer or map window changes.
class IDockWidgetProvider {
public:
    virtual ~IDockWidgetProvider() = default;

    virtual QList<QDockWidget*> createDockWidgets() = 0;
};

#define IDockWidgetProvider_iid "com.korvane.viewer.IDockWidgetProvider/1.0"
Q_DECLARE_INTERFACE(IDockWidgetProvider, IDockWidgetProvider_iid)
