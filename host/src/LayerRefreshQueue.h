#pragma once
#include <QtCore/QRectF>

#include <mutex>
#include <vector>

namespace Korvane {
namespace Map {

// Refresh requests of one layer on their way from whatever thread made them to the GUI
// thread. Guarded by a standard mutex (visible to ThreadSanitizer, unlike Qt's own locks);
// only the first request after a delivery needs to wake the GUI thread.
class LayerRefreshQueue {
public:
    struct Area {
        double x1, y1, x2, y2;
    };

    // Queues an area; true when the caller must wake the GUI thread.
    bool push(const Area& area);
    // Takes everything queued and lets the next push wake the GUI thread again.
    std::vector<Area> take();

private:
    // Beyond this many areas the whole layer is repainted instead.
    static constexpr size_t MaxAreas = 32;

    std::mutex m_mutex;
    std::vector<Area> m_areas;
    bool m_wholeLayer = false;
    bool m_wakePending = false;
};

}  // namespace Map
}  // namespace Korvane
