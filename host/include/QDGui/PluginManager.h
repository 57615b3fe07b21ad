#pragma once
#include "QDGui/Export.h"

#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QStringList>

class ILayerEditorPlugin;
class IDockWidgetProvider;
class ILayerPlugin;
class ILayerPluginInfo;

namespace Korvane {

namespace Map {
class Layer;
}

// Finds layer plug-ins, loads them through QPluginLoader and makes layers with them. The host
// knows plug-ins only by their interface ids; the built-in ImageLayer is always there as a
// last resort. Every failure is logged with the loader's own explanation and loading goes
// on with the next file.
class QDGUI_EXPORT PluginManager : public QObject {
    Q_OBJECT
public:
    struct Plugin {
        QString path;
        QObject* instance = nullptr;
        ILayerPluginInfo* info = nullptr;      // may be null
        ILayerPlugin* factory = nullptr;       // may be null
        ILayerEditorPlugin* editor = nullptr;  // may be null
        IDockWidgetProvider* docks = nullptr;  // may be null
    };

    // Environment variable with extra plug-in folders, separated by ':'.
    static const char* const PathVariable;

    explicit PluginManager(QObject* parent = nullptr);
    // Deletes the plug-in objects (their libraries stay mapped until the process ends, as
    // objects they made may still run their code). Delete the plug-ins' layers and widgets
    // first.
    ~PluginManager() override;

    // <exe dir>/plugins, <exe dir>/../plugins, then the folders of QDVIEWER_PLUGIN_PATH.
    static QStringList defaultFolders();
    // Loads every library in the folders (missing folders are skipped); answers how many
    // plug-ins were loaded.
    int loadFolders(const QStringList& folders);
    // Loads one file; false (and a log line) when it is not a usable layer plug-in.
    bool loadFile(const QString& path);

    QList<Plugin> plugins() const { return m_plugins; }
    // One sentence per file that could not be loaded.
    QStringList errors() const { return m_errors; }

    // The open-file filter: all layer files together, every enabled plug-in's filter, the
    // built-in layer's, then all files.
    QString fileFilter() const;
    // The wildcard patterns of a filter text: "A (*.a *.b);;B(*.c)" gives *.a, *.b, *.c.
    static QStringList filterPatterns(const QString& filter);
    // True for "scheme://..." addresses (other than file://), which go to every plug-in.
    static bool isAddress(const QString& source);

    // Opens a file or address: plug-ins whose filter matches the file name (every plug-in
    // for an address) are tried in load order with createLayer(false) and setDataSource,
    // then the built-in image layer. Returns the first layer that opened it (owned by the
    // caller), or null with a sentence in error.
    Map::Layer* openLayer(const QString& source, QString* error);
    // A new, empty layer of the given class (a plug-in's getClassName() or the built-in
    // layer's), for projects; null when no plug-in makes it.
    Map::Layer* createLayer(const QString& className);

    // The plug-in whose getClassName() is the layer's class (or one it derives from), or
    // null (the built-in layer, or a layer no plug-in claims).
    const Plugin* pluginOf(Map::Layer* layer) const;
    // What users call the layer's kind: the plug-in's description, "Image" for the built-in
    // layer, else the layer's format; never a class name.
    QString layerKind(Map::Layer* layer) const;

private:
    void fail(const QString& message);
    bool alreadyLoaded(const QString& canonicalPath) const;
    Map::Layer* tryPlugin(const Plugin& plugin, const QString& source, QString* error);

    QList<Plugin> m_plugins;
    QStringList m_errors;
};

}  // namespace Korvane
