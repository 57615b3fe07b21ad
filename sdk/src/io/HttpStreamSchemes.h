// The stream schemes the engine serves itself: xrvp:// and xrvps:// open an HTTP source,
// under the disk cache when the settings turn it on.
#pragma once

#include <map>
#include <string>

#include "io/ByteSourceFactory.h"

namespace PLK {
namespace Engine {

/// Openers for "xrvp://" and "xrvps://", for the byte-source factory's table.
std::map<std::string, ByteSourceFactory::Opener> httpStreamSchemes();

}  // namespace Engine
}  // namespace PLK
