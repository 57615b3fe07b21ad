#include "jp2/CodestreamHeader.h"

#include <algorithm>

#include "jp2/ByteCursor.h"

namespace PLK {
namespace Engine {

namespace {

CError damaged(const std::string& detail)
{
    return CError(PLK_ERROR_CORRUPT_CODESTREAM, detail);
}

std::string hex16(uint16_t v)
{
    static const char digits[] = "0123456789ABCDEF";
    std::string s = "0x";
    for (int shift = 12; shift >= 0; shift -= 4) s += digits[(v >> shift) & 0xF];
    return s;
}

uint32_t ceilDiv(uint64_t a, uint64_t b)
{
    return static_cast<uint32_t>((a + b - 1) / b);
}

// Main headers are small, but packed packet headers (PPM) can make them large; this is far
// beyond any real file and keeps a damaged length from making us read gigabytes.
constexpr uint64_t kMaxMainHeaderBytes = 256u << 20;

}  // namespace

CError CodestreamHeader::read(ByteSource& source, uint64_t start, uint64_t length, CodestreamHeader& out)
{
    const uint64_t limit = std::min(length, kMaxMainHeaderBytes);
    uint64_t chunk = std::min<uint64_t>(limit, 64 * 1024);
    for (;;) {
        std::vector<uint8_t> bytes(static_cast<size_t>(chunk));
        const int64_t got = source.readAt(start, bytes.data(), bytes.size());
        if (got < 0) return CError(PLK_ERROR_FILE_READ, "the file cannot be read");
        bytes.resize(static_cast<size_t>(got));
        out = CodestreamHeader();
        const bool complete = static_cast<uint64_t>(got) < chunk || chunk >= limit;
        const CError error = out.parse(bytes.data(), bytes.size(), complete);
        if (!out.needsMoreBytes()) return error;
        chunk = std::min(limit, chunk * 4);
    }
}

CError CodestreamHeader::parse(const uint8_t* bytes, size_t size, bool complete)
{
    m_needMore = false;
    if (size < 4 || ByteCursor::peek16(bytes) != SOC || ByteCursor::peek16(bytes + 2) != SIZ)
        return damaged("it does not start with the SOC and SIZ markers");
    m_keptHeader.assign(bytes, bytes + 2);
    size_t pos = 2;
    for (;;) {
        if (size - pos < 4) {
            if (size - pos >= 2 && ByteCursor::peek16(bytes + pos) == SOT) break;
            m_needMore = !complete;
            return damaged("the main header is cut short");
        }
        const uint16_t marker = ByteCursor::peek16(bytes + pos);
        if (marker == SOT) break;
        if (marker == EOC) return damaged("it ends before its first tile");
        if ((marker >> 8) != 0xFF || marker < 0xFF30)
            return damaged("unexpected bytes " + hex16(marker) + " in the main header");
        if (marker <= 0xFF3F) {  // markers without a segment
            m_keptHeader.insert(m_keptHeader.end(), bytes + pos, bytes + pos + 2);
            pos += 2;
            continue;
        }
        const size_t segment = ByteCursor::peek16(bytes + pos + 2);
        if (segment < 2) return damaged("marker " + hex16(marker) + " has a length below 2");
        if (size - pos - 2 < segment) {
            m_needMore = !complete;
            return damaged("the main header is cut short");
        }
        if (marker == SIZ) m_sizOffset = m_keptHeader.size();
        if (marker == COD) mergeCoding(marker, bytes + pos + 4, segment - 2);
        if (const CError error = parseMarker(marker, bytes + pos + 4, segment - 2)) return error;
        if (marker != TLM && marker != PLM && marker != PPM)
            m_keptHeader.insert(m_keptHeader.end(), bytes + pos, bytes + pos + 2 + segment);
        pos += 2 + segment;
    }
    mainHeaderLength = static_cast<uint32_t>(pos);
    return finish();
}

CError CodestreamHeader::parseMarker(uint16_t marker, const uint8_t* body, size_t length)
{
    if (marker != SIZ && !m_sawSiz) return damaged("the SIZ marker is not first");
    switch (marker) {
        case SIZ:
            return parseSiz(body, length);
        case COD:
            return parseCod(body, length);
        case COC:
            return parseCoc(body, length);
        case COM:
            parseCom(body, length);
            return {};
        case POC:
            hasPoc = true;
            return {};
        case TLM:
            if (length < 2)
                m_tlmBroken = true;
            else
                m_tlmSegments.emplace_back(body[0], std::vector<uint8_t>(body + 1, body + length));
            return {};
        case PPM:
            if (length < 1) return damaged("a PPM marker is empty");
            m_ppmSeen = true;
            m_ppmSegments.emplace_back(body[0], std::vector<uint8_t>(body + 1, body + length));
            return {};
        default:
            return {};  // quantisation, regions, CRG and others are OpenJPEG's business
    }
}

CError CodestreamHeader::parseSiz(const uint8_t* body, size_t length)
{
    if (m_sawSiz) return damaged("it has two SIZ markers");
    m_sawSiz = true;
    ByteCursor c(body, length);
    rsiz = c.u16();
    xsiz = c.u32(), ysiz = c.u32(), xosiz = c.u32(), yosiz = c.u32();
    xtsiz = c.u32(), ytsiz = c.u32(), xtosiz = c.u32(), ytosiz = c.u32();
    const uint32_t count = c.u16();
    if (!c.ok()) return damaged("the SIZ marker is too short");
    if (count == 0 || count > kMaxComponents) return damaged("it claims " + std::to_string(count) + " components");
    if (c.remaining() != 3u * count) return damaged("the SIZ marker's length does not match its components");
    components.resize(count);
    for (CodestreamComponent& comp : components) {
        const uint8_t ssiz = c.u8();
        comp.isSigned = (ssiz & 0x80) != 0;
        const uint32_t bits = (ssiz & 0x7F) + 1u;
        comp.dx = c.u8();
        comp.dy = c.u8();
        if (bits > kMaxBits) return damaged("a component claims " + std::to_string(bits) + " bits");
        if (comp.dx == 0 || comp.dy == 0) return damaged("a component has a sub-sampling factor of zero");
        comp.bits = static_cast<uint8_t>(bits);
    }
    m_cocDecompositions.assign(count, 0xFF);
    return validateGeometry();
}

CError CodestreamHeader::validateGeometry()
{
    if (xsiz <= xosiz || ysiz <= yosiz) return damaged("the image is empty");
    if (xtsiz == 0 || ytsiz == 0) return damaged("the tile size is zero");
    if (xtosiz > xosiz || ytosiz > yosiz || uint64_t(xtosiz) + xtsiz <= xosiz || uint64_t(ytosiz) + ytsiz <= yosiz)
        return damaged("the first tile does not cover the image's corner");
    const uint64_t across = ceilDiv(uint64_t(xsiz) - xtosiz, xtsiz);
    const uint64_t down = ceilDiv(uint64_t(ysiz) - ytosiz, ytsiz);
    if (across * down > kMaxTiles) return damaged("it claims " + std::to_string(across * down) + " tiles");
    tilesAcross = static_cast<uint32_t>(across);
    tilesDown = static_cast<uint32_t>(down);
    return {};
}

CError CodestreamHeader::parseCod(const uint8_t* body, size_t length)
{
    ByteCursor c(body, length);
    const uint8_t scod = c.u8();
    progression = c.u8();
    layers = c.u16();
    mct = c.u8();
    decompositions = c.u8();
    codeBlockWidthExp = static_cast<uint8_t>(c.u8() + 2);
    codeBlockHeightExp = static_cast<uint8_t>(c.u8() + 2);
    c.u8();  // code-block style
    transform = c.u8();
    if (!c.ok()) return damaged("the COD marker is too short");
    if (progression > 4) return damaged("the progression order " + std::to_string(progression) + " is unknown");
    if (layers == 0) return damaged("it has no quality layers");
    if (decompositions > kMaxDecompositions)
        return damaged("it claims " + std::to_string(decompositions) + " decomposition levels");
    if (codeBlockWidthExp > 10 || codeBlockHeightExp > 10 || codeBlockWidthExp + codeBlockHeightExp > 12)
        return damaged("the code-block size is out of range");
    if (transform > 1) return damaged("the wavelet transform " + std::to_string(transform) + " is unknown");
    sop = (scod & 0x02) != 0;
    eph = (scod & 0x04) != 0;
    precinctExps.assign(decompositions + 1u, {15, 15});
    if (scod & 0x01) {
        for (auto& exps : precinctExps) {
            const uint8_t b = c.u8();
            exps = {static_cast<uint8_t>(b & 0x0F), static_cast<uint8_t>(b >> 4)};
        }
        if (!c.ok()) return damaged("the COD marker lacks its precinct sizes");
    }
    m_sawCod = true;
    return {};
}

CError CodestreamHeader::parseCoc(const uint8_t* body, size_t length)
{
    ByteCursor c(body, length);
    const uint32_t index = components.size() < 257 ? c.u8() : c.u16();
    c.u8();  // Scoc
    const uint8_t levels = c.u8();
    if (!c.ok()) return damaged("a COC marker is too short");
    if (index >= components.size()) return damaged("a COC marker names a component that does not exist");
    if (levels > kMaxDecompositions) return damaged("it claims " + std::to_string(levels) + " decomposition levels");
    m_cocDecompositions[index] = levels;
    m_mostDecompositions = std::max(m_mostDecompositions, levels);
    mergeCoding(COC, body, length);
    return {};
}

// COD and COC segments, wherever they are, as far as decodeMemory() cares: code-block and
// precinct sizes and decomposition levels. Damaged values are OpenJPEG's to refuse.
void CodestreamHeader::mergeCoding(uint16_t marker, const uint8_t* body, size_t length)
{
    ByteCursor c(body, length);
    uint8_t style = 0;
    if (marker == COD) {
        style = c.u8();
        c.u8();  // progression
        m_mostLayers = std::max<uint16_t>(m_mostLayers, c.u16());
        c.u8();  // multiple component transform
    } else {
        c.skip(components.size() < 257 ? 1 : 2);
        style = c.u8();
    }
    const uint8_t levels = c.u8();
    const uint8_t w = c.u8(), h = c.u8();
    c.skip(2);  // code-block style, transform
    if (!c.ok()) return;
    m_mostDecompositions = std::max<uint8_t>(m_mostDecompositions, std::min<uint8_t>(levels, kMaxDecompositions));
    m_smallestBlockExp = std::min<uint8_t>(m_smallestBlockExp, std::min(w, uint8_t(8)) + std::min(h, uint8_t(8)) + 4);
    if (style & 0x01) {
        for (uint32_t r = 0; r <= levels && c.ok(); ++r) {
            const uint8_t b = c.u8();
            if (c.ok())
                m_smallestPrecinctExp = std::min<uint8_t>({m_smallestPrecinctExp, uint8_t(b & 0x0F), uint8_t(b >> 4)});
        }
    }
}

void CodestreamHeader::mergeTilePartCoding(const uint8_t* bytes, size_t size)
{
    size_t pos = mainHeaderLength;
    // Tile-part after tile-part: the SOT segment, the header's markers up to SOD, then skip
    // to the next SOT by the tile-part's length.
    while (size - std::min(size, pos) >= 12 && ByteCursor::peek16(bytes + pos) == SOT) {
        const size_t start = pos;
        const uint32_t psot = ByteCursor::peek32(bytes + pos + 6);
        pos += 12;
        while (size - pos >= 4) {
            const uint16_t marker = ByteCursor::peek16(bytes + pos);
            if (marker == SOD) break;
            const size_t segment = ByteCursor::peek16(bytes + pos + 2);
            if (segment < 2 || size - pos - 2 < segment) return;
            if (marker == COD || marker == COC) mergeCoding(marker, bytes + pos + 4, segment - 2);
            pos += 2 + segment;
        }
        if (psot < 14 || size - start < psot) return;
        pos = start + psot;
    }
}

uint64_t CodestreamHeader::decodeMemory(uint32_t reduce, const GridRect& area) const
{
    // Sizes of OpenJPEG 2.5's structures, rounded up: a code-block with its two tag-tree
    // leaves and their share of the inner nodes, and a precinct of one sub-band.
    constexpr uint64_t kPerCodeBlock = 256;
    constexpr uint64_t kPerPrecinct = 160;
    const uint64_t tw = uint64_t(xsiz) - xosiz, th = uint64_t(ysiz) - yosiz;
    const uint32_t resolutions = m_mostDecompositions + 1u;
    const uint32_t pp = m_smallestPrecinctExp;
    uint64_t structures = 0, widestPrecincts = 1;
    for (const CodestreamComponent& comp : components) {
        const uint64_t cw = (tw + comp.dx - 1) / comp.dx, ch = (th + comp.dy - 1) / comp.dy;
        for (uint32_t r = 0; r < resolutions; ++r) {
            const uint32_t shift = resolutions - 1 - r;
            const uint64_t rw = shift >= 64 ? 1 : std::max<uint64_t>(1, (cw + (uint64_t(1) << shift) - 1) >> shift);
            const uint64_t rh = shift >= 64 ? 1 : std::max<uint64_t>(1, (ch + (uint64_t(1) << shift) - 1) >> shift);
            const uint64_t precincts = ((rw >> pp) + 2) * ((rh >> pp) + 2);
            widestPrecincts = std::max(widestPrecincts, precincts);
            // Code-blocks cover every cell of every sub-band; one more row and column of them
            // per precinct where precinct edges cut them.
            const uint64_t bands = r == 0 ? 1 : 3;
            const uint64_t bw = r == 0 ? rw : rw / 2 + 1, bh = r == 0 ? rh : rh / 2 + 1;
            const uint64_t blocks = ((bw * bh) >> m_smallestBlockExp) + 2 * precincts + bw + bh;
            structures += bands * (precincts * kPerPrecinct + blocks * kPerCodeBlock);
        }
    }
    // The packet iterator keeps one 16-bit flag per layer, resolution, component and precinct.
    const uint64_t iterator =
        (uint64_t(std::max(layers, m_mostLayers)) + 1) * resolutions * components.size() * widestPrecincts * 2;
    // Decoded cells at the reduced resolution: the tile's buffers and the image handed back.
    const uint32_t level = std::min<uint32_t>(reduce, 63);
    const uint64_t aw = ((uint64_t(area.x1) - area.x0) >> level) + 2, ah = ((uint64_t(area.y1) - area.y0) >> level) + 2;
    const uint64_t cells = 2 * aw * ah * components.size() * sizeof(int32_t);
    return structures + iterator + cells;
}

void CodestreamHeader::parseCom(const uint8_t* body, size_t length)
{
    if (length < 2 || !comment.empty() || ByteCursor::peek16(body) != 1) return;
    std::string text(reinterpret_cast<const char*>(body + 2), length - 2);
    while (!text.empty() && text.back() == '\0') text.pop_back();
    comment = text;
}

CError CodestreamHeader::finish()
{
    if (!m_sawCod) return damaged("it has no COD marker");
    for (size_t i = 0; i < components.size(); ++i)
        components[i].decompositions = m_cocDecompositions[i] != 0xFF ? m_cocDecompositions[i] : decompositions;
    readTileLengths();
    return splitPackedHeaders();
}

// A damaged length index is no reason to refuse the image: the tile-parts are then found by
// walking them, as for a code-stream without one.
void CodestreamHeader::readTileLengths()
{
    std::stable_sort(m_tlmSegments.begin(), m_tlmSegments.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    tileLengths.clear();
    for (const auto& segment : m_tlmSegments) {
        const std::vector<uint8_t>& b = segment.second;  // Stlm, then the entries
        const uint32_t tileBytes = (b[0] >> 4) & 3, lengthBytes = (b[0] & 0x40) ? 4 : 2;
        const size_t entry = tileBytes + lengthBytes;
        if (tileBytes == 3 || (b.size() - 1) % entry != 0) m_tlmBroken = true;
        for (size_t pos = 1; !m_tlmBroken && pos + entry <= b.size(); pos += entry) {
            TileLength t;
            // Without tile numbers every tile has one tile-part, in tile order.
            t.tile = tileBytes == 0   ? static_cast<uint32_t>(tileLengths.size())
                     : tileBytes == 1 ? b[pos]
                                      : ByteCursor::peek16(&b[pos]);
            t.length =
                lengthBytes == 4 ? ByteCursor::peek32(&b[pos + tileBytes]) : ByteCursor::peek16(&b[pos + tileBytes]);
            tileLengths.push_back(t);
        }
    }
    m_tlmSegments.clear();
    if (m_tlmBroken) tileLengths.clear();
}

CError CodestreamHeader::splitPackedHeaders()
{
    // Encoders may write the segments in any order; their index says where each belongs.
    std::stable_sort(m_ppmSegments.begin(), m_ppmSegments.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<uint8_t> all;
    for (const auto& segment : m_ppmSegments) all.insert(all.end(), segment.second.begin(), segment.second.end());
    m_ppmSegments.clear();
    size_t pos = 0;
    while (pos < all.size()) {
        if (all.size() - pos < 4) return damaged("the packed packet headers are cut short");
        const uint32_t n = ByteCursor::peek32(all.data() + pos);
        pos += 4;
        if (n > all.size() - pos) return damaged("the packed packet headers are cut short");
        m_ppmChunks.emplace_back(all.begin() + static_cast<std::ptrdiff_t>(pos),
                                 all.begin() + static_cast<std::ptrdiff_t>(pos + n));
        pos += n;
    }
    return {};
}

const std::vector<uint8_t>* CodestreamHeader::packedHeaders(uint32_t sequence) const
{
    return sequence < m_ppmChunks.size() ? &m_ppmChunks[sequence] : nullptr;
}

GridRect CodestreamHeader::tileBounds(uint32_t tile) const
{
    const uint64_t p = tile % tilesAcross, q = tile / tilesAcross;
    GridRect r;
    r.x0 = static_cast<uint32_t>(std::max<uint64_t>(xtosiz + p * xtsiz, xosiz));
    r.y0 = static_cast<uint32_t>(std::max<uint64_t>(ytosiz + q * ytsiz, yosiz));
    r.x1 = static_cast<uint32_t>(std::min<uint64_t>(xtosiz + (p + 1) * xtsiz, xsiz));
    r.y1 = static_cast<uint32_t>(std::min<uint64_t>(ytosiz + (q + 1) * ytsiz, ysiz));
    return r;
}

bool CodestreamHeader::tileHasSamples(uint32_t tile) const
{
    const GridRect t = tileBounds(tile);
    for (const CodestreamComponent& c : components)
        if (ceilDiv(t.x0, c.dx) < ceilDiv(t.x1, c.dx) && ceilDiv(t.y0, c.dy) < ceilDiv(t.y1, c.dy)) return true;
    return false;
}

uint32_t CodestreamHeader::minResolutions() const
{
    uint32_t n = kMaxDecompositions + 1;
    for (const CodestreamComponent& comp : components) n = std::min<uint32_t>(n, comp.decompositions + 1u);
    return n;
}

uint32_t CodestreamHeader::maxResolutions() const
{
    uint32_t n = 1;
    for (const CodestreamComponent& comp : components) n = std::max<uint32_t>(n, comp.decompositions + 1u);
    return n;
}

std::vector<uint8_t> CodestreamHeader::headerForTile(uint32_t tile) const
{
    std::vector<uint8_t> header = m_keptHeader;
    const GridRect t = tileBounds(tile);
    // SIZ fields after marker, length and Rsiz: Xsiz Ysiz XOsiz YOsiz XTsiz YTsiz XTOsiz YTOsiz.
    uint8_t* siz = header.data() + m_sizOffset + 6;
    const uint32_t fields[8] = {t.x1, t.y1, t.x0, t.y0, t.x1 - t.x0, t.y1 - t.y0, t.x0, t.y0};
    for (int i = 0; i < 8; ++i) ByteCursor::put32(siz + 4 * i, fields[i]);
    return header;
}

}  // namespace Engine
}  // namespace PLK
