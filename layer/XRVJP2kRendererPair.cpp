#include "XRVJP2kRendererPair.h"

#include "XRVJP2kRenderer.h"

namespace {

PLK::CError setView(XRVJP2kRenderer& to, QVector<int>& bands, const XRVJP2kViewRequest& view)
{
    return to.SetView(bands.size(), bands.data(), view.width, view.height, view.x1, view.y1, view.x2, view.y2);
}

}  // namespace

XRVJP2kRendererPair::~XRVJP2kRendererPair()
{
    // The layer closes both with its free-cache choice first; this only guards a pair left open.
    delete renderer;
    delete backingRenderer;
}

PLK::CError XRVJP2kRendererPair::openMain(const QString& source, bool progressive)
{
    renderer = new XRVJP2kRenderer(m_owner);
    const PLK::CError error = renderer->openFile(source, progressive);
    if (error.GetErrorNumber() != PLK::PLK_SUCCESS) {
        delete renderer;
        renderer = nullptr;
    }
    return error;
}

bool XRVJP2kRendererPair::openBacking(const QString& source)
{
    backingRenderer = new XRVJP2kRenderer(m_owner);
    if (backingRenderer->openFile(source, false).GetErrorNumber() == PLK::PLK_SUCCESS) return true;
    dropBacking();
    return false;
}

void XRVJP2kRendererPair::closeMain(bool freeFileCache)
{
    close(renderer, freeFileCache);
}

void XRVJP2kRendererPair::closeBacking(bool freeFileCache)
{
    close(backingRenderer, freeFileCache);
}

void XRVJP2kRendererPair::dropBacking()
{
    delete backingRenderer;
    backingRenderer = nullptr;
}

void XRVJP2kRendererPair::close(XRVJP2kRenderer*& which, bool freeFileCache)
{
    if (!which) return;
    // No decode may run on a renderer being deleted: cancel and wait for its lock first.
    which->cancelRead();
    which->Close(freeFileCache);
    delete which;
    which = nullptr;
}

PLK::CError XRVJP2kRendererPair::setMainView(QVector<int>& bands, const XRVJP2kViewRequest& view)
{
    return setView(*renderer, bands, view);
}

void XRVJP2kRendererPair::setBackingView(QVector<int>& bands, const XRVJP2kViewRequest& view)
{
    if (backingRenderer) setView(*backingRenderer, bands, view);
}
