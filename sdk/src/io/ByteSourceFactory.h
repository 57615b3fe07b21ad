// Turns the name of an image into the source of its bytes: a local path into a file source,
// an address into a stream source. Sources for a scheme register themselves here, so the open
// path names no concrete source class.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "CError.h"
#include "image/OpenSettings.h"
#include "io/ByteSource.h"

namespace PLK {
namespace Engine {

class ByteSourceFactory {
public:
    using Opener = std::function<std::shared_ptr<ByteSource>(const std::string& name, const StreamSettings& settings,
                                                             CError& error)>;

    /// Opens the source `name` names (text from a "|" on is already cut). Addresses whose
    /// scheme no source serves fail with a clear error; anything else is a local path.
    static std::shared_ptr<ByteSource> open(const std::string& name, const StreamSettings& settings, CError& error);
    /// Registers the source for names beginning with `scheme` (lower case, e.g. "xrvp://");
    /// the comparison ignores case.
    static void registerScheme(const std::string& scheme, Opener opener);
    /// Whether `name` is an address (has a scheme, "xrvp://...") rather than a local path.
    static bool isAddress(const std::string& name);
};

}  // namespace Engine
}  // namespace PLK
