// Opens XRV files: header, metadata and level directory in at most two reads; block indexes
// read per level when a level is first wanted; blocks decoded with HTJ2K from only the
// segments of the resolutions a level needs.
#pragma once

#include <array>
#include <mutex>

#include "image/ContainerReader.h"
#include "xrv/XrvFormat.h"

namespace PLK {
namespace Engine {

class XrvContainerReader : public ContainerReader {
public:
    const char* formatName() const override { return "XRV"; }
    bool recognises(const uint8_t* head, size_t length) const override;
    CError open(const std::shared_ptr<ByteSource>& source, const OpenSettings& settings,
                OpenedContainer& out) const override;
};

/// The blocks of an XRV file as the engine's tiles.
class XrvRegionDecoder : public RegionDecoder {
public:
    XrvRegionDecoder(std::shared_ptr<ByteSource> source, Xrv::Header header, std::vector<Xrv::LevelEntry> levels,
                     bool textureDither = false);

    uint32_t levels() const override { return m_header.resolutions; }
    uint32_t layers() const override { return 1; }
    uint32_t tileCount() const override { return static_cast<uint32_t>(m_header.blockCount()); }
    LevelRect levelRect(uint32_t level) const override;
    LevelRect tileRect(uint32_t tile, uint32_t level) const override;
    std::vector<uint32_t> tilesIntersecting(const LevelRect& rect, uint32_t level) const override;
    CError decode(uint32_t tile, uint32_t level, uint32_t layers, const LevelRect& rect, RegionBuffer& out,
                  const std::atomic<bool>* cancel, bool resilient) override;

    /// The byte ranges block `tile` needs at `level`, coarsest first (empty ranges left out),
    /// and the CRC-32 each must have. Fails when a needed block index cannot be read.
    CError rangesFor(uint32_t tile, uint32_t level, std::vector<ByteRange>& ranges,
                     std::vector<uint32_t>* crcs = nullptr);

private:
    struct LevelIndex {
        bool loaded = false;
        CError error;
        std::vector<uint32_t> lengths;
        std::vector<uint32_t> crcs;
        std::vector<uint64_t> offsets;  ///< absolute file offset of each block's segment
    };
    /// Loads the block index of resolution `resolution` once; its error otherwise.
    CError index(uint32_t resolution, const LevelIndex*& out);

    /// Adds the texture dither to decoded cells of a block whose level-grid origin is x0, y0.
    void dither(std::vector<std::vector<int32_t>>& planes, uint32_t w, int64_t x0, int64_t y0, uint32_t level) const;

    std::shared_ptr<ByteSource> m_source;
    float m_ditherAmplitude = 0;  ///< in cell units; 0: no dither
    Xrv::Header m_header;
    std::vector<Xrv::LevelEntry> m_levels;

    std::mutex m_indexMutex;
    std::array<LevelIndex, Xrv::kMaxResolutions> m_index;
};

}  // namespace Engine
}  // namespace PLK
