#include "image/OpenImage.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cstring>
#include <dirent.h>

#include "CLog.h"
#include "cache/BlockFetcher.h"
#include "georef/GeoModule.h"
#include "io/ByteSourceFactory.h"

namespace PLK {
namespace Engine {

namespace {

std::atomic<uint64_t> nextImageId{1};

// Names every format the engine reads, so the message stays true as formats are added.
CError unknownFormat(const std::string& path)
{
    std::string formats;
    const auto& readers = ContainerRegistry::readers();
    for (size_t i = 0; i < readers.size(); ++i)
        formats += std::string(i == 0 ? "" : i + 1 == readers.size() ? " or " : ", ") + readers[i]->formatName();
    return CError(PLK_ERROR_NOT_SUPPORTED_FORMAT, "'" + path + "' is not a " + formats + " file.");
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

// At most 2048 x 2048 cells of the statistics level (fewer for images of many bands), from
// its centre: an image with too few resolution levels is then sampled rather than decoded
// whole, whatever size it claims.
LevelRect statisticsWindow(const LevelRect& level, size_t bands)
{
    int64_t kMost = 2048;
    while (kMost > 16 && uint64_t(kMost) * uint64_t(kMost) * bands > (uint64_t(16) << 20)) kMost /= 2;
    LevelRect r = level;
    if (r.width() > kMost) r.x0 += (r.width() - kMost) / 2, r.x1 = r.x0 + kMost;
    if (r.height() > kMost) r.y0 += (r.height() - kMost) / 2, r.y1 = r.y0 + kMost;
    return r;
}

// Whether GDAL could place the image: the file states its own placement (whose coordinate
// system GDAL describes), has boxes GDAL reads georeferencing or RPC from, or has a file beside
// it named like it up to the extension, which may be a world file ("image.j2w", "image.WLD").
// Otherwise the answer is known without loading GDAL: not georeferenced.
bool gdalMayPlace(const ImageDescription& d, const std::string& localPath)
{
    if (d.hasStoredPlacement) return true;
    if (d.fileType == PLK_FILE_JPEG2000 && (d.hasGeoJp2 || d.hasGml || !d.xmlBoxes.empty())) return true;
    if (localPath.empty()) return false;
    const size_t slash = localPath.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : localPath.substr(0, slash + 1);
    const std::string file = localPath.substr(slash + 1);
    const std::string stem = file.substr(0, file.rfind('.')) + ".";
    DIR* dir = opendir(folder.c_str());
    if (!dir || file.find('\\') != std::string::npos) {  // cannot tell: ask GDAL
        if (dir) closedir(dir);
        return true;
    }
    bool found = false;
    while (const dirent* entry = readdir(dir))
        if (entry->d_name != file && std::strncmp(entry->d_name, stem.c_str(), stem.size()) == 0) found = true;
    closedir(dir);
    return found;
}

}  // namespace

std::shared_ptr<OpenImage> OpenImage::open(const std::string& name, const OpenSettings& settings, CError& error)
{
    std::shared_ptr<OpenImage> image(new OpenImage());
    image->m_settings = settings;
    error = image->load(name);
    // A stream that failed mid-open says what really went wrong (the network, the server).
    if (error && image->m_source && image->m_source->fault()) error = image->m_source->fault();
    if (error) return nullptr;
    return image;
}

OpenImage::~OpenImage() = default;

CError OpenImage::load(const std::string& name)
{
    m_id = nextImageId.fetch_add(1);
    m_name = name;
    // Text from a "|" on qualifies the name for the caller; the bytes are named by what is
    // before it. Cut here, once: everything below sees only the path or address.
    const std::string path = name.substr(0, name.find('|'));
    if (path.empty()) return CError(PLK_ERROR_INVALID_ARGUMENT, "No file name was given.");

    CError error;
    m_source = ByteSourceFactory::open(path, m_settings.stream, error);
    if (!m_source) return error;
    uint8_t head[ContainerReader::kHeadBytes] = {};
    const int64_t got = m_source->readAt(0, head, sizeof head);
    if (got < 0) return CError(PLK_ERROR_FILE_READ, "The file '" + path + "' cannot be read.");
    m_reader = ContainerRegistry::find(head, static_cast<size_t>(got));
    if (!m_reader) return unknownFormat(path);
    error = m_reader->open(m_source, m_settings, m_container);
    if (error) return error;

    m_localPath = m_source->isRemote() ? std::string() : path;
    CLog::Log("view", LOG_INFO, "Opened %s (%s): %u x %u cells, %zu bands, %u levels", path.c_str(), formatName(),
              m_container.description.width, m_container.description.height, m_container.description.bands.size(),
              m_container.decoder->levels());
    return CError();
}

const Georeferencing& OpenImage::georef() const
{
    std::call_once(m_georefOnce, [this] { readGeoreferencing(); });
    return m_georef;
}

PLKFileInfo* OpenImage::fileInfo() const
{
    georef();
    return m_fileInfo->info();
}

void OpenImage::readGeoreferencing() const
{
    const ImageDescription& d = m_container.description;
    GeoModule* geo = m_settings.georeferencing && gdalMayPlace(d, m_localPath) ? GeoModule::instance() : nullptr;
    if (!m_settings.georeferencing) {
        m_georef.source = "none";
    } else if (d.hasStoredPlacement) {
        m_georef = d.storedPlacement;
        if (geo) geo->describeCrs(m_settings.projectionFormat, m_georef);
    } else if (geo) {
        m_georef = geo->read(m_source, m_localPath, m_settings.projectionFormat);
    } else {
        m_georef.source = "none";
    }
    if (!geo) m_georef.datum = m_georef.projection = "RAW";  // as GDAL describes no system
    m_fileInfo.reset(new FileInfoRecord(d, m_georef, m_source->size()));
    CLog::Log("view", LOG_INFO, "Georeferencing of %s: %s, EPSG %d", m_source->name().c_str(), m_georef.source.c_str(),
              m_georef.epsg);
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
    if (d.storedHistograms.size() == d.bands.size() && !d.bands.empty()) {  // counted exactly when written
        m_histograms.clear();
        for (size_t b = 0; b < d.bands.size(); ++b) {
            m_histograms.emplace_back(d.bands[b].bits, d.bands[b].isSigned);
            m_histograms.back().addCounts(d.storedHistograms[b]);
        }
        return CError();
    }
    BlockFetcher::Request request;
    request.image = m_id;
    request.decoder = m_container.decoder.get();
    request.source = m_source;
    request.bands = static_cast<uint32_t>(d.bands.size());
    request.level = statisticsLevel(*m_container.decoder);
    request.window = statisticsWindow(m_container.decoder->levelRect(request.level), d.bands.size());
    request.resilient = m_settings.resilient;

    RegionBuffer cells;
    const CError error = BlockFetcher(BlockCache::shared()).fetch(request, cells);
    if (error.GetErrorNumber() == PLK_ERROR_CANCELLED) return error;
    // Cells that could not be decoded are no data: they take no part in the figures.
    const std::vector<uint8_t> valid = cells.validity();
    const size_t count = valid.size();
    if (std::count(valid.begin(), valid.end(), uint8_t(1)) == 0 && error) return error;
    m_histograms.clear();
    std::vector<int32_t> kept;
    for (uint32_t b = 0; b < cells.bands && b < d.bands.size(); ++b) {
        m_histograms.emplace_back(d.bands[b].bits, d.bands[b].isSigned);
        if (cells.missing.empty()) {
            m_histograms.back().add(cells.plane(b), count);
            continue;
        }
        kept.clear();
        const int32_t* plane = cells.plane(b);
        for (size_t i = 0; i < count; ++i)
            if (valid[i]) kept.push_back(plane[i]);
        m_histograms.back().add(kept.data(), kept.size());
    }
    return CError();
}

}  // namespace Engine
}  // namespace PLK
