// The small code-stream the decoder is handed for one tile: the main header rewritten so the
// tile is the whole image, the tile's own tile-parts, and an end marker. OpenJPEG then never
// walks or allocates for the other tiles of a huge image.
#pragma once

#include <cstdint>
#include <vector>

#include "CError.h"
#include "io/ByteSource.h"
#include "jp2/CodestreamHeader.h"
#include "jp2/LeadingPartIndex.h"
#include "jp2/TilePartIndex.h"

namespace PLK {
namespace Engine {

class TileCodestream {
public:
    TileCodestream(ByteSource& source, const CodestreamHeader& header, const TilePartIndex& index)
        : m_source(source), m_header(header), m_index(index)
    {}

    /// Builds the code-stream of `tile` for a decode at resolution reduction `level` into
    /// `out`. Unless `resilient`, a tile whose data is cut short is an error; with it, the
    /// missing bytes are zeros. Errors carry a bare detail text.
    CError build(uint32_t tile, uint32_t level, bool resilient, std::vector<uint8_t>& out) const;

    /// Builds the code-stream of `tile` from the head of its one tile-part that `plan` says
    /// holds the resolutions a coarse decode needs; the packets after it are given as empty
    /// ones, which the decoder skips without reading further.
    CError buildLeading(uint32_t tile, const LeadingPartIndex::Plan& plan, std::vector<uint8_t>& out) const;

    /// How many tile-parts a decode of `tile` at `level` needs: fewer than the tile has when
    /// its tile-parts hold one resolution each, so the finer ones can be left unread.
    /// `firstPart` is the first tile-part's bytes.
    uint32_t partsNeeded(uint32_t tile, uint32_t level, const std::vector<uint8_t>& firstPart) const;
    /// partsNeeded() as far as the index tells without reading: never fewer than it.
    uint32_t partsLikelyNeeded(uint32_t tile, uint32_t level) const;

private:
    CError readPart(uint32_t tile, const TilePart& part, std::vector<uint8_t>& bytes) const;
    CError appendPart(const TilePart& part, const std::vector<uint8_t>& bytes, uint32_t partCount, uint32_t& pptIndex,
                      std::vector<uint8_t>& out) const;
    CError appendPackedHeaders(const TilePart& part, uint32_t& pptIndex, std::vector<uint8_t>& out) const;
    static bool tilePartHeaderChangesOrder(const std::vector<uint8_t>& part);

    ByteSource& m_source;
    const CodestreamHeader& m_header;
    const TilePartIndex& m_index;
};

}  // namespace Engine
}  // namespace PLK
