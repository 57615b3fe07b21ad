#pragma once
#include <QtCore/QtPlugin>

namespace Korvane {

namespace Map {
class Layer;
}

// A page that shows (and may edit) one layer: the host hands it the layer with setLayer
// before showing it and calls apply when the user confirms. Pages ignore layers of kinds
// they do not know.
class ILayerPropertiesWidget {
public:
    virtual ~ILayerPropertiesWidget() = default;

    virtual void setLayer(Korvane::Map::Layer* layer) = 0;
    virtual void apply() = 0;
};

}  // namespace Korvane

#define ILayerPropertiesWidget_iid "com.korvane.viewer.ILayerPropertiesWidget/1.0"
Q_DECLARE_INTERFACE(Korvane::ILayerPropertiesWidget, ILayerPropertiesWidget_iid)
