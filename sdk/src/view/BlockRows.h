// The rows of a view's window read straight from the cache's blocks: a picture is resampled
// from the blocks as they are, a row at a time, instead of from a copy of the whole window
// (which, for a pan, would be made again for every view).
#pragma once

#include <cstdint>
#include <vector>

#include "cache/BlockFetcher.h"
#include "image/RegionBuffer.h"

namespace PLK {
namespace Engine {

/// Rows of cells of a window, one plane per band asked for.
class CellRows {
public:
    virtual ~CellRows() = default;
    /// Row `y` (0 = the window's first) of plane `plane`, as wide as the window. It stays
    /// valid until two more rows of the same plane have been asked for.
    virtual const int32_t* row(size_t plane, int64_t y) = 0;
};

/// Rows of planes that lie whole in one buffer.
class BufferRows : public CellRows {
public:
    BufferRows(const RegionBuffer& cells, const std::vector<uint32_t>& bands);
    const int32_t* row(size_t plane, int64_t y) override;

private:
    std::vector<const int32_t*> m_planes;
    int64_t m_stride;
};

/// Rows gathered from the blocks that cover the window (every cell of it decoded).
class BlockRows : public CellRows {
public:
    BlockRows(const BlockFetcher::BlockSet& set, const std::vector<uint32_t>& bands);
    const int32_t* row(size_t plane, int64_t y) override;

private:
    struct Slot {
        int64_t y = -1;
        uint64_t used = 0;
        std::vector<int32_t> cells;
    };
    /// The blocks crossing window row y, left to right.
    void selectBlocksOf(int64_t y);

    const BlockFetcher::BlockSet& m_set;
    std::vector<uint32_t> m_bands;
    std::vector<const Block*> m_sorted;  ///< top to bottom, then left to right
    std::vector<const Block*> m_across;  ///< the blocks of the current block row
    int64_t m_acrossY0 = 0, m_acrossY1 = 0;
    std::vector<Slot> m_slots;  ///< two per plane: a bilinear row pair, or the last two rows
    uint64_t m_clock = 0;
};

}  // namespace Engine
}  // namespace PLK
