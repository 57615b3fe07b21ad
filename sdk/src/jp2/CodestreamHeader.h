// The main header of a JPEG 2000 code-stream, read by us rather than by OpenJPEG: OpenJPEG
// reports only the defaults of the main header and garbles precinct sizes, and we need the
// marker layout itself to build the small per-tile code-streams the decoder is given.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "CError.h"
#include "io/ByteSource.h"

namespace PLK {
namespace Engine {

/// A rectangle on the full-resolution reference grid, half-open.
struct GridRect {
    uint32_t x0 = 0;
    uint32_t y0 = 0;
    uint32_t x1 = 0;
    uint32_t y1 = 0;
};

/// One tile-part as the code-stream's length index (TLM) lists it, in code-stream order.
struct TileLength {
    uint32_t tile = 0;
    uint32_t length = 0;  ///< bytes of the tile-part, its SOT marker included
};

struct CodestreamComponent {
    uint8_t bits = 8;
    bool isSigned = false;
    uint8_t dx = 1;  ///< horizontal sub-sampling on the reference grid
    uint8_t dy = 1;
    uint8_t decompositions = 0;  ///< from COC when it has one, else from COD
};

class CodestreamHeader {
public:
    // Markers we look at.
    enum Marker : uint16_t {
        SOC = 0xFF4F,
        SIZ = 0xFF51,
        COD = 0xFF52,
        COC = 0xFF53,
        TLM = 0xFF55,
        PLM = 0xFF57,
        PLT = 0xFF58,
        POC = 0xFF5F,
        PPM = 0xFF60,
        PPT = 0xFF61,
        COM = 0xFF64,
        SOT = 0xFF90,
        SOP = 0xFF91,
        EPH = 0xFF92,
        SOD = 0xFF93,
        EOC = 0xFFD9,
    };
    static constexpr uint32_t kMaxComponents = 16384;
    static constexpr uint32_t kMaxBits = 38;
    static constexpr uint32_t kMaxDecompositions = 32;
    static constexpr uint32_t kMaxTiles = 65535;

    /// Reads the main header of the code-stream at [start, start + length) of `source`. On
    /// failure the error's text is the bare detail ("the image is empty"); the caller words it.
    static CError read(ByteSource& source, uint64_t start, uint64_t length, CodestreamHeader& out);
    /// Parses a main header held in memory. `complete` says that `bytes` is the whole
    /// code-stream, so running out of bytes before the first tile-part is damage.
    CError parse(const uint8_t* bytes, size_t size, bool complete);
    /// True after parse() ran out of bytes on an incomplete buffer: read more and parse again.
    bool needsMoreBytes() const { return m_needMore; }

    // Geometry on the reference grid.
    uint32_t xsiz = 0, ysiz = 0, xosiz = 0, yosiz = 0;
    uint32_t xtsiz = 0, ytsiz = 0, xtosiz = 0, ytosiz = 0;
    uint32_t tilesAcross = 0, tilesDown = 0;
    uint32_t tileCount() const { return tilesAcross * tilesDown; }
    /// The part of the image tile `tile` covers, on the full-resolution reference grid.
    GridRect tileBounds(uint32_t tile) const;
    /// Whether any component has a sample inside the tile. Sub-sampling can leave a thin edge
    /// tile without any, and encoders then write no data for it.
    bool tileHasSamples(uint32_t tile) const;

    uint16_t rsiz = 0;
    std::vector<CodestreamComponent> components;

    // Coding style defaults (COD).
    uint8_t progression = 0;  ///< 0 LRCP, 1 RLCP, 2 RPCL, 3 PCRL, 4 CPRL
    uint16_t layers = 0;
    uint8_t mct = 0;
    uint8_t decompositions = 0;
    uint8_t codeBlockWidthExp = 0;  ///< code-block width is 2^exp
    uint8_t codeBlockHeightExp = 0;
    uint8_t transform = 0;  ///< 0 irreversible 9x7, 1 reversible 5x3
    bool sop = false;
    bool eph = false;
    /// Precinct size exponents (width, height) per resolution, coarsest first.
    std::vector<std::pair<uint8_t, uint8_t>> precinctExps;

    std::string comment;  ///< first Latin-text COM
    /// The tile-parts the TLM markers list; empty without TLM markers or when they are damaged.
    std::vector<TileLength> tileLengths;
    bool hasPoc = false;
    uint32_t mainHeaderLength = 0;  ///< bytes from SOC up to the first SOT

    /// Smallest number of resolution levels over all components.
    uint32_t minResolutions() const;
    /// Largest number of resolution levels over all components.
    uint32_t maxResolutions() const;

    /// Takes the coding styles of the tile-part headers of `bytes` (the code-stream whose main
    /// header this parsed) into account for decodeMemory(): the smallest code-blocks and
    /// precincts and the most decomposition levels any of them declares.
    void mergeTilePartCoding(const uint8_t* bytes, size_t size);
    /// An upper bound of the memory OpenJPEG allocates to decode the single-tile code-stream
    /// this header describes at resolution reduction `reduce`, producing the cells of `area`
    /// (full-resolution grid). Its code-block and precinct structures are sized by the tile's
    /// declared size, whatever the bytes or the area, so a header can claim gigabytes.
    uint64_t decodeMemory(uint32_t reduce, const GridRect& area) const;

    /// The main header as the per-tile decoder needs it: the SIZ describes the one tile as a
    /// whole image, and the indexes of the whole code-stream (TLM, PLM, PPM) are left out.
    std::vector<uint8_t> headerForTile(uint32_t tile) const;
    /// Packed packet headers (PPM), one slice per tile-part in code-stream order; empty when
    /// the code-stream keeps its packet headers with the packets.
    bool hasPackedHeaders() const { return !m_ppmChunks.empty() || m_ppmSeen; }
    /// The packet headers of the `sequence`-th tile-part of the code-stream, or null when the
    /// PPM data has no slice for it.
    const std::vector<uint8_t>* packedHeaders(uint32_t sequence) const;

private:
    CError parseMarker(uint16_t marker, const uint8_t* body, size_t length);
    CError parseSiz(const uint8_t* body, size_t length);
    CError parseCod(const uint8_t* body, size_t length);
    CError parseCoc(const uint8_t* body, size_t length);
    void mergeCoding(uint16_t marker, const uint8_t* body, size_t length);
    void parseCom(const uint8_t* body, size_t length);
    CError validateGeometry();
    CError finish();
    CError splitPackedHeaders();
    void readTileLengths();

    std::vector<uint8_t> m_keptHeader;         ///< main header without TLM/PLM/PPM
    size_t m_sizOffset = 0;                    ///< where the SIZ segment starts in m_keptHeader
    std::vector<uint8_t> m_cocDecompositions;  ///< 0xFF = no COC for the component
    std::vector<std::pair<uint8_t, std::vector<uint8_t>>> m_ppmSegments;  ///< (Zppm, data)
    std::vector<std::vector<uint8_t>> m_ppmChunks;
    std::vector<std::pair<uint8_t, std::vector<uint8_t>>> m_tlmSegments;  ///< (Ztlm, Stlm and entries)
    bool m_tlmBroken = false;
    bool m_ppmSeen = false;
    bool m_sawSiz = false;
    bool m_sawCod = false;
    bool m_needMore = false;
    // Coding extremes over the main and tile-part headers, for decodeMemory().
    uint8_t m_smallestBlockExp = 12;  ///< log2 of the fewest cells of any code-block
    uint8_t m_smallestPrecinctExp = 15;
    uint8_t m_mostDecompositions = 0;
    uint16_t m_mostLayers = 0;
};

}  // namespace Engine
}  // namespace PLK
