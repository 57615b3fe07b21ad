#pragma once
#include <QtCore/QCoreApplication>
#include <QtCore/QList>
#include <QtCore/QStringList>

class QDomElement;

namespace Korvane {
class PluginManager;
namespace Map {
class MapView;
}
}  // namespace Korvane

// A project: the map windows with their extents and layers, as XML. Each layer is stored by
// its class name and whatever its writeXML writes; on loading, the plug-in that makes that
// class (or the built-in image layer) creates it and its readXML reads it back.
class ProjectFile {
    Q_DECLARE_TR_FUNCTIONS(ProjectFile)
public:
    struct View {
        Korvane::Map::MapView* view = nullptr;
        QString title;
        bool active = false;
    };

    static bool save(const QString& path, const QList<View>& views, QString* error);
    // The project as saved; without extents it tells whether anything but panning and
    // zooming changed since.
    static QByteArray toXml(const QList<View>& views, bool withExtents = true);
    // Map views are made without a parent and belong to the caller. A layer that cannot be
    // restored is left out with a sentence in warnings; false only when the file itself
    // cannot be read.
    static bool load(const QString& path, Korvane::PluginManager* plugins, QList<View>* views, QString* error,
                     QStringList* warnings);

private:
    static View loadView(const QDomElement& element, const QString& projectPath, Korvane::PluginManager* plugins,
                         QStringList* warnings);
};
