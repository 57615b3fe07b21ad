#include "xrv/XrvContainerReader.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>

#include "CLog.h"
#include "xrv/HtBlockCodec.h"

namespace PLK {
namespace Engine {

namespace {

// The first read takes this much: header, metadata and directory of every ordinary file.
constexpr size_t kFirstRead = 64 * 1024;
// A block's bytes are read whole; no block of a sane file comes near this.
constexpr uint64_t kMaxBlockBytes = 512u << 20;

CError damaged(const std::string& path, const std::string& why)
{
    return CError(PLK_ERROR_CORRUPT_CODESTREAM, "The XRV file '" + path + "' is damaged: " + why + ".");
}

std::string bandName(PLKColorSpace colour, size_t band, size_t bands, int alpha)
{
    if (static_cast<int>(band) == alpha) return "AllOpacity";
    if (colour == PLK_COLOR_SRGB && band < 3) return band == 0 ? "Red" : band == 1 ? "Green" : "Blue";
    if (colour == PLK_COLOR_GREYSCALE && bands <= 2) return "Grayscale";
    return "Band " + std::to_string(band + 1);
}

// The file's own numbers; its coordinate reference system (kept as WKT and EPSG code) is
// described when the georeferencing is first asked for, which needs GDAL.
Georeferencing placementOf(const Xrv::Header& h)
{
    Georeferencing g;
    const Xrv::Placement& p = h.placement;
    if (p.present) {
        g.georeferenced = true;
        g.originX = p.originX;
        g.originY = p.originY;
        g.cellX = p.cellX;
        g.cellY = p.cellY;
        g.rotationDegrees = p.rotationDegrees;
        g.wkt = p.wkt;
        g.epsg = p.epsg;
        g.units = p.units;
        g.source = "XRV";
    }
    g.hasRpc = h.hasRpc;
    g.rpc = h.rpc;
    return g;
}

void describe(const Xrv::Header& h, ImageDescription& d)
{
    d.fileType = PLK_FILE_XRV;
    d.width = h.width;
    d.height = h.height;
    d.colorSpace = h.colourSpace;
    d.cellType = h.cellType;
    d.alphaBand = h.alphaBand;
    d.formatVersion = h.version;
    d.targetCompressionRate = h.targetRate;
    d.xrv.m_blockSize = ViewMetadata::Size{h.blockWidth, h.blockHeight};
    for (size_t i = 0; i < h.bands.size(); ++i) {
        BandLayout b;
        b.bits = h.bands[i].bits;
        b.isSigned = h.bands[i].isSigned;
        b.description = h.bands[i].description.empty() ? bandName(h.colourSpace, i, h.bands.size(), h.alphaBand)
                                                       : h.bands[i].description;
        d.bands.push_back(b);
    }
    for (const auto& span : h.xmlSpans) d.xmlBoxes.push_back(PLKJP2Box{0x786D6C20u, span.first, span.second});
    d.compressionDate = h.compressionDate;
    if (h.hasAuthoring) d.authoring.assign(h.authoring.begin(), h.authoring.end());
    for (const Xrv::SparseHistogram& s : h.histograms) {
        std::vector<uint64_t> counts(s.buckets);
        for (const auto& c : s.counts) counts[c.first] = c.second;
        d.storedHistograms.push_back(std::move(counts));
    }
    if (h.placement.present || h.hasRpc) {
        d.hasStoredPlacement = true;
        d.storedPlacement = placementOf(h);
    }
}

}  // namespace

bool XrvContainerReader::recognises(const uint8_t* head, size_t length) const
{
    return length >= sizeof Xrv::kMagic && std::memcmp(head, Xrv::kMagic, sizeof Xrv::kMagic) == 0;
}

CError XrvContainerReader::open(const std::shared_ptr<ByteSource>& source, const OpenSettings& settings,
                                OpenedContainer& out) const
{
    const std::string& path = source->name();
    const uint64_t fileSize = source->size();
    std::vector<uint8_t> head(static_cast<size_t>(std::min<uint64_t>(fileSize, kFirstRead)));
    if (!source->readExact(0, head.data(), head.size()))
        return CError(PLK_ERROR_FILE_READ, "The file '" + path + "' cannot be read.");
    Xrv::Header header;
    std::vector<Xrv::LevelEntry> levels;
    size_t needed = 0;
    std::string why = Xrv::parseHead(head.data(), head.size(), fileSize, header, levels, needed);
    if (why == "more" && needed > head.size() && needed <= fileSize) {
        head.resize(needed);  // bounded by the file's size, checked by the parser
        if (!source->readExact(0, head.data(), head.size()))
            return CError(PLK_ERROR_FILE_READ, "The file '" + path + "' cannot be read.");
        why = Xrv::parseHead(head.data(), head.size(), fileSize, header, levels, needed);
    }
    if (why == "more") why = "the file is truncated inside its header";
    if (!why.empty()) {
        if (why.find("version") != std::string::npos)
            return CError(PLK_ERROR_UNSUPPORTED_FEATURE, "The XRV file '" + path + "' cannot be read: " + why + ".");
        return damaged(path, why);
    }
    describe(header, out.description);
    out.decoder =
        std::make_unique<XrvRegionDecoder>(source, std::move(header), std::move(levels), settings.textureDither);
    return CError();
}

XrvRegionDecoder::XrvRegionDecoder(std::shared_ptr<ByteSource> source, Xrv::Header header,
                                   std::vector<Xrv::LevelEntry> levels, bool textureDither)
    : m_source(std::move(source)), m_header(std::move(header)), m_levels(std::move(levels))
{
    // The noise is as strong as the coding error the file reports (its RMS, from the PSNR
    // measured at compression): enough to break up flat blocks and ringing, never more than
    // the error already there. Lossless files are left exact.
    if (textureDither && !m_header.reversible && m_header.psnr > 0) {
        uint32_t bits = 1;
        for (const Xrv::Band& b : m_header.bands) bits = std::max<uint32_t>(bits, b.bits);
        const double peak = double((uint64_t(1) << bits) - 1);
        m_ditherAmplitude = float(peak / std::pow(10.0, m_header.psnr / 20.0));
    }
}

void XrvRegionDecoder::dither(std::vector<std::vector<int32_t>>& planes, uint32_t w, int64_t x0, int64_t y0,
                              uint32_t level) const
{
    if (m_ditherAmplitude <= 0) return;
    const Xrv::Band& first = m_header.bands[0];
    const int64_t lo = first.isSigned ? -(int64_t(1) << (first.bits - 1)) : 0;
    const int64_t hi = first.isSigned ? (int64_t(1) << (first.bits - 1)) - 1 : (int64_t(1) << first.bits) - 1;
    for (size_t b = 0; b < planes.size(); ++b) {
        if (static_cast<int>(b) == m_header.alphaBand) continue;
        std::vector<int32_t>& p = planes[b];
        for (size_t i = 0; i < p.size(); ++i) {
            // A hash of the cell's place, so every view and every decode shows the same noise.
            uint64_t k = uint64_t(x0 + int64_t(i % w)) * 0x9E3779B97F4A7C15ull ^
                         uint64_t(y0 + int64_t(i / w)) * 0xC2B2AE3D27D4EB4Full ^ (uint64_t(b) << 56 | level);
            k ^= k >> 31;
            k *= 0xBF58476D1CE4E5B9ull;
            k ^= k >> 29;
            // Triangular noise in (-amplitude, amplitude).
            const double t = (double(k & 0xFFFFFF) + double((k >> 24) & 0xFFFFFF)) / double(1 << 24) - 1.0;
            const int64_t v = int64_t(std::lround(double(p[i]) + t * m_ditherAmplitude));
            p[i] = static_cast<int32_t>(std::min(hi, std::max(lo, v)));
        }
    }
}

LevelRect XrvRegionDecoder::levelRect(uint32_t level) const
{
    const uint64_t step = uint64_t(1) << std::min<uint32_t>(level, 62);
    return {0, 0, static_cast<int64_t>((m_header.width + step - 1) / step),
            static_cast<int64_t>((m_header.height + step - 1) / step)};
}

LevelRect XrvRegionDecoder::tileRect(uint32_t tile, uint32_t level) const
{
    if (tile >= tileCount() || level >= levels()) return {};
    const uint32_t across = m_header.blocksAcross();
    const uint64_t x0 = uint64_t(tile % across) * m_header.blockWidth;
    const uint64_t y0 = uint64_t(tile / across) * m_header.blockHeight;
    const uint64_t x1 = std::min<uint64_t>(x0 + m_header.blockWidth, m_header.width);
    const uint64_t y1 = std::min<uint64_t>(y0 + m_header.blockHeight, m_header.height);
    const uint64_t step = uint64_t(1) << level;
    return {static_cast<int64_t>(x0 >> level), static_cast<int64_t>(y0 >> level),
            static_cast<int64_t>((x1 + step - 1) >> level), static_cast<int64_t>((y1 + step - 1) >> level)};
}

std::vector<uint32_t> XrvRegionDecoder::tilesIntersecting(const LevelRect& rect, uint32_t level) const
{
    std::vector<uint32_t> tiles;
    const LevelRect r = rect.intersected(levelRect(level));
    if (r.empty() || level >= levels()) return tiles;
    const int64_t bw = m_header.blockWidth >> level, bh = m_header.blockHeight >> level;
    const uint32_t across = m_header.blocksAcross();
    for (int64_t by = r.y0 / bh; by <= (r.y1 - 1) / bh && by < m_header.blocksDown(); ++by)
        for (int64_t bx = r.x0 / bw; bx <= (r.x1 - 1) / bw && bx < across; ++bx)
            tiles.push_back(static_cast<uint32_t>(by * across + bx));
    return tiles;
}

CError XrvRegionDecoder::index(uint32_t resolution, const LevelIndex*& out)
{
    std::lock_guard<std::mutex> lock(m_indexMutex);
    LevelIndex& li = m_index[resolution];
    if (!li.loaded) {
        const Xrv::LevelEntry& e = m_levels[resolution];
        std::vector<uint8_t> bytes(e.indexLength);  // checked against the file's size at open
        if (!m_source->readExact(e.indexOffset, bytes.data(), bytes.size())) {
            return CError(PLK_ERROR_FILE_READ, "The block index of '" + m_source->name() + "' cannot be read.");
        }
        const std::string why =
            Xrv::parseIndex(bytes.data(), bytes.size(), e, m_header.blockCount(), li.lengths, li.crcs);
        if (!why.empty()) {
            li.error = CError(PLK_ERROR_CORRUPT_CODESTREAM,
                              "The XRV file '" + m_source->name() + "' is damaged: " + why + ".");
        } else {
            li.offsets.resize(li.lengths.size());
            uint64_t at = e.dataOffset;
            for (size_t i = 0; i < li.lengths.size(); ++i) {
                li.offsets[i] = at;
                at += li.lengths[i];
            }
        }
        li.loaded = true;
    }
    out = &li;
    return li.error;
}

CError XrvRegionDecoder::rangesFor(uint32_t tile, uint32_t level, std::vector<ByteRange>& ranges,
                                   std::vector<uint32_t>* crcs)
{
    ranges.clear();
    if (crcs) crcs->clear();
    if (tile >= tileCount() || level >= levels()) return CError(PLK_ERROR_INVALID_ARGUMENT, "No such block or level.");
    for (uint32_t r = 0; r + level < m_header.resolutions; ++r) {
        const LevelIndex* li = nullptr;
        const CError error = index(r, li);
        if (error) return error;
        if (!li->lengths[tile]) continue;
        ranges.push_back(ByteRange{li->offsets[tile], li->lengths[tile]});
        if (crcs) crcs->push_back(li->crcs[tile]);
    }
    return CError();
}

CError XrvRegionDecoder::decode(uint32_t tile, uint32_t level, uint32_t /*layers*/, const LevelRect& rect,
                                RegionBuffer& out, const std::atomic<bool>* cancel, bool resilient)
{
    const LevelRect block = tileRect(tile, level);
    if (block.empty() || !block.contains(rect))
        return CError(PLK_ERROR_INVALID_ARGUMENT, "The rectangle lies outside block " + std::to_string(tile) + ".");
    const uint32_t bands = static_cast<uint32_t>(m_header.bands.size());
    out.allocate(static_cast<uint32_t>(rect.width()), static_cast<uint32_t>(rect.height()), bands);

    std::vector<ByteRange> ranges;
    std::vector<uint32_t> crcs;
    CError error = rangesFor(tile, level, ranges, &crcs);
    std::string why;
    std::vector<uint8_t> bytes;
    if (!error) {
        uint64_t total = 0;
        for (const ByteRange& r : ranges) total += r.length;
        if (total == 0 || total > kMaxBlockBytes) {
            why = "the block holds no data";
        } else {
            bytes.resize(static_cast<size_t>(total));
            std::vector<RangeRead> reads;
            size_t at = 0;
            for (const ByteRange& r : ranges) {
                reads.push_back(RangeRead{r.offset, static_cast<size_t>(r.length), bytes.data() + at, -1});
                at += static_cast<size_t>(r.length);
            }
            const ReadStatus status = m_source->readRanges(reads, cancel);
            if (status == ReadStatus::Cancelled) return CError(PLK_ERROR_CANCELLED, "The decode was cancelled.");
            for (size_t i = 0; i < reads.size(); ++i) {
                const RangeRead& r = reads[i];
                if (r.read != static_cast<int64_t>(r.length))
                    return CError(PLK_ERROR_FILE_READ, "Block " + std::to_string(tile) + " of '" + m_source->name() +
                                                           "' cannot be read. " + m_source->errorText());
                // Damaged bytes never reach the codec, which does not always survive them.
                if (Xrv::crc32(static_cast<const uint8_t*>(r.buffer), r.length) != crcs[i])
                    why = "its data do not match their checksum";
            }
        }
    } else if (error.GetErrorNumber() != PLK_ERROR_CORRUPT_CODESTREAM) {
        return error;
    } else {
        why = error.GetErrorText();
    }

    if (why.empty() && cancel && cancel->load(std::memory_order_relaxed))
        return CError(PLK_ERROR_CANCELLED, "The decode was cancelled.");
    std::vector<std::vector<int32_t>> planes;
    uint32_t w = 0, h = 0;
    const LevelRect full = tileRect(tile, 0);
    const HtBlockCodec::Expected expected{uint32_t(full.width()), uint32_t(full.height()), bands};
    if (why.empty() &&
        HtBlockCodec::decode(bytes.data(), bytes.size(), level, resilient, expected, planes, w, h, why)) {
        if (w != block.width() || h != block.height() || planes.size() != bands)
            why = "the block's size or band count does not match the header";
    }
    if (!why.empty()) {
        // A damaged block is no data (missing, cells 0); the rest of the image reads on.
        if (!resilient)
            return CError(PLK_ERROR_CORRUPT_CODESTREAM,
                          "Block " + std::to_string(tile) + " of '" + m_source->name() + "' is damaged: " + why + ".");
        CLog::Log("xrv", LOG_WARNING, "Block %u of %s is damaged and shows as no data: %s", tile,
                  m_source->name().c_str(), why.c_str());
        out.missing.push_back(LevelRect{0, 0, rect.width(), rect.height()});
        return CError();
    }
    dither(planes, w, block.x0, block.y0, level);
    for (uint32_t b = 0; b < bands; ++b) {
        int32_t* dst = out.plane(b);
        for (int64_t y = rect.y0; y < rect.y1; ++y) {
            const int32_t* src = planes[b].data() + size_t(y - block.y0) * w + size_t(rect.x0 - block.x0);
            std::copy(src, src + rect.width(), dst);
            dst += rect.width();
        }
    }
    return CError();
}

}  // namespace Engine
}  // namespace PLK
