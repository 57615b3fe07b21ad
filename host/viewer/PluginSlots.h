#pragma once
#include <QtCore/QList>
#include <QtCore/QObject>

namespace Korvane {
namespace Map {
class Layer;
}
}  // namespace Korvane
class QMdiSubWindow;

// Calls plug-in slots that the host knows only by name: a panel's onLayerActivated(layer)
// and onSubWindowActivated(window), a page's setLayer(layer), a preferences page's
// onSavePrefs(). Plug-ins may spell the parameter types as they like (Map::Layer* inside
// their namespace, for one), so slots are matched by name and parameter count.
namespace PluginSlots {

// True when the object's class has a method of that name taking that many arguments.
bool has(const QObject* object, const char* name, int parameterCount);
// The object and every descendant that has the method.
QList<QObject*> findAll(QObject* root, const char* name, int parameterCount);

bool callWithLayer(QObject* object, const char* name, Korvane::Map::Layer* layer);
bool callWithSubWindow(QObject* object, const char* name, QMdiSubWindow* window);
bool call(QObject* object, const char* name);

}  // namespace PluginSlots
