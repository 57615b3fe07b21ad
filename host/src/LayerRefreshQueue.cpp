#include "LayerRefreshQueue.h"

namespace Korvane {
namespace Map {

bool LayerRefreshQueue::push(const Area& area)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    const bool whole = area.x1 == 0.0 && area.y1 == 0.0 && area.x2 == 0.0 && area.y2 == 0.0;
    if (whole || m_areas.size() >= MaxAreas) {
        m_wholeLayer = true;
        m_areas.clear();
    } else if (!m_wholeLayer) {
        m_areas.push_back(area);
    }
    const bool wake = !m_wakePending;
    m_wakePending = true;
    return wake;
}

std::vector<LayerRefreshQueue::Area> LayerRefreshQueue::take()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<Area> areas;
    if (m_wholeLayer)
        areas.push_back(Area{0.0, 0.0, 0.0, 0.0});
    else
        areas.swap(m_areas);
    m_areas.clear();
    m_wholeLayer = false;
    m_wakePending = false;
    return areas;
}

}  // namespace Map
}  // namespace Korvane
