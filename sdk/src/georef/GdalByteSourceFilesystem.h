// A GDAL virtual file system over the engine's byte sources. GDAL reads an image's
// georeferencing through a path under "/vsixrv/" and every byte comes from ByteSource::readAt,
// so a local file and a stream take the same path. The file system is read-only and holds
// nothing but the registered images: no siblings (.aux.xml, .j2w, ...) exist beside them and
// nothing can be written, renamed or listed.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "io/ByteSource.h"

namespace PLK {
namespace Engine {

class GdalByteSourceFilesystem {
public:
    /// Prefix of every virtual path; begins and ends with '/' as GDAL requires.
    static const char* const kPrefix;

    /// Installs the handler in GDAL once; later calls do nothing. Thread-safe. Returns false
    /// when GDAL refused the handler (every open through it then fails).
    /// GDAL does not lock its handler table, so installing races with other threads of the
    /// process that open GDAL files at that moment; engine start-up is the safe place.
    static bool install();

    /// Makes `source` readable by GDAL and returns its unique virtual path, which ends in the
    /// source's file name so that GDAL sees its extension ("/vsixrv/17/image.jp2"). Installs
    /// the handler when needed. Prefer GdalSourceRegistration, which always unregisters.
    static std::string registerSource(std::shared_ptr<ByteSource> source);

    /// Removes a registration. Files GDAL still holds open keep their source alive until closed.
    static void unregisterSource(const std::string& path);

    /// Number of sources registered now (for leak checks).
    static size_t registeredCount();
};

}  // namespace Engine
}  // namespace PLK
