// Decoded cells of one block, with the rectangle they cover on their level.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "image/LevelRect.h"

namespace PLK {
namespace Engine {

/// A block's cells, band after band, each band row after row. Cells that all fit a byte (8-bit
/// data, most images) are kept as bytes: a quarter of the memory, so four times the blocks in
/// the same cache.
struct BlockCells {
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t bands = 0;
    bool narrow = false;  ///< held in `bytes`, else in `wide`
    std::vector<uint8_t> bytes;
    std::vector<int32_t> wide;

    void allocate(uint32_t w, uint32_t h, uint32_t b, bool asBytes = false)
    {
        width = w;
        height = h;
        bands = b;
        narrow = asBytes;
        const size_t cells = static_cast<size_t>(w) * h * b;
        bytes.assign(asBytes ? cells : 0, 0);
        wide.assign(asBytes ? 0 : cells, 0);
    }
    size_t size() const { return bytes.size() + wide.size() * sizeof(int32_t); }
    /// `count` cells of row `y` of band `band` from column `x` on, as 32-bit values.
    void readRow(uint32_t band, int64_t y, int64_t x, size_t count, int32_t* out) const
    {
        const size_t at =
            (static_cast<size_t>(band) * height + static_cast<size_t>(y)) * width + static_cast<size_t>(x);
        if (!narrow) {
            const int32_t* from = wide.data() + at;
            for (size_t i = 0; i < count; ++i) out[i] = from[i];
            return;
        }
        const uint8_t* from = bytes.data() + at;
        for (size_t i = 0; i < count; ++i) out[i] = from[i];
    }
};

struct Block {
    LevelRect rect;
    BlockCells cells;
};

}  // namespace Engine
}  // namespace PLK
