#include "xrv/HtBlockCodec.h"

#include <algorithm>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <stdexcept>
#include <utility>

// ojph_arch.h (through ojph_file.h) defines what the other OpenJPH headers use: it goes first.
#include <openjph/ojph_file.h>
#include <openjph/ojph_codestream.h>
#include <openjph/ojph_mem.h>
#include <openjph/ojph_message.h>
#include <openjph/ojph_params.h>

namespace PLK {
namespace Engine {

namespace {

// OpenJPH reports through process-wide handlers that print and, for errors, throw. Ours stay
// silent and throw one exception type carrying the text, which every call here catches.
struct CodecError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class QuietInfo : public ojph::message_info {
public:
    void operator()(int, const char*, int, const char*, ...) override {}
};
class QuietWarning : public ojph::message_warning {
public:
    void operator()(int, const char*, int, const char*, ...) override {}
};
class ThrowingError : public ojph::message_error {
public:
    void operator()(int, const char*, int, const char* fmt, ...) override
    {
        char text[256];
        va_list args;
        va_start(args, fmt);
        std::vsnprintf(text, sizeof text, fmt, args);
        va_end(args);
        throw CodecError(text);
    }
};

void installHandlers()
{
    static std::once_flag once;
    std::call_once(once, [] {
        static QuietInfo info;
        static QuietWarning warning;
        static ThrowingError error;
        ojph::configure_info(&info);
        ojph::configure_warning(&warning);
        ojph::configure_error(&error);
        // Some OpenJPH releases keep their own handlers whatever is configured: they print every
        // damaged block to the process's error output (and throw a bare error). Theirs print
        // to nowhere.
        if (std::FILE* sink = std::fopen("/dev/null", "w")) {
            ojph::set_info_stream(sink);
            ojph::set_warning_stream(sink);
            ojph::set_error_stream(sink);
        }
    });
}

uint16_t be16(const uint8_t* p)
{
    return static_cast<uint16_t>(p[0] << 8 | p[1]);
}
uint32_t be32(const uint8_t* p)
{
    return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3];
}

// Where the markers of interest lie in a single-tile code-stream.
struct StreamLayout {
    uint32_t width = 0, height = 0;
    uint32_t components = 0;
    uint32_t decompositions = 0;
    uint32_t cbWidthLog = 6, cbHeightLog = 6;
    bool precincts = false;  ///< precinct partition present (we do not follow those)
    size_t sot = 0;          ///< offset of the SOT marker
    size_t data = 0;         ///< first byte after SOD
    size_t dataEnd = 0;      ///< end of the tile-part's data
};

// The subbands a quantisation marker's steps cover, from its style byte on (`n` bytes), and
// whether they are the reversible form (one byte each) or the irreversible one (two bytes each);
// 0 for any other form, which our encoder never writes.
uint32_t quantisedBands(const uint8_t* q, size_t n, bool& reversible)
{
    if (n < 2) return 0;
    reversible = (q[0] & 0x1F) == 0;
    if (reversible) return static_cast<uint32_t>(n - 1);
    return (q[0] & 0x1F) == 2 && (n - 1) % 2 == 0 ? static_cast<uint32_t>((n - 1) / 2) : 0;
}

bool readLayout(const uint8_t* s, size_t n, StreamLayout& l)
{
    if (n < 4 || be16(s) != 0xFF4F) return false;
    size_t p = 2;
    bool haveSiz = false, haveCod = false, reversible = false;
    // OpenJPH takes the decomposition count of the quantisation markers from their length and
    // stops the process when it differs from the coding style's: every one must match it.
    std::vector<std::pair<uint32_t, bool>> quantisation;
    while (p + 4 <= n) {
        const uint16_t marker = be16(s + p);
        if (marker == 0xFF90) break;
        const uint16_t len = be16(s + p + 2);
        if (len < 2 || p + 2 + len > n) return false;
        const uint8_t* m = s + p + 4;
        if (marker == 0xFF51 && len >= 38 && !haveSiz) {
            const uint32_t x1 = be32(m + 2), y1 = be32(m + 6), x0 = be32(m + 10), y0 = be32(m + 14);
            if (x0 != 0 || y0 != 0 || x1 == 0 || y1 == 0 || x1 > 8192 || y1 > 8192) return false;
            // One tile of the block's size at the origin (OpenJPH divides by the tile size).
            if (be32(m + 18) != x1 || be32(m + 22) != y1 || be32(m + 26) != 0 || be32(m + 30) != 0) return false;
            l.width = x1;
            l.height = y1;
            l.components = be16(m + 34);
            if (l.components == 0 || l.components > 4096 || len < 38u + 3u * l.components) return false;
            // Every component 1 to 16 bits, of one depth and signedness, not sub-sampled.
            for (uint32_t c = 0; c < l.components; ++c) {
                const uint8_t* comp = m + 36 + 3 * c;
                if ((comp[0] & 0x7F) > 15 || comp[0] != m[36] || comp[1] != 1 || comp[2] != 1) return false;
            }
            haveSiz = true;
        } else if (marker == 0xFF52 && len >= 12 && !haveCod) {
            l.precincts = (m[0] & 1) != 0;
            reversible = m[9] == 1;
            if (m[0] & 6) return false;  // SOP / EPH markers: not written by our encoder
            // RPCL, one layer, as written; OpenJPH stops the process on unknown orders.
            if (m[1] != 2 || be16(m + 2) != 1 || m[4] > 1 || m[9] > 1) return false;
            l.decompositions = m[5];
            if (m[5] > 32 || m[6] > 8 || m[7] > 8 || m[6] + m[7] > 8) return false;
            l.cbWidthLog = m[6] + 2u;
            l.cbHeightLog = m[7] + 2u;
            haveCod = true;
        } else if (marker == 0xFF5C || marker == 0xFF5D) {
            // QCC names its component in one byte, or two past 256 components (SIZ comes first).
            const size_t skip = marker == 0xFF5C ? 0 : l.components < 257 ? 1 : 2;
            if (!haveSiz || len < 2 + skip) return false;
            bool stepsReversible = false;
            const uint32_t bands = quantisedBands(m + skip, len - 2 - skip, stepsReversible);
            if (bands == 0 || (skip && (skip == 1 ? m[0] : be16(m)) >= l.components)) return false;
            quantisation.emplace_back(bands, stepsReversible);
        } else if (marker != 0xFF50 && marker != 0xFF64) {
            return false;  // only what our encoder writes (SIZ, CAP, COD, QCD, QCC, COM)
        }
        p += 2 + len;
    }
    if (!haveSiz || !haveCod || quantisation.empty() || p + 12 > n || be16(s + p) != 0xFF90) return false;
    for (const auto& q : quantisation)
        if (q.first != 3 * l.decompositions + 1 || q.second != reversible) return false;
    l.sot = p;
    // One tile, one tile-part, and SOD right after SOT, as our encoder writes it.
    if (be16(s + p + 2) != 10 || be16(s + p + 4) != 0 || s[p + 10] != 0 || s[p + 11] > 1) return false;
    const uint32_t psot = be32(s + p + 6);
    p += 12;
    if (p + 2 > n || be16(s + p) != 0xFF93) return false;
    l.data = p + 2;
    l.dataEnd = psot ? std::min(n, l.sot + psot) : n;
    return l.data <= l.dataEnd;
}

// Bits of a packet header, with the stuffed bit after every 0xFF byte skipped.
class HeaderBits {
public:
    HeaderBits(const uint8_t* s, size_t pos, size_t end) : m_s(s), m_pos(pos), m_end(end) {}
    bool bit(uint32_t& b)
    {
        if (m_left == 0) {
            if (m_pos >= m_end) return false;
            const bool afterFF = m_byte == 0xFF;
            m_byte = m_s[m_pos++];
            m_left = afterFF ? 7 : 8;
        }
        --m_left;
        b = (m_byte >> m_left) & 1u;
        return true;
    }
    bool bits(uint32_t count, uint32_t& v)
    {
        v = 0;
        for (uint32_t i = 0; i < count; ++i) {
            uint32_t b;
            if (!bit(b)) return false;
            v = v << 1 | b;
        }
        return true;
    }
    /// Position after the header: aligned, and past the stuffed byte after a final 0xFF (which
    /// OpenJPH reads whether or not the 0xFF's bits were all used).
    size_t end() const { return m_byte == 0xFF ? m_pos + 1 : m_pos; }
    /// Whether that stuffed byte is not 0xFF itself: OpenJPH stops the process on one.
    bool endSound() const { return m_byte != 0xFF || m_pos >= m_end || m_s[m_pos] != 0xFF; }

private:
    const uint8_t* m_s;
    size_t m_pos, m_end;
    uint8_t m_byte = 0;
    uint32_t m_left = 0;
};

// A tag tree over a grid of code-blocks, decoded the standard way.
class TagTree {
public:
    TagTree(uint32_t w, uint32_t h)
    {
        do {
            m_dims.push_back({w, h, m_nodes.size()});
            m_nodes.resize(m_nodes.size() + size_t(w) * h);
            w = (w + 1) / 2;
            h = (h + 1) / 2;
        } while (m_dims.back().w * m_dims.back().h > 1);
    }
    /// Decodes up to `threshold`; the leaf's value when known below it, else INT_MAX.
    bool decode(HeaderBits& in, uint32_t x, uint32_t y, int threshold, int& value)
    {
        int low = 0;
        for (size_t level = m_dims.size(); level-- > 0;) {
            Node& n = m_nodes[m_dims[level].base + size_t(y >> level) * m_dims[level].w + (x >> level)];
            low = std::max(low, n.low);
            while (low < threshold && low < n.value) {
                uint32_t b;
                if (!in.bit(b)) return false;
                if (b)
                    n.value = low;
                else
                    ++low;
            }
            n.low = low;
        }
        value = m_nodes[size_t(y) * m_dims[0].w + x].value;
        return true;
    }

private:
    struct Node {
        int value = INT_MAX;
        int low = 0;
    };
    struct Dim {
        uint32_t w, h;
        size_t base;
    };
    std::vector<Dim> m_dims;
    std::vector<Node> m_nodes;
};

uint32_t ceilDiv(uint32_t a, uint32_t shift)
{
    return static_cast<uint32_t>((uint64_t(a) + (uint64_t(1) << shift) - 1) >> shift);
}

// OpenJPH stops the process (an assertion) when the first bytes it reads of a code-block's MEL
// segment break the byte-stuffing rule (a byte after 0xFF above 0x8F). How many it reads first
// depends on where its buffer lies in memory, so all four are checked, exactly as it reads them;
// a segment it refuses by itself (lengths out of range) is left to it.
bool melStartSound(const uint8_t* cleanup, uint32_t length)
{
    if (length < 2) return true;
    const uint32_t mel = (uint32_t(cleanup[length - 1]) << 4) + (cleanup[length - 2] & 0xFu);
    if (mel < 2 || mel > length || mel > 4079) return true;
    const uint8_t* p = cleanup + length - mel;
    int left = int(mel) - 1;
    bool unstuff = false;
    for (int i = 0; i < 4; ++i) {
        if (unstuff && p[0] > 0x8F) return false;
        uint32_t d = left > 0 ? p[0] : 0xFFu;
        if (left == 1) d |= 0xFu;
        if (left-- > 0) ++p;
        unstuff = (d & 0xFFu) == 0xFFu;
    }
    return true;
}

// Reads one packet (header and body) of a precinct covering the whole resolution; returns the
// offset after it, or 0 when the header cannot be followed or a code-block's data would stop
// OpenJPH.
size_t skipPacket(const uint8_t* s, size_t pos, size_t end, const StreamLayout& l, uint32_t resolution,
                  uint64_t& budget)
{
    struct Band {
        uint32_t w, h;
    };
    std::vector<Band> bands;
    const uint32_t D = l.decompositions;
    if (resolution == 0) {
        bands.push_back({ceilDiv(l.width, D), ceilDiv(l.height, D)});
    } else {
        const uint32_t n = D - resolution + 1;
        const uint64_t half = uint64_t(1) << (n - 1);
        const auto extent = [&](uint32_t size, bool odd) {
            return odd ? static_cast<uint32_t>(size > half ? ((size - half) + (uint64_t(1) << n) - 1) >> n : 0)
                       : ceilDiv(size, n);
        };
        bands.push_back({extent(l.width, true), extent(l.height, false)});
        bands.push_back({extent(l.width, false), extent(l.height, true)});
        bands.push_back({extent(l.width, true), extent(l.height, true)});
    }
    HeaderBits in(s, pos, end);
    uint32_t nonEmpty;
    if (!in.bit(nonEmpty)) return 0;
    uint64_t body = 0;
    std::vector<std::pair<uint32_t, uint32_t>> segments;  // cleanup and refinement lengths
    if (nonEmpty) {
        for (const Band& b : bands) {
            if (b.w == 0 || b.h == 0) continue;
            const uint32_t cw = ceilDiv(b.w, l.cbWidthLog), ch = ceilDiv(b.h, l.cbHeightLog);
            // Bounded work whatever a damaged header claims: real blocks stay far below this.
            if (uint64_t(cw) * ch > budget) return 0;
            budget -= uint64_t(cw) * ch;
            TagTree inclusion(cw, ch), zeroPlanes(cw, ch);
            for (uint32_t y = 0; y < ch; ++y)
                for (uint32_t x = 0; x < cw; ++x) {
                    int included;
                    if (!inclusion.decode(in, x, y, 1, included)) return 0;
                    if (included != 0) continue;
                    int planes = INT_MAX;
                    for (int t = 1; planes >= t; ++t) {
                        if (t > 31 || !zeroPlanes.decode(in, x, y, t, planes)) return 0;
                    }
                    uint32_t passes = 1, v;
                    if (!in.bit(v)) return 0;
                    if (v) {
                        if (!in.bit(v)) return 0;
                        if (!v) {
                            passes = 2;
                        } else {
                            if (!in.bits(2, v)) return 0;
                            passes = 3 + v;
                            if (v == 3) {
                                if (!in.bits(5, v)) return 0;
                                passes = 6 + v;
                                if (v == 31) {
                                    if (!in.bits(7, v)) return 0;
                                    passes = 37 + v;
                                }
                            }
                        }
                    }
                    if (passes > 3) return 0;  // placeholder passes: not written by our encoder
                    uint32_t lblock = 3;
                    for (;;) {
                        if (!in.bit(v)) return 0;
                        if (!v) break;
                        if (++lblock > 30) return 0;  // lengths of more than 31 bits: damaged
                    }
                    uint32_t length, refinement = 0;
                    if (!in.bits(lblock, length)) return 0;
                    if (passes > 1) {
                        const uint32_t extra = passes - 1 == 2 ? 1 : 0;
                        if (!in.bits(lblock + extra, refinement)) return 0;
                    }
                    body += uint64_t(length) + refinement;
                    segments.emplace_back(length, refinement);
                }
        }
    }
    const uint64_t next = in.end() + body;
    if (next > end || !in.endSound()) return 0;
    size_t at = in.end();
    for (const auto& segment : segments) {
        if (!melStartSound(s + at, segment.first)) return 0;
        at += size_t(segment.first) + segment.second;
    }
    return static_cast<size_t>(next);
}

void setPsotAndEnd(std::vector<uint8_t>& s, const StreamLayout& l)
{
    // A cut stream ends where its data ends: the tile-part length says so, and EOC follows.
    const uint32_t psot = static_cast<uint32_t>(s.size() - l.sot);
    s[l.sot + 6] = uint8_t(psot >> 24);
    s[l.sot + 7] = uint8_t(psot >> 16);
    s[l.sot + 8] = uint8_t(psot >> 8);
    s[l.sot + 9] = uint8_t(psot);
    s.push_back(0xFF);
    s.push_back(0xD9);
}

}  // namespace

namespace {

// Follows the packets of the tile from its first; stops where the data ends. Returns where
// each complete resolution's packets end, and through `whole` whether the data ended exactly
// after a packet (false when a packet header cannot be followed or is cut short).
std::vector<uint32_t> walkPackets(const uint8_t* stream, const StreamLayout& l, bool& whole)
{
    std::vector<uint32_t> ends;
    size_t pos = l.data;
    uint64_t budget = uint64_t(1) << 22;
    whole = true;
    for (uint32_t r = 0; r <= l.decompositions && pos < l.dataEnd; ++r) {
        for (uint32_t c = 0; c < l.components && pos < l.dataEnd; ++c) {
            pos = skipPacket(stream, pos, l.dataEnd, l, r, budget);
            if (pos == 0) {
                whole = false;
                return ends;
            }
        }
        ends.push_back(static_cast<uint32_t>(pos));
    }
    return ends;
}

}  // namespace

std::vector<uint32_t> HtBlockCodec::resolutionEnds(const uint8_t* stream, size_t length, uint32_t components)
{
    StreamLayout l;
    if (!readLayout(stream, length, l) || l.precincts || l.components != components) return {};
    bool whole = false;
    std::vector<uint32_t> ends = walkPackets(stream, l, whole);
    // The headers were followed correctly only if the last packet ends where the data ends.
    if (!whole || ends.size() != l.decompositions + 1 || ends.back() != l.dataEnd) return {};
    ends.back() = static_cast<uint32_t>(length);
    return ends;
}

bool HtBlockCodec::encode(const HtBlockParams& p, const std::vector<const int32_t*>& planes, HtEncodedBlock& out,
                          std::string& error)
{
    installHandlers();
    try {
        ojph::codestream cs;
        ojph::param_siz siz = cs.access_siz();
        siz.set_image_extent(ojph::point(p.width, p.height));
        siz.set_num_components(p.components);
        for (uint32_t c = 0; c < p.components; ++c) siz.set_component(c, ojph::point(1, 1), p.bits, p.isSigned);
        siz.set_image_offset(ojph::point(0, 0));
        siz.set_tile_size(ojph::size(p.width, p.height));
        siz.set_tile_offset(ojph::point(0, 0));
        ojph::param_cod cod = cs.access_cod();
        cod.set_num_decomposition(p.decompositions);
        cod.set_block_dims(64, 64);
        cod.set_progression_order("RPCL");
        cod.set_color_transform(p.colourTransform && p.components >= 3);
        cod.set_reversible(p.reversible);
        if (!p.reversible) cs.access_qcd().set_irrev_quant(p.quantStep);
        cs.set_planar(false);

        ojph::mem_outfile file;
        file.open(size_t(p.width) * p.height * p.components / 4 + 4096);
        cs.write_headers(&file);
        ojph::ui32 next = 0;
        ojph::line_buf* line = cs.exchange(nullptr, next);
        for (uint32_t y = 0; y < p.height; ++y)
            for (uint32_t c = 0; c < p.components; ++c) {
                const int32_t* row = planes[next] + size_t(y) * p.width;
                std::copy(row, row + p.width, line->i32);
                line = cs.exchange(line, next);
            }
        cs.flush();
        const size_t size = static_cast<size_t>(file.tell());
        out.bytes.assign(file.get_data(), file.get_data() + size);
        cs.close();
    } catch (const std::exception& e) {
        error = e.what();
        return false;
    }
    out.resolutionEnds = resolutionEnds(out.bytes.data(), out.bytes.size(), p.components);
    if (out.resolutionEnds.empty())  // every level then needs the whole block: slower, still right
        out.resolutionEnds.assign(p.decompositions + 1, static_cast<uint32_t>(out.bytes.size()));
    return true;
}

bool HtBlockCodec::decode(const uint8_t* stream, size_t length, uint32_t reduction, bool resilient,
                          const Expected& expected, std::vector<std::vector<int32_t>>& out, uint32_t& outWidth,
                          uint32_t& outHeight, std::string& error)
{
    installHandlers();
    StreamLayout l;
    if (!readLayout(stream, length, l)) {
        error = "the block's code-stream header is damaged";
        return false;
    }
    if (l.width != expected.width || l.height != expected.height || l.components != expected.components) {
        error = "the block's code-stream does not describe the block";
        return false;
    }
    if (reduction > l.decompositions) {
        error = "the block has fewer resolution levels than asked for";
        return false;
    }
    // OpenJPH stops the process on some malformed packet headers and code-block data
    // (assertions), so no packet it has not been shown to follow reaches it.
    bool whole = false;
    if (l.precincts || (walkPackets(stream, l, whole), !whole)) {
        error = "the block's packets are damaged";
        return false;
    }
    std::vector<uint8_t> copy(stream, stream + length);
    if (length < 2 || be16(stream + length - 2) != 0xFFD9) setPsotAndEnd(copy, l);
    try {
        ojph::codestream cs;
        if (resilient) cs.enable_resilience();
        ojph::mem_infile file;
        file.open(copy.data(), copy.size());
        cs.read_headers(&file);
        cs.restrict_input_resolution(reduction, reduction);
        cs.set_planar(false);
        cs.create();
        ojph::param_siz siz = cs.access_siz();
        const uint32_t components = siz.get_num_components();
        outWidth = siz.get_recon_width(0);
        outHeight = siz.get_recon_height(0);
        for (uint32_t c = 1; c < components; ++c)
            if (siz.get_recon_width(c) != outWidth || siz.get_recon_height(c) != outHeight)
                throw CodecError("sub-sampled components are not used in XRV blocks");
        const uint32_t bits = siz.get_bit_depth(0);
        const bool isSigned = siz.is_signed(0);
        const int64_t lo = isSigned ? -(int64_t(1) << (bits - 1)) : 0;
        const int64_t hi = isSigned ? (int64_t(1) << (bits - 1)) - 1 : (int64_t(1) << bits) - 1;
        out.assign(components, std::vector<int32_t>(size_t(outWidth) * outHeight));
        for (uint32_t y = 0; y < outHeight; ++y)
            for (uint32_t i = 0; i < components; ++i) {
                ojph::ui32 c = 0;
                ojph::line_buf* line = cs.pull(c);
                if (c >= components) throw CodecError("unexpected component");
                int32_t* row = out[c].data() + size_t(y) * outWidth;
                for (uint32_t x = 0; x < outWidth; ++x)
                    row[x] = static_cast<int32_t>(std::min<int64_t>(hi, std::max<int64_t>(lo, line->i32[x])));
            }
        cs.close();
    } catch (const std::exception& e) {
        error = std::string("the block cannot be decoded (") + e.what() + ")";
        return false;
    }
    return true;
}

}  // namespace Engine
}  // namespace PLK
