// The conditions under which the engine lets GDAL look at an image, for the current thread
// only: GDAL is registered, its messages are silenced (a file GDAL cannot place is not an error
// for us), it keeps no auxiliary (.aux.xml) files, lists no folders and fetches nothing over
// the network. Everything is restored when the scope ends, so a host that uses GDAL itself on
// other threads, or on this one later, keeps its own settings.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace PLK {
namespace Engine {

class GdalReadScope {
public:
    GdalReadScope();
    ~GdalReadScope();
    GdalReadScope(const GdalReadScope&) = delete;
    GdalReadScope& operator=(const GdalReadScope&) = delete;

    /// Registers GDAL's drivers and the engine's virtual file system once per process.
    static void initialiseGdal();

private:
    void setOption(const char* key, const char* value);

    // Thread-local options as they were before this scope, to put back.
    std::vector<std::pair<std::string, std::pair<bool, std::string>>> m_saved;
    bool m_fetchRefusalPushed = false;
};

}  // namespace Engine
}  // namespace PLK
