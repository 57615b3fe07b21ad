// The engine settings an image is opened with, captured from the configuration once at open
// time and handed down explicitly, so no part below the open path reads global state.
#pragma once

#include <cstdint>
#include <string>

#include "PLKTypes.h"

namespace PLK {
namespace SDK {
class CConfig;
}
namespace Engine {

struct StreamSettings {
    std::string userAgent;            ///< HTTP User-Agent of stream requests
    bool diskCacheEnabled = true;     ///< keep streamed bytes in the disk cache
    int diskCacheSizeMb = 256;        ///< bound of the disk cache
    std::string diskCacheFolder;      ///< where "*.data" and "*.cache" files live
    unsigned int blockingTimeMs = 0;  ///< how long a blocking read waits for data (0 = no limit)
};

struct OpenSettings {
    PLKProjectionFormat projectionFormat = PLK_PROJECTION_GDT;
    bool resilient = true;       ///< decode damaged data as far as it goes
    bool textureDither = false;  ///< XRV: fine noise over lossy cells, hiding block and ringing artefacts
    bool georeferencing = true;  ///< read where the image lies; off: cell coordinates only
    StreamSettings stream;

    /// The configuration's values now.
    static OpenSettings capture(const SDK::CConfig& config);
};

}  // namespace Engine
}  // namespace PLK
