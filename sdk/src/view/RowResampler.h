// The per-pixel work of a picture done a row at a time, band by band, in loops without
// branches per pixel that the compiler turns into vector code: sampling cells (nearest or
// bilinear), bringing them to 8 bits, and packing pixels as blue, green, red, alpha.
#pragma once

#include <cstdint>
#include <vector>

#include "color/ColourConverter.h"
#include "image/LevelRect.h"
#include "view/BandQuantizer.h"
#include "view/BlockRows.h"
#include "view/Frame.h"
#include "view/ViewGeometry.h"

namespace PLK {
namespace Engine {

class RowResampler {
public:
    /// `cells` gives the rows of `window`, `planes` planes of them: plane b holds the view's
    /// band b, which `quantizers[b]` brings to 8 bits.
    RowResampler(CellRows& cells, size_t planes, const LevelRect& window, const AxisSamples& columns,
                 const AxisSamples& rows, bool bilinear);

    /// Fills every row of `out` (its planes and coverage) through `quantizers`. With `colour`,
    /// there may be more planes than the view has bands (the conversion's extra ones), and each
    /// row is converted to sRGB before it is brought to 8 bits.
    void run(const std::vector<BandQuantizer>& quantizers, Frame& out, ColourConverter* colour = nullptr);

    /// One row of BGRA pixels from 8-bit planes; `alpha` may be null (opaque), `green` and
    /// `blue` equal `red` for grey pictures. Pixels whose coverage is 0 are all zeros.
    static void packBGRA(const uint8_t* red, const uint8_t* green, const uint8_t* blue, const uint8_t* alpha,
                         const uint8_t* coverage, uint32_t width, uint8_t* out);

private:
    void sampleRow(size_t plane, uint32_t y, float* values) const;

    CellRows& m_cells;
    size_t m_planes;
    const AxisSamples& m_columns;
    const AxisSamples& m_rows;
    bool m_bilinear;
    // Per output column, relative to the window: the nearest cell, the bilinear pair's first
    // and second cells (equal where the weight is 0) and the weight. Columns off the image
    // point at cell 0 and are left uncovered.
    std::vector<int32_t> m_near, m_left, m_right;
    std::vector<float> m_weight;
    std::vector<uint8_t> m_cover;
    int64_t m_y0;
};

}  // namespace Engine
}  // namespace PLK
