#include "jp2/PacketLayout.h"

#include <algorithm>

#include "jp2/ByteCursor.h"

namespace PLK {
namespace Engine {

namespace {

int64_t floorShift(int64_t v, uint32_t s)
{
    return v >> s;  // arithmetic: rounds towards minus infinity
}

int64_t ceilShift(int64_t v, uint32_t s)
{
    return -((-v) >> s);
}

int64_t ceilDiv(int64_t v, int64_t d)
{
    return (v + d - 1) / d;  // v >= 0
}

// Code-block style bit of the high-throughput block coder: its packet headers differ.
constexpr uint8_t kHighThroughput = 0x40;

}  // namespace

bool PacketLayout::fail(const std::string& why)
{
    m_why = why;
    return false;
}

bool PacketLayout::build(const CodestreamHeader& header, uint32_t tile, uint64_t byteLimit)
{
    *this = PacketLayout();
    m_progression = header.progression;
    m_layers = header.layers;
    m_sop = header.sop;
    m_eph = header.eph;
    if (header.hasPoc) return fail("progression order changes");
    if (header.hasPackedHeaders()) return fail("packet headers packed in the main header");
    const bool resolutionMajor = m_progression == 1 || m_progression == 2 || (m_progression == 0 && m_layers == 1);
    if (!resolutionMajor) return fail("not a resolution-major progression");
    if (tile >= header.tileCount()) return fail("no such tile");
    if (!readCoding(header, header.headerForTile(tile))) return false;

    // Every component and resolution with data has one packet per layer at least, and every
    // packet one byte at least: a header claiming more than the bytes can hold is not walked.
    uint64_t claimed = 0;
    for (const Coding& c : m_coding) claimed += c.levels + 1u;
    if (claimed > byteLimit + 64) return fail("more resolutions than bytes");

    const GridRect t = header.tileBounds(tile);
    m_components.resize(m_coding.size());
    for (size_t c = 0; c < m_coding.size(); ++c) {
        Component& comp = m_components[c];
        comp.dx = header.components[c].dx;
        comp.dy = header.components[c].dy;
        comp.blockWidthExp = m_coding[c].blockWidthExp;
        comp.blockHeightExp = m_coding[c].blockHeightExp;
        comp.blockStyle = m_coding[c].blockStyle;
        if (comp.blockStyle & kHighThroughput) m_foreignBlocks = true;
        m_resolutions = std::max<uint32_t>(m_resolutions, m_coding[c].levels + 1u);
        for (uint32_t r = 1; r <= m_coding[c].levels; ++r)
            if (m_coding[c].precinctExps[r].first == 0 || m_coding[c].precinctExps[r].second == 0)
                return fail("a precinct narrower than its sub-bands");
        layOut(comp, m_coding[c], t);
    }
    m_packetsIn.assign(m_resolutions, 0);
    uint64_t total = 0;
    for (uint32_t r = 0; r < m_resolutions; ++r) {
        for (const Component& comp : m_components) {
            if (r >= comp.resolutions.size()) continue;
            const uint64_t precincts = comp.resolutions[r].precincts();
            if (precincts > byteLimit) return fail("more packets than bytes");
            m_packetsIn[r] += precincts * m_layers;  // below 2^48: no overflow
            if (m_packetsIn[r] > byteLimit) return fail("more packets than bytes");
        }
        total += m_packetsIn[r];
        if (total > byteLimit) return fail("more packets than bytes");
    }
    return true;
}

bool PacketLayout::readCoding(const CodestreamHeader& header, const std::vector<uint8_t>& mainHeader)
{
    const size_t count = header.components.size();
    Coding defaults;
    std::vector<Coding> own(count);
    std::vector<bool> hasOwn(count, false);
    auto readStyle = [](ByteCursor& c, bool precincts, Coding& out) {
        out.levels = c.u8();
        out.blockWidthExp = static_cast<uint8_t>(c.u8() + 2);
        out.blockHeightExp = static_cast<uint8_t>(c.u8() + 2);
        out.blockStyle = c.u8();
        c.u8();  // wavelet
        out.precinctExps.assign(out.levels + 1u, {15, 15});
        if (precincts) {
            for (auto& exps : out.precinctExps) {
                const uint8_t b = c.u8();
                exps = {static_cast<uint8_t>(b & 0x0F), static_cast<uint8_t>(b >> 4)};
            }
        }
        return c.ok() && out.levels <= CodestreamHeader::kMaxDecompositions && out.blockWidthExp <= 10 &&
               out.blockHeightExp <= 10 && out.blockWidthExp + out.blockHeightExp <= 12;
    };
    size_t pos = 2;
    const uint8_t* b = mainHeader.data();
    while (pos + 4 <= mainHeader.size()) {
        const uint16_t marker = ByteCursor::peek16(b + pos);
        if (marker <= 0xFF3F) {
            pos += 2;
            continue;
        }
        const size_t length = ByteCursor::peek16(b + pos + 2);
        if (length < 2 || pos + 2 + length > mainHeader.size()) return fail("a damaged main header");
        ByteCursor c(b + pos + 4, length - 2);
        if (marker == CodestreamHeader::COD) {
            const uint8_t scod = c.u8();
            c.skip(4);  // progression, layers, component transform
            if (!readStyle(c, (scod & 1) != 0, defaults)) return fail("a damaged COD marker");
        } else if (marker == CodestreamHeader::COC) {
            const uint32_t index = count < 257 ? c.u8() : c.u16();
            const uint8_t scoc = c.u8();
            if (index >= count) return fail("a COC marker for no component");
            if (!readStyle(c, (scoc & 1) != 0, own[index])) return fail("a damaged COC marker");
            hasOwn[index] = true;
        }
        pos += 2 + length;
    }
    m_coding.resize(count);
    for (size_t i = 0; i < count; ++i) m_coding[i] = hasOwn[i] ? own[i] : defaults;
    return true;
}

void PacketLayout::layOut(Component& comp, const Coding& coding, const GridRect& t) const
{
    const int64_t cx0 = ceilDiv(t.x0, comp.dx), cy0 = ceilDiv(t.y0, comp.dy);
    const int64_t cx1 = ceilDiv(t.x1, comp.dx), cy1 = ceilDiv(t.y1, comp.dy);
    comp.resolutions.resize(coding.levels + 1u);
    for (uint32_t r = 0; r <= coding.levels; ++r) {
        Resolution& res = comp.resolutions[r];
        const uint32_t n = coding.levels - r;
        res.x0 = ceilShift(cx0, n), res.y0 = ceilShift(cy0, n);
        res.x1 = ceilShift(cx1, n), res.y1 = ceilShift(cy1, n);
        res.ppx = coding.precinctExps[r].first;
        res.ppy = coding.precinctExps[r].second;
        if (res.x1 > res.x0 && res.y1 > res.y0) {
            res.across = static_cast<uint32_t>(ceilShift(res.x1, res.ppx) - floorShift(res.x0, res.ppx));
            res.down = static_cast<uint32_t>(ceilShift(res.y1, res.ppy) - floorShift(res.y0, res.ppy));
        }
        if (r == 0) {
            res.bx0[0] = res.x0, res.by0[0] = res.y0, res.bx1[0] = res.x1, res.by1[0] = res.y1;
            continue;
        }
        // HL, LH, HH: offset by half a cell of the next finer level horizontally, vertically, both.
        static const int xo[3] = {1, 0, 1}, yo[3] = {0, 1, 1};
        for (int b = 0; b < 3; ++b) {
            res.bx0[b] = ceilShift(cx0 - (int64_t(xo[b]) << n), n + 1);
            res.by0[b] = ceilShift(cy0 - (int64_t(yo[b]) << n), n + 1);
            res.bx1[b] = ceilShift(cx1 - (int64_t(xo[b]) << n), n + 1);
            res.by1[b] = ceilShift(cy1 - (int64_t(yo[b]) << n), n + 1);
        }
    }
}

uint64_t PacketLayout::packetsIn(uint32_t r) const
{
    return r < m_packetsIn.size() ? m_packetsIn[r] : 0;
}

uint64_t PacketLayout::packetsThrough(uint32_t r) const
{
    uint64_t n = 0;
    for (uint32_t i = 0; i <= r && i < m_packetsIn.size(); ++i) n += m_packetsIn[i];
    return n;
}

bool PacketLayout::sameGrids(uint32_t r) const
{
    const Component& first = m_components.front();
    bool allSame = true, atMostOne = true;
    for (const Component& comp : m_components) {
        if (r >= comp.resolutions.size()) {
            allSame = false;
            continue;
        }
        const Resolution& a = comp.resolutions[r];
        atMostOne = atMostOne && a.precincts() <= 1;
        if (r >= first.resolutions.size()) {
            allSame = false;
            continue;
        }
        const Resolution& f = first.resolutions[r];
        allSame = allSame && comp.dx == first.dx && comp.dy == first.dy && a.ppx == f.ppx && a.ppy == f.ppy &&
                  a.x0 == f.x0 && a.y0 == f.y0 && a.x1 == f.x1 && a.y1 == f.y1 &&
                  comp.resolutions.size() == first.resolutions.size();
    }
    return allSame || atMostOne;
}

bool PacketLayout::packet(uint32_t r, uint64_t k, Packet& out) const
{
    if (r >= m_resolutions || k >= m_packetsIn[r]) return false;
    const uint64_t layers = m_layers;
    uint64_t within = 0;       // index among the packets of one layer (layer-major) or of every layer
    if (m_progression == 2) {  // position, then component, then layer
        if (!sameGrids(r)) return false;
        out.layer = static_cast<uint32_t>(k % layers);
        const uint64_t slot = k / layers;
        // With one grid for all, the components take turns at each precinct; with at most one
        // precinct each, they simply follow each other.
        uint64_t withPrecincts = 0;
        for (const Component& comp : m_components)
            if (r < comp.resolutions.size() && comp.resolutions[r].precincts() > 0) ++withPrecincts;
        const Component& first = m_components.front();
        if (r < first.resolutions.size() && first.resolutions[r].precincts() > 1) {
            out.precinct = static_cast<uint32_t>(slot / withPrecincts);
            out.component = static_cast<uint32_t>(slot % withPrecincts);
            return true;
        }
        within = slot;
    } else {  // layer (then resolution), then component, then precinct
        const uint64_t perLayer = m_packetsIn[r] / layers;
        out.layer = static_cast<uint32_t>(k / perLayer);
        within = k % perLayer;
    }
    for (uint32_t c = 0; c < m_components.size(); ++c) {
        const Component& comp = m_components[c];
        const uint64_t n = r < comp.resolutions.size() ? comp.resolutions[r].precincts() : 0;
        if (within < n) {
            out.component = c;
            out.precinct = static_cast<uint32_t>(within);
            return true;
        }
        within -= n;
    }
    return false;
}

PacketLayout::BandBlocks PacketLayout::blocks(uint32_t component, uint32_t r, uint32_t precinct, uint32_t band) const
{
    BandBlocks out;
    const Component& comp = m_components[component];
    const Resolution& res = comp.resolutions[r];
    if (res.across == 0) return out;
    const uint32_t px = precinct % res.across, py = precinct / res.across;
    // Precincts of a resolution map onto its sub-bands at half their size.
    const uint32_t half = r == 0 ? 0 : 1;
    const uint32_t pw = res.ppx - half, ph = res.ppy - half;
    const int64_t gx = (floorShift(res.x0, res.ppx) << res.ppx) >> half,
                  gy = (floorShift(res.y0, res.ppy) << res.ppy) >> half;
    const int64_t startX = gx + (int64_t(px) << pw), startY = gy + (int64_t(py) << ph);
    const int64_t x0 = std::max(startX, res.bx0[band]), x1 = std::min(startX + (int64_t(1) << pw), res.bx1[band]);
    const int64_t y0 = std::max(startY, res.by0[band]), y1 = std::min(startY + (int64_t(1) << ph), res.by1[band]);
    if (x0 >= x1 || y0 >= y1) return out;
    const uint32_t cw = std::min<uint32_t>(comp.blockWidthExp, pw), ch = std::min<uint32_t>(comp.blockHeightExp, ph);
    out.across = static_cast<uint32_t>(ceilShift(x1, cw) - floorShift(x0, cw));
    out.down = static_cast<uint32_t>(ceilShift(y1, ch) - floorShift(y0, ch));
    return out;
}

}  // namespace Engine
}  // namespace PLK
