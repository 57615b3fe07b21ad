#include "CConfig.h"

#include "cache/BlockCache.h"

namespace PLK {
namespace SDK {

namespace {
using Lock = std::lock_guard<std::mutex>;
}

CConfig::CConfig() = default;

void CConfig::SetTextureDitherEnabled(bool b)
{
    Lock l(m_mutex);
    m_textureDither = b;
}
bool CConfig::GetTextureDitherEnabled() const
{
    Lock l(m_mutex);
    return m_textureDither;
}
void CConfig::SetBlockingTimeMS(unsigned int ms)
{
    Lock l(m_mutex);
    m_blockingTimeMs = ms;
}
unsigned int CConfig::GetBlockingTimeMS() const
{
    Lock l(m_mutex);
    return m_blockingTimeMs;
}
void CConfig::SetRefreshTimeMS(unsigned int ms)
{
    Lock l(m_mutex);
    m_refreshTimeMs = ms;
}
unsigned int CConfig::GetRefreshTimeMS() const
{
    Lock l(m_mutex);
    return m_refreshTimeMs;
}
void CConfig::SetXrvpCacheEnabled(bool b)
{
    Lock l(m_mutex);
    m_xrvpCacheEnabled = b;
}
bool CConfig::GetXrvpCacheEnabled() const
{
    Lock l(m_mutex);
    return m_xrvpCacheEnabled;
}
void CConfig::SetXrvpCacheSizeMb(int mb)
{
    Lock l(m_mutex);
    m_xrvpCacheSizeMb = mb < 0 ? 0 : mb;
}
int CConfig::GetXrvpCacheSizeMb() const
{
    Lock l(m_mutex);
    return m_xrvpCacheSizeMb;
}
void CConfig::SetXrvpCacheLocation(const char* szFolder)
{
    Lock l(m_mutex);
    m_xrvpCacheLocation = szFolder ? szFolder : "";
}
std::string CConfig::GetXrvpCacheLocation() const
{
    Lock l(m_mutex);
    return m_xrvpCacheLocation;
}

void CConfig::SetCacheMaxmem(uint64_t bytes)
{
    // A size computed as a signed 32-bit megabyte shift wraps from 2048 MB on and arrives
    // sign-extended; its low 32 bits still hold the size that was meant.
    if (bytes & (uint64_t(1) << 63)) bytes &= 0xFFFFFFFFull;
    {
        Lock l(m_mutex);
        m_cacheMaxmem = bytes;
    }
    Engine::BlockCache::shared().setLimit(bytes);  // open views keep within the new limit at once
}
uint64_t CConfig::GetCacheMaxmem() const
{
    Lock l(m_mutex);
    return m_cacheMaxmem;
}
void CConfig::SetGeoreferencingEnabled(bool b)
{
    Lock l(m_mutex);
    m_georeferencing = b;
}
bool CConfig::GetGeoreferencingEnabled() const
{
    Lock l(m_mutex);
    return m_georeferencing;
}
void CConfig::SetResilientDecodingEnabled(bool b)
{
    Lock l(m_mutex);
    m_resilient = b;
}
bool CConfig::GetResilientDecodingEnabled() const
{
    Lock l(m_mutex);
    return m_resilient;
}
void CConfig::SetOptimizeUseNearestNeighbour(bool b)
{
    Lock l(m_mutex);
    m_optimizeNearest = b;
}
bool CConfig::GetOptimizeUseNearestNeighbour() const
{
    Lock l(m_mutex);
    return m_optimizeNearest;
}
void CConfig::SetXrvpClientHttpUserAgent(const char* szAgent)
{
    Lock l(m_mutex);
    m_userAgent = szAgent ? szAgent : "";
}
std::string CConfig::GetXrvpClientHttpUserAgent() const
{
    Lock l(m_mutex);
    return m_userAgent;
}
void CConfig::SetProjectionFormat(PLKProjectionFormat format)
{
    Lock l(m_mutex);
    m_projectionFormat = format;
}
PLKProjectionFormat CConfig::GetProjectionFormat() const
{
    Lock l(m_mutex);
    return m_projectionFormat;
}

}  // namespace SDK
}  // namespace PLK
