#include "jp2/TilePartIndex.h"

#include <algorithm>

#include "jp2/ByteCursor.h"

namespace PLK {
namespace Engine {

namespace {
constexpr uint32_t kSotBytes = 12;
constexpr uint32_t kMinTilePart = kSotBytes + 2;  // SOT segment and SOD marker
constexpr size_t kScanChunk = 64 * 1024;
// Tile-parts up to a quarter of this long are walked from one read of this many bytes; past
// that, reading just the next header costs less than reading ahead.
constexpr size_t kWindow = 256 * 1024;
}  // namespace

/// Serves the bytes of tile-part headers, reading ahead a window at a time while tile-parts are
/// short, so that a walk over many small tile-parts takes few reads of the source.
class TilePartIndex::HeaderReader {
public:
    HeaderReader(ByteSource& source, uint64_t end, uint32_t& reads) : m_source(source), m_end(end), m_reads(reads) {}

    /// The `length` bytes at `offset` (fewer only at the end), or null when they cannot be read.
    const uint8_t* at(uint64_t offset, size_t length, size_t* got, bool readAhead)
    {
        if (offset >= m_start && offset - m_start + length <= m_bytes.size()) {
            *got = length;
            return m_bytes.data() + (offset - m_start);
        }
        const uint64_t want = std::min<uint64_t>(readAhead ? std::max(kWindow, length) : length, m_end - offset);
        m_bytes.resize(static_cast<size_t>(want));
        ++m_reads;
        const int64_t n = m_source.readAt(offset, m_bytes.data(), m_bytes.size());
        m_start = offset;
        m_bytes.resize(n < 0 ? 0 : static_cast<size_t>(n));
        if (n < 0) return nullptr;
        *got = std::min(length, m_bytes.size());
        return m_bytes.data();
    }
    ByteSource& source() { return m_source; }
    /// Whether the next header is worth reading ahead for: the tile-parts are short.
    bool readAhead = true;

private:
    ByteSource& m_source;
    uint64_t m_end;
    uint32_t& m_reads;
    uint64_t m_start = 0;
    std::vector<uint8_t> m_bytes;
};

void TilePartIndex::reset(const CodestreamHeader& header)
{
    const uint32_t tileCount = header.tileCount();
    m_tiles.assign(tileCount, {});
    m_expected.resize(tileCount);
    for (uint32_t t = 0; t < tileCount; ++t) m_expected[t] = header.tileHasSamples(t);
    m_damage.clear();
    m_sequence = 0;
    m_fromLengthIndex = false;
}

void TilePartIndex::build(ByteSource& source, uint64_t firstSot, uint64_t end, const CodestreamHeader& header)
{
    m_reads = 0;
    HeaderReader reader(source, end, m_reads);
    reset(header);
    m_fromLengthIndex = !header.tileLengths.empty() && buildFromLengths(reader, firstSot, end, header.tileLengths);
    if (!m_fromLengthIndex) {
        reset(header);
        walk(reader, firstSot, end);
    }
    settle();
    if (const uint32_t missing = missingTiles())
        noteDamage(std::to_string(missing) + " of " + std::to_string(header.tileCount()) + " tiles are missing");
}

// The lengths must account for the code-stream exactly (up to its end marker) and the first
// tile-part must lie where they say; each tile-part's own header is checked when its bytes are
// read for a decode.
bool TilePartIndex::buildFromLengths(HeaderReader& reader, uint64_t firstSot, uint64_t end,
                                     const std::vector<TileLength>& lengths)
{
    uint64_t pos = firstSot;
    for (const TileLength& entry : lengths) {
        if (entry.tile >= m_tiles.size() || entry.length < kMinTilePart || entry.length > end - std::min(end, pos))
            return false;
        std::vector<TilePart>& list = m_tiles[entry.tile];
        if (list.size() > 255) return false;
        TilePart part;
        part.offset = pos;
        part.length = part.psot = entry.length;
        part.index = static_cast<uint8_t>(list.size());
        part.sequence = m_sequence++;
        list.push_back(part);
        pos += entry.length;
    }
    if (end - pos != 0 && end - pos != 2) return false;  // only the end marker may follow
    TilePart first;
    uint16_t tile = 0;
    reader.readAhead = false;
    return readSot(reader, firstSot, end, first, tile) == SotRead::TilePart && tile == lengths.front().tile &&
           (first.psot == 0 || first.psot == lengths.front().length);
}

void TilePartIndex::walk(HeaderReader& reader, uint64_t firstSot, uint64_t end)
{
    TilePart* previous = nullptr;
    uint64_t pos = firstSot;
    reader.readAhead = true;
    while (end - std::min(end, pos) >= 2) {
        TilePart part;
        uint16_t tile = 0;
        const SotRead read = readSot(reader, pos, end, part, tile);
        if (read == SotRead::End) break;
        if (read == SotRead::Invalid) {
            noteDamage("there is no tile-part header at byte " + std::to_string(pos));
            // A wrong length either overshoots the next tile-part (look inside the previous
            // one) or the header at `pos` itself is damaged (look after it).
            const uint64_t next = resynchronise(reader, previous ? previous->offset + kSotBytes : pos + 1, end);
            if (next >= end) break;
            if (previous && next < pos) previous->length = static_cast<uint32_t>(next - previous->offset);
            if (next == pos) break;  // cannot happen, but never go round in circles
            pos = next;
            continue;
        }
        part.sequence = m_sequence++;
        m_tiles[tile].push_back(part);
        previous = &m_tiles[tile].back();
        if (part.truncated) {
            noteDamage("the code-stream is cut short in tile " + std::to_string(tile));
            break;
        }
        reader.readAhead = part.length <= kWindow / 4;
        pos += part.length;
    }
}

TilePartIndex::SotRead TilePartIndex::readSot(HeaderReader& reader, uint64_t offset, uint64_t end, TilePart& part,
                                              uint16_t& tile)
{
    size_t got = 0;
    const uint8_t* b =
        reader.at(offset, static_cast<size_t>(std::min<uint64_t>(kSotBytes, end - offset)), &got, reader.readAhead);
    if (!b || got < 2) return SotRead::Invalid;
    if (ByteCursor::peek16(b) == CodestreamHeader::EOC) return SotRead::End;
    if (got < kSotBytes) return SotRead::Invalid;
    ByteCursor c(b, kSotBytes);
    if (c.u16() != CodestreamHeader::SOT || c.u16() != 10) return SotRead::Invalid;
    tile = c.u16();
    const uint32_t psot = c.u32();
    part.index = c.u8();
    part.count = c.u8();
    if (tile >= m_tiles.size() || (psot != 0 && psot < kMinTilePart)) return SotRead::Invalid;
    part.offset = offset;
    part.psot = psot;
    const uint64_t available = end - offset;
    if (psot == 0) {  // the last tile-part runs to the end of the code-stream
        uint64_t length = available;
        const uint8_t* last = length >= kMinTilePart + 2 ? reader.at(end - 2, 2, &got, false) : nullptr;
        if (last && got == 2 && ByteCursor::peek16(last) == CodestreamHeader::EOC) length -= 2;
        part.length = static_cast<uint32_t>(std::min<uint64_t>(length, UINT32_MAX));
        part.truncated = length > UINT32_MAX;
    } else if (psot > available) {
        part.length = static_cast<uint32_t>(available);
        part.truncated = true;
    } else {
        part.length = psot;
    }
    return SotRead::TilePart;
}

uint64_t TilePartIndex::resynchronise(HeaderReader& reader, uint64_t from, uint64_t end)
{
    std::vector<uint8_t> chunk(kScanChunk);
    for (uint64_t at = from; at + 1 < end;) {
        const size_t want = static_cast<size_t>(std::min<uint64_t>(kScanChunk, end - at));
        ++m_reads;
        const int64_t got = reader.source().readAt(at, chunk.data(), want);
        if (got < 2) return end;
        for (int64_t i = 0; i + 1 < got; ++i) {
            if (chunk[i] != 0xFF || chunk[i + 1] != 0x90) continue;
            TilePart probe;
            uint16_t tile = 0;
            if (readSot(reader, at + i, end, probe, tile) == SotRead::TilePart) return at + i;
        }
        at += static_cast<uint64_t>(got - 1);  // a marker may straddle two chunks
    }
    return end;
}

// Encoders slip: some announce one tile-part fewer than they write, some write a tile's parts
// out of order. The tile-parts the file holds are what counts: each tile's parts are put in
// the order of their indices, and an announced count below the parts found gives way to them.
void TilePartIndex::settle()
{
    for (std::vector<TilePart>& list : m_tiles) {
        std::stable_sort(list.begin(), list.end(),
                         [](const TilePart& a, const TilePart& b) { return a.index < b.index; });
        const uint8_t found = static_cast<uint8_t>(std::min<size_t>(list.size(), 255));
        for (TilePart& part : list)
            if (part.count != 0 && part.count < found) part.count = found;
    }
}

void TilePartIndex::noteDamage(const std::string& what)
{
    if (m_damage.empty()) m_damage = what;
}

bool TilePartIndex::complete(uint32_t tile) const
{
    const std::vector<TilePart>& list = m_tiles[tile];
    if (list.empty()) return false;
    if (std::any_of(list.begin(), list.end(), [](const TilePart& p) { return p.truncated; })) return false;
    const uint8_t announced = list.front().count;
    return announced == 0 || list.size() >= announced;
}

uint32_t TilePartIndex::missingTiles() const
{
    uint32_t missing = 0;
    for (size_t t = 0; t < m_tiles.size(); ++t) missing += m_expected[t] && m_tiles[t].empty();
    return missing;
}

}  // namespace Engine
}  // namespace PLK
