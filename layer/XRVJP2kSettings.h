// Every settings key of the plug-in, in the host application's settings store. Each read
// passes its own default, so a missing key never fails.
#pragma once

namespace XRVJP2kSettings {

constexpr const char* TextureDither = "XRVJP2kLayer/TextureDither";
constexpr const char* LocalXrvpCache = "XRVJP2kLayer/LocalXrvpCache";
constexpr const char* XrvpCacheDir = "XRVJP2kLayer/XrvpCacheDir";
constexpr const char* CacheMaxMemMb = "XRVJP2kLayer/CacheMaxMemMb";
constexpr const char* DiskCacheMaxSizeMb = "XRVJP2kLayer/DiskCacheMaxSizeMb";
constexpr const char* ResilientDecoding = "XRVJP2kLayer/ResilientDecoding";
constexpr const char* OptimizeNearestNeighbour = "XRVJP2kLayer/OptimizeNearestNeighbour";
constexpr const char* XRVPUserAgent = "XRVJP2kLayer/XRVPUserAgent";
constexpr const char* UseWinHTTPInXrvp = "XRVJP2kLayer/UseWinHTTPInXrvp";
constexpr const char* LogXrvEvents = "XRVJP2kLayer/LogXrvEvents";
constexpr const char* AdaptiveRendering = "XRVJP2kLayer/AdaptiveRendering";
constexpr const char* OpenProgressive = "XRVJP2kLayer/OpenProgressive";
constexpr const char* DefaultClipTransform = "XRVJP2kLayer/DefaultClipTransform";
constexpr const char* OptimizeNonProgressive = "XRVJP2kLayer/OptimizeNonProgressive";
constexpr const char* ResampleType = "XRVJP2kLayer/ResampleType";
constexpr const char* UseBackingstore = "XRVJP2kLayer/UseBackingstore";
constexpr const char* DrawOutline = "XRVJP2kLayer/DrawOutline";
constexpr const char* OutlineColor = "XRVJP2kLayer/OutlineColor";
/// No longer used; every save of the preferences removes it.
constexpr const char* ObsoleteLogLevel = "XRVJP2kLayer/LogLevel";

}  // namespace XRVJP2kSettings
