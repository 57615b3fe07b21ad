// Luma and chroma to red, green and blue, with the coefficients and the whole-number rounding
// JPEG 2000 decoders commonly use for sYCC, so the picture matches theirs value for value.
#pragma once

#include <algorithm>
#include <cstdint>

namespace PLK {
namespace Engine {

class YCbCrConverter {
public:
    explicit YCbCrConverter(uint8_t bits)
        : m_offset(1 << (std::max<int>(bits, 1) - 1)), m_max((1 << std::max<int>(bits, 1)) - 1)
    {}

    /// values[0..2] hold Y, Cb, Cr on entry and R, G, B on return.
    void toRgb(float* values) const
    {
        const int y = static_cast<int>(values[0]);
        const int cb = static_cast<int>(values[1]) - m_offset;
        const int cr = static_cast<int>(values[2]) - m_offset;
        values[0] = clamp(y + static_cast<int>(1.402 * static_cast<float>(cr)));
        values[1] = clamp(y - static_cast<int>(0.344 * static_cast<float>(cb) + 0.714 * static_cast<float>(cr)));
        values[2] = clamp(y + static_cast<int>(1.772 * static_cast<float>(cb)));
    }

private:
    float clamp(int v) const { return static_cast<float>(std::min(std::max(v, 0), m_max)); }

    int m_offset;
    int m_max;
};

}  // namespace Engine
}  // namespace PLK
