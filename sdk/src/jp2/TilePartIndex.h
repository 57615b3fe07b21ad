// Where every tile's data lies in the code-stream. OpenJPEG finds a tile by walking every
// tile-part header before it; we index them once when the image is opened (from the
// code-stream's own length index, TLM, when it has a sound one; else by walking the headers,
// many per read) and then hand the decoder only the bytes of the tile it needs.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "io/ByteSource.h"
#include "jp2/CodestreamHeader.h"

namespace PLK {
namespace Engine {

struct TilePart {
    uint64_t offset = 0;     ///< of its SOT marker in the byte source
    uint32_t length = 0;     ///< bytes available, SOT marker included
    uint32_t psot = 0;       ///< the length its header claims (0: to the end of the code-stream)
    uint8_t index = 0;       ///< TPsot (from a length index: its position among the tile's parts)
    uint8_t count = 0;       ///< TNsot, 0 when the encoder did not say (or the header was not read)
    uint32_t sequence = 0;   ///< position among all tile-parts of the code-stream
    bool truncated = false;  ///< the file ends before the tile-part does
};

class TilePartIndex {
public:
    /// Indexes the tile-parts of the code-stream lying at [firstSot, end) of `source`: from the
    /// header's tile-part lengths when they add up to the code-stream, else by walking the
    /// tile-part headers. Never fails: damage is noted (damage()) and the walk keeps what it
    /// could find.
    void build(ByteSource& source, uint64_t firstSot, uint64_t end, const CodestreamHeader& header);
    /// Whether the index came from the code-stream's length index rather than a walk.
    bool fromLengthIndex() const { return m_fromLengthIndex; }
    /// How many reads of the source building the index took.
    uint32_t reads() const { return m_reads; }

    const std::vector<TilePart>& parts(uint32_t tile) const { return m_tiles[tile]; }
    uint32_t tileCount() const { return static_cast<uint32_t>(m_tiles.size()); }
    /// Whether the tile has all the tile-parts its headers announce (true when they do not say).
    bool complete(uint32_t tile) const;
    /// Tiles that should have data but have not a single tile-part.
    uint32_t missingTiles() const;
    /// Whether any tile has a tile-part at all.
    bool hasData() const { return m_sequence > 0; }
    /// What was wrong with the tile-part layout, empty when nothing was.
    const std::string& damage() const { return m_damage; }

private:
    class HeaderReader;
    enum class SotRead { TilePart, End, Invalid };
    void reset(const CodestreamHeader& header);
    bool buildFromLengths(HeaderReader& reader, uint64_t firstSot, uint64_t end,
                          const std::vector<TileLength>& lengths);
    /// Reads ahead, in a few batches, the tile-part headers the walk will need (streams).
    void probeHeaders(HeaderReader& reader, uint64_t firstSot, uint64_t end);
    void walk(HeaderReader& reader, uint64_t firstSot, uint64_t end);
    SotRead readSot(HeaderReader& reader, uint64_t offset, uint64_t end, TilePart& part, uint16_t& tile);
    /// Offset of the next plausible SOT marker at or after `from`, or `end` when there is none.
    uint64_t resynchronise(HeaderReader& reader, uint64_t from, uint64_t end);
    /// Puts each tile's parts in index order and lets the parts found outweigh a lower count.
    void settle();
    void noteDamage(const std::string& what);

    std::vector<std::vector<TilePart>> m_tiles;
    std::vector<bool> m_expected;  ///< the tile has samples, so it must have data
    std::string m_damage;
    uint32_t m_sequence = 0;
    uint32_t m_reads = 0;
    bool m_fromLengthIndex = false;
};

}  // namespace Engine
}  // namespace PLK
