#include "PictureView.h"

#include <chrono>
#include <utility>

PictureView::~PictureView()
{
    // The engine's thread may be inside RefreshUpdateEx; closing here waits for it while this
    // object is still whole.
    Close(true);
}

PLK::CError PictureView::setViewTimed(const std::vector<int>& bands, int width, int height, double x1, double y1,
                                      double x2, double y2)
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_final = false;
        m_firstMs = m_finalMs = -1.0;
        m_passes = 0;
        m_latest = Picture();
        m_clock.start();
    }
    std::vector<int> list = bands;
    return SetView(static_cast<int>(list.size()), list.data(), width, height, x1, y1, x2, y2);
}

PLKReadStatus PictureView::readPicture(Picture& picture)
{
    const PLKSetViewInfo info = GetSetViewInfo();
    Picture image(static_cast<int>(info.nSizeX), static_cast<int>(info.nSizeY));
    for (int y = 0; y < image.height; ++y) {
        const PLKReadStatus status = ReadLineBGRA(image.line(y));
        if (status != PLK_READ_OK) return status;
    }
    std::lock_guard<std::mutex> lock(m_mutex);
    m_firstMs = m_finalMs = m_clock.nsecsElapsed() / 1e6;
    m_passes = 1;
    picture = std::move(image);
    return PLK_READ_OK;
}

bool PictureView::waitForFinal(int timeoutMs, Picture& picture)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    int seen = -1;
    while (!m_final) {
        seen = m_passes;
        if (!m_arrived.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                                [&] { return m_final || m_passes != seen; }))
            break;  // nothing arrived for a whole timeout
    }
    picture = m_latest;
    return m_final;
}

PLKReadStatus PictureView::RefreshUpdateEx(PLKSetViewInfo* pViewInfo)
{
    if (IsReadCancelPending() || IsClosePending()) return PLK_READ_CANCELLED;
    Picture image(static_cast<int>(pViewInfo->nSizeX), static_cast<int>(pViewInfo->nSizeY));
    for (int y = 0; y < image.height; ++y) {
        const PLKReadStatus status = ReadLineBGRA(image.line(y));
        if (status != PLK_READ_OK) return status;
    }
    const bool final = GetPercentComplete() == 100;
    std::lock_guard<std::mutex> lock(m_mutex);
    const double now = m_clock.nsecsElapsed() / 1e6;
    if (m_firstMs < 0) m_firstMs = now;
    ++m_passes;
    m_latest = std::move(image);
    if (final) {
        m_final = true;
        m_finalMs = now;
    }
    m_arrived.notify_all();
    return PLK_READ_OK;
}
