// Brings one band's cells to the 8 bits a screen shows: through the band's dynamic-range
// transform when it has one, else by keeping the top 8 bits of wider data; opacity bands of
// fewer bits can be stretched to full range; colour bands can be dithered.
#pragma once

#include <cstdint>

#include "image/ImageDescription.h"
#include "view/ViewSnapshot.h"

namespace PLK {
namespace Engine {

class BandQuantizer {
public:
    BandQuantizer(const BandLayout& band, const BandTransform& transform, bool isOpacity, bool autoscaleOpacity,
                  bool dither);

    /// The 8-bit value of a cell at pixel (x, y) (the position picks the dither offset).
    uint8_t operator()(float value, uint32_t x, uint32_t y) const
    {
        float v = m_useTransform ? transformed(value) : (value - m_offset) * m_scale;
        if (m_dither) v += kBayer[y & 3][x & 3];
        if (v <= 0.0f) return 0;
        if (v >= 255.0f) return 255;
        return static_cast<uint8_t>(v + 0.5f);
    }

    /// operator() over a row: `values[i]` is the cell of pixel (i, y).
    void quantizeRow(const float* values, uint32_t y, uint32_t count, uint8_t* out) const;

private:
    float transformed(float value) const;

    static const float kBayer[4][4];
    bool m_useTransform;
    API::CMinMaxTransform m_transform;
    float m_offset = 0.0f;
    float m_scale = 1.0f;
    bool m_dither;
};

}  // namespace Engine
}  // namespace PLK
