// Brings a view's colour bands to the screen's red, green and blue when the file encodes its
// colours otherwise (see ColourEncoding). The arithmetic follows what JPEG 2000 decoders
// commonly do (OpenJPEG's tools), so the picture matches theirs; ICC profiles and CIELab go
// through LittleCMS. One converter serves one picture on one thread.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "color/ColourEncoding.h"
#include "image/ImageDescription.h"

namespace PLK {
namespace Engine {

class ColourConverter {
public:
    /// Converts only when the view shows the file's colour bands in their order (the grey band
    /// thrice for a grey profile); any other choice of bands is shown as stored.
    ColourConverter(const ImageDescription& description, const std::vector<uint32_t>& viewBands);

    bool active() const { return m_kind != ColourEncoding::Kind::None; }
    /// Bands the conversion reads besides the view's own (the black of CMYK).
    const std::vector<uint32_t>& extraBands() const { return m_extra; }
    /// `values` holds the view's bands, then extraBands(). On return its first three hold red,
    /// green and blue in the units of the view's first three bands.
    void toRgb(float* values);
    /// The same over a row of `width` pixels: `bands[i]` holds what `values[i]` holds above.
    void toRgbRow(float* const* bands, uint32_t width);

private:
    void computeRgb(const float* values, float* rgb);
    void throughMemo(const float* values, float* rgb);
    void labToRgb(const float* values, float* rgb) const;
    void cmykToRgb(const float* values, float* rgb) const;
    void esyccToRgb(const float* values, float* rgb) const;

    struct Units {
        float offset = 0.0f;  ///< of signed cells
        float scale = 1.0f;   ///< to the 0-255 scale
    };
    static Units unitsOf(const BandLayout& band);

    ColourEncoding::Kind m_kind = ColourEncoding::Kind::None;
    const ColourEncoding* m_encoding = nullptr;
    std::vector<uint32_t> m_extra;
    uint32_t m_inputs = 0;             ///< values toRgb reads: the view's bands and the extra ones
    uint32_t m_blackAt = 0;            ///< where the black value lies in `values`
    std::array<BandLayout, 4> m_in;    ///< the encoding's colour bands
    std::array<Units, 3> m_out;        ///< the view's first three bands
    std::array<double, 6> m_lab = {};  ///< CIELab: minimum and span of L*, a*, b*
    struct MemoEntry {
        uint64_t key = ~uint64_t(0);
        float rgb[3];
    };
    std::vector<MemoEntry> m_memo;  ///< recent conversions through LittleCMS
    std::vector<uint32_t> m_rowIn;  ///< a row's cells for one LittleCMS call
    std::vector<float> m_rowOut;
};

}  // namespace Engine
}  // namespace PLK
