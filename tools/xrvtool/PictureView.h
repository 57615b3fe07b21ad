// A view that collects its pictures the way the map layer does: lines read into an ARGB32
// picture inside the refresh callback (progressive) or when asked (blocking).
#pragma once

#include <QElapsedTimer>
#include <condition_variable>
#include <mutex>

#include "Picture.h"
#include "xrv60.h"

class PictureView : public PLK::CView {
public:
    ~PictureView() override;

    /// Sets the view and starts the clock for the first and final picture.
    PLK::CError setViewTimed(const std::vector<int>& bands, int width, int height, double x1, double y1, double x2,
                             double y2);
    /// Blocking views: reads the whole view now.
    PLKReadStatus readPicture(Picture& picture);
    /// Progressive views: waits for the final pass (or `timeoutMs` without any pass).
    bool waitForFinal(int timeoutMs, Picture& picture);

    double firstMs() const { return m_firstMs; }
    double finalMs() const { return m_finalMs; }
    int passes() const { return m_passes; }

protected:
    PLKReadStatus RefreshUpdateEx(PLKSetViewInfo* pViewInfo) override;

private:
    std::mutex m_mutex;
    std::condition_variable m_arrived;
    QElapsedTimer m_clock;
    Picture m_latest;
    bool m_final = false;
    double m_firstMs = -1.0;
    double m_finalMs = -1.0;
    int m_passes = 0;
};
