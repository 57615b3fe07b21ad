#include "cache/BlockCache.h"

#include "CConfig.h"

#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace PLK {
namespace Engine {

namespace {
constexpr size_t kMaxFailedBlocks = 1u << 18;

uint64_t blockBytes(const Block& b)
{
    return b.cells.size() + sizeof(Block) + 64;
}
}  // namespace

BlockCache::BlockCache(uint64_t limitBytes) : m_limit(limitBytes) {}

void BlockCache::keepDecodeMemory()
{
#if defined(__GLIBC__)
    // Every view's decodes take and free buffers of several MB. Left to itself glibc hands such
    // buffers back to the system as soon as they are freed, and the next view's decodes take
    // them again a page fault per 4 KB; this keeps up to 64 MB of freed memory for reuse
    // instead (a tenth less CPU for a pan).
    mallopt(M_MMAP_THRESHOLD, 32 << 20);
    mallopt(M_TRIM_THRESHOLD, 64 << 20);
#endif
}

BlockCache& BlockCache::shared()
{
    static BlockCache cache(SDK::CConfig::kDefaultCacheMaxmem);
    static const bool kept = (keepDecodeMemory(), true);
    (void)kept;
    return cache;
}

void BlockCache::setLimit(uint64_t bytes)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_limit = bytes;
    evictLocked();
}

uint64_t BlockCache::limit() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_limit;
}

uint64_t BlockCache::bytesInUse() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_bytes;
}

BlockCache::BlockPtr BlockCache::find(const BlockKey& key)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = m_entries.find(key);
    if (it == m_entries.end()) return nullptr;
    m_lru.splice(m_lru.begin(), m_lru, it->second.lru);
    return it->second.block;
}

bool BlockCache::contains(const BlockKey& key) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_entries.count(key) != 0 || m_failed.count(key) != 0;
}

bool BlockCache::failed(const BlockKey& key) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_failed.count(key) != 0;
}

bool BlockCache::claim(const BlockKey& key)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_entries.count(key) || m_inFlight.count(key) || m_failed.count(key)) return false;
    m_inFlight.emplace(key, true);
    return true;
}

void BlockCache::publish(const BlockKey& key, BlockPtr block)
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_inFlight.erase(key);
        if (block && !m_entries.count(key)) {
            m_lru.push_front(key);
            m_bytes += blockBytes(*block);
            m_entries.emplace(key, Entry{std::move(block), m_lru.begin()});
            evictLocked();
        }
    }
    m_published.notify_all();
}

void BlockCache::abandon(const BlockKey& key)
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_inFlight.erase(key);
    }
    m_published.notify_all();
}

void BlockCache::fail(const BlockKey& key)
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_inFlight.erase(key);
        // The record of failures stays small: past the cap the oldest views' failures are
        // forgotten and, if asked for again, tried again (the decoder remembers the tile).
        if (m_failed.size() >= kMaxFailedBlocks) m_failed.clear();
        m_failed.insert(key);
    }
    m_published.notify_all();
}

BlockCache::BlockPtr BlockCache::waitFor(const BlockKey& key)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_published.wait(lock, [&] { return m_inFlight.count(key) == 0; });
    auto it = m_entries.find(key);
    if (it == m_entries.end()) return nullptr;
    m_lru.splice(m_lru.begin(), m_lru, it->second.lru);
    return it->second.block;
}

void BlockCache::dropImage(uint64_t image)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    for (auto it = m_failed.begin(); it != m_failed.end();)
        it = it->image == image ? m_failed.erase(it) : std::next(it);
    for (auto it = m_entries.begin(); it != m_entries.end();) {
        if (it->first.image == image) {
            m_bytes -= blockBytes(*it->second.block);
            m_lru.erase(it->second.lru);
            it = m_entries.erase(it);
        } else {
            ++it;
        }
    }
}

void BlockCache::evictLocked()
{
    // Readers that still hold an evicted block keep it alive until they are done with it, so
    // eviction never pulls data from under a view that is composing.
    while (m_bytes > m_limit && !m_lru.empty()) {
        const BlockKey victim = m_lru.back();
        auto it = m_entries.find(victim);
        m_bytes -= blockBytes(*it->second.block);
        m_entries.erase(it);
        m_lru.pop_back();
    }
}

}  // namespace Engine
}  // namespace PLK
