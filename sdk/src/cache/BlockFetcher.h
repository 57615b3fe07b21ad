// Gathers the decoded cells of a rectangle at one resolution level: blocks already in the
// cache are taken from it, missing ones are decoded tile by tile on the engine's workers
// (several tiles at once), published to the cache and composed into one buffer.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "CError.h"
#include "cache/BlockCache.h"
#include "image/LevelRect.h"
#include "image/RegionBuffer.h"
#include "image/RegionDecoder.h"
#include "io/ByteSource.h"

namespace PLK {
namespace Engine {

class BlockFetcher {
public:
    /// Edge of a block in cells. A tile's missing blocks are decoded together (one decode per
    /// tile), so small blocks cost little more than bookkeeping, and they keep a view from
    /// decoding much beyond its edges: a 1024 x 768 window decodes about 1.15 times its cells
    /// rather than the 1.7 times that 256-cell blocks took.
    static constexpr uint32_t kBlockSize = 64;

    struct Request {
        uint64_t image = 0;
        RegionDecoder* decoder = nullptr;
        /// The image's bytes: the decodes' byte ranges are fetched from it in one request per
        /// batch of tiles. Null: each decode reads for itself.
        std::shared_ptr<ByteSource> source;
        uint32_t bands = 0;  ///< bands of the image
        uint32_t level = 0;
        uint32_t layers = 0;  ///< quality layers; 0 or more than the image has = all
        LevelRect window;     ///< clipped to the level by fetch()
        bool resilient = true;
        std::shared_ptr<std::atomic<bool>> cancel;  ///< may be null
        /// Called (from any thread) each time blocks of the window become available.
        std::function<void(uint32_t)> onBlocksReady;
    };

    /// The decoded blocks that cover a window, as the cache holds them (nothing copied).
    struct BlockSet {
        LevelRect window;  ///< clipped to the level
        std::vector<BlockCache::BlockPtr> blocks;
        std::vector<LevelRect> missing;  ///< cells that failed to decode, (0, 0) at the window's first cell

        /// The window's cells in one buffer (every band); missing cells stay 0.
        void assemble(RegionBuffer& out, uint32_t bands) const;
    };

    explicit BlockFetcher(BlockCache& cache);

    /// fetch() without composing: the blocks, each kept alive for as long as `out` holds it.
    CError fetchBlocks(const Request& request, BlockSet& out);

    /// Fills `out` with the window's cells (every band). Cells of tiles that failed to decode
    /// stay 0 and are listed in `out.missing`; the first failure of this fetch is returned
    /// (tiles known to have failed before are not tried again). A cancelled fetch returns
    /// PLK_ERROR_CANCELLED.
    CError fetch(const Request& request, RegionBuffer& out);

    /// Blocks of the window at the level, and how many of them are already decoded.
    static uint32_t countBlocks(const Request& request, BlockCache& cache, uint32_t* available);
    /// Tells a remote source which byte ranges a fetch of `request` will want, so that it can
    /// start on them; nothing waits.
    static void announce(const Request& request, BlockCache& cache);

private:
    BlockCache& m_cache;
};

}  // namespace Engine
}  // namespace PLK
