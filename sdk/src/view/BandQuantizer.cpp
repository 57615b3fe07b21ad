#include "view/BandQuantizer.h"

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

float BandQuantizer::transformed(float value) const
{
    const double lo = m_transform.GetMin(), hi = m_transform.GetMax();
    if (!(hi > lo)) return value >= hi ? 255.0f : 0.0f;
    return static_cast<float>((value - lo) * 255.0 / (hi - lo));
}

}  // namespace Engine
}  // namespace PLK
