// A rectangle of cells on one resolution level, half-open: [x0, x1) x [y0, y1), in the level's
// own grid with the image's top-left cell at (0, 0).
#pragma once

#include <algorithm>
#include <cstdint>

namespace PLK {
namespace Engine {

struct LevelRect {
    int64_t x0 = 0;
    int64_t y0 = 0;
    int64_t x1 = 0;
    int64_t y1 = 0;

    int64_t width() const { return x1 > x0 ? x1 - x0 : 0; }
    int64_t height() const { return y1 > y0 ? y1 - y0 : 0; }
    bool empty() const { return width() == 0 || height() == 0; }
    LevelRect intersected(const LevelRect& o) const
    {
        return {std::max(x0, o.x0), std::max(y0, o.y0), std::min(x1, o.x1), std::min(y1, o.y1)};
    }
    bool contains(const LevelRect& o) const { return o.x0 >= x0 && o.y0 >= y0 && o.x1 <= x1 && o.y1 <= y1; }
    bool operator==(const LevelRect& o) const { return x0 == o.x0 && y0 == o.y0 && x1 == o.x1 && y1 == o.y1; }
};

}  // namespace Engine
}  // namespace PLK
