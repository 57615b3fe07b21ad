#include "image/OpenSettings.h"

#include "CConfig.h"

namespace PLK {
namespace Engine {

OpenSettings OpenSettings::capture(const SDK::CConfig& config)
{
    OpenSettings s;
    s.projectionFormat = config.GetProjectionFormat();
    s.resilient = config.GetResilientDecodingEnabled();
    s.textureDither = config.GetTextureDitherEnabled();
    s.georeferencing = config.GetGeoreferencingEnabled();
    s.stream.userAgent = config.GetXrvpClientHttpUserAgent();
    s.stream.diskCacheEnabled = config.GetXrvpCacheEnabled();
    s.stream.diskCacheSizeMb = config.GetXrvpCacheSizeMb();
    s.stream.diskCacheFolder = config.GetXrvpCacheLocation();
    s.stream.blockingTimeMs = config.GetBlockingTimeMS();
    return s;
}

}  // namespace Engine
}  // namespace PLK
