// Reads an image's georeferencing with GDAL, through a GDAL virtual file over the engine's own
// byte source, so local files and streams take the same path. A world file beside a local
// image is used when the image itself carries no georeferencing.
#pragma once

#include <memory>
#include <string>

#include "PLKTypes.h"
#include "georef/Georeferencing.h"
#include "io/ByteSource.h"

namespace PLK {
namespace Engine {

class GeoreferenceReader {
public:
    /// `localPath` is the image's path on disk (empty for streams), used to find a world file.
    /// Never fails: an image GDAL cannot place reads as not georeferenced.
    static Georeferencing read(const std::shared_ptr<ByteSource>& source, const std::string& localPath,
                               PLKProjectionFormat format);
};

}  // namespace Engine
}  // namespace PLK
