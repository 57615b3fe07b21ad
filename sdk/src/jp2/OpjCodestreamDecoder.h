// Runs OpenJPEG over a code-stream held in memory. A fresh codec per call: OpenJPEG codecs
// cannot decode a second region of a tiled image, and a codec per call keeps concurrent
// decodes from sharing anything.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include <openjpeg.h>

#include "CError.h"
#include "jp2/CodestreamHeader.h"

namespace PLK {
namespace Engine {

struct OpjImageDeleter {
    void operator()(opj_image_t* image) const { opj_image_destroy(image); }
};
using OpjImage = std::unique_ptr<opj_image_t, OpjImageDeleter>;

class OpjCodestreamDecoder {
public:
    struct Request {
        uint32_t reduce = 0;     ///< resolution levels to drop
        uint32_t layers = 0;     ///< quality layers to use, 0 = all
        GridRect area;           ///< full-resolution reference grid
        bool wholeImage = true;  ///< `area` is the whole image: no window needed
        uint32_t threads = 0;    ///< OpenJPEG's own threads for this decode; 0 or 1 = none
    };

    /// Memory every decode in flight may take together: the part of the engine's memory that
    /// is not the block cache. A decode that would need more on its own is refused.
    static constexpr uint64_t kDecodeBudget = 256ull << 20;

    /// Decodes `codestream`. On failure the error's text is OpenJPEG's own account, or says
    /// that the decode would need more memory than the budget allows.
    static CError decode(const std::vector<uint8_t>& codestream, const Request& request, OpjImage& image);
    /// An upper bound of the memory decoding `codestream` for `request` takes.
    static uint64_t memoryNeeded(const std::vector<uint8_t>& codestream, const Request& request);
};

}  // namespace Engine
}  // namespace PLK
