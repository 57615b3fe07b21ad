// An open image, shared by every view opened on the same name, and the engine's file
// factory that holds the global configuration.
#pragma once

#include <memory>
#include <string>

#include "CConfig.h"
#include "PLKTypes.h"

namespace PLK {
class CIOStream;

namespace Engine {
class OpenImage;
}

namespace SDK {

class CFileFactory;

class CFileBase {
public:
    /// Reaches the engine's file factory: `CFileBase::sFilesHelper().Get()->m_Config`.
    class CFilesHelper {
    public:
        CFileFactory* Get();
    };
    static CFilesHelper& sFilesHelper();

    explicit CFileBase(std::shared_ptr<Engine::OpenImage> image);
    virtual ~CFileBase();

    const std::string& GetName() const;
    /// The format the engine recognised from the file's first bytes.
    PLKFileType GetFileType() const;
    /// Whether the file is read over an XRVP (or XRVPS) connection.
    bool IsXrvpConnection() const;
    PLKProtocol GetProtocol() const;
    CIOStream* GetStream();

    const std::shared_ptr<Engine::OpenImage>& image() const { return m_image; }

private:
    std::shared_ptr<Engine::OpenImage> m_image;
    std::unique_ptr<CIOStream> m_stream;
};

/// Holds what every open file shares: the configuration.
class CFileFactory {
public:
    CConfig m_Config;
};

}  // namespace SDK
}  // namespace PLK
