// Opens JP2 files and raw JPEG 2000 code-streams: reads the boxes and the code-stream's main
// header, indexes the tile-parts once, and makes the decoder.
#pragma once

#include "image/ContainerReader.h"

namespace PLK {
namespace Engine {

class Jp2ContainerReader : public ContainerReader {
public:
    const char* formatName() const override { return "JPEG 2000"; }
    /// A JP2 signature box or a code-stream's SOC/SIZ pair.
    bool recognises(const uint8_t* head, size_t length) const override;
    /// Errors name what is wrong in words a user understands ("not a JPEG 2000 file", "the
    /// code-stream is damaged: ...", "... is not supported").
    CError open(const std::shared_ptr<ByteSource>& source, const OpenSettings& settings,
                OpenedContainer& out) const override;
};

}  // namespace Engine
}  // namespace PLK
