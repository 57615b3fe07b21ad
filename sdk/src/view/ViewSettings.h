// The engine configuration a view works with, taken from the global configuration when the
// application sets the view (CView::SetView) and handed down with it, so that nothing below the
// public interface reads global state.
#pragma once

namespace PLK {
namespace Engine {

struct ViewSettings {
    unsigned refreshTimeMs = 0;   ///< least time between two progressive pictures; 0: every pass
    bool optimizeNearest = true;  ///< a nearest-neighbour view decodes the level nearest in scale
    bool resilient = true;        ///< damaged data decodes as far as it goes
    bool textureDither = false;   ///< colour bands are dithered on their way to 8 bits
};

}  // namespace Engine
}  // namespace PLK
