#include "georef/GeoModule.h"

#include <cstring>
#include <dlfcn.h>
#include <link.h>
#include <mutex>

#include "CLog.h"

namespace PLK {
namespace Engine {

namespace {

const char* const kModuleFile = "libxrv60geo.so";

// Beside the library holding this code (libxrv60, or the program when the engine is linked in).
std::string modulePath()
{
    Dl_info info{};
    if (!dladdr(reinterpret_cast<void*>(&modulePath), &info) || !info.dli_fname) return kModuleFile;
    const std::string self = info.dli_fname;
    const size_t slash = self.rfind('/');
    return slash == std::string::npos ? kModuleFile : self.substr(0, slash + 1) + kModuleFile;
}

struct Loaded {
    GeoModule* module = nullptr;
    CError error;
};

Loaded load()
{
    Loaded result;
    const std::string path = modulePath();
    // Loaded for good: GDAL keeps our file handler and error callbacks to the end of the process.
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    auto factory = handle ? reinterpret_cast<GeoModule* (*)()>(dlsym(handle, "xrv60geoModule")) : nullptr;
    result.module = factory ? factory() : nullptr;
    if (!result.module) {
        const char* why = dlerror();
        result.error = CError(PLK_ERROR_NOT_AVAILABLE, "The georeferencing module cannot be loaded (" +
                                                           (why ? std::string(why) : path + ": no entry point") +
                                                           "); images read as not georeferenced.");
        CLog::Log("engine", LOG_ERROR, "%s", result.error.GetErrorText());
    }
    return result;
}

int findGdal(dl_phdr_info* info, size_t, void* found)
{
    if (info->dlpi_name && std::strstr(info->dlpi_name, "/libgdal.so")) *static_cast<bool*>(found) = true;
    return 0;
}

}  // namespace

GeoModule* GeoModule::instance(CError* error)
{
    static const Loaded loaded = load();
    if (error) *error = loaded.error;
    return loaded.module;
}

void GeoModule::loadIfGdalPresent()
{
    bool present = false;
    dl_iterate_phdr(findGdal, &present);
    if (present) instance();
}

}  // namespace Engine
}  // namespace PLK
