#include "cache/BlockFetcher.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "CLog.h"
#include "core/ThreadPool.h"
#include "io/PrefetchedSource.h"

namespace PLK {
namespace Engine {

namespace {

struct BlockRef {
    BlockKey key;
    LevelRect rect;
};

using BlockMap = std::unordered_map<BlockKey, BlockCache::BlockPtr, BlockKeyHash>;

struct FetchState {
    std::mutex mutex;
    BlockMap got;
    CError firstError;

    void keep(const BlockKey& key, BlockCache::BlockPtr block)
    {
        std::lock_guard<std::mutex> lock(mutex);
        got[key] = std::move(block);
    }
    void fail(const CError& error)
    {
        std::lock_guard<std::mutex> lock(mutex);
        if (firstError.Success()) firstError = error;
    }
};

// The most bytes fetched ahead for one batch of tile decodes: a view needing more fetches them
// batch by batch, so its memory stays bounded whatever the image.
constexpr uint64_t kBatchBytes = 32u << 20;

bool cancelled(const BlockFetcher::Request& r)
{
    return r.cancel && r.cancel->load(std::memory_order_relaxed);
}

int64_t ceilDiv(int64_t a, int64_t b)
{
    return (a + b - 1) / b;
}

std::vector<BlockRef> blocksOfTile(const BlockFetcher::Request& r, uint32_t layers, uint32_t tile)
{
    const int64_t B = BlockFetcher::kBlockSize;
    const LevelRect t = r.decoder->tileRect(tile, r.level);
    const LevelRect want = t.intersected(r.window);
    std::vector<BlockRef> refs;
    if (want.empty()) return refs;
    const int64_t nbx = ceilDiv(t.width(), B);
    for (int64_t by = (want.y0 - t.y0) / B; by <= (want.y1 - 1 - t.y0) / B; ++by) {
        for (int64_t bx = (want.x0 - t.x0) / B; bx <= (want.x1 - 1 - t.x0) / B; ++bx) {
            const LevelRect rect{t.x0 + bx * B, t.y0 + by * B, std::min(t.x0 + (bx + 1) * B, t.x1),
                                 std::min(t.y0 + (by + 1) * B, t.y1)};
            const BlockKey key{r.image, r.level, layers, tile, static_cast<uint32_t>(by * nbx + bx)};
            refs.push_back(BlockRef{key, rect});
        }
    }
    return refs;
}

// Copies the part of `src` (covering srcRect) that lies in dstRect into `dst`.
void copyCells(const BlockCells& src, const LevelRect& srcRect, RegionBuffer& dst, const LevelRect& dstRect)
{
    const LevelRect common = srcRect.intersected(dstRect);
    if (common.empty()) return;
    const uint32_t bands = std::min(src.bands, dst.bands);
    for (uint32_t b = 0; b < bands; ++b) {
        int32_t* dp = dst.plane(b);
        for (int64_t y = common.y0; y < common.y1; ++y)
            src.readRow(b, y - srcRect.y0, common.x0 - srcRect.x0, static_cast<size_t>(common.width()),
                        dp + (y - dstRect.y0) * dst.width + (common.x0 - dstRect.x0));
    }
}

std::shared_ptr<Block> cutBlock(const RegionBuffer& decoded, const LevelRect& decodedRect, const LevelRect& rect)
{
    auto block = std::make_shared<Block>();
    block->rect = rect;
    const size_t width = static_cast<size_t>(rect.width());
    auto rowOf = [&](uint32_t band, int64_t y) {
        return decoded.plane(band) + (y - decodedRect.y0) * decoded.width + (rect.x0 - decodedRect.x0);
    };
    // Cells that all fit a byte are kept as bytes (any bit above the eighth, or a sign, does not).
    uint32_t high = 0;
    for (uint32_t b = 0; b < decoded.bands; ++b)
        for (int64_t y = rect.y0; y < rect.y1; ++y) {
            const int32_t* row = rowOf(b, y);
            for (size_t x = 0; x < width; ++x) high |= static_cast<uint32_t>(row[x]);
        }
    const bool narrow = (high & ~0xFFu) == 0;
    BlockCells& cells = block->cells;
    cells.allocate(static_cast<uint32_t>(width), static_cast<uint32_t>(rect.height()), decoded.bands, narrow);
    for (uint32_t b = 0; b < decoded.bands; ++b)
        for (int64_t y = rect.y0; y < rect.y1; ++y) {
            const int32_t* from = rowOf(b, y);
            const size_t at = (size_t(b) * cells.height + size_t(y - rect.y0)) * width;
            if (narrow) {
                uint8_t* to = cells.bytes.data() + at;
                for (size_t x = 0; x < width; ++x) to[x] = static_cast<uint8_t>(from[x]);
            } else {
                std::memcpy(cells.wide.data() + at, from, width * sizeof(int32_t));
            }
        }
    return block;
}

// Decodes the blocks of one tile that nobody else is decoding, in one call to the decoder.
void decodeTile(const BlockFetcher::Request& r, uint32_t layers, uint32_t tile, const std::vector<BlockRef>& wanted,
                BlockCache& cache, FetchState& state, ByteSource* bytes = nullptr)
{
    if (cancelled(r)) return;
    std::vector<BlockRef> mine;
    for (const BlockRef& ref : wanted)
        if (cache.claim(ref.key)) mine.push_back(ref);
    if (mine.empty()) return;

    LevelRect bound = mine.front().rect;
    for (const BlockRef& ref : mine)
        bound = {std::min(bound.x0, ref.rect.x0), std::min(bound.y0, ref.rect.y0), std::max(bound.x1, ref.rect.x1),
                 std::max(bound.y1, ref.rect.y1)};
    RegionBuffer decoded;
    const CError error =
        bytes ? r.decoder->decodeFrom(*bytes, tile, r.level, layers, bound, decoded, r.cancel.get(), r.resilient)
              : r.decoder->decode(tile, r.level, layers, bound, decoded, r.cancel.get(), r.resilient);
    if (error) {
        const bool cancel = error.GetErrorNumber() == PLK_ERROR_CANCELLED;
        // A tile that cannot be decoded stays no data for this open image: not tried again on
        // every redraw, and its blocks count as done. The decoder warns about it once.
        // Bytes that could not be read (a stream's lost connection) are asked for again later.
        const bool again = cancel || error.GetErrorNumber() == PLK_ERROR_FILE_READ;
        for (const BlockRef& ref : mine) again ? cache.abandon(ref.key) : cache.fail(ref.key);
        if (!cancel) {
            CLog::Log("cache", LOG_DEBUG, "Tile %u at level %u could not be decoded: %s", tile, r.level,
                      error.GetErrorText());
            state.fail(error);
        }
        if (!cancel && r.onBlocksReady) r.onBlocksReady(static_cast<uint32_t>(mine.size()));
        return;
    }
    for (const BlockRef& ref : mine) {
        auto block = cutBlock(decoded, bound, ref.rect);
        cache.publish(ref.key, block);
        state.keep(ref.key, block);
    }
    if (r.onBlocksReady) r.onBlocksReady(static_cast<uint32_t>(mine.size()));
}

}  // namespace

BlockFetcher::BlockFetcher(BlockCache& cache) : m_cache(cache) {}

uint32_t BlockFetcher::countBlocks(const Request& request, BlockCache& cache, uint32_t* available)
{
    Request r = request;
    r.window = r.window.intersected(r.decoder->levelRect(r.level));
    const uint32_t total = r.decoder->layers();
    const uint32_t layers = r.layers == 0 || r.layers > total ? total : r.layers;
    uint32_t count = 0, have = 0;
    if (!r.window.empty()) {
        for (uint32_t tile : r.decoder->tilesIntersecting(r.window, r.level)) {
            for (const BlockRef& ref : blocksOfTile(r, layers, tile)) {
                ++count;
                if (cache.contains(ref.key)) ++have;
            }
        }
    }
    if (available) *available = have;
    return count;
}

void BlockFetcher::announce(const Request& request, BlockCache& cache)
{
    if (!request.source || !request.source->isRemote()) return;  // local reads need no notice
    Request r = request;
    r.window = r.window.intersected(r.decoder->levelRect(r.level));
    if (r.window.empty()) return;
    const uint32_t total = r.decoder->layers();
    const uint32_t layers = r.layers == 0 || r.layers > total ? total : r.layers;
    std::vector<ByteRange> ranges;
    for (uint32_t tile : r.decoder->tilesIntersecting(r.window, r.level)) {
        const std::vector<BlockRef> refs = blocksOfTile(r, layers, tile);
        if (std::all_of(refs.begin(), refs.end(), [&cache](const BlockRef& ref) { return cache.contains(ref.key); }))
            continue;
        for (const ByteRange& range : r.decoder->rangesFor(tile, r.level)) ranges.push_back(range);
    }
    if (!ranges.empty()) r.source->prefetch(ranges);
}

void BlockFetcher::BlockSet::assemble(RegionBuffer& out, uint32_t bands) const
{
    out.allocate(static_cast<uint32_t>(window.width()), static_cast<uint32_t>(window.height()), bands);
    for (const BlockCache::BlockPtr& block : blocks) copyCells(block->cells, block->rect, out, window);
    out.missing = missing;
}

CError BlockFetcher::fetch(const Request& request, RegionBuffer& out)
{
    BlockSet set;
    const CError error = fetchBlocks(request, set);
    set.assemble(out, request.bands);
    return error;
}

CError BlockFetcher::fetchBlocks(const Request& request, BlockSet& out)
{
    Request r = request;
    r.window = r.window.intersected(r.decoder->levelRect(r.level));
    out.window = r.window;
    out.blocks.clear();
    out.missing.clear();
    if (r.window.empty()) return CError();
    const uint32_t total = r.decoder->layers();
    const uint32_t layers = r.layers == 0 || r.layers > total ? total : r.layers;

    FetchState state;
    std::map<uint32_t, std::vector<BlockRef>> missing;
    std::vector<BlockRef> all;
    uint32_t cached = 0;
    for (uint32_t tile : r.decoder->tilesIntersecting(r.window, r.level)) {
        for (const BlockRef& ref : blocksOfTile(r, layers, tile)) {
            all.push_back(ref);
            if (auto block = m_cache.find(ref.key)) {
                state.got[ref.key] = block;
                ++cached;
            } else if (m_cache.failed(ref.key)) {
                ++cached;  // known to be no data: done, nothing to decode
            } else {
                missing[tile].push_back(ref);
            }
        }
    }
    if (cached && r.onBlocksReady) r.onBlocksReady(cached);

    // The bytes of the missing tiles are fetched in one request per batch (one batch unless the
    // view needs very many), then the tiles are decoded on the workers.
    for (auto next = missing.begin(); next != missing.end() && !cancelled(r);) {
        std::vector<uint32_t> tiles;
        uint64_t bytes = 0;
        auto end = next;
        for (; end != missing.end() && (end == next || bytes < kBatchBytes); ++end) {
            if (!r.source) continue;
            tiles.push_back(end->first);
            for (const ByteRange& range : r.decoder->rangesFor(end->first, r.level)) bytes += range.length;
        }
        std::shared_ptr<PrefetchedSource> fetched;
        if (!tiles.empty()) {
            fetched = std::make_shared<PrefetchedSource>(r.source);
            // A coarse level may need only the heads of the tiles' data: the decoder finds out for
            // the whole batch in as few requests as it can, and the bytes it read for that are
            // not read again.
            r.decoder->learnRanges(tiles, r.level, r.cancel.get(), [&fetched](uint64_t offset, std::vector<uint8_t> b) {
                fetched->keep(offset, std::move(b));
            });
            // What was learnt may be more than guessed before: the batch ends where its bytes do.
            std::vector<ByteRange> ranges;
            uint64_t learnt = 0;
            auto stop = next;
            for (; stop != end && (stop == next || learnt < kBatchBytes); ++stop) {
                for (const ByteRange& range : r.decoder->rangesFor(stop->first, r.level)) {
                    ranges.push_back(range);
                    learnt += range.length;
                }
            }
            end = stop;
            if (fetched->fetch(std::move(ranges), r.cancel.get()) == ReadStatus::Cancelled) break;
        }
        // Largest decodes first: the first one started gets OpenJPEG's threads while cores are
        // free, and the small ones fill in beside it rather than leave a core idle at the end.
        std::vector<std::pair<uint32_t, const std::vector<BlockRef>*>> order;
        for (; next != end; ++next) order.emplace_back(next->first, &next->second);
        std::stable_sort(order.begin(), order.end(),
                         [](const auto& a, const auto& b) { return a.second->size() > b.second->size(); });
        auto batch = std::make_shared<ThreadPool::Batch>();
        for (const auto& [tile, refs] : order) {
            ThreadPool::shared().submit(batch, [&r, layers, tile = tile, refs = refs, this, &state, fetched] {
                decodeTile(r, layers, tile, *refs, m_cache, state, fetched.get());
            });
        }
        batch->wait();
    }
    if (cancelled(r)) return CError(PLK_ERROR_CANCELLED, "The read was cancelled.");

    // Blocks another view was decoding arrive when it publishes them; if it gave up (its own
    // view moved on), decode them here.
    for (auto& entry : missing) {
        for (const BlockRef& ref : entry.second) {
            if (state.got.count(ref.key)) continue;
            BlockCache::BlockPtr block = m_cache.waitFor(ref.key);
            if (!block && !cancelled(r)) {
                decodeTile(r, layers, entry.first, {ref}, m_cache, state);
                auto it = state.got.find(ref.key);
                if (it != state.got.end()) block = it->second;
            }
            if (block) state.got[ref.key] = block;
        }
    }
    if (cancelled(r)) return CError(PLK_ERROR_CANCELLED, "The read was cancelled.");

    for (const BlockRef& ref : all) {
        auto it = state.got.find(ref.key);
        if (it != state.got.end()) {
            out.blocks.push_back(it->second);
        } else {
            const LevelRect m = ref.rect.intersected(r.window);
            out.missing.push_back({m.x0 - r.window.x0, m.y0 - r.window.y0, m.x1 - r.window.x0, m.y1 - r.window.y0});
        }
    }
    return state.firstError;
}

}  // namespace Engine
}  // namespace PLK
