// Turns a view (world rectangle, pixel size) into cells: which resolution level to decode,
// which rectangle of it, and which cells each pixel takes its value from.
#pragma once

#include <cstdint>
#include <vector>

#include "image/LevelRect.h"

namespace PLK {
namespace Engine {

/// World position of the image's cell grid (no rotation).
struct GridTransform {
    double originX = 0.0;
    double originY = 0.0;
    double cellX = 1.0;
    double cellY = -1.0;
};

/// For one axis: where each pixel samples the level's grid.
struct AxisSamples {
    std::vector<int64_t> nearest;  ///< cell under the pixel centre, -1 when off the image
    std::vector<int64_t> lower;    ///< bilinear: first of the two cells
    std::vector<float> weight;     ///< bilinear: weight of the second cell
    int64_t first = 0;             ///< lowest cell any pixel needs
    int64_t last = -1;             ///< highest cell any pixel needs
};

class ViewGeometry {
public:
    ViewGeometry(const GridTransform& grid, uint32_t imageWidth, uint32_t imageHeight, uint32_t width, uint32_t height,
                 double x1, double y1, double x2, double y2);

    /// The coarsest level that still gives every pixel at least one cell; with
    /// `nearestOptimised`, the level nearest in scale (up to half a level coarser).
    uint32_t chooseLevel(uint32_t levelCount, bool nearestOptimised) const;
    /// Cells per pixel at full resolution along the finer axis.
    double cellsPerPixel() const;

    /// Sample positions on a level whose grid is levelWidth x levelHeight cells.
    AxisSamples columns(int64_t levelWidth) const;
    AxisSamples rows(int64_t levelHeight) const;
    /// The rectangle of the level that the samples need.
    static LevelRect window(const AxisSamples& columns, const AxisSamples& rows);

private:
    AxisSamples axis(double start, double end, uint32_t pixels, uint32_t imageCells, int64_t levelCells) const;

    uint32_t m_imageWidth, m_imageHeight;
    uint32_t m_width, m_height;
    double m_left, m_top, m_right, m_bottom;  ///< view edges in full-resolution cells
};

}  // namespace Engine
}  // namespace PLK
