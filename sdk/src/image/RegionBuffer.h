// Decoded cells of a rectangle: one plane of 32-bit values per band, band after band, each
// plane row after row. Values are the cells as stored (signed data stays signed).
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace PLK {
namespace Engine {

struct RegionBuffer {
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t bands = 0;
    std::vector<int32_t> samples;

    void allocate(uint32_t w, uint32_t h, uint32_t b)
    {
        width = w;
        height = h;
        bands = b;
        samples.assign(static_cast<size_t>(w) * h * b, 0);
    }
    int32_t* plane(uint32_t band) { return samples.data() + static_cast<size_t>(band) * width * height; }
    const int32_t* plane(uint32_t band) const { return samples.data() + static_cast<size_t>(band) * width * height; }
    size_t bytes() const { return samples.size() * sizeof(int32_t); }
};

}  // namespace Engine
}  // namespace PLK
