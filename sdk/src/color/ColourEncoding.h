// How a file encodes the colour of its cells when the screen cannot take them as they are:
// luma and chroma, printing inks, CIELab, or red, green, blue or grey through an ICC profile.
// The view converts the file's colour bands to the screen's sRGB with it; what the file
// reports about itself (band names, colour space, cell values) stays the file's.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace PLK {
namespace Engine {

class IccTransform;

struct ColourEncoding {
    enum class Kind {
        None,    ///< shown as stored
        SYCC,    ///< Y, Cb, Cr (sYCC and YCbCr)
        ESYCC,   ///< extended-gamut Y, Cb, Cr
        CMYK,    ///< cyan, magenta, yellow, black
        CIELab,  ///< L*, a*, b*
        Icc,     ///< through the file's own ICC profile
    };
    Kind kind = Kind::None;
    /// The bands carrying the colours, in the encoding's order (Y Cb Cr, C M Y K, L a b, the
    /// profile's channels).
    std::vector<uint32_t> bands;
    /// CIELab ranges and offsets (RL, OL, RA, OA, RB, OB); empty for the default ones.
    std::vector<uint32_t> labRanges;
    /// The profile (or the CIELab conversion), ready to use; shared by every view of the image.
    std::shared_ptr<const IccTransform> icc;
    /// Why the colours are shown as stored although the file asks for a conversion.
    std::string notApplied;
};

}  // namespace Engine
}  // namespace PLK
