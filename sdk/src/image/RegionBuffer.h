// Decoded cells of a rectangle: one plane of 32-bit values per band, band after band, each
// plane row after row. Values are the cells as stored (signed data stays signed). Cells that
// could not be decoded are no data: they lie in one of the `missing` rectangles.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "image/LevelRect.h"

namespace PLK {
namespace Engine {

struct RegionBuffer {
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t bands = 0;
    std::vector<int32_t> samples;
    std::vector<LevelRect> missing;  ///< in the buffer's own cells, (0, 0) at its first cell

    void allocate(uint32_t w, uint32_t h, uint32_t b)
    {
        width = w;
        height = h;
        bands = b;
        samples.assign(static_cast<size_t>(w) * h * b, 0);
        missing.clear();
    }
    /// One byte per cell, row after row: 1 where the cell holds data, 0 where it is missing.
    std::vector<uint8_t> validity() const
    {
        std::vector<uint8_t> mask(static_cast<size_t>(width) * height, 1);
        for (const LevelRect& m : missing) {
            const LevelRect r = m.intersected({0, 0, width, height});
            for (int64_t y = r.y0; y < r.y1; ++y)
                std::fill(mask.begin() + y * width + r.x0, mask.begin() + y * width + r.x1, uint8_t(0));
        }
        return mask;
    }
    int32_t* plane(uint32_t band) { return samples.data() + static_cast<size_t>(band) * width * height; }
    const int32_t* plane(uint32_t band) const { return samples.data() + static_cast<size_t>(band) * width * height; }
    size_t bytes() const { return samples.size() * sizeof(int32_t); }
};

}  // namespace Engine
}  // namespace PLK
