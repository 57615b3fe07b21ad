// Makes one picture of a view from one resolution level: fetches the cells the view needs,
// resamples them to the view's pixels and brings them to 8 bits.
#pragma once

#include <atomic>
#include <functional>
#include <memory>

#include "CError.h"
#include "cache/BlockCache.h"
#include "cache/BlockFetcher.h"
#include "image/OpenImage.h"
#include "view/Frame.h"
#include "view/ViewGeometry.h"
#include "view/ViewSnapshot.h"

namespace PLK {
namespace Engine {

class FrameComposer {
public:
    FrameComposer(const OpenImage& image, BlockCache& cache);

    /// The level whose cells best match the view's pixels.
    uint32_t targetLevel(const ViewSnapshot& view) const;
    /// Blocks the view needs at `level`, and how many of them are decoded already.
    uint32_t countBlocks(const ViewSnapshot& view, uint32_t level, uint32_t* available) const;
    /// Tells a stream which bytes a frame at `level` will need, so that it can fetch them while
    /// coarser frames are made.
    void announce(const ViewSnapshot& view, uint32_t level) const;
    /// Makes the frame. Returns PLK_ERROR_CANCELLED when `cancel` is raised meanwhile; a tile
    /// that failed to decode leaves its pixels transparent (no data) and its error is returned
    /// with the frame.
    CError compose(const ViewSnapshot& view, uint32_t level, const std::shared_ptr<std::atomic<bool>>& cancel,
                   const std::function<void(uint32_t)>& onBlocksReady, Frame& out) const;

private:
    ViewGeometry geometry(const ViewSnapshot& view) const;
    LevelRect windowAt(const ViewSnapshot& view, uint32_t level, AxisSamples* columns, AxisSamples* rows) const;
    void resample(const ViewSnapshot& view, const BlockFetcher::BlockSet& blocks, const LevelRect& window,
                  const AxisSamples& columns, const AxisSamples& rows, Frame& out) const;

    const OpenImage& m_image;
    BlockCache& m_cache;
};

}  // namespace Engine
}  // namespace PLK
