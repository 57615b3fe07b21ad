#include "io/ByteSourceFactory.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <mutex>

#include "io/FileByteSource.h"
#include "io/HttpStreamSchemes.h"

namespace PLK {
namespace Engine {

namespace {

struct Schemes {
    std::mutex mutex;
    std::map<std::string, ByteSourceFactory::Opener> openers = httpStreamSchemes();
};

Schemes& schemes()
{
    static Schemes s;
    return s;
}

std::string lowerCase(std::string s)
{
    std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return s;
}

}  // namespace

bool ByteSourceFactory::isAddress(const std::string& name)
{
    const size_t colon = name.find("://");
    if (colon == std::string::npos || colon == 0) return false;
    return std::all_of(name.begin(), name.begin() + static_cast<std::ptrdiff_t>(colon),
                       [](unsigned char c) { return std::isalpha(c) || c == '+' || c == '-' || c == '.'; });
}

void ByteSourceFactory::registerScheme(const std::string& scheme, Opener opener)
{
    std::lock_guard<std::mutex> lock(schemes().mutex);
    schemes().openers[lowerCase(scheme)] = std::move(opener);
}

std::shared_ptr<ByteSource> ByteSourceFactory::open(const std::string& name, const StreamSettings& settings,
                                                    CError& error)
{
    if (!isAddress(name)) return FileByteSource::open(name, error);
    const std::string lower = lowerCase(name);
    Opener opener;
    {
        std::lock_guard<std::mutex> lock(schemes().mutex);
        for (const auto& entry : schemes().openers)
            if (lower.rfind(entry.first, 0) == 0) opener = entry.second;
    }
    if (!opener) {
        error = CError(PLK_ERROR_NOT_SUPPORTED_FORMAT, "'" + name + "' cannot be opened: the engine reads no '" +
                                                           name.substr(0, name.find("://")) + "' addresses.");
        return nullptr;
    }
    return opener(name, settings, error);
}

}  // namespace Engine
}  // namespace PLK
