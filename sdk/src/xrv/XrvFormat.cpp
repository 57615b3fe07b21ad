#include "xrv/XrvFormat.h"

#include <cmath>
#include <cstring>

namespace PLK {
namespace Engine {
namespace Xrv {

namespace {

class Writer {
public:
    std::vector<uint8_t> bytes;
    void u8(uint32_t v) { bytes.push_back(static_cast<uint8_t>(v)); }
    void u16(uint32_t v)
    {
        for (int i = 0; i < 2; ++i) u8(v >> (8 * i));
    }
    void u32(uint32_t v)
    {
        for (int i = 0; i < 4; ++i) u8(v >> (8 * i));
    }
    void u64(uint64_t v)
    {
        for (int i = 0; i < 8; ++i) u8(static_cast<uint32_t>(v >> (8 * i)));
    }
    void f64(double v)
    {
        uint64_t u;
        std::memcpy(&u, &v, 8);
        u64(u);
    }
    void f32(float v)
    {
        uint32_t u;
        std::memcpy(&u, &v, 4);
        u32(u);
    }
    void raw(const std::string& s) { bytes.insert(bytes.end(), s.begin(), s.end()); }
    void text16(const std::string& s)
    {
        const size_t n = std::min<size_t>(s.size(), 0xFFFF);
        u16(static_cast<uint32_t>(n));
        raw(s.substr(0, n));
    }
    /// Starts a record; returns where its length goes.
    size_t begin(const char tag[4])
    {
        bytes.insert(bytes.end(), tag, tag + 4);
        const size_t at = bytes.size();
        u32(0);
        return at;
    }
    void end(size_t at)
    {
        const uint32_t n = static_cast<uint32_t>(bytes.size() - at - 4);
        for (int i = 0; i < 4; ++i) bytes[at + i] = static_cast<uint8_t>(n >> (8 * i));
    }
};

class Reader {
public:
    Reader(const uint8_t* p, size_t n) : m_p(p), m_n(n) {}
    bool ok() const { return m_ok; }
    size_t left() const { return m_ok ? m_n - m_at : 0; }
    size_t at() const { return m_at; }
    bool need(size_t k)
    {
        if (!m_ok || m_n - m_at < k) m_ok = false;
        return m_ok;
    }
    uint64_t le(int k)
    {
        if (!need(size_t(k))) return 0;
        uint64_t v = 0;
        for (int i = 0; i < k; ++i) v |= uint64_t(m_p[m_at + i]) << (8 * i);
        m_at += size_t(k);
        return v;
    }
    uint32_t u8() { return static_cast<uint32_t>(le(1)); }
    uint32_t u16() { return static_cast<uint32_t>(le(2)); }
    uint32_t u32() { return static_cast<uint32_t>(le(4)); }
    uint64_t u64() { return le(8); }
    double f64()
    {
        const uint64_t u = u64();
        double v;
        std::memcpy(&v, &u, 8);
        return v;
    }
    float f32()
    {
        const uint32_t u = u32();
        float v;
        std::memcpy(&v, &u, 4);
        return v;
    }
    std::string raw(size_t k)
    {
        if (!need(k)) return std::string();
        std::string s(reinterpret_cast<const char*>(m_p + m_at), k);
        m_at += k;
        return s;
    }
    std::string text16() { return raw(u16()); }

private:
    const uint8_t* m_p;
    size_t m_n;
    size_t m_at = 0;
    bool m_ok = true;
};

bool knownCellType(uint32_t t)
{
    return t == PLK_CELL_UINT8 || t == PLK_CELL_UINT16 || t == PLK_CELL_INT8 || t == PLK_CELL_INT16;
}

void writeMetadata(const Header& h, Writer& w)
{
    for (const Band& b : h.bands) {
        const size_t at = w.begin("BAND");
        w.u8(b.bits);
        w.u8(b.isSigned ? 1 : 0);
        w.text16(b.description);
        w.end(at);
    }
    if (h.placement.present) {
        const Placement& p = h.placement;
        const size_t at = w.begin("GEO ");
        for (double v : {p.originX, p.originY, p.cellX, p.cellY, p.rotationDegrees}) w.f64(v);
        w.u32(static_cast<uint32_t>(p.epsg));
        w.u8(static_cast<uint32_t>(p.units));
        w.u32(static_cast<uint32_t>(p.wkt.size()));
        w.raw(p.wkt);
        w.end(at);
    }
    size_t at = w.begin("RATE");
    w.u16(h.targetRate);
    w.f32(h.psnr);
    w.end(at);
    at = w.begin("DATE");
    w.raw(h.compressionDate);
    w.end(at);
    if (h.hasAuthoring) {
        at = w.begin("AUTH");
        for (const std::string& s : h.authoring) w.text16(s);
        w.end(at);
    }
    for (const SparseHistogram& histogram : h.histograms) {
        at = w.begin("STAT");
        w.u32(histogram.buckets);
        w.u32(static_cast<uint32_t>(histogram.counts.size()));
        for (const auto& c : histogram.counts) {
            w.u32(c.first);
            w.u64(c.second);
        }
        w.end(at);
    }
    if (h.hasRpc) {
        at = w.begin("RPC ");
        const double* v = &h.rpc.ERR_BIAS;
        for (int i = 0; i < 92; ++i) w.f64(v[i]);
        w.end(at);
    }
    if (h.hasNodata) {
        at = w.begin("NODT");
        w.f64(h.nodata);
        w.end(at);
    }
    for (const std::string& x : h.xml) {
        at = w.begin("XML ");
        w.raw(x);
        w.end(at);
    }
}

std::string parseRecord(const std::string& tag, Reader& r, uint64_t payloadOffset, size_t length, Header& h)
{
    if (tag == "BAND") {
        if (h.bands.size() >= kMaxBands) return "too many band records";
        Band b;
        b.bits = static_cast<uint8_t>(r.u8());
        b.isSigned = r.u8() != 0;
        b.description = r.text16();
        h.bands.push_back(b);
    } else if (tag == "GEO ") {
        Placement& p = h.placement;
        p.present = true;
        p.originX = r.f64();
        p.originY = r.f64();
        p.cellX = r.f64();
        p.cellY = r.f64();
        p.rotationDegrees = r.f64();
        p.epsg = static_cast<int32_t>(r.u32());
        const uint32_t units = r.u8();
        p.units = units <= PLK_UNITS_UNKNOWN ? static_cast<PLKCellSizeUnits>(units) : PLK_UNITS_UNKNOWN;
        p.wkt = r.raw(r.u32());
        for (double v : {p.originX, p.originY, p.cellX, p.cellY, p.rotationDegrees})
            if (!std::isfinite(v)) return "the georeferencing holds a number that is not finite";
        if (p.cellX == 0 || p.cellY == 0) return "the georeferencing has a cell size of 0";
    } else if (tag == "RATE") {
        h.targetRate = static_cast<uint16_t>(r.u16());
        h.psnr = r.f32();
    } else if (tag == "DATE") {
        h.compressionDate = r.raw(length);
    } else if (tag == "AUTH") {
        h.hasAuthoring = true;
        for (std::string& s : h.authoring) s = r.text16();
    } else if (tag == "STAT") {
        const uint32_t buckets = r.u32(), used = r.u32();
        if (buckets == 0 || buckets > 65536 || used > buckets || uint64_t(used) * 12 > r.left())
            return "a histogram record is damaged";
        if (h.histograms.size() >= kMaxBands) return "too many histogram records";
        // Kept as the file has them (only used buckets), so memory follows the file's bytes.
        SparseHistogram histogram;
        histogram.buckets = buckets;
        histogram.counts.reserve(used);
        for (uint32_t i = 0; i < used; ++i) {
            const uint32_t at = r.u32();
            const uint64_t count = r.u64();
            if (at >= buckets) return "a histogram record is damaged";
            histogram.counts.emplace_back(at, count);
        }
        h.histograms.push_back(std::move(histogram));
    } else if (tag == "RPC ") {
        double* v = &h.rpc.ERR_BIAS;
        for (int i = 0; i < 92; ++i) v[i] = r.f64();
        h.hasRpc = true;
    } else if (tag == "NODT") {
        h.nodata = r.f64();
        h.hasNodata = true;
    } else if (tag == "XML ") {
        h.xmlSpans.emplace_back(payloadOffset, length);
    }
    // Other tags are records of later versions: skipped.
    return r.ok() ? std::string() : "the " + tag + " record is shorter than its contents";
}

}  // namespace

uint32_t crc32(const uint8_t* data, size_t length, uint32_t crc)
{
    static const auto table = [] {
        std::array<uint32_t, 256> t{};
        for (uint32_t i = 0; i < 256; ++i) {
            uint32_t c = i;
            for (int k = 0; k < 8; ++k) c = c & 1 ? 0xEDB88320u ^ (c >> 1) : c >> 1;
            t[i] = c;
        }
        return t;
    }();
    crc = ~crc;
    for (size_t i = 0; i < length; ++i) crc = table[(crc ^ data[i]) & 0xFF] ^ (crc >> 8);
    return ~crc;
}

size_t headBytes(const Header& header)
{
    Writer meta;
    writeMetadata(header, meta);
    return kFixedHeaderBytes + meta.bytes.size() + 4 + header.resolutions * kLevelEntryBytes + 4;
}

std::vector<uint8_t> writeHead(const Header& h, const std::vector<LevelEntry>& levels)
{
    Writer meta;
    writeMetadata(h, meta);
    meta.u32(crc32(meta.bytes.data(), meta.bytes.size()));

    Writer w;
    w.bytes.insert(w.bytes.end(), kMagic, kMagic + 8);
    w.u8(h.version);
    w.u8(static_cast<uint32_t>(h.cellType));
    w.u8(static_cast<uint32_t>(h.colourSpace));
    w.u8(h.resolutions);
    w.u32(h.width);
    w.u32(h.height);
    w.u16(static_cast<uint32_t>(h.bands.size()));
    w.u16(static_cast<uint32_t>(h.alphaBand + 1));
    w.u32(h.blockWidth);
    w.u32(h.blockHeight);
    w.u8(h.reversible ? 1 : 0);
    w.u8(0);
    w.u16(0);
    w.u32(static_cast<uint32_t>(meta.bytes.size()));
    w.u64(h.fileLength);
    while (w.bytes.size() < kFixedHeaderBytes - 4) w.u8(0);
    w.u32(crc32(w.bytes.data(), w.bytes.size()));
    w.bytes.insert(w.bytes.end(), meta.bytes.begin(), meta.bytes.end());

    const size_t directory = w.bytes.size();
    for (const LevelEntry& e : levels) {
        w.u64(e.indexOffset);
        w.u32(e.indexLength);
        w.u32(e.indexCrc);
        w.u64(e.dataOffset);
        w.u64(e.dataLength);
    }
    w.u32(crc32(w.bytes.data() + directory, w.bytes.size() - directory));
    return w.bytes;
}

std::string parseHead(const uint8_t* bytes, size_t length, uint64_t fileSize, Header& h,
                      std::vector<LevelEntry>& levels, size_t& needed)
{
    needed = kFixedHeaderBytes;
    if (length < kFixedHeaderBytes)
        return fileSize < kFixedHeaderBytes ? "the file is shorter than its header" : "more";
    if (std::memcmp(bytes, kMagic, 8) != 0) return "the file does not start with the XRV signature";
    if (crc32(bytes, kFixedHeaderBytes - 4) != Reader(bytes + 60, 4).u32())
        return "the header is damaged (its checksum does not match)";
    Reader r(bytes + 8, kFixedHeaderBytes - 8);
    h = Header();
    h.version = static_cast<uint8_t>(r.u8());
    if (h.version != kVersion)
        return "the file is XRV version " + std::to_string(h.version) + "; this engine reads version " +
               std::to_string(kVersion);
    const uint32_t cellType = r.u8(), colour = r.u8();
    h.resolutions = r.u8();
    h.width = r.u32();
    h.height = r.u32();
    const uint32_t bands = r.u16();
    h.alphaBand = static_cast<int>(r.u16()) - 1;
    h.blockWidth = r.u32();
    h.blockHeight = r.u32();
    const uint32_t wavelet = r.u8();
    r.raw(3);
    const uint32_t metadataLength = r.u32();
    h.fileLength = r.u64();
    if (!knownCellType(cellType)) return "the cell type " + std::to_string(cellType) + " is not one XRV stores";
    h.cellType = static_cast<PLKCellType>(cellType);
    if (colour > PLK_COLOR_YCBCR) return "the colour space is unknown";
    h.colourSpace = static_cast<PLKColorSpace>(colour);
    if (h.width == 0 || h.height == 0) return "the image has no cells";
    if (bands == 0 || bands > kMaxBands) return "the band count is not valid";
    if (h.alphaBand >= static_cast<int>(bands)) return "the opacity band does not exist";
    if (h.resolutions == 0 || h.resolutions > kMaxResolutions) return "the resolution count is not valid";
    const uint32_t step = 1u << (h.resolutions - 1);
    if (h.blockWidth == 0 || h.blockHeight == 0 || h.blockWidth > kMaxBlockSide || h.blockHeight > kMaxBlockSide ||
        h.blockWidth % step || h.blockHeight % step)
        return "the block size does not suit the resolution count";
    if (wavelet > 1) return "the wavelet is unknown";
    h.reversible = wavelet == 1;
    if (h.fileLength > fileSize)
        return "the file is truncated (it should hold " + std::to_string(h.fileLength) + " bytes)";
    if (metadataLength < 4 || metadataLength > kMaxMetadataBytes || metadataLength > fileSize)
        return "the metadata length is not valid";

    const size_t directory = kFixedHeaderBytes + metadataLength;
    needed = directory + h.resolutions * kLevelEntryBytes + 4;
    if (needed > fileSize) return "the file is truncated before its index";
    if (length < needed) return "more";

    const uint8_t* meta = bytes + kFixedHeaderBytes;
    if (crc32(meta, metadataLength - 4) != Reader(meta + metadataLength - 4, 4).u32())
        return "the metadata are damaged (their checksum does not match)";
    Reader m(meta, metadataLength - 4);
    while (m.left() > 0) {
        const std::string tag = m.raw(4);
        const uint32_t n = m.u32();
        if (!m.ok() || n > m.left()) return "a metadata record is longer than the metadata";
        Reader payload(meta + m.at(), n);
        const std::string why = parseRecord(tag, payload, kFixedHeaderBytes + m.at(), n, h);
        if (!why.empty()) return why;
        m.raw(n);
    }
    if (h.bands.size() != bands) return "the band records do not match the band count";
    if (!h.histograms.empty() && h.histograms.size() != bands) return "the histograms do not match the band count";
    for (const Band& b : h.bands) {
        const uint32_t bits = (cellType == PLK_CELL_UINT8 || cellType == PLK_CELL_INT8) ? 8 : 16;
        if (b.bits == 0 || b.bits > bits) return "a band's bit depth does not fit its cell type";
    }

    Reader d(bytes + directory, h.resolutions * kLevelEntryBytes + 4);
    if (crc32(bytes + directory, h.resolutions * kLevelEntryBytes) !=
        Reader(bytes + directory + h.resolutions * kLevelEntryBytes, 4).u32())
        return "the level directory is damaged (its checksum does not match)";
    levels.assign(h.resolutions, LevelEntry());
    const uint64_t blocks = h.blockCount();
    for (LevelEntry& e : levels) {
        e.indexOffset = d.u64();
        e.indexLength = d.u32();
        e.indexCrc = d.u32();
        e.dataOffset = d.u64();
        e.dataLength = d.u64();
        if (uint64_t(e.indexLength) != blocks * kIndexEntryBytes)
            return "an index length does not match the block count";
        if (e.indexOffset > fileSize || e.indexLength > fileSize - e.indexOffset || e.dataOffset > fileSize ||
            e.dataLength > fileSize - e.dataOffset)
            return "the file is truncated (an index or its data lies past the end)";
    }
    return std::string();
}

std::string parseIndex(const uint8_t* bytes, size_t length, const LevelEntry& entry, uint64_t blocks,
                       std::vector<uint32_t>& lengths, std::vector<uint32_t>& crcs)
{
    if (length != entry.indexLength || uint64_t(length) != blocks * kIndexEntryBytes)
        return "a block index has the wrong length";
    if (crc32(bytes, length) != entry.indexCrc) return "a block index is damaged (its checksum does not match)";
    lengths.resize(static_cast<size_t>(blocks));
    crcs.resize(static_cast<size_t>(blocks));
    uint64_t total = 0;
    Reader r(bytes, length);
    for (size_t i = 0; i < lengths.size(); ++i) {
        lengths[i] = r.u32();
        crcs[i] = r.u32();
        total += lengths[i];
    }
    if (total != entry.dataLength) return "a block index does not add up to its level's data";
    return std::string();
}

}  // namespace Xrv
}  // namespace Engine
}  // namespace PLK
