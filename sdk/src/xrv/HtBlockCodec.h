// One XRV block as an HTJ2K code-stream (OpenJPH): encoding cells to a code-stream whose
// resolutions come coarse first, finding where each resolution's bytes end, and decoding the
// leading resolutions of a (possibly cut) code-stream.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace PLK {
namespace Engine {

struct HtBlockParams {
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t components = 1;
    uint8_t bits = 8;
    bool isSigned = false;
    uint32_t decompositions = 5;
    bool reversible = false;       ///< 5/3 lossless, else 9/7 with `quantStep`
    float quantStep = 1.0f / 256;  ///< base quantisation step of the 9/7 path
    bool colourTransform = false;  ///< first three components are RGB
};

/// An encoded block: the code-stream and, for resolution r (0 = coarsest), the byte offset
/// where everything needed to decode resolutions 0..r ends.
struct HtEncodedBlock {
    std::vector<uint8_t> bytes;
    std::vector<uint32_t> resolutionEnds;
};

class HtBlockCodec {
public:
    /// Encodes `planes` (one plane of width x height values per component) and finds the
    /// resolution ends. Returns false with `error` set when the codec refuses.
    static bool encode(const HtBlockParams& params, const std::vector<const int32_t*>& planes, HtEncodedBlock& out,
                       std::string& error);

    /// Where each resolution's packets end inside `stream` (one entry per resolution, the
    /// last one the stream's length); empty when the packet headers cannot be followed.
    static std::vector<uint32_t> resolutionEnds(const uint8_t* stream, size_t length, uint32_t components);

    /// Decodes the resolutions of `stream` that make the image `reduction` times halved: the
    /// stream may stop after the last resolution needed. The stream must describe a block of
    /// `expected` size and components (nothing larger is ever allocated). `out` receives one
    /// plane per component, `outWidth` x `outHeight` each. Returns false with `error` set when
    /// the data cannot be decoded; with `resilient` damaged data decodes as far as it goes.
    struct Expected {
        uint32_t width, height, components;
    };
    static bool decode(const uint8_t* stream, size_t length, uint32_t reduction, bool resilient,
                       const Expected& expected, std::vector<std::vector<int32_t>>& out, uint32_t& outWidth,
                       uint32_t& outHeight, std::string& error);
};

}  // namespace Engine
}  // namespace PLK
