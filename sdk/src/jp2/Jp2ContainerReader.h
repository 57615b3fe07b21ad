// Opens JP2 files and raw JPEG 2000 code-streams: reads the boxes and the code-stream's main
// header, indexes the tile-parts once, and makes the decoder.
#pragma once

#include <memory>

#include "CError.h"
#include "image/ContainerReader.h"
#include "io/ByteSource.h"

namespace PLK {
namespace Engine {

class Jp2ContainerReader {
public:
    /// Whether the first bytes are a JP2 signature box or a code-stream SOC/SIZ pair.
    static bool recognises(ByteSource& source);
    /// Reads the image. Errors name what is wrong in words a user understands ("not a JPEG
    /// 2000 file", "the code-stream is damaged: ...", "... is not supported").
    static CError open(const std::shared_ptr<ByteSource>& source, OpenedContainer& out);
};

}  // namespace Engine
}  // namespace PLK
