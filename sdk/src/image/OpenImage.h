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
    /// Where the image lies, read on the first call from any thread (through GDAL, unless the
    /// file states it itself): opening and rendering need none of it.
    const Georeferencing& georef() const;
    /// The format's name ("JPEG 2000") and how the bytes reach us, as the engine found them.
    const char* formatName() const { return m_reader ? m_reader->formatName() : ""; }
    SourceProtocol protocol() const { return m_source->protocol(); }
    /// Built with the georeferencing, on first use.
    PLKFileInfo* fileInfo() const;

    /// Per-band histograms over the finest level no larger than 1024 x 1024 cells, counted on
    /// first use (the image's format stores none).
    CError histograms(std::vector<BandHistogram>& out);

private:
    OpenImage() = default;
    CError load(const std::string& name);
    CError countHistograms();
    void readGeoreferencing() const;

    uint64_t m_id = 0;
    OpenSettings m_settings;
    const ContainerReader* m_reader = nullptr;
    std::string m_name;
    std::shared_ptr<ByteSource> m_source;
    OpenedContainer m_container;
    std::string m_localPath;  ///< the file on disk, for a world file beside it; empty for streams

    mutable std::once_flag m_georefOnce;
    mutable Georeferencing m_georef;
    mutable std::unique_ptr<FileInfoRecord> m_fileInfo;

    std::mutex m_statsMutex;
    bool m_statsDone = false;
    CError m_statsError;
    std::vector<BandHistogram> m_histograms;
};

}  // namespace Engine
}  // namespace PLK
