#include "image/OpenImage.h"

#include <algorithm>
#include <atomic>
#include <cctype>

#include "CFileBase.h"
#include "CLog.h"
#include "cache/BlockFetcher.h"
#include "georef/GeoreferenceReader.h"
#include "io/FileByteSource.h"
#include "jp2/Jp2ContainerReader.h"

namespace PLK {
namespace Engine {

namespace {

std::atomic<uint64_t> nextImageId{1};

std::string lowerCase(std::string s)
{
    std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return s;
}

bool endsWith(const std::string& s, const std::string& tail)
{
    return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

bool isStreamAddress(const std::string& lower)
{
    return lower.rfind("xrvp://", 0) == 0 || lower.rfind("xrvps://", 0) == 0 || lower.rfind("http://", 0) == 0 ||
           lower.rfind("https://", 0) == 0 || lower.rfind("jpip://", 0) == 0;
}

CError unknownFormat(const std::string& path)
{
    if (endsWith(lowerCase(path), ".xrv"))
        return CError(PLK_ERROR_NOT_SUPPORTED_FORMAT,
                      "'" + path + "' is an XRV image; this version of the engine reads JPEG 2000 images only.");
    return CError(PLK_ERROR_NOT_SUPPORTED_FORMAT, "'" + path + "' is not a JPEG 2000 file.");
}

// The finest level that fits in 1024 x 1024 cells: enough cells for stable figures, few
// enough to count in well under a second.
uint32_t statisticsLevel(const RegionDecoder& decoder)
{
    uint32_t level = 0;
    while (level + 1 < decoder.levels()) {
        const LevelRect r = decoder.levelRect(level);
        if (r.width() <= 1024 && r.height() <= 1024) break;
        ++level;
    }
    return level;
}

}  // namespace

std::shared_ptr<OpenImage> OpenImage::open(const std::string& name, CError& error)
{
    std::shared_ptr<OpenImage> image(new OpenImage());
    error = image->load(name);
    if (error) return nullptr;
    return image;
}

OpenImage::~OpenImage() = default;

CError OpenImage::load(const std::string& name)
{
    m_id = nextImageId.fetch_add(1);
    m_name = name;
    const std::string path = name.substr(0, name.find('|'));
    if (path.empty()) return CError(PLK_ERROR_INVALID_ARGUMENT, "No file name was given.");
    if (isStreamAddress(lowerCase(path)))
        return CError(PLK_ERROR_NOT_SUPPORTED_FORMAT,
                      "'" + path + "' is a stream address; this version of the engine opens local files only.");

    CError error;
    m_source = FileByteSource::open(path, error);
    if (!m_source) return error;
    if (!Jp2ContainerReader::recognises(*m_source)) return unknownFormat(path);
    error = Jp2ContainerReader::open(m_source, m_container);
    if (error) return error;

    const auto format = SDK::CFileBase::sFilesHelper().Get()->m_Config.GetProjectionFormat();
    m_georef = GeoreferenceReader::read(m_source, path, format);
    m_fileInfo.reset(new FileInfoRecord(m_container.description, m_georef, m_source->size()));
    CLog::Log("view", LOG_INFO, "Opened %s: %u x %u cells, %zu bands, %u levels, EPSG %d", path.c_str(),
              m_container.description.width, m_container.description.height,
              m_container.description.bands.size(), m_container.decoder->levels(), m_georef.epsg);
    return CError();
}

CError OpenImage::histograms(std::vector<BandHistogram>& out)
{
    std::lock_guard<std::mutex> lock(m_statsMutex);
    if (!m_statsDone) {
        m_statsError = countHistograms();
        m_statsDone = true;
    }
    out = m_histograms;
    return m_statsError;
}

CError OpenImage::countHistograms()
{
    const ImageDescription& d = description();
    BlockFetcher::Request request;
    request.image = m_id;
    request.decoder = m_container.decoder.get();
    request.bands = static_cast<uint32_t>(d.bands.size());
    request.level = statisticsLevel(*m_container.decoder);
    request.window = m_container.decoder->levelRect(request.level);
    request.resilient = SDK::CFileBase::sFilesHelper().Get()->m_Config.GetResilientDecodingEnabled();

    RegionBuffer cells;
    const CError error = BlockFetcher(BlockCache::shared()).fetch(request, cells);
    if (error) return error;
    m_histograms.clear();
    for (uint32_t b = 0; b < cells.bands && b < d.bands.size(); ++b) {
        m_histograms.emplace_back(d.bands[b].bits, d.bands[b].isSigned);
        m_histograms.back().add(cells.plane(b), static_cast<size_t>(cells.width) * cells.height);
    }
    return CError();
}

}  // namespace Engine
}  // namespace PLK
