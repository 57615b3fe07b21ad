// Finds where each resolution's packets end in the one tile-part of a tile, from the packet
// lengths its header lists (PLT) when it has them, else by reading the packet headers
// themselves: inclusion and zero bit-plane tag trees, pass counts and code-word lengths, with
// the stuffed bit after every 0xFF byte. Only the headers are read, never the coded data.
//
// The walk goes as far as the bytes given reach and resumes where it stopped when given more,
// so a tile's packets are parsed once however many reads it takes. Anything it does not
// follow, or any inconsistency in the headers, ends the walk with Unknown: the caller then
// reads the whole tile-part. Memory and time follow the bytes walked, never counts a header
// claims.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "jp2/PacketLayout.h"

namespace PLK {
namespace Engine {

class PacketHeaderWalker {
public:
    enum class Status {
        Reached,   ///< the resolution asked for ends at ends()[resolution]
        NeedMore,  ///< give the bytes from position() on, more of them
        Unknown,   ///< the packets cannot be followed: read the whole tile-part
    };

    /// `layout` of the tile whose one tile-part is `partLength` bytes long (SOT included).
    PacketHeaderWalker(PacketLayout layout, uint64_t partLength);
    ~PacketHeaderWalker();
    PacketHeaderWalker(const PacketHeaderWalker&) = delete;
    PacketHeaderWalker& operator=(const PacketHeaderWalker&) = delete;

    /// Walks on through `data`: the tile-part's bytes from position() on, `size` of them,
    /// until the packets of resolution `target` end.
    Status walk(const uint8_t* data, size_t size, uint32_t target);

    /// Offset in the tile-part of the first byte the walk has not consumed yet.
    uint64_t position() const { return m_position; }
    /// Offset in the tile-part just past each resolution's last packet, coarsest first, for
    /// the resolutions walked so far.
    const std::vector<uint64_t>& ends() const { return m_ends; }
    /// Packets walked so far.
    uint64_t packetsWalked() const { return m_walked; }
    /// Offset of the first packet (just past SOD); 0 until the tile-part header was read.
    uint64_t dataStart() const { return m_dataStart; }
    const PacketLayout& layout() const { return m_layout; }
    const std::string& why() const { return m_why; }

private:
    class BitReader;
    class TagTree;
    struct Precinct;
    enum class Parse { Done, NeedMore, Bad };

    Status readTileHeader(const uint8_t* data, size_t size);
    Status useLengths(const std::vector<uint8_t>& lengths);
    Parse readPacket(const uint8_t* data, size_t size, const PacketLayout::Packet& packet, uint32_t r,
                     uint64_t& consumed);
    Parse readBlocks(BitReader& bits, Precinct& precinct, uint32_t layer, uint32_t component, uint64_t& bodyBytes);
    Status unknown(const std::string& why);

    PacketLayout m_layout;
    uint64_t m_partLength = 0;
    uint64_t m_position = 0;
    uint64_t m_dataStart = 0;
    uint32_t m_resolution = 0;  ///< being walked
    uint64_t m_packet = 0;      ///< next packet within it
    uint64_t m_blocks = 0;      ///< code-block states held
    uint64_t m_walked = 0;
    std::vector<uint64_t> m_ends;
    std::unordered_map<uint64_t, std::unique_ptr<Precinct>> m_precincts;
    bool m_unknown = false;
    bool m_lengthsOnly = false;  ///< the ends came from the header's packet lengths
    std::string m_why;
};

}  // namespace Engine
}  // namespace PLK
