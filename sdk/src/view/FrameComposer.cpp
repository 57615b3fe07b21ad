#include "view/FrameComposer.h"

#include <algorithm>
#include <string>
#include <vector>

#include "cache/BlockFetcher.h"
#include "color/ColourConverter.h"
#include "view/BandQuantizer.h"
#include "view/BlockRows.h"
#include "view/RowResampler.h"

namespace PLK {
namespace Engine {

FrameComposer::FrameComposer(const OpenImage& image, BlockCache& cache) : m_image(image), m_cache(cache) {}

ViewGeometry FrameComposer::geometry(const ViewSnapshot& v) const
{
    const Georeferencing& g = m_image.georef();
    const ImageDescription& d = m_image.description();
    return ViewGeometry(GridTransform{g.originX, g.originY, g.cellX, g.cellY}, d.width, d.height, v.width, v.height,
                        v.x1, v.y1, v.x2, v.y2);
}

uint32_t FrameComposer::targetLevel(const ViewSnapshot& view) const
{
    const bool nearest = view.settings.optimizeNearest && view.resample == PLK_RESAMPLE_NEAREST;
    return geometry(view).chooseLevel(m_image.decoder().levels(), nearest);
}

LevelRect FrameComposer::windowAt(const ViewSnapshot& view, uint32_t level, AxisSamples* columns,
                                  AxisSamples* rows) const
{
    const ViewGeometry g = geometry(view);
    const LevelRect bounds = m_image.decoder().levelRect(level);
    *columns = g.columns(bounds.width());
    *rows = g.rows(bounds.height());
    return ViewGeometry::window(*columns, *rows);
}

uint32_t FrameComposer::countBlocks(const ViewSnapshot& view, uint32_t level, uint32_t* available) const
{
    AxisSamples columns, rows;
    BlockFetcher::Request request;
    request.image = m_image.id();
    request.decoder = &m_image.decoder();
    request.level = level;
    request.layers = view.layers;
    request.window = windowAt(view, level, &columns, &rows);
    return BlockFetcher::countBlocks(request, m_cache, available);
}

void FrameComposer::announce(const ViewSnapshot& view, uint32_t level) const
{
    AxisSamples columns, rows;
    BlockFetcher::Request request;
    request.image = m_image.id();
    request.decoder = &m_image.decoder();
    request.source = m_image.source();
    request.level = level;
    request.layers = view.layers;
    request.window = windowAt(view, level, &columns, &rows);
    BlockFetcher::announce(request, m_cache);
}

CError FrameComposer::compose(const ViewSnapshot& view, uint32_t level,
                              const std::shared_ptr<std::atomic<bool>>& cancel,
                              const std::function<void(uint32_t)>& onBlocksReady, Frame& out) const
{
    AxisSamples columns, rows;
    BlockFetcher::Request request;
    request.image = m_image.id();
    request.decoder = &m_image.decoder();
    request.bands = static_cast<uint32_t>(m_image.description().bands.size());
    request.level = level;
    request.layers = view.layers;
    request.window = windowAt(view, level, &columns, &rows);
    request.resilient = view.settings.resilient;
    request.source = m_image.source();
    request.cancel = cancel;
    request.onBlocksReady = onBlocksReady;

    out.allocate(view.width, view.height, static_cast<uint32_t>(view.bands.size()));
    out.level = level;
    // An image without enough resolution levels would need far more cells than the view has
    // pixels (a header may claim any size): the view stays empty rather than decode them.
    const LevelRect window = request.window.intersected(m_image.decoder().levelRect(level));
    const uint64_t bands = std::max<uint64_t>(1, request.bands);
    const uint64_t most = std::max<uint64_t>(
        uint64_t(9) * (view.width + 1) * (view.height + 1) * std::min<uint64_t>(bands, 4), uint64_t(16) << 20);
    if (uint64_t(window.width()) * uint64_t(window.height()) * bands > most)
        return CError(PLK_ERROR_OUT_OF_MEMORY, "The image has too few resolution levels to be shown at this scale (" +
                                                   std::to_string(window.width()) + " x " +
                                                   std::to_string(window.height()) + " cells for " +
                                                   std::to_string(view.width) + " x " + std::to_string(view.height) +
                                                   " pixels); zoom in to see it.");
    BlockFetcher::BlockSet blocks;
    const CError error = BlockFetcher(m_cache).fetchBlocks(request, blocks);
    if (error.GetErrorNumber() == PLK_ERROR_CANCELLED) return error;
    resample(view, blocks, window, columns, rows, out);
    return error;
}

void FrameComposer::resample(const ViewSnapshot& view, const BlockFetcher::BlockSet& blocks, const LevelRect& window,
                             const AxisSamples& columns, const AxisSamples& rows, Frame& out) const
{
    const ImageDescription& d = m_image.description();
    std::vector<BandQuantizer> quantizers;
    for (uint32_t b : view.bands)
        quantizers.emplace_back(d.bands[b], view.transforms[b], static_cast<int>(b) == d.alphaBand,
                                view.autoscaleOpacity, view.dither);
    const bool bilinear = view.resample == PLK_RESAMPLE_BILINEAR;
    // Colours the file encodes otherwise (luma and chroma, inks, CIELab, an ICC profile) are
    // brought to sRGB; a conversion may read bands beyond the view's, sampled after them.
    ColourConverter colour(d, view.bands);
    std::vector<uint32_t> bands = view.bands;
    for (uint32_t b : colour.extraBands()) bands.push_back(b);
    if (blocks.missing.empty()) {
        // The common case: every cell decoded. Row by row from the blocks, vectorised.
        BlockRows cells(blocks, bands);
        RowResampler(cells, bands.size(), window, columns, rows, bilinear)
            .run(quantizers, out, colour.active() ? &colour : nullptr);
        return;
    }
    // Cells that could not be decoded are no data: their pixels stay uncovered (transparent),
    // and bilinear sampling next to them falls back to the nearest cell.
    RegionBuffer cells;
    blocks.assemble(cells, static_cast<uint32_t>(d.bands.size()));
    std::vector<const int32_t*> planes;
    for (uint32_t b : bands) planes.push_back(cells.plane(b));
    const int64_t stride = cells.width;
    const std::vector<uint8_t> valid = cells.validity();
    float values[8];
    for (uint32_t y = 0; y < out.height; ++y) {
        if (rows.nearest[y] < 0) continue;
        uint8_t* cover = out.coverageRow(y);
        const int64_t ry = rows.nearest[y] - window.y0;
        const int64_t r0 = rows.lower[y] - window.y0;
        const int64_t r1 = rows.weight[y] > 0.0f ? r0 + 1 : r0;
        const float wy = rows.weight[y];
        for (uint32_t x = 0; x < out.width; ++x) {
            if (columns.nearest[x] < 0) continue;
            const int64_t cx = columns.nearest[x] - window.x0;
            const int64_t c0 = columns.lower[x] - window.x0;
            const int64_t c1 = columns.weight[x] > 0.0f ? c0 + 1 : c0;
            const float wx = columns.weight[x];
            if (!valid[ry * stride + cx]) continue;
            const bool blend = bilinear && valid[r0 * stride + c0] && valid[r0 * stride + c1] &&
                               valid[r1 * stride + c0] && valid[r1 * stride + c1];
            cover[x] = 255;
            for (size_t b = 0; b < planes.size(); ++b) {
                const int32_t* p = planes[b];
                if (blend) {
                    const float top = p[r0 * stride + c0] + wx * (p[r0 * stride + c1] - p[r0 * stride + c0]);
                    const float bottom = p[r1 * stride + c0] + wx * (p[r1 * stride + c1] - p[r1 * stride + c0]);
                    values[b] = top + wy * (bottom - top);
                } else {
                    values[b] = static_cast<float>(p[ry * stride + cx]);
                }
            }
            if (colour.active()) colour.toRgb(values);
            for (size_t b = 0; b < quantizers.size(); ++b)
                out.row(static_cast<uint32_t>(b), y)[x] = quantizers[b](values[b], x, y);
        }
    }
}

}  // namespace Engine
}  // namespace PLK
