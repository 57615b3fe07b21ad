#include "jp2/TilePartIndex.h"

#include <algorithm>

#include "jp2/ByteCursor.h"

namespace PLK {
namespace Engine {

namespace {
constexpr uint32_t kSotBytes = 12;
constexpr uint32_t kMinTilePart = kSotBytes + 2;  // SOT segment and SOD marker
constexpr size_t kScanChunk = 64 * 1024;
}  // namespace

void TilePartIndex::build(ByteSource& source, uint64_t firstSot, uint64_t end, const CodestreamHeader& header)
{
    const uint32_t tileCount = header.tileCount();
    m_tiles.assign(tileCount, {});
    m_expected.resize(tileCount);
    for (uint32_t t = 0; t < tileCount; ++t) m_expected[t] = header.tileHasSamples(t);
    m_damage.clear();
    m_sequence = 0;
    TilePart* previous = nullptr;
    uint64_t pos = firstSot;
    while (end - std::min(end, pos) >= 2) {
        TilePart part;
        uint16_t tile = 0;
        const SotRead read = readSot(source, pos, end, part, tile);
        if (read == SotRead::End) break;
        if (read == SotRead::Invalid) {
            noteDamage("there is no tile-part header at byte " + std::to_string(pos));
            // A wrong length either overshoots the next tile-part (look inside the previous
            // one) or the header at `pos` itself is damaged (look after it).
            const uint64_t next = resynchronise(source, previous ? previous->offset + kSotBytes : pos + 1, end);
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
        pos += part.length;
    }
    if (const uint32_t missing = missingTiles())
        noteDamage(std::to_string(missing) + " of " + std::to_string(tileCount) + " tiles are missing");
}

TilePartIndex::SotRead TilePartIndex::readSot(ByteSource& source, uint64_t offset, uint64_t end, TilePart& part,
                                              uint16_t& tile)
{
    uint8_t b[kSotBytes];
    const size_t want = static_cast<size_t>(std::min<uint64_t>(kSotBytes, end - offset));
    if (want < 2 || !source.readExact(offset, b, want)) return SotRead::Invalid;
    if (ByteCursor::peek16(b) == CodestreamHeader::EOC) return SotRead::End;
    if (want < kSotBytes) return SotRead::Invalid;
    ByteCursor c(b, kSotBytes);
    if (c.u16() != CodestreamHeader::SOT || c.u16() != 10) return SotRead::Invalid;
    tile = c.u16();
    const uint32_t psot = c.u32();
    part.index = c.u8();
    part.count = c.u8();
    if (tile >= m_tiles.size() || (psot != 0 && psot < kMinTilePart)) return SotRead::Invalid;
    if (part.count != 0 && part.index >= part.count) return SotRead::Invalid;
    part.offset = offset;
    part.psot = psot;
    const uint64_t available = end - offset;
    if (psot == 0) {  // the last tile-part runs to the end of the code-stream
        uint64_t length = available;
        if (length >= kMinTilePart + 2 && isEndOfCodestream(source, end - 2, end)) length -= 2;
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

uint64_t TilePartIndex::resynchronise(ByteSource& source, uint64_t from, uint64_t end)
{
    std::vector<uint8_t> chunk(kScanChunk);
    for (uint64_t at = from; at + 1 < end;) {
        const size_t want = static_cast<size_t>(std::min<uint64_t>(kScanChunk, end - at));
        const int64_t got = source.readAt(at, chunk.data(), want);
        if (got < 2) return end;
        for (int64_t i = 0; i + 1 < got; ++i) {
            if (chunk[i] != 0xFF || chunk[i + 1] != 0x90) continue;
            TilePart probe;
            uint16_t tile = 0;
            if (readSot(source, at + i, end, probe, tile) == SotRead::TilePart) return at + i;
        }
        at += static_cast<uint64_t>(got - 1);  // a marker may straddle two chunks
    }
    return end;
}

bool TilePartIndex::isEndOfCodestream(ByteSource& source, uint64_t offset, uint64_t end)
{
    uint8_t b[2];
    return end - offset >= 2 && source.readExact(offset, b, 2) && ByteCursor::peek16(b) == CodestreamHeader::EOC;
}

void TilePartIndex::noteDamage(const std::string& what)
{
    if (m_damage.empty()) m_damage = what;
}

bool TilePartIndex::complete(uint32_t tile) const
{
    const std::vector<TilePart>& list = m_tiles[tile];
    if (list.empty()) return false;
    if (list.back().truncated) return false;
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
