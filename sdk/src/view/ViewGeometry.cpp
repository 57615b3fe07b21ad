#include "view/ViewGeometry.h"

#include <algorithm>
#include <cmath>

namespace PLK {
namespace Engine {

ViewGeometry::ViewGeometry(const GridTransform& g, uint32_t imageWidth, uint32_t imageHeight, uint32_t width,
                           uint32_t height, double x1, double y1, double x2, double y2)
    : m_imageWidth(imageWidth),
      m_imageHeight(imageHeight),
      m_width(width),
      m_height(height),
      m_left((x1 - g.originX) / g.cellX),
      m_top((y1 - g.originY) / g.cellY),
      m_right((x2 - g.originX) / g.cellX),
      m_bottom((y2 - g.originY) / g.cellY)
{}

double ViewGeometry::cellsPerPixel() const
{
    const double cx = std::fabs(m_right - m_left) / std::max(1u, m_width);
    const double cy = std::fabs(m_bottom - m_top) / std::max(1u, m_height);
    return std::min(cx, cy);
}

uint32_t ViewGeometry::chooseLevel(uint32_t levelCount, bool nearestOptimised) const
{
    const double scale = cellsPerPixel();
    if (!(scale > 1.0) || levelCount <= 1) return 0;
    const double exact = std::log2(scale);
    // A small tolerance keeps exact powers of two (a whole image shown at 1/8) on their level
    // despite rounding in the world-to-cell arithmetic.
    const double level = nearestOptimised ? std::floor(exact + 0.5) : std::floor(exact + 1e-9);
    return static_cast<uint32_t>(std::min<double>(std::max(0.0, level), levelCount - 1));
}

AxisSamples ViewGeometry::columns(int64_t levelWidth) const
{
    return axis(m_left, m_right, m_width, m_imageWidth, levelWidth);
}

AxisSamples ViewGeometry::rows(int64_t levelHeight) const
{
    return axis(m_top, m_bottom, m_height, m_imageHeight, levelHeight);
}

AxisSamples ViewGeometry::axis(double start, double end, uint32_t pixels, uint32_t imageCells, int64_t levelCells) const
{
    AxisSamples s;
    s.nearest.resize(pixels);
    s.lower.resize(pixels);
    s.weight.resize(pixels);
    // Level cells per full-resolution cell: the exact ratio of the grid sizes, so the level's
    // last cell ends where the image ends.
    const double scale = imageCells ? static_cast<double>(levelCells) / imageCells : 1.0;
    const double step = (end - start) / pixels;
    int64_t lo = levelCells, hi = -1;
    for (uint32_t i = 0; i < pixels; ++i) {
        const double centre = start + (i + 0.5) * step;  // full-resolution cells
        const double onLevel = centre * scale;
        const bool inside = centre >= 0.0 && centre < imageCells;
        const int64_t cell = inside ? std::min<int64_t>(static_cast<int64_t>(std::floor(onLevel)), levelCells - 1) : -1;
        s.nearest[i] = cell;
        const double u = onLevel - 0.5;
        const int64_t l = static_cast<int64_t>(std::floor(u));
        const int64_t l0 = std::min<int64_t>(std::max<int64_t>(l, 0), levelCells - 1);
        int64_t l1 = std::min<int64_t>(std::max<int64_t>(l + 1, 0), levelCells - 1);
        const float w = l0 == l1 ? 0.0f : static_cast<float>(u - l);
        if (w == 0.0f) l1 = l0;  // a centre right on a cell needs no neighbour
        s.lower[i] = l0;
        s.weight[i] = w;
        if (inside) {
            lo = std::min({lo, cell, l0});
            hi = std::max({hi, cell, l1});
        }
    }
    s.first = lo;
    s.last = hi;
    return s;
}

LevelRect ViewGeometry::window(const AxisSamples& columns, const AxisSamples& rows)
{
    if (columns.last < columns.first || rows.last < rows.first) return LevelRect{};
    return LevelRect{columns.first, rows.first, columns.last + 1, rows.last + 1};
}

}  // namespace Engine
}  // namespace PLK
