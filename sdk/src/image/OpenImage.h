// An image opened by the engine: its bytes, description, georeferencing, decoder and the
// facts computed once per file (file information record, statistics). Shared by every view
// opened on the same name.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "CError.h"
#include "georef/Georeferencing.h"
#include "image/BandHistogram.h"
#include "image/ContainerReader.h"
#include "image/FileInfoRecord.h"
#include "image/OpenSettings.h"
#include "io/ByteSource.h"

namespace PLK {
namespace Engine {

class OpenImage {
public:
    /// Opens `name` (a local path; text from a "|" on is not part of the path). Errors say
    /// what is wrong with the file in words a user understands.
    static std::shared_ptr<OpenImage> open(const std::string& name, const OpenSettings& settings, CError& error);
    ~OpenImage();

    uint64_t id() const { return m_id; }
    const std::string& name() const { return m_name; }
    const std::shared_ptr<ByteSource>& source() const { return m_source; }
    const ImageDescription& description() const { return m_container.description; }
    RegionDecoder& decoder() const { return *m_container.decoder; }
    const Georeferencing& georef() const { return m_georef; }
    /// The format's name ("JPEG 2000") and how the bytes reach us, as the engine found them.
    const char* formatName() const { return m_reader ? m_reader->formatName() : ""; }
    SourceProtocol protocol() const { return m_source->protocol(); }
    PLKFileInfo* fileInfo() const { return m_fileInfo->info(); }

    /// Per-band histograms over the finest level no larger than 1024 x 1024 cells, counted on
    /// first use (the image's format stores none).
    CError histograms(std::vector<BandHistogram>& out);

private:
    OpenImage() = default;
    CError load(const std::string& name);
    CError countHistograms();

    uint64_t m_id = 0;
    OpenSettings m_settings;
    const ContainerReader* m_reader = nullptr;
    std::string m_name;
    std::shared_ptr<ByteSource> m_source;
    OpenedContainer m_container;
    Georeferencing m_georef;
    std::unique_ptr<FileInfoRecord> m_fileInfo;

    std::mutex m_statsMutex;
    bool m_statsDone = false;
    CError m_statsError;
    std::vector<BandHistogram> m_histograms;
};

}  // namespace Engine
}  // namespace PLK
