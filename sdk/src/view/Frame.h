// One finished picture of a view: 8-bit planes, one per band of the view, and which pixels
// fall on the image at all.
#pragma once

#include <cstdint>
#include <vector>

namespace PLK {
namespace Engine {

struct Frame {
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t bands = 0;
    uint32_t level = 0;             ///< resolution level it was made from
    std::vector<uint8_t> planes;    ///< bands x height x width
    std::vector<uint8_t> coverage;  ///< height x width; 0 where the pixel is off the image

    void allocate(uint32_t w, uint32_t h, uint32_t b)
    {
        width = w;
        height = h;
        bands = b;
        planes.assign(static_cast<size_t>(w) * h * b, 0);
        coverage.assign(static_cast<size_t>(w) * h, 0);
    }
    uint8_t* row(uint32_t band, uint32_t y) { return planes.data() + (static_cast<size_t>(band) * height + y) * width; }
    const uint8_t* row(uint32_t band, uint32_t y) const
    {
        return planes.data() + (static_cast<size_t>(band) * height + y) * width;
    }
    uint8_t* coverageRow(uint32_t y) { return coverage.data() + static_cast<size_t>(y) * width; }
    const uint8_t* coverageRow(uint32_t y) const { return coverage.data() + static_cast<size_t>(y) * width; }
};

}  // namespace Engine
}  // namespace PLK
