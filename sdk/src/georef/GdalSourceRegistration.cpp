#include "georef/GdalSourceRegistration.h"

#include "georef/GdalByteSourceFilesystem.h"

namespace PLK {
namespace Engine {

GdalSourceRegistration::GdalSourceRegistration(std::shared_ptr<ByteSource> source)
    : m_path(GdalByteSourceFilesystem::registerSource(std::move(source)))
{}

GdalSourceRegistration::~GdalSourceRegistration()
{
    if (!m_path.empty()) GdalByteSourceFilesystem::unregisterSource(m_path);
}

}  // namespace Engine
}  // namespace PLK
