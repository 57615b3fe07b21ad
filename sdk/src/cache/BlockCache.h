// Decoded blocks of every open image, shared by all views, kept within the configured memory
// limit (least recently used go first). A block is decoded by one worker only: the worker
// claims it, other readers wait until it is published (or abandoned) instead of decoding it
// again.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <unordered_set>

#include "cache/Block.h"
#include "cache/BlockKey.h"

namespace PLK {
namespace Engine {

class BlockCache {
public:
    using BlockPtr = std::shared_ptr<const Block>;

    explicit BlockCache(uint64_t limitBytes);

    /// The engine's cache; its limit follows the configuration.
    static BlockCache& shared();
    /// Has the allocator keep freed decode buffers for the next view (done with shared()).
    static void keepDecodeMemory();

    void setLimit(uint64_t bytes);
    uint64_t limit() const;
    uint64_t bytesInUse() const;

    /// The block if it is decoded (and marks it recently used), else null.
    BlockPtr find(const BlockKey& key);
    bool contains(const BlockKey& key) const;
    /// Claims a block that is neither decoded nor being decoded; the caller must then
    /// publish() or abandon() it. False when it exists or another worker has it.
    bool claim(const BlockKey& key);
    void publish(const BlockKey& key, BlockPtr block);
    void abandon(const BlockKey& key);
    /// Gives up on a claimed block for good: its tile cannot be decoded. It then counts as
    /// done (contains() is true, so a view's progress reaches 100 %) but find() has no cells
    /// for it and nobody claims it again until the image is dropped.
    void fail(const BlockKey& key);
    bool failed(const BlockKey& key) const;
    /// Waits while another worker decodes the block, then returns it (null when that worker
    /// gave up or it was never claimed).
    BlockPtr waitFor(const BlockKey& key);
    /// Forgets every block of one image.
    void dropImage(uint64_t image);

private:
    struct Entry {
        BlockPtr block;
        std::list<BlockKey>::iterator lru;
    };
    void evictLocked();

    mutable std::mutex m_mutex;
    std::condition_variable m_published;
    std::unordered_map<BlockKey, Entry, BlockKeyHash> m_entries;
    std::unordered_map<BlockKey, bool, BlockKeyHash> m_inFlight;
    std::unordered_set<BlockKey, BlockKeyHash> m_failed;
    std::list<BlockKey> m_lru;  ///< most recently used first
    uint64_t m_bytes = 0;
    uint64_t m_limit;
};

}  // namespace Engine
}  // namespace PLK
