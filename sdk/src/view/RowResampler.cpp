#if defined(__GNUC__) && !defined(__clang__)
// These loops are the engine's per-pixel hot spot; vectorise them whatever the build's level.
// Floating-point exceptions are never looked at, so clamps may become vector min and max.
#pragma GCC optimize("tree-vectorize", "no-trapping-math")
#endif

#include "view/RowResampler.h"

#include <algorithm>
#include <cstring>

namespace PLK {
namespace Engine {

RowResampler::RowResampler(CellRows& cells, size_t planes, const LevelRect& window, const AxisSamples& columns,
                           const AxisSamples& rows, bool bilinear)
    : m_cells(cells), m_planes(planes), m_columns(columns), m_rows(rows), m_bilinear(bilinear), m_y0(window.y0)
{
    const size_t width = columns.nearest.size();
    m_near.assign(width, 0);
    m_left.assign(width, 0);
    m_right.assign(width, 0);
    m_weight.assign(width, 0.0f);
    m_cover.assign(width, 0);
    for (size_t x = 0; x < width; ++x) {
        if (columns.nearest[x] < 0) continue;
        m_cover[x] = 255;
        m_near[x] = static_cast<int32_t>(columns.nearest[x] - window.x0);
        if (!bilinear) continue;
        m_left[x] = static_cast<int32_t>(columns.lower[x] - window.x0);
        m_right[x] = columns.weight[x] > 0.0f ? m_left[x] + 1 : m_left[x];
        m_weight[x] = columns.weight[x];
    }
}

void RowResampler::sampleRow(size_t plane, uint32_t y, float* values) const
{
    const size_t width = m_near.size();
    if (!m_bilinear) {
        const int32_t* row = m_cells.row(plane, m_rows.nearest[y] - m_y0);
        const int32_t* index = m_near.data();
        for (size_t x = 0; x < width; ++x) values[x] = static_cast<float>(row[index[x]]);
        return;
    }
    const int64_t r0 = m_rows.lower[y] - m_y0;
    const int64_t r1 = m_rows.weight[y] > 0.0f ? r0 + 1 : r0;
    const float wy = m_rows.weight[y];
    const int32_t* top = m_cells.row(plane, r0);
    const int32_t* bottom = m_cells.row(plane, r1);
    const int32_t* left = m_left.data();
    const int32_t* right = m_right.data();
    const float* weight = m_weight.data();
    for (size_t x = 0; x < width; ++x) {
        const float t = top[left[x]] + weight[x] * (top[right[x]] - top[left[x]]);
        const float b = bottom[left[x]] + weight[x] * (bottom[right[x]] - bottom[left[x]]);
        values[x] = t + wy * (b - t);
    }
}

void RowResampler::run(const std::vector<BandQuantizer>& quantizers, Frame& out, ColourConverter* colour)
{
    // Locals, not members of `out`: stores through byte pointers could otherwise change them,
    // and the loops would not vectorise.
    const uint32_t width = out.width, height = out.height;
    // No pixel on the image: the window may hold no cells at all, and the frame stays empty.
    if (std::find(m_cover.begin(), m_cover.end(), uint8_t(255)) == m_cover.end()) return;
    std::vector<float> values(width);
    // A colour conversion needs every band's row at once.
    std::vector<std::vector<float>> bandRows(colour ? m_planes : 0, std::vector<float>(width));
    std::vector<float*> bandRowPointers;
    for (std::vector<float>& row : bandRows) bandRowPointers.push_back(row.data());
    for (uint32_t y = 0; y < height; ++y) {
        if (m_rows.nearest[y] < 0) continue;
        uint8_t* cover = out.coverageRow(y);
        std::memcpy(cover, m_cover.data(), width);
        if (colour) {
            for (size_t b = 0; b < m_planes; ++b) sampleRow(b, y, bandRows[b].data());
            colour->toRgbRow(bandRowPointers.data(), width);
        }
        for (size_t b = 0; b < quantizers.size(); ++b) {
            uint8_t* target = out.row(static_cast<uint32_t>(b), y);
            float* row = colour ? bandRows[b].data() : values.data();
            if (!colour) sampleRow(b, y, row);
            quantizers[b].quantizeRow(row, y, width, target);
            for (uint32_t x = 0; x < width; ++x) target[x] &= cover[x];  // off the image: 0
        }
    }
}

void RowResampler::packBGRA(const uint8_t* red, const uint8_t* green, const uint8_t* blue, const uint8_t* alpha,
                            const uint8_t* coverage, uint32_t width, uint8_t* out)
{
    // A mask of all ones or all zeros per pixel: a bitwise and clears the pixels off the image.
    if (alpha) {
        for (uint32_t x = 0; x < width; ++x) {
            const uint8_t c = static_cast<uint8_t>(-(coverage[x] != 0));
            out[4 * x] = blue[x] & c;
            out[4 * x + 1] = green[x] & c;
            out[4 * x + 2] = red[x] & c;
            out[4 * x + 3] = alpha[x] & c;
        }
        return;
    }
    for (uint32_t x = 0; x < width; ++x) {
        const uint8_t c = static_cast<uint8_t>(-(coverage[x] != 0));
        out[4 * x] = blue[x] & c;
        out[4 * x + 1] = green[x] & c;
        out[4 * x + 2] = red[x] & c;
        out[4 * x + 3] = c;
    }
}

}  // namespace Engine
}  // namespace PLK
