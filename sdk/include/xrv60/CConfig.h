// The engine's global configuration. Values may be changed at any time; open views pick up
// the memory limit at once and the other values at their next open or set-view.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>

#include "PLKTypes.h"

namespace PLK {
namespace SDK {

class CConfig {
public:
    CConfig();

    void SetTextureDitherEnabled(bool b);
    bool GetTextureDitherEnabled() const;
    /// How long a blocking read waits for data that is still arriving (streams); 0 = as long
    /// as it takes.
    void SetBlockingTimeMS(unsigned int ms);
    unsigned int GetBlockingTimeMS() const;
    /// Least time between two progressive refresh callbacks of one view; 0 = after every pass.
    void SetRefreshTimeMS(unsigned int ms);
    unsigned int GetRefreshTimeMS() const;
    void SetXrvpCacheEnabled(bool b);
    bool GetXrvpCacheEnabled() const;
    void SetXrvpCacheSizeMb(int mb);
    int GetXrvpCacheSizeMb() const;
    void SetXrvpCacheLocation(const char* szFolder);
    std::string GetXrvpCacheLocation() const;
    /// Bytes of decoded data the engine may keep. A value whose top bit is set is read as a
    /// 32-bit byte count that was sign-extended on its way here (sizes of 2 GB to 4 GB computed
    /// in 32-bit arithmetic arrive like that), so the intended size is kept.
    void SetCacheMaxmem(uint64_t bytes);
    uint64_t GetCacheMaxmem() const;
    /// Decode damaged or truncated code-streams as far as they go instead of failing.
    void SetResilientDecodingEnabled(bool b);
    bool GetResilientDecodingEnabled() const;
    /// With nearest-neighbour views, decode the resolution level nearest in scale even when it
    /// is slightly coarser than the screen, instead of always the finer one.
    void SetOptimizeUseNearestNeighbour(bool b);
    bool GetOptimizeUseNearestNeighbour() const;
    void SetXrvpClientHttpUserAgent(const char* szAgent);
    std::string GetXrvpClientHttpUserAgent() const;
    void SetProjectionFormat(PLKProjectionFormat format);
    PLKProjectionFormat GetProjectionFormat() const;
    /// Read where images lie on the earth. Off, images opened afterwards are in cell
    /// coordinates and the georeferencing libraries are never loaded: for tools that only
    /// cut cell windows out of images.
    void SetGeoreferencingEnabled(bool b);
    bool GetGeoreferencingEnabled() const;

    /// Default memory limit: 256 MB.
    static constexpr uint64_t kDefaultCacheMaxmem = 256ull << 20;

private:
    mutable std::mutex m_mutex;
    bool m_textureDither = false;
    unsigned int m_blockingTimeMs = 0;
    unsigned int m_refreshTimeMs = 0;
    bool m_xrvpCacheEnabled = true;
    int m_xrvpCacheSizeMb = 256;
    std::string m_xrvpCacheLocation;
    uint64_t m_cacheMaxmem = kDefaultCacheMaxmem;
    bool m_resilient = true;
    bool m_optimizeNearest = true;
    std::string m_userAgent;
    PLKProjectionFormat m_projectionFormat = PLK_PROJECTION_EPSG_NAMES;
    bool m_georeferencing = true;
};

}  // namespace SDK
}  // namespace PLK
