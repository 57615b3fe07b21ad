#include "CFileBase.h"

#include "image/OpenImage.h"
#include "io/ByteSourceStream.h"

namespace PLK {
namespace SDK {

CFileFactory* CFileBase::CFilesHelper::Get()
{
    static CFileFactory factory;
    return &factory;
}

CFileBase::CFilesHelper& CFileBase::sFilesHelper()
{
    static CFilesHelper helper;
    return helper;
}

CFileBase::CFileBase(std::shared_ptr<Engine::OpenImage> image)
    : m_image(std::move(image)), m_stream(new Engine::ByteSourceStream(m_image->source()))
{}

CFileBase::~CFileBase() = default;

const std::string& CFileBase::GetName() const
{
    return m_image->name();
}

PLKFileType CFileBase::GetFileType() const
{
    return m_image->description().fileType;
}

bool CFileBase::IsXrvpConnection() const
{
    return m_image->source()->isRemote();
}

PLKProtocol CFileBase::GetProtocol() const
{
    switch (m_image->protocol()) {
        case Engine::SourceProtocol::Xrvp:
            return PLK_PROTOCOL_XRVP;
        case Engine::SourceProtocol::Xrvps:
            return PLK_PROTOCOL_XRVPS;
        case Engine::SourceProtocol::LocalFile:
            break;
    }
    return PLK_PROTOCOL_LOCAL_FILE;
}

CIOStream* CFileBase::GetStream()
{
    return m_stream.get();
}

}  // namespace SDK
}  // namespace PLK
