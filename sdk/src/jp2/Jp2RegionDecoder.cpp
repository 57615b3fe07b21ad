#include "jp2/Jp2RegionDecoder.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "CLog.h"
#include "jp2/Jp2Messages.h"
#include "jp2/TileCodestream.h"

namespace PLK {
namespace Engine {

namespace {

// Coordinates on a level are the full-resolution ones divided by 2^level, rounded up.
int64_t ceilShift(uint64_t v, uint32_t level)
{
    return static_cast<int64_t>((v + (uint64_t(1) << level) - 1) >> level);
}

// One decode's output buffer: 1 Gi cells is far beyond any tile a view asks for and keeps a
// wrong rectangle from exhausting memory.
constexpr uint64_t kMaxCells = uint64_t(1) << 30;

// A tile that fails a strict decode may still decode resiliently: the two are remembered apart.
uint64_t failureKey(uint32_t tile, uint32_t level, bool resilient)
{
    return (uint64_t(tile) << 8 | level) << 1 | uint64_t(resilient);
}

}  // namespace

Jp2RegionDecoder::Jp2RegionDecoder(std::shared_ptr<ByteSource> source, CodestreamHeader header, TilePartIndex index,
                                   std::vector<Jp2Channel> channels, Jp2Palette palette)
    : m_source(std::move(source)),
      m_header(std::move(header)),
      m_index(std::move(index)),
      m_channels(std::move(channels)),
      m_palette(std::move(palette)),
      m_leading(m_header, m_index)
{}

uint32_t Jp2RegionDecoder::levels() const
{
    return m_header.minResolutions();
}

uint32_t Jp2RegionDecoder::layers() const
{
    return m_header.layers;
}

uint32_t Jp2RegionDecoder::tileCount() const
{
    return m_header.tileCount();
}

LevelRect Jp2RegionDecoder::levelRect(uint32_t level) const
{
    return {0, 0, ceilShift(m_header.xsiz, level) - ceilShift(m_header.xosiz, level),
            ceilShift(m_header.ysiz, level) - ceilShift(m_header.yosiz, level)};
}

LevelRect Jp2RegionDecoder::tileRect(uint32_t tile, uint32_t level) const
{
    if (tile >= tileCount()) return {};
    const GridRect t = m_header.tileBounds(tile);
    const int64_t ox = ceilShift(m_header.xosiz, level), oy = ceilShift(m_header.yosiz, level);
    return {ceilShift(t.x0, level) - ox, ceilShift(t.y0, level) - oy, ceilShift(t.x1, level) - ox,
            ceilShift(t.y1, level) - oy};
}

std::vector<uint32_t> Jp2RegionDecoder::tilesIntersecting(const LevelRect& rect, uint32_t level) const
{
    std::vector<uint32_t> tiles;
    const LevelRect r = rect.intersected(levelRect(level));
    if (r.empty() || level >= 64) return tiles;
    // Back to the full-resolution grid, where tiles are a plain lattice: a level cell X covers
    // full-resolution cells from X * 2^level on.
    const uint64_t x0 = uint64_t(r.x0 + ceilShift(m_header.xosiz, level)) << level;
    const uint64_t y0 = uint64_t(r.y0 + ceilShift(m_header.yosiz, level)) << level;
    const uint64_t x1 = uint64_t(r.x1 - 1 + ceilShift(m_header.xosiz, level)) << level;
    const uint64_t y1 = uint64_t(r.y1 - 1 + ceilShift(m_header.yosiz, level)) << level;
    const uint64_t p0 = (x0 - m_header.xtosiz) / m_header.xtsiz, q0 = (y0 - m_header.ytosiz) / m_header.ytsiz;
    const uint64_t p1 = std::min<uint64_t>((x1 - m_header.xtosiz) / m_header.xtsiz, m_header.tilesAcross - 1);
    const uint64_t q1 = std::min<uint64_t>((y1 - m_header.ytosiz) / m_header.ytsiz, m_header.tilesDown - 1);
    for (uint64_t q = q0; q <= q1; ++q) {
        for (uint64_t p = p0; p <= p1; ++p) {
            const uint32_t tile = static_cast<uint32_t>(q * m_header.tilesAcross + p);
            // A tile narrower than 2^level cells can vanish on the level.
            if (!tileRect(tile, level).intersected(r).empty()) tiles.push_back(tile);
        }
    }
    return tiles;
}

CError Jp2RegionDecoder::decode(uint32_t tile, uint32_t level, uint32_t layers, const LevelRect& rect,
                                RegionBuffer& out, const std::atomic<bool>* cancel, bool resilient)
{
    return decodeFrom(*m_source, tile, level, layers, rect, out, cancel, resilient);
}

void Jp2RegionDecoder::learnRanges(const std::vector<uint32_t>& tiles, uint32_t level, const std::atomic<bool>* cancel,
                                   const KeepBytes& keep)
{
    if (level == 0 || level >= levels()) return;
    std::vector<uint32_t> dataTiles;
    for (uint32_t tile : tiles)
        if (tile < tileCount()) dataTiles.push_back(tileWithSamples(tile));
    m_leading.learn(*m_source, dataTiles, level, cancel, keep);
}

std::vector<ByteRange> Jp2RegionDecoder::rangesFor(uint32_t tile, uint32_t level) const
{
    std::vector<ByteRange> ranges;
    if (tile >= tileCount() || level >= levels()) return ranges;
    const uint32_t dataTile = tileWithSamples(tile);
    const std::vector<TilePart>& parts = m_index.parts(dataTile);
    // A coarse level of a tile read by its head: what was learnt of it, or before that (a hint
    // of ranges to come) the first guess, never the whole tile-part.
    uint64_t head = 0;
    if (m_leading.likelyHead(dataTile, level, head)) return {{parts[0].offset, head}};
    const uint32_t keep = TileCodestream(*m_source, m_header, m_index).partsLikelyNeeded(dataTile, level);
    for (uint32_t i = 0; i < keep && i < parts.size(); ++i) ranges.push_back({parts[i].offset, parts[i].length});
    return ranges;
}

CError Jp2RegionDecoder::decodeFrom(ByteSource& bytes, uint32_t tile, uint32_t level, uint32_t layers,
                                    const LevelRect& rect, RegionBuffer& out, const std::atomic<bool>* cancel,
                                    bool resilient)
{
    if (const CError error = checkRequest(tile, level, rect)) return error;
    if (rect.empty()) {
        out.allocate(static_cast<uint32_t>(rect.width()), static_cast<uint32_t>(rect.height()),
                     static_cast<uint32_t>(m_channels.size()));
        return {};
    }
    if (cancel && cancel->load()) return Jp2Messages::cancelled();
    const uint32_t dataTile = tileWithSamples(tile);
    CError known;
    if (knownFailure(dataTile, level, resilient, known)) return known;
    std::vector<uint8_t> codestream;
    const TileCodestream builder(bytes, m_header, m_index);
    LeadingPartIndex::Plan plan;
    const bool leading = m_leading.plan(dataTile, level, plan);
    if (const CError error = leading ? builder.buildLeading(dataTile, plan, codestream)
                                     : builder.build(dataTile, level, resilient, codestream)) {
        if (leading && error.GetErrorNumber() != PLK_ERROR_FILE_READ)
            return decodeWhole(bytes, tile, level, layers, rect, out, cancel, resilient);
        const CError explained = Jp2Messages::explain(error, m_source->name(), Jp2Messages::Part::Codestream);
        if (error.GetErrorNumber() != PLK_ERROR_FILE_READ) noteFailure(dataTile, level, resilient, explained);
        return explained;
    }
    // The read may have taken long on a remote source; OpenJPEG cannot be stopped once started.
    if (cancel && cancel->load()) return Jp2Messages::cancelled();
    OpjImage image;
    const GridRect area = dataTile == tile ? decodeArea(tile, level, rect) : m_header.tileBounds(dataTile);
    if (const CError error = runDecoder(dataTile, level, layers, area, codestream, image)) {
        if (leading) return decodeWhole(bytes, tile, level, layers, rect, out, cancel, resilient);
        const CError explained = damaged("tile " + std::to_string(dataTile) + ": " + error.message());
        noteFailure(dataTile, level, resilient, explained);
        return explained;
    }
    return fill(*image, level, rect, out);
}

// A head the decoder refuses is no reason to refuse the tile: whatever the packet walk got
// wrong, the whole tile-part decodes as it would have without it, from now on.
CError Jp2RegionDecoder::decodeWhole(ByteSource& bytes, uint32_t tile, uint32_t level, uint32_t layers,
                                     const LevelRect& rect, RegionBuffer& out, const std::atomic<bool>* cancel,
                                     bool resilient)
{
    m_leading.abandon(tileWithSamples(tile));
    return decodeFrom(bytes, tile, level, layers, rect, out, cancel, resilient);
}

bool Jp2RegionDecoder::knownFailure(uint32_t tile, uint32_t level, bool resilient, CError& error) const
{
    std::lock_guard<std::mutex> lock(m_failureMutex);
    const auto it = m_failures.find(failureKey(tile, level, resilient));
    if (it == m_failures.end()) return false;
    error = it->second;
    return true;
}

void Jp2RegionDecoder::noteFailure(uint32_t tile, uint32_t level, bool resilient, const CError& error)
{
    {
        std::lock_guard<std::mutex> lock(m_failureMutex);
        // Bounded: past the cap a failure is simply found again (and not reported again).
        if (m_failures.size() < 65536) m_failures.emplace(failureKey(tile, level, resilient), error);
        // Missing tiles were counted when the image was opened; the others are told once.
        if (m_index.parts(tile).empty() || !m_warned.insert(tile).second) return;
    }
    CLog::Log("jp2", LOG_WARNING, "%s", error.GetErrorText());
}

uint32_t Jp2RegionDecoder::tileWithSamples(uint32_t tile) const
{
    if (m_header.tileHasSamples(tile)) return tile;
    const int64_t p = tile % m_header.tilesAcross, q = tile / m_header.tilesAcross;
    const int64_t across = m_header.tilesAcross, down = m_header.tilesDown;
    for (int64_t ring = 1; ring < std::max(across, down); ++ring) {
        for (int64_t dq = -ring; dq <= ring; ++dq) {
            for (int64_t dp = -ring; dp <= ring; ++dp) {
                if (std::max(std::abs(dp), std::abs(dq)) != ring) continue;
                if (p + dp < 0 || p + dp >= across || q + dq < 0 || q + dq >= down) continue;
                const uint32_t candidate = static_cast<uint32_t>((q + dq) * across + p + dp);
                if (m_header.tileHasSamples(candidate)) return candidate;
            }
        }
    }
    return tile;
}

CError Jp2RegionDecoder::checkRequest(uint32_t tile, uint32_t level, const LevelRect& rect) const
{
    if (tile >= tileCount())
        return CError(PLK_ERROR_INVALID_ARGUMENT, "There is no tile " + std::to_string(tile) + ".");
    if (level >= levels())
        return CError(PLK_ERROR_INVALID_ARGUMENT, "There is no resolution level " + std::to_string(level) + ".");
    if (rect.empty()) return {};
    if (!tileRect(tile, level).contains(rect))
        return CError(PLK_ERROR_INVALID_ARGUMENT, "The rectangle lies outside tile " + std::to_string(tile) + ".");
    if (uint64_t(rect.width()) * uint64_t(rect.height()) * m_channels.size() > kMaxCells)
        return CError(PLK_ERROR_OUT_OF_MEMORY, "The rectangle is too large to decode at once.");
    return {};
}

GridRect Jp2RegionDecoder::decodeArea(uint32_t tile, uint32_t level, const LevelRect& rect) const
{
    const GridRect t = m_header.tileBounds(tile);
    uint32_t widest = 1, tallest = 1;
    for (const CodestreamComponent& comp : m_header.components) {
        widest = std::max<uint32_t>(widest, comp.dx);
        tallest = std::max<uint32_t>(tallest, comp.dy);
    }
    const int64_t ox = ceilShift(m_header.xosiz, level), oy = ceilShift(m_header.yosiz, level);
    // A sub-sampled component's cell covering the rectangle's first column may start up to
    // dx - 1 level cells before it.
    const int64_t x0 = std::max<int64_t>(rect.x0 + ox - (widest - 1), ceilShift(t.x0, level));
    const int64_t y0 = std::max<int64_t>(rect.y0 + oy - (tallest - 1), ceilShift(t.y0, level));
    GridRect area;
    area.x0 = static_cast<uint32_t>(std::max<uint64_t>(uint64_t(x0) << level, t.x0));
    area.y0 = static_cast<uint32_t>(std::max<uint64_t>(uint64_t(y0) << level, t.y0));
    area.x1 = static_cast<uint32_t>(std::min<uint64_t>(uint64_t(rect.x1 + ox) << level, t.x1));
    area.y1 = static_cast<uint32_t>(std::min<uint64_t>(uint64_t(rect.y1 + oy) << level, t.y1));
    return area;
}

CError Jp2RegionDecoder::runDecoder(uint32_t tile, uint32_t level, uint32_t layers, const GridRect& area,
                                    const std::vector<uint8_t>& codestream, OpjImage& image) const
{
    const GridRect whole = m_header.tileBounds(tile);
    OpjCodestreamDecoder::Request request;
    request.reduce = level;
    request.layers = layers >= m_header.layers ? 0 : layers;
    request.area = area;
    request.wholeImage = request.area.x0 == whole.x0 && request.area.y0 == whole.y0 && request.area.x1 == whole.x1 &&
                         request.area.y1 == whole.y1;
    // Cores that no other tile decode is using go to this one.
    static std::atomic<unsigned> inFlight{0};
    static const unsigned cores = std::max(1u, std::thread::hardware_concurrency());
    const unsigned others = inFlight++;
    request.threads = others + 1 < cores ? cores - others : 1;
    const CError error = OpjCodestreamDecoder::decode(codestream, request, image);
    --inFlight;
    if (!error || request.wholeImage) return error;
    // Skipping the precincts outside a window is OpenJPEG 2.5.0's less travelled path (its own
    // windowed decode of the whole conformance file p1_05 fails); try the whole tile before
    // giving up.
    request.area = whole;
    request.wholeImage = true;
    image.reset();
    return OpjCodestreamDecoder::decode(codestream, request, image);
}

CError Jp2RegionDecoder::fill(const opj_image_t& image, uint32_t level, const LevelRect& rect, RegionBuffer& out) const
{
    if (image.numcomps != m_header.components.size())
        return damaged("OpenJPEG returned " + std::to_string(image.numcomps) + " components");
    out.allocate(static_cast<uint32_t>(rect.width()), static_cast<uint32_t>(rect.height()),
                 static_cast<uint32_t>(m_channels.size()));
    for (size_t band = 0; band < m_channels.size(); ++band)
        fillBand(image.comps[m_channels[band].component], m_channels[band], level, rect,
                 out.plane(static_cast<uint32_t>(band)));
    return {};
}

// Brings one component onto the level's grid: a sub-sampled component's cell is repeated over
// the dx by dy level cells it covers, and cells at the tile's edge stand in for neighbours
// the tile does not hold.
void Jp2RegionDecoder::fillBand(const opj_image_comp_t& comp, const Jp2Channel& channel, uint32_t level,
                                const LevelRect& rect, int32_t* plane) const
{
    if (!comp.data || comp.w == 0 || comp.h == 0 || comp.dx == 0 || comp.dy == 0) return;
    // OpenJPEG gives a component's origin at full resolution and its size at the level.
    const int64_t cx0 = ceilShift(comp.x0, comp.factor), cy0 = ceilShift(comp.y0, comp.factor);
    const int64_t ox = ceilShift(m_header.xosiz, level), oy = ceilShift(m_header.yosiz, level);
    const size_t width = static_cast<size_t>(rect.width());
    std::vector<uint32_t> column(width);
    for (size_t x = 0; x < width; ++x) {
        const int64_t k = (rect.x0 + ox + static_cast<int64_t>(x)) / comp.dx;
        column[x] = static_cast<uint32_t>(std::clamp<int64_t>(k, cx0, cx0 + comp.w - 1) - cx0);
    }
    const bool contiguous = comp.dx == 1 && column.back() - column.front() == width - 1;
    const int columns = static_cast<int>(m_palette.bits.size());
    for (int64_t y = 0; y < rect.height(); ++y, plane += width) {
        const int64_t k = (rect.y0 + oy + y) / comp.dy;
        const int32_t* row = comp.data + (std::clamp<int64_t>(k, cy0, cy0 + comp.h - 1) - cy0) * int64_t(comp.w);
        if (channel.paletteColumn >= 0) {
            for (size_t x = 0; x < width; ++x) {
                const int64_t entry = std::clamp<int64_t>(row[column[x]], 0, int64_t(m_palette.entries) - 1);
                plane[x] = m_palette.values[size_t(entry) * columns + size_t(channel.paletteColumn)];
            }
        } else if (contiguous) {
            std::memcpy(plane, row + column.front(), width * sizeof(int32_t));
        } else {
            for (size_t x = 0; x < width; ++x) plane[x] = row[column[x]];
        }
    }
}

CError Jp2RegionDecoder::damaged(const std::string& detail) const
{
    return Jp2Messages::explain(CError(PLK_ERROR_CORRUPT_CODESTREAM, detail), m_source->name(),
                                Jp2Messages::Part::Codestream);
}

}  // namespace Engine
}  // namespace PLK
