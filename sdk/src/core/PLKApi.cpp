// The engine's free functions: start-up, shut-down and the release of records it handed out.
#include <cstdlib>
#include <mutex>
#include <string>

#include "CFileBase.h"
#include "CLog.h"
#include "PLKTypes.h"
#include "cache/BlockCache.h"
#include "georef/GeoModule.h"

namespace {

std::mutex& apiMutex()
{
    static std::mutex m;
    return m;
}
int initCount = 0;
std::string gdtPath;

}  // namespace

void PLKInit()
{
    std::lock_guard<std::mutex> lock(apiMutex());
    if (initCount++ == 0) {
        // GDAL is loaded when an image's georeferencing is first read, unless the host has it
        // already: then its table of file handlers, which has no lock, gets ours now.
        PLK::Engine::GeoModule::loadIfGdalPresent();
        PLK::CLog::Log("engine", PLK::LOG_INFO, "xrv60 %s started", PLKGetVersion());
    }
}

void PLKShutdown()
{
    std::lock_guard<std::mutex> lock(apiMutex());
    if (initCount == 0) return;
    if (--initCount == 0) {
        // Give the decoded data back; views still open decode again on demand.
        auto& cache = PLK::Engine::BlockCache::shared();
        const uint64_t limit = cache.limit();
        cache.setLimit(0);
        cache.setLimit(limit);
        PLK::CLog::Log("engine", PLK::LOG_INFO, "xrv60 stopped");
    }
}

void PLKFreeStatistics(PLKFileStatistics* pStats)
{
    if (!pStats) return;
    if (pStats->BandsStats) {
        for (uint32_t b = 0; b < pStats->nNumberOfBands; ++b) std::free(pStats->BandsStats[b].Histogram);
        std::free(pStats->BandsStats);
    }
    std::free(pStats);
}

void PLKFreeRPCData(PLKRPCData* pRPC)
{
    delete pRPC;
}

void PLKSetGDTPath(const char* szPath)
{
    std::lock_guard<std::mutex> lock(apiMutex());
    gdtPath = szPath ? szPath : "";
}

const char* PLKGetGDTPath()
{
    std::lock_guard<std::mutex> lock(apiMutex());
    return gdtPath.c_str();
}

void PLKWinHttpSetUseWinHttp(int /*bUse*/)
{
    // The stream client has a single HTTP stack outside Windows; nothing to switch.
}

const char* PLKGetVersion()
{
    return "6.0.0.1513";
}
