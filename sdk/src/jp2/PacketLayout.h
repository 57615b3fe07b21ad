// Where a tile's packets come from: per component and resolution, the precincts, and per
// precinct and sub-band how many code-blocks it holds; and, for the resolution-major
// progressions, which packet comes k-th within a resolution. Enough to walk the packet headers
// of a tile without decoding anything, so that a coarse view can stop reading where the
// resolutions it needs end.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "jp2/CodestreamHeader.h"

namespace PLK {
namespace Engine {

class PacketLayout {
public:
    struct Packet {
        uint32_t component = 0;
        uint32_t precinct = 0;  ///< raster index among the component's precincts at the resolution
        uint32_t layer = 0;
    };
    /// Code-blocks of one sub-band of one precinct.
    struct BandBlocks {
        uint32_t across = 0;
        uint32_t down = 0;
        uint64_t count() const { return uint64_t(across) * down; }
    };

    /// Lays out `tile`'s packets from the main header. False (and why()) when the tile's
    /// packets are not resolution-major or the coding is of a kind we do not walk; also when
    /// the geometry claims more than `byteLimit` bytes could hold, one byte per packet at least.
    bool build(const CodestreamHeader& header, uint32_t tile, uint64_t byteLimit);
    const std::string& why() const { return m_why; }

    uint32_t resolutions() const { return m_resolutions; }
    uint32_t layers() const { return m_layers; }
    bool sop() const { return m_sop; }
    bool eph() const { return m_eph; }
    /// Whether code-blocks use a coding we cannot parse packet headers of (high throughput).
    bool foreignBlocks() const { return m_foreignBlocks; }

    /// Packets of resolution `r` over every component and layer.
    uint64_t packetsIn(uint32_t r) const;
    /// Packets of resolutions 0..r.
    uint64_t packetsThrough(uint32_t r) const;
    uint64_t packetCount() const { return packetsThrough(m_resolutions - 1); }

    /// The k-th packet of resolution `r`; false when the progression's order within the
    /// resolution is one we do not follow (components laid out differently).
    bool packet(uint32_t r, uint64_t k, Packet& out) const;
    /// Sub-bands of a resolution: the low-pass band alone at 0, else HL, LH and HH.
    static uint32_t bands(uint32_t r) { return r == 0 ? 1 : 3; }
    BandBlocks blocks(uint32_t component, uint32_t r, uint32_t precinct, uint32_t band) const;
    uint8_t blockStyle(uint32_t component) const { return m_components[component].blockStyle; }

private:
    struct Coding {
        uint8_t levels = 0;
        uint8_t blockWidthExp = 6;
        uint8_t blockHeightExp = 6;
        uint8_t blockStyle = 0;
        std::vector<std::pair<uint8_t, uint8_t>> precinctExps;
    };
    struct Resolution {
        int64_t x0 = 0, y0 = 0, x1 = 0, y1 = 0;
        uint32_t across = 0, down = 0;  ///< precincts
        uint8_t ppx = 15, ppy = 15;
        /// Sub-band rectangles in band coordinates.
        int64_t bx0[3] = {}, by0[3] = {}, bx1[3] = {}, by1[3] = {};
        uint64_t precincts() const { return uint64_t(across) * down; }
    };
    struct Component {
        uint8_t blockWidthExp = 6;
        uint8_t blockHeightExp = 6;
        uint8_t blockStyle = 0;
        uint8_t dx = 1, dy = 1;
        std::vector<Resolution> resolutions;
    };

    bool fail(const std::string& why);
    bool readCoding(const CodestreamHeader& header, const std::vector<uint8_t>& mainHeader);
    void layOut(Component& comp, const Coding& coding, const GridRect& tile) const;
    /// Whether every component has the same precinct grid at `r`, or at most one precinct.
    bool sameGrids(uint32_t r) const;

    std::vector<Coding> m_coding;  ///< per component, from COD and COC
    std::vector<Component> m_components;
    std::vector<uint64_t> m_packetsIn;  ///< per resolution
    uint32_t m_resolutions = 0;
    uint32_t m_layers = 0;
    uint8_t m_progression = 0;
    bool m_sop = false;
    bool m_eph = false;
    bool m_foreignBlocks = false;
    std::string m_why;
};

}  // namespace Engine
}  // namespace PLK
