// The panels act only on XRV / JPEG 2000 layers; every other layer the host activates is
// answered with null.
#pragma once

#include "XRVJP2kLayer.h"

namespace XRVJP2kLayerCast {

// qobject_cast compares meta-objects by address. A panel built into another module than the
// one that made the layer (the hillshade dock lives in a module of its own) has its own copy
// of the layer's meta-object, so the layer is also asked by class name, which its own
// qt_metacast answers with the right address.
inline Korvane::XRVJP2kLayer* of(QObject* object)
{
    if (!object) return nullptr;
    if (auto* layer = qobject_cast<Korvane::XRVJP2kLayer*>(object)) return layer;
    return static_cast<Korvane::XRVJP2kLayer*>(object->qt_metacast("Korvane::XRVJP2kLayer"));
}

}  // namespace XRVJP2kLayerCast
