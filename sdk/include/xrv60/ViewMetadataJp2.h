// The JPEG 2000 code-stream parameters of an open image, as read from its main header.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace PLK {
namespace ViewMetadata {

struct Size {
    uint32_t width = 0;
    uint32_t height = 0;
};

class ViewMetadataJp2 {
public:
    /// 0 unrestricted (Part 1 full), 1 profile 0, 2 profile 1, 3 other (cinema, broadcast...).
    int ComplianceProfileType() const { return m_profile; }
    /// Text of the first comment marker with Latin/UTF-8 content.
    const std::string& Comments() const { return m_comments; }
    Size NumberOfTiles() const { return m_tiles; }
    Size TileSize() const { return m_tileSize; }
    /// Precinct size of every resolution level, from the coarsest (level 0) to the finest.
    const std::vector<Size>& PrecinctSize() const { return m_precincts; }
    Size CodeBlock() const { return m_codeBlock; }
    /// Bit depth of every component.
    const std::vector<uint8_t>& BitDepth() const { return m_bitDepths; }
    /// Number of resolution levels (decomposition levels + 1).
    int Levels() const { return m_levels; }
    int Layers() const { return m_layers; }
    /// 0 LRCP, 1 RLCP, 2 RPCL, 3 PCRL, 4 CPRL.
    int PrecinctProgressionOrder() const { return m_progression; }
    /// 0 irreversible 9x7, 1 reversible 5x3.
    int TransformationType() const { return m_transformation; }
    bool SOPExists() const { return m_sop; }
    bool EPHExists() const { return m_eph; }
    bool GMLJP2BoxExists() const { return m_gml; }

    // Filled by the engine when the file is opened.
    int m_profile = 0;
    std::string m_comments;
    Size m_tiles;
    Size m_tileSize;
    std::vector<Size> m_precincts;
    Size m_codeBlock;
    std::vector<uint8_t> m_bitDepths;
    int m_levels = 0;
    int m_layers = 0;
    int m_progression = 0;
    int m_transformation = 0;
    bool m_sop = false;
    bool m_eph = false;
    bool m_gml = false;
};

}  // namespace ViewMetadata
}  // namespace PLK
