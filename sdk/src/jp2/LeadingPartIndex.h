// How many leading bytes of a tile's one tile-part hold the resolutions a coarse decode needs.
// When a tile is one tile-part in a resolution-major order, every packet of the coarse
// resolutions comes before any packet of the finer ones, so a view at a coarse level reads
// only the tile-part's head; the packet headers (or the packet lengths the tile-part header
// lists) tell where it ends.
//
// Learnt in batches for all the tiles a view needs: each round reads a guess of every tile's
// head in one readRanges call (one request on a stream), walks the packets, and reads further
// only for the tiles not yet resolved. What is learnt is kept while the image is open, and a
// tile's walk resumes where it stopped, so its packets are parsed once. Thread-safe.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "io/ByteSource.h"
#include "jp2/CodestreamHeader.h"
#include "jp2/TilePartIndex.h"

namespace PLK {
namespace Engine {

class PacketHeaderWalker;

class LeadingPartIndex {
public:
    /// A decode that reads only a tile-part's head: its first `bytes` bytes (SOT included) hold
    /// `packetsBefore` packets; the `packetsAfter` after them are left out.
    struct Plan {
        uint64_t bytes = 0;
        uint64_t packetsBefore = 0;
        uint64_t packetsAfter = 0;
    };

    LeadingPartIndex(const CodestreamHeader& header, const TilePartIndex& index);
    ~LeadingPartIndex();

    /// Takes bytes read at an offset of the source, so the decodes need not read them again.
    using KeepBytes = std::function<void(uint64_t offset, std::vector<uint8_t> bytes)>;

    /// Learns where the resolutions a decode of each of `tiles` at `level` needs end, reading
    /// through `source` in as few rounds as it takes; what it read goes to `keep` (when set).
    /// Tiles it cannot tell stay whole.
    void learn(ByteSource& source, const std::vector<uint32_t>& tiles, uint32_t level, const std::atomic<bool>* cancel,
               const KeepBytes& keep);
    /// The head a decode of `tile` at `level` reads, once learnt; false: the whole tile-part.
    bool plan(uint32_t tile, uint32_t level, Plan& out) const;
    /// Forgets what was learnt of `tile`: it is read whole from now on.
    void abandon(uint32_t tile);
    /// How many leading bytes of `tile`'s tile-part a decode at `level` likely reads: the head
    /// once learnt, the first guess of it before; false when the whole tile-part is read.
    bool likelyHead(uint32_t tile, uint32_t level, uint64_t& bytes) const;

private:
    struct Entry;
    struct Work;
    /// Whether `tile` could be read by its head at `level`; its resolution index then.
    bool candidate(uint32_t tile, uint32_t level, uint32_t& resolution) const;
    bool startWork(uint32_t tile, uint32_t resolution, uint32_t level, std::vector<Work>& work);
    void finishWork(Work& work, bool learnt);
    uint64_t firstGuess(uint32_t tile, uint32_t level) const;
    /// How far the next read of a tile's head goes, when the last one fell short.
    uint64_t nextReadEnd(const Work& work) const;
    /// Reads and walks `count` tiles' heads until each is resolved; false when cancelled or a
    /// read failed.
    bool learnBatch(ByteSource& source, Work* work, size_t count, const std::atomic<bool>* cancel,
                    const KeepBytes& keep);

    const CodestreamHeader& m_header;
    const TilePartIndex& m_index;
    mutable std::mutex m_mutex;
    std::unordered_map<uint32_t, std::unique_ptr<Entry>> m_tiles;
};

}  // namespace Engine
}  // namespace PLK
