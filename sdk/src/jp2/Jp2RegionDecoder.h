// Decodes rectangles of a JPEG 2000 image tile by tile with OpenJPEG. Everything it keeps is
// read once at open and never changed (but what it learns of tile-part heads and failures,
// under their own locks), so any number of threads may decode at once.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "image/RegionDecoder.h"
#include "io/ByteSource.h"
#include "jp2/CodestreamHeader.h"
#include "jp2/Jp2BoxReader.h"
#include "jp2/LeadingPartIndex.h"
#include "jp2/OpjCodestreamDecoder.h"
#include "jp2/TilePartIndex.h"

namespace PLK {
namespace Engine {

class Jp2RegionDecoder : public RegionDecoder {
public:
    /// `channels` says where each output band comes from; `palette` is used by the channels
    /// that name a palette column.
    Jp2RegionDecoder(std::shared_ptr<ByteSource> source, CodestreamHeader header, TilePartIndex index,
                     std::vector<Jp2Channel> channels, Jp2Palette palette);

    uint32_t levels() const override;
    uint32_t layers() const override;
    uint32_t tileCount() const override;
    LevelRect levelRect(uint32_t level) const override;
    LevelRect tileRect(uint32_t tile, uint32_t level) const override;
    std::vector<uint32_t> tilesIntersecting(const LevelRect& rect, uint32_t level) const override;
    CError decode(uint32_t tile, uint32_t level, uint32_t layers, const LevelRect& rect, RegionBuffer& out,
                  const std::atomic<bool>* cancel, bool resilient) override;
    void learnRanges(const std::vector<uint32_t>& tiles, uint32_t level, const std::atomic<bool>* cancel,
                     const KeepBytes& keep) override;
    std::vector<ByteRange> rangesFor(uint32_t tile, uint32_t level) const override;
    CError decodeFrom(ByteSource& bytes, uint32_t tile, uint32_t level, uint32_t layers, const LevelRect& rect,
                      RegionBuffer& out, const std::atomic<bool>* cancel, bool resilient) override;

    const TilePartIndex& index() const { return m_index; }
    const CodestreamHeader& header() const { return m_header; }

private:
    CError checkRequest(uint32_t tile, uint32_t level, const LevelRect& rect) const;
    /// The full-resolution window OpenJPEG decodes for `rect`, widened so that sub-sampled
    /// components include the cells the rectangle's edge cells replicate.
    GridRect decodeArea(uint32_t tile, uint32_t level, const LevelRect& rect) const;
    /// The tile whose data gives `tile`'s cells: itself, or for a tile without samples of its
    /// own the nearest one with some, whose edge cells are then repeated.
    uint32_t tileWithSamples(uint32_t tile) const;
    CError runDecoder(uint32_t tile, uint32_t level, uint32_t layers, const GridRect& area,
                      const std::vector<uint8_t>& codestream, OpjImage& image) const;
    /// decodeFrom() from the whole tile-part, never its head again.
    CError decodeWhole(ByteSource& bytes, uint32_t tile, uint32_t level, uint32_t layers, const LevelRect& rect,
                       RegionBuffer& out, const std::atomic<bool>* cancel, bool resilient);
    CError fill(const opj_image_t& image, uint32_t level, const LevelRect& rect, RegionBuffer& out) const;
    void fillBand(const opj_image_comp_t& comp, const Jp2Channel& channel, uint32_t level, const LevelRect& rect,
                  int32_t* plane) const;
    CError damaged(const std::string& detail) const;
    /// The error a tile gave at a level before, if it failed.
    bool knownFailure(uint32_t tile, uint32_t level, bool resilient, CError& error) const;
    /// Remembers a failure, and warns about the tile the first time it fails.
    void noteFailure(uint32_t tile, uint32_t level, bool resilient, const CError& error);

    std::shared_ptr<ByteSource> m_source;
    CodestreamHeader m_header;
    TilePartIndex m_index;
    std::vector<Jp2Channel> m_channels;
    Jp2Palette m_palette;
    LeadingPartIndex m_leading;  ///< the heads of tile-parts that coarse views read

    // Tiles that could not be decoded, so that they are neither tried nor reported again
    // while the image is open.
    mutable std::mutex m_failureMutex;
    std::unordered_map<uint64_t, CError> m_failures;  ///< by tile, level and decode mode
    std::unordered_set<uint32_t> m_warned;
};

}  // namespace Engine
}  // namespace PLK
