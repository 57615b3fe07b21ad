#include "jp2/LeadingPartIndex.h"

#include <algorithm>

#include "jp2/PacketHeaderWalker.h"

namespace PLK {
namespace Engine {

namespace {

// Beyond the guess from the level, for the tile-part header (with its packet lengths) and the
// packet headers of the coarsest resolutions.
constexpr uint64_t kGuessSlack = 4096;
// The most bytes one round of reads holds for a batch of tiles.
constexpr uint64_t kBatchBytes = 32u << 20;

}  // namespace

struct LeadingPartIndex::Entry {
    std::vector<uint64_t> ends;                  ///< per resolution, in the tile-part
    std::vector<uint64_t> packetsUpTo;           ///< packets of resolutions 0..r
    uint64_t packets = 0;                        ///< of the whole tile
    std::unique_ptr<PacketHeaderWalker> walker;  ///< kept while coarser levels may want more
    bool unknown = false;
    bool busy = false;  ///< another view is learning it
};

struct LeadingPartIndex::Work {
    uint32_t tile = 0;
    uint32_t resolution = 0;
    TilePart part;
    std::unique_ptr<PacketHeaderWalker> walker;
    uint64_t readEnd = 0;        ///< in the tile-part: how far the next read goes
    std::vector<uint8_t> bytes;  ///< the tile-part's head read so far
    bool done = false;
};

LeadingPartIndex::LeadingPartIndex(const CodestreamHeader& header, const TilePartIndex& index)
    : m_header(header), m_index(index)
{}

LeadingPartIndex::~LeadingPartIndex() = default;

bool LeadingPartIndex::candidate(uint32_t tile, uint32_t level, uint32_t& resolution) const
{
    const uint32_t resolutions = m_header.maxResolutions();
    if (level == 0 || level >= resolutions || tile >= m_index.tileCount()) return false;
    const std::vector<TilePart>& parts = m_index.parts(tile);
    if (parts.size() != 1 || parts[0].truncated || parts[0].index != 0 || parts[0].count > 1 || !m_index.complete(tile))
        return false;
    resolution = resolutions - 1 - level;
    return true;
}

bool LeadingPartIndex::plan(uint32_t tile, uint32_t level, Plan& out) const
{
    uint32_t r = 0;
    if (!candidate(tile, level, r)) return false;
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto it = m_tiles.find(tile);
    if (it == m_tiles.end() || it->second->ends.size() <= r) return false;
    const Entry& e = *it->second;
    out.bytes = e.ends[r];
    out.packetsBefore = e.packetsUpTo[r];
    out.packetsAfter = e.packets - e.packetsUpTo[r];
    return true;
}

void LeadingPartIndex::abandon(uint32_t tile)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    std::unique_ptr<Entry>& slot = m_tiles[tile];
    if (!slot) slot = std::make_unique<Entry>();
    slot->ends.clear();
    slot->unknown = true;
    if (!slot->busy) slot->walker.reset();
}

bool LeadingPartIndex::likelyHead(uint32_t tile, uint32_t level, uint64_t& bytes) const
{
    uint32_t r = 0;
    if (!candidate(tile, level, r)) return false;
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto it = m_tiles.find(tile);
    if (it != m_tiles.end() && it->second->ends.size() > r) {
        bytes = it->second->ends[r];
        return true;
    }
    if (it != m_tiles.end() && it->second->unknown) return false;
    bytes = std::min<uint64_t>(m_index.parts(tile).front().length, firstGuess(tile, level));
    return true;
}

uint64_t LeadingPartIndex::firstGuess(uint32_t tile, uint32_t level) const
{
    // Each finer resolution holds about three times the data of all coarser ones together.
    const uint64_t length = m_index.parts(tile).front().length;
    return (length * 2 >> std::min<uint32_t>(2 * level, 63)) + kGuessSlack;
}

bool LeadingPartIndex::startWork(uint32_t tile, uint32_t resolution, uint32_t level, std::vector<Work>& work)
{
    std::unique_ptr<Entry>& slot = m_tiles[tile];
    if (!slot) slot = std::make_unique<Entry>();
    Entry& e = *slot;
    if (e.unknown || e.busy || e.ends.size() > resolution) return false;
    Work w;
    w.tile = tile;
    w.resolution = resolution;
    w.part = m_index.parts(tile).front();
    if (!e.walker) {
        PacketLayout layout;
        if (!layout.build(m_header, tile, w.part.length)) {
            e.unknown = true;
            return false;
        }
        e.packets = layout.packetCount();
        for (uint32_t r = 0; r < layout.resolutions(); ++r) e.packetsUpTo.push_back(layout.packetsThrough(r));
        e.walker = std::make_unique<PacketHeaderWalker>(std::move(layout), w.part.length);
    }
    w.walker = std::move(e.walker);
    w.readEnd =
        std::min<uint64_t>(w.part.length, std::max(firstGuess(tile, level), w.walker->position() + kGuessSlack));
    e.busy = true;
    work.push_back(std::move(w));
    return true;
}

uint64_t LeadingPartIndex::nextReadEnd(const Work& w) const
{
    // The packets still to walk are guessed as large as those walked so far on average (packets
    // of one resolution are alike), with some to spare; past the packet the walk stopped in,
    // and a quarter further than the last read at least, so that odd layouts take few rounds.
    const PacketHeaderWalker& walker = *w.walker;
    const uint64_t position = walker.position(), walked = walker.packetsWalked();
    const uint64_t needed = walker.layout().packetsThrough(w.resolution);
    uint64_t estimate = 2 * w.readEnd;
    if (walked > 0 && walker.dataStart() > 0 && needed > walked) {
        const uint64_t perPacket = (position - walker.dataStart()) / walked;
        estimate = position + perPacket * (needed - walked) * 5 / 4;
    }
    const uint64_t next = std::max({estimate, position, w.readEnd + w.readEnd / 4}) + kGuessSlack;
    return std::min<uint64_t>(w.part.length, next);
}

void LeadingPartIndex::finishWork(Work& w, bool learnt)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    Entry& e = *m_tiles[w.tile];
    e.busy = false;
    if (e.unknown) return;  // abandoned meanwhile
    if (!learnt) {
        e.walker = std::move(w.walker);  // cancelled or unreadable: try again another time
        return;
    }
    e.ends = w.walker->ends();
    if (e.ends.size() <= w.resolution) {
        e.unknown = true;
        return;
    }
    // Coarse views never need the last resolution's end; past the one before, the walk is over.
    if (e.ends.size() + 1 < e.packetsUpTo.size()) e.walker = std::move(w.walker);
}

void LeadingPartIndex::learn(ByteSource& source, const std::vector<uint32_t>& tiles, uint32_t level,
                             const std::atomic<bool>* cancel, const KeepBytes& keep)
{
    std::vector<Work> work;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (uint32_t tile : tiles) {
            uint32_t r = 0;
            if (candidate(tile, level, r)) startWork(tile, r, level, work);
        }
    }
    // Batches of at most kBatchBytes read at once, so memory stays bounded however many tiles.
    for (size_t first = 0; first < work.size();) {
        size_t last = first;
        for (uint64_t bytes = 0; last < work.size() && (last == first || bytes < kBatchBytes); ++last)
            bytes += work[last].readEnd;
        if (!learnBatch(source, work.data() + first, last - first, cancel, keep)) {
            for (size_t i = first; i < work.size(); ++i)
                if (!work[i].done) finishWork(work[i], false);
            return;
        }
        first = last;
    }
}

bool LeadingPartIndex::learnBatch(ByteSource& source, Work* work, size_t count, const std::atomic<bool>* cancel,
                                  const KeepBytes& keep)
{
    for (size_t pending = count; pending > 0;) {
        std::vector<RangeRead> reads;
        std::vector<Work*> owners;
        for (size_t i = 0; i < count; ++i) {
            Work& w = work[i];
            if (w.done) continue;
            // Reads go on from where the bytes held end: even where the walk skipped a packet's
            // data, the decode needs those bytes.
            const uint64_t from = w.bytes.size();
            w.bytes.resize(static_cast<size_t>(w.readEnd));
            RangeRead read;
            read.offset = w.part.offset + from;
            read.length = static_cast<size_t>(w.readEnd - from);
            read.buffer = w.bytes.data() + from;
            reads.push_back(read);
            owners.push_back(&w);
        }
        if (source.readRanges(reads, cancel) != ReadStatus::Ok) return false;
        for (size_t i = 0; i < owners.size(); ++i) {
            Work& w = *owners[i];
            const uint64_t from = reads[i].offset - w.part.offset;
            w.bytes.resize(static_cast<size_t>(from + std::max<int64_t>(reads[i].read, 0)));
            const uint64_t position = w.walker->position();
            PacketHeaderWalker::Status status = PacketHeaderWalker::Status::NeedMore;
            if (position < w.bytes.size())
                status = w.walker->walk(w.bytes.data() + position, w.bytes.size() - position, w.resolution);
            if (status == PacketHeaderWalker::Status::NeedMore && w.bytes.size() < w.part.length && reads[i].read > 0) {
                w.readEnd = nextReadEnd(w);
                continue;
            }
            if (keep) keep(w.part.offset, std::move(w.bytes));
            w.bytes = std::vector<uint8_t>();
            w.done = true;
            --pending;
            finishWork(w, true);
        }
    }
    return true;
}

}  // namespace Engine
}  // namespace PLK
