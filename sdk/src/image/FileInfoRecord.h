// Owns the texts and arrays behind a PLKFileInfo, so the record handed to callers stays valid
// for as long as the image is open.
#pragma once

#include <string>
#include <vector>

#include "PLKTypes.h"
#include "georef/Georeferencing.h"
#include "image/ImageDescription.h"

namespace PLK {
namespace Engine {

class FileInfoRecord {
public:
    FileInfoRecord(const ImageDescription& description, const Georeferencing& georef, uint64_t fileBytes);
    FileInfoRecord(const FileInfoRecord&) = delete;
    FileInfoRecord& operator=(const FileInfoRecord&) = delete;

    PLKFileInfo* info() { return &m_info; }

private:
    PLKFileInfo m_info{};
    std::string m_datum;
    std::string m_projection;
    std::string m_compressionDate;
    std::vector<std::string> m_descriptions;
    std::vector<PLKBandInfo> m_bands;
    std::vector<std::wstring> m_authoring;  ///< behind m_metadata
    PLKFileMetaData m_metadata{};
};

}  // namespace Engine
}  // namespace PLK
