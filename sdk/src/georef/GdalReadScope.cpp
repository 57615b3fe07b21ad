#include "georef/GdalReadScope.h"

#include <mutex>

#include <cpl_conv.h>
#include <cpl_error.h>
#include <cpl_http.h>
#include <gdal.h>

#include "georef/GdalByteSourceFilesystem.h"

namespace PLK {
namespace Engine {

namespace {

// Answers every HTTP request GDAL would make on this thread (a CRS or schema named by URL in a
// GMLJP2 box, say) with a failure: reading where an image lies must never reach the network.
CPLHTTPResult* refuseFetch(const char*, CSLConstList, GDALProgressFunc, void*, CPLHTTPFetchWriteFunc, void*, void*)
{
    auto* result = static_cast<CPLHTTPResult*>(CPLCalloc(1, sizeof(CPLHTTPResult)));
    result->nStatus = 1;
    result->pszErrBuf = CPLStrdup("network access is disabled while the engine reads georeferencing");
    return result;
}

}  // namespace

void GdalReadScope::initialiseGdal()
{
    static std::once_flag once;
    std::call_once(once, [] {
        GDALAllRegister();
        GdalByteSourceFilesystem::install();
    });
}

GdalReadScope::GdalReadScope()
{
    initialiseGdal();
    CPLPushErrorHandler(CPLQuietErrorHandler);
    setOption("GDAL_PAM_ENABLED", "NO");
    setOption("GDAL_DISABLE_READDIR_ON_OPEN", "EMPTY_DIR");
    m_fetchRefusalPushed = CPLHTTPPushFetchCallback(refuseFetch, nullptr) != 0;
}

GdalReadScope::~GdalReadScope()
{
    if (m_fetchRefusalPushed) CPLHTTPPopFetchCallback();
    for (auto it = m_saved.rbegin(); it != m_saved.rend(); ++it)
        CPLSetThreadLocalConfigOption(it->first.c_str(), it->second.first ? it->second.second.c_str() : nullptr);
    // A file GDAL could not place is no error of the caller's: leave no error state behind for
    // a host that checks GDAL's last error on this thread.
    CPLErrorReset();
    CPLPopErrorHandler();
}

void GdalReadScope::setOption(const char* key, const char* value)
{
    const char* previous = CPLGetThreadLocalConfigOption(key, nullptr);
    m_saved.emplace_back(key, std::make_pair(previous != nullptr, previous ? std::string(previous) : std::string()));
    CPLSetThreadLocalConfigOption(key, value);
}

}  // namespace Engine
}  // namespace PLK
