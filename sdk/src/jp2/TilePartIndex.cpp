#include "jp2/TilePartIndex.h"

#include <algorithm>
#include <chrono>
#include <map>

#include "jp2/ByteCursor.h"

namespace PLK {
namespace Engine {

namespace {
constexpr uint32_t kSotBytes = 12;
constexpr uint32_t kMinTilePart = kSotBytes + 2;  // SOT segment and SOD marker
constexpr size_t kScanChunk = 64 * 1024;
// A tile-part's index within its tile is one byte: a tile never has more parts than this. More
// in a file are damage, and left out so that a tile never costs more reads than this.
constexpr size_t kMaxPartsPerTile = 255;
// Tile-parts up to a quarter of this long are walked from one read of this many bytes; past
// that, reading just the next header costs less than reading ahead.
constexpr size_t kWindow = 256 * 1024;
// Over a network a walk costs a round trip per tile-part. Headers are instead looked for all
// at once: a few bytes at every place the chains of tile-part lengths lead to, and a small
// window where the part after that is likely to start, all in one batch of reads per round.
constexpr size_t kHeaderBytes = 16;
constexpr uint64_t kProbeHalfWidth = 256;
constexpr uint64_t kProbeBudgetMin = 64 * 1024;  // bytes of windows, at least (a quarter of a percent beyond)
constexpr uint32_t kMaxRounds = 4096;
constexpr uint32_t kClusterWidth = 2048;
// When a round trip is slow, the chains are cut short once by reading wide windows spread over
// the file, each wider than any tile-part seen so that it holds a header: a twentieth of the
// code-stream at most, for rounds cut tenfold.
constexpr double kSlowRoundMs = 10;
constexpr uint32_t kSlowStreak = 3;  // slow rounds in a row that make the link a slow one
constexpr uint64_t kSampleShare = 20;
constexpr uint64_t kMaxSamples = 32;
constexpr uint64_t kMaxSampleBytes = 64u << 20;  // held in memory while the index is built

/// The length most tile-parts of `sorted` lengths come close to: the middle of the densest
/// span of kClusterWidth bytes. Rate-controlled encoders fill most tiles to the same budget,
/// while the rest (plain areas, edge tiles) scatter below it.
uint32_t likelyLength(const std::vector<uint32_t>& sorted)
{
    size_t best = 0, bestCount = 0;
    for (size_t i = 0, j = 0; i < sorted.size(); ++i) {
        while (j < sorted.size() && sorted[j] - sorted[i] <= kClusterWidth) ++j;
        if (j - i > bestCount) {
            bestCount = j - i;
            best = i + (j - i - 1) / 2;
        }
    }
    return sorted[best];
}
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
        if (const uint8_t* b = known(offset, length, got)) return b;
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
    /// Bytes read ahead of the walk (tile-part headers found by probing), at their offsets.
    std::map<uint64_t, std::vector<uint8_t>> prefetched;
    void addPrefetched(uint64_t offset, std::vector<uint8_t> bytes)
    {
        m_longestPrefetched = std::max<uint64_t>(m_longestPrefetched, bytes.size());
        prefetched[offset] = std::move(bytes);
    }
    /// The prefetched bytes at `offset`: all `length` of them, or those up to the end. Reads
    /// may overlap (a header inside a wide window), so every one that could hold them is tried.
    const uint8_t* known(uint64_t offset, size_t length, size_t* got) const
    {
        for (auto it = prefetched.upper_bound(offset); it != prefetched.begin();) {
            --it;
            const uint64_t from = offset - it->first;
            if (from >= m_longestPrefetched) break;
            const std::vector<uint8_t>& bytes = it->second;
            if (from >= bytes.size()) continue;
            const size_t available = bytes.size() - static_cast<size_t>(from);
            if (available < length && it->first + bytes.size() < m_end) continue;
            *got = std::min(length, available);
            return bytes.data() + from;
        }
        return nullptr;
    }
    uint64_t end() const { return m_end; }
    ByteSource& source() { return m_source; }
    /// Whether the next header is worth reading ahead for: the tile-parts are short.
    bool readAhead = true;

private:
    ByteSource& m_source;
    uint64_t m_end;
    uint32_t& m_reads;
    uint64_t m_start = 0;
    std::vector<uint8_t> m_bytes;
    uint64_t m_longestPrefetched = 0;
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
        if (source.isRemote()) probeHeaders(reader, firstSot, end);
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
        if (list.size() >= kMaxPartsPerTile) return false;
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

// Finds the offsets the walk will visit without a round trip for each: every round reads, in one
// batch, the header at the end of every chain of tile-parts known so far (where the chain from
// the first tile-part goes next, and where chains started at headers found by probing go), and,
// when round trips are slow, a small window where the tile-part after that would start if it
// were as long as others with the same index. Inside entropy-coded data 0xFF is never followed by a byte above 0x8F, so
// a plausible SOT header in a window is a real one; a wrong one would only start a chain the first never joins. The
// walk then runs as always, over the bytes read here: the index is exactly the walk's, and where the probing fell short
// the walk reads for itself.
void TilePartIndex::probeHeaders(HeaderReader& reader, uint64_t firstSot, uint64_t end)
{
    struct Header {
        uint32_t psot = 0;
        uint8_t index = 0;
        uint8_t count = 0;
    };
    std::map<uint64_t, Header> headers;  // plausible SOT headers among the bytes read
    const auto parse = [&](uint64_t offset, Header& h) {
        size_t got = 0;
        const uint8_t* b = reader.known(offset, kSotBytes, &got);
        if (!b || got < kSotBytes) return false;
        ByteCursor c(b, kSotBytes);
        if (c.u16() != CodestreamHeader::SOT || c.u16() != 10 || c.u16() >= m_tiles.size()) return false;
        h.psot = c.u32();
        h.index = c.u8();
        h.count = c.u8();
        return h.psot >= kMinTilePart && h.psot <= end - offset && (h.count == 0 || h.index < h.count);
    };
    const auto scan = [&](uint64_t from, const std::vector<uint8_t>& bytes) {
        for (size_t i = 0; i + 1 < bytes.size(); ++i) {
            Header h;
            if (bytes[i] == 0xFF && bytes[i + 1] == 0x90 && parse(from + i, h)) headers[from + i] = h;
        }
    };
    const uint64_t budget = std::max<uint64_t>(kProbeBudgetMin, (end - firstSot) / 400);
    uint64_t spent = 0;
    bool sampled = false;
    // Guessing costs bytes that only a slow round trip is worth; reads served at once (a near
    // server, the disk cache) follow the chains alone, so a second open through the disk cache
    // asks for nothing the first did not read.
    bool slow = false;
    uint32_t streak = 0;
    const auto readBatch = [&](std::vector<RangeRead>& reads, std::vector<std::vector<uint8_t>>& buffers) {
        for (size_t i = 0; i < reads.size(); ++i) reads[i].buffer = buffers[i].data();
        ++m_reads;
        if (reader.source().readRanges(reads) != ReadStatus::Ok) return false;  // the walk meets the fault itself
        for (size_t i = 0; i < reads.size(); ++i) {
            buffers[i].resize(static_cast<size_t>(std::max<int64_t>(reads[i].read, 0)));
            reader.addPrefetched(reads[i].offset, std::move(buffers[i]));
        }
        for (const RangeRead& r : reads) scan(r.offset, reader.prefetched[r.offset]);
        return true;
    };
    // Wide windows spread evenly over [from, end), once.
    const auto sample = [&](uint64_t from) {
        sampled = true;
        uint32_t longest = 0;
        for (const auto& entry : headers) longest = std::max(longest, entry.second.psot);
        const uint64_t width = longest + longest / 2, span = end - from;
        const uint64_t count =
            width ? std::min({kMaxSamples, span / kSampleShare / width, kMaxSampleBytes / width}) : 0;
        if (count < 2) return true;
        std::vector<RangeRead> reads;
        std::vector<std::vector<uint8_t>> buffers;
        for (uint64_t i = 0; i < count; ++i) {
            const uint64_t centre = from + (2 * i + 1) * span / (2 * count);
            const uint64_t start = std::max(from, centre - std::min(centre, width / 2));
            buffers.emplace_back(static_cast<size_t>(std::min(width, end - start)));
            reads.push_back(RangeRead{start, buffers.back().size(), nullptr});
        }
        return readBatch(reads, buffers);
    };
    for (uint32_t round = 0; round < kMaxRounds; ++round) {
        // How far the chain from the first tile-part is known.
        uint64_t pos = firstSot;
        Header h;
        while (end - std::min(end, pos) >= 2 && parse(pos, h) && h.psot != 0) pos += h.psot;
        // Whether the header at `offset` (or the end marker) has been read.
        const auto held = [&](uint64_t offset) {
            size_t got = 0;
            return reader.known(offset, static_cast<size_t>(std::min<uint64_t>(kSotBytes, end - offset)), &got) !=
                   nullptr;
        };
        if (end - std::min(end, pos) < kMinTilePart || held(pos)) return;  // done, or damage for the walk
        // Ends of every chain at or after it, and where the part after each would start.
        std::map<uint64_t, uint64_t> tips;  // offset -> predicted next offset (0: none)
        const bool guessing = slow && spent < budget;
        std::map<uint8_t, std::vector<uint32_t>> lengths;
        if (guessing)
            for (const auto& entry : headers) lengths[entry.second.index].push_back(entry.second.psot);
        for (auto& entry : lengths) std::sort(entry.second.begin(), entry.second.end());
        for (const auto& entry : headers) {
            const uint64_t next = entry.first + entry.second.psot;
            if (next < pos || end - std::min(end, next) < kMinTilePart || held(next)) continue;
            const uint8_t nextIndex = entry.second.count != 0 && entry.second.index + 1 >= entry.second.count
                                          ? 0
                                          : static_cast<uint8_t>(entry.second.index + 1);
            auto same = lengths.find(nextIndex);
            tips[next] =
                !guessing ? 0 : next + likelyLength(same != lengths.end() ? same->second : lengths.begin()->second);
        }
        tips.emplace(pos, 0);
        std::vector<RangeRead> reads;
        std::vector<std::vector<uint8_t>> buffers;
        for (const auto& tip : tips) {
            buffers.emplace_back(static_cast<size_t>(std::min<uint64_t>(kHeaderBytes, end - tip.first)));
            reads.push_back(RangeRead{tip.first, buffers.back().size(), nullptr});
            const uint64_t guess = tip.second;
            if (guess == 0 || spent >= budget || guess + kProbeHalfWidth >= end) continue;
            auto after = headers.upper_bound(tip.first);
            if (after != headers.end() && after->first <= guess + kProbeHalfWidth) continue;  // known there already
            const uint64_t from = std::max(tip.first + kMinTilePart, guess - std::min(guess, kProbeHalfWidth));
            buffers.emplace_back(static_cast<size_t>(guess + kProbeHalfWidth - from));
            reads.push_back(RangeRead{from, buffers.back().size(), nullptr});
            spent += buffers.back().size();
        }
        const auto started = std::chrono::steady_clock::now();
        if (!readBatch(reads, buffers)) return;
        const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - started;
        streak = took.count() >= kSlowRoundMs ? streak + 1 : 0;
        slow = slow || streak >= kSlowStreak;
        if (slow && !sampled && !sample(pos)) return;
    }
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
        if (m_tiles[tile].size() >= kMaxPartsPerTile) {
            noteDamage("tile " + std::to_string(tile) + " has more tile-parts than a tile can have");
            previous = nullptr;
        } else {
            m_tiles[tile].push_back(part);
            previous = &m_tiles[tile].back();
        }
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
