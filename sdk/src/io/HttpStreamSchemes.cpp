#include "io/HttpStreamSchemes.h"

#include "io/DiskCacheByteSource.h"
#include "io/HttpByteSource.h"

namespace PLK {
namespace Engine {

namespace {

std::shared_ptr<ByteSource> openStream(const std::string& name, const StreamSettings& settings, CError& error)
{
    std::shared_ptr<HttpByteSource> stream = HttpByteSource::open(name, settings, error);
    return stream ? DiskCacheByteSource::wrap(std::move(stream), settings) : nullptr;
}

}  // namespace

std::map<std::string, ByteSourceFactory::Opener> httpStreamSchemes()
{
    return {{"xrvp://", openStream}, {"xrvps://", openStream}};
}

}  // namespace Engine
}  // namespace PLK
