// The layer's two renderers on one source: the main one, and with the backing store on a
// second one that decodes a quarter-size picture to show under the main picture while that
// is still coming. Every image setting that both must follow goes through both().
#pragma once

#include "XRVJP2kViewRequest.h"

#include "xrv60.h"

#include <QtCore/QString>
#include <QtCore/QVector>

class XRVJP2kRenderer;

namespace Korvane {
class XRVJP2kLayer;
}

class XRVJP2kRendererPair {
public:
    explicit XRVJP2kRendererPair(Korvane::XRVJP2kLayer* owner) : m_owner(owner) {}
    ~XRVJP2kRendererPair();
    XRVJP2kRendererPair(const XRVJP2kRendererPair&) = delete;
    XRVJP2kRendererPair& operator=(const XRVJP2kRendererPair&) = delete;

    XRVJP2kRenderer* main() const { return renderer; }
    // Null unless the backing store is on and its renderer opened.
    XRVJP2kRenderer* backing() const { return backingRenderer; }

    // Applies a change to the main renderer and, when there is one, the backing renderer.
    template <typename Change>
    void both(Change change)
    {
        if (renderer) change(*renderer);
        if (backingRenderer) change(*backingRenderer);
    }

    // Opens a new main renderer; on failure there is none.
    PLK::CError openMain(const QString& source, bool progressive);
    // Opens a blocking backing renderer; false (and none) when the engine refuses.
    bool openBacking(const QString& source);
    // Cancels, closes (letting the engine drop the file's cache when freeFileCache) and deletes.
    void closeMain(bool freeFileCache);
    void closeBacking(bool freeFileCache);
    // Deletes the backing renderer without closing its file first.
    void dropBacking();

    PLK::CError setMainView(QVector<int>& bands, const XRVJP2kViewRequest& view);
    void setBackingView(QVector<int>& bands, const XRVJP2kViewRequest& view);

private:
    static void close(XRVJP2kRenderer*& which, bool freeFileCache);

    Korvane::XRVJP2kLayer* m_owner;
    XRVJP2kRenderer* renderer = nullptr;
    XRVJP2kRenderer* backingRenderer = nullptr;
};
