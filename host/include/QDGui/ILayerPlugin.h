#pragma once
#include <QtCore/QtPlugin>

namespace Korvane {
namespace Map {
class Layer;
}
}  // namespace Korvane

// The layer factory of a layer plug-in.
class ILayerPlugin {
public:
    virtual ~ILayerPlugin() = default;

    // A new layer, owned by the caller. With askForUrl false the layer has no data source
    // yet and the host calls setDataSource next; with askForUrl true the plug-in asks the
    // user for a source and answers null when the user cancels or the source fails.
    virtual Korvane::Map::Layer* createLayer(bool askForUrl) = 0;
};

#define ILayerPlugin_iid "com.korvane.viewer.ILayerPlugin/1.0"
Q_DECLARE_INTERFACE(ILayerPlugin, ILayerPlugin_iid)
