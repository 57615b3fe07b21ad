// Decodes rectangles of an image at a resolution level. One per open image, shared by every
// view on it; decode() is called from several threads at once.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <vector>

#include "CError.h"
#include "image/LevelRect.h"
#include "image/RegionBuffer.h"
#include "io/ByteSource.h"

namespace PLK {
namespace Engine {

class RegionDecoder {
public:
    virtual ~RegionDecoder() = default;

    /// Number of resolution levels; level 0 is full resolution, each next one halves it.
    virtual uint32_t levels() const = 0;
    /// Number of quality layers (1 for formats without layers).
    virtual uint32_t layers() const = 0;
    virtual uint32_t tileCount() const = 0;
    /// The whole image at `level`: {0, 0, width_level, height_level}.
    virtual LevelRect levelRect(uint32_t level) const = 0;
    /// The part of the image that tile `tile` covers at `level`.
    virtual LevelRect tileRect(uint32_t tile, uint32_t level) const = 0;
    /// Tiles whose rectangle at `level` meets `rect`, in raster order.
    virtual std::vector<uint32_t> tilesIntersecting(const LevelRect& rect, uint32_t level) const = 0;

    /// Decodes `rect`, which lies inside tile `tile` at `level`, using the first `layers`
    /// quality layers (0 = all), into `out`: every band of the image at the level's full grid
    /// (sub-sampled components are brought up to it). `cancel`, when set during the decode,
    /// makes it give up early with PLK_ERROR_CANCELLED. With `resilient`, damaged or truncated
    /// data decodes as far as it goes; otherwise it fails with a message.
    virtual CError decode(uint32_t tile, uint32_t level, uint32_t layers, const LevelRect& rect, RegionBuffer& out,
                          const std::atomic<bool>* cancel, bool resilient) = 0;

    /// Takes bytes read from the image's source at an offset, so they need not be read again.
    using KeepBytes = std::function<void(uint64_t offset, std::vector<uint8_t> bytes)>;
    /// Finds out, reading as little as it can, which bytes decodes of `tiles` at `level` need,
    /// so that rangesFor() can then answer with fewer; the bytes it reads go to `keep`, when
    /// given. Formats that always read whole tiles need not.
    virtual void learnRanges(const std::vector<uint32_t>& /*tiles*/, uint32_t /*level*/,
                             const std::atomic<bool>* /*cancel*/, const KeepBytes& /*keep*/)
    {}
    /// The byte ranges a decode of `tile` at `level` reads, so that a caller decoding many
    /// tiles can fetch all their bytes in one request first. Empty when the format cannot say.
    virtual std::vector<ByteRange> rangesFor(uint32_t tile, uint32_t level) const { return {}; }
    /// decode(), reading the image's bytes through `bytes` (the image's source with some
    /// ranges fetched ahead) instead of its own source.
    virtual CError decodeFrom(ByteSource& bytes, uint32_t tile, uint32_t level, uint32_t layers, const LevelRect& rect,
                              RegionBuffer& out, const std::atomic<bool>* cancel, bool resilient)
    {
        return decode(tile, level, layers, rect, out, cancel, resilient);
    }
};

}  // namespace Engine
}  // namespace PLK
