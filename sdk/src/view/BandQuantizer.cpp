#if defined(__GNUC__) && !defined(__clang__)
// quantizeRow runs for every pixel of every picture: vectorise it whatever the build's level.
// Floating-point exceptions are never looked at, so clamps may become vector min and max.
#pragma GCC optimize("tree-vectorize", "no-trapping-math")
#endif

#include "view/BandQuantizer.h"

#include <algorithm>
#include <cmath>

namespace PLK {
namespace Engine {

// Ordered-dither offsets in (-0.5, 0.5): spread over a 4 x 4 pattern they break up the
// contours that strong compression leaves in smooth areas without adding visible noise.
const float BandQuantizer::kBayer[4][4] = {
    {-0.46875f, 0.03125f, -0.34375f, 0.15625f},
    {0.28125f, -0.21875f, 0.40625f, -0.09375f},
    {-0.40625f, 0.09375f, -0.28125f, 0.21875f},
    {0.34375f, -0.15625f, 0.46875f, -0.03125f},
};

BandQuantizer::BandQuantizer(const BandLayout& band, const BandTransform& transform, bool isOpacity,
                             bool autoscaleOpacity, bool dither)
    : m_useTransform(transform.active), m_transform(transform.transform), m_dither(dither && !isOpacity)
{
    const int bits = band.bits == 0 ? 8 : band.bits;
    m_offset = band.isSigned ? -std::ldexp(1.0f, bits - 1) : 0.0f;
    if (bits > 8) {
        m_scale = std::ldexp(1.0f, 8 - bits);  // keep the top 8 bits
    } else if (bits < 8 && (!isOpacity || autoscaleOpacity)) {
        m_scale = 255.0f / (std::ldexp(1.0f, bits) - 1.0f);  // a 1-bit mask becomes 0 / 255
    }
}

namespace {

// v <= 0 gives 0, v >= 255 gives 255, else v rounded: as operator() does, in a form without
// branches.
inline uint8_t toByte(float v)
{
    return static_cast<uint8_t>(static_cast<int32_t>(std::min(std::max(v, 0.0f), 255.0f) + 0.5f));
}

}  // namespace

// The same arithmetic as operator(), with the choices made once per row so that each loop is
// straight-line code the compiler vectorises.
void BandQuantizer::quantizeRow(const float* values, uint32_t y, uint32_t count, uint8_t* out) const
{
    if (m_dither) {
        for (uint32_t x = 0; x < count; ++x) out[x] = (*this)(values[x], x, y);
        return;
    }
    if (m_useTransform) {
        const double lo = m_transform.GetMin(), hi = m_transform.GetMax();
        if (!(hi > lo)) {
            for (uint32_t x = 0; x < count; ++x) out[x] = values[x] >= hi ? 255 : 0;
            return;
        }
        const double span = hi - lo;
        for (uint32_t x = 0; x < count; ++x) out[x] = toByte(static_cast<float>((values[x] - lo) * 255.0 / span));
        return;
    }
    const float offset = m_offset, scale = m_scale;
    for (uint32_t x = 0; x < count; ++x) out[x] = toByte((values[x] - offset) * scale);
}

float BandQuantizer::transformed(float value) const
{
    const double lo = m_transform.GetMin(), hi = m_transform.GetMax();
    if (!(hi > lo)) return value >= hi ? 255.0f : 0.0f;
    return static_cast<float>((value - lo) * 255.0 / (hi - lo));
}

}  // namespace Engine
}  // namespace PLK
