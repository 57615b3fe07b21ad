#if defined(__GNUC__) && !defined(__clang__)
// Every cell a picture samples is gathered here, byte cells widened: vectorise whatever the
// build's level.
#pragma GCC optimize("tree-vectorize")
#endif

#include "view/BlockRows.h"

#include <algorithm>

namespace PLK {
namespace Engine {

BufferRows::BufferRows(const RegionBuffer& cells, const std::vector<uint32_t>& bands) : m_stride(cells.width)
{
    for (uint32_t b : bands) m_planes.push_back(cells.plane(b));
}

const int32_t* BufferRows::row(size_t plane, int64_t y)
{
    return m_planes[plane] + y * m_stride;
}

BlockRows::BlockRows(const BlockFetcher::BlockSet& set, const std::vector<uint32_t>& bands)
    : m_set(set), m_bands(bands), m_slots(2 * bands.size())
{
    for (const BlockCache::BlockPtr& block : set.blocks) m_sorted.push_back(block.get());
    std::sort(m_sorted.begin(), m_sorted.end(), [](const Block* a, const Block* b) {
        return a->rect.y0 != b->rect.y0 ? a->rect.y0 < b->rect.y0 : a->rect.x0 < b->rect.x0;
    });
    const size_t width = static_cast<size_t>(std::max<int64_t>(0, set.window.width()));
    for (Slot& slot : m_slots) slot.cells.resize(width);
}

void BlockRows::selectBlocksOf(int64_t y)
{
    m_across.clear();
    m_acrossY0 = INT64_MIN;
    m_acrossY1 = INT64_MAX;
    for (const Block* block : m_sorted) {
        if (block->rect.y0 > y) break;
        if (block->rect.y1 <= y) continue;
        m_across.push_back(block);
        m_acrossY0 = std::max(m_acrossY0, block->rect.y0);
        m_acrossY1 = std::min(m_acrossY1, block->rect.y1);
    }
}

const int32_t* BlockRows::row(size_t plane, int64_t y)
{
    Slot* pair = &m_slots[2 * plane];
    ++m_clock;
    for (int i = 0; i < 2; ++i) {
        if (pair[i].y == y) {
            pair[i].used = m_clock;
            return pair[i].cells.data();
        }
    }
    Slot& slot = pair[0].used <= pair[1].used ? pair[0] : pair[1];
    slot.y = y;
    slot.used = m_clock;
    const LevelRect& window = m_set.window;
    const int64_t cellY = window.y0 + y;
    if (cellY < m_acrossY0 || cellY >= m_acrossY1 || m_across.empty()) selectBlocksOf(cellY);
    const uint32_t band = m_bands[plane];
    for (const Block* block : m_across) {
        const LevelRect& r = block->rect;
        const int64_t x0 = std::max(r.x0, window.x0), x1 = std::min(r.x1, window.x1);
        if (x1 <= x0 || band >= block->cells.bands) continue;
        block->cells.readRow(band, cellY - r.y0, x0 - r.x0, static_cast<size_t>(x1 - x0),
                             slot.cells.data() + (x0 - window.x0));
    }
    return slot.cells.data();
}

}  // namespace Engine
}  // namespace PLK
