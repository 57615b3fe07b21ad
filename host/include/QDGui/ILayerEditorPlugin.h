#pragma once
#include <QtCore/QList>
#include <QtCore/QtPlugin>

class QAction;
class QDockWidget;
class QToolBar;
class QWidget;

// The user-interface pieces a layer plug-in gives the host, collected once at start-up.
// Every call makes new objects, created without a parent; the host owns them afterwards.
//
// Where the host puts them: dock widgets in the main window (a widget inside a dock that has
// the slots onLayerActivated(Korvane::Map::Layer*) or onSubWindowActivated(QMdiSubWindow*)
// is told when the active layer or map window changes); information pages as tabs of the
// layer information dialog (they implement Korvane::ILayerPropertiesWidget); tool bars in
// the main window; actions in the Plug-ins menu; preference pages in the preferences dialog,
// whose OK calls a page's slot onSavePrefs() when it has one.
class ILayerEditorPlugin {
public:
    virtual ~ILayerEditorPlugin() = default;

    virtual QList<QDockWidget*> getDockWidgets() = 0;
    virtual QList<QWidget*> getInfoPages() = 0;
    virtual QList<QToolBar*> getToolBars() = 0;
    virtual QList<QAction*> getActions() = 0;
    virtual QList<QWidget*> getPreferencePages() = 0;
};

#define ILayerEditorPlugin_iid "com.korvane.viewer.ILayerEditorPlugin/1.0"
Q_DECLARE_INTERFACE(ILayerEditorPlugin, ILayerEditorPlugin_iid)
