#include "jp2/PacketHeaderWalker.h"

#include <algorithm>

#include "jp2/ByteCursor.h"
#include "jp2/CodestreamHeader.h"

namespace PLK {
namespace Engine {

namespace {

constexpr uint8_t kBypass = 0x01;
constexpr uint8_t kTerminateAll = 0x04;
// Far beyond any real code-block (38-bit samples, guard bits, region shift): a header saying
// more is damaged.
constexpr int32_t kMaxZeroPlanes = 128;
constexpr uint32_t kMaxLengthBits = 32;

uint32_t floorLog2(uint32_t v)
{
    uint32_t n = 0;
    while (v >>= 1) ++n;
    return n;
}

}  // namespace

// Bits of a packet header, most significant first; after a 0xFF byte the next one holds seven.
class PacketHeaderWalker::BitReader {
public:
    BitReader(const uint8_t* data, size_t size) : m_data(data), m_size(size) {}
    uint32_t bit()
    {
        if (m_count == 0) {
            if (m_pos >= m_size) {
                m_over = true;
                return 0;
            }
            m_count = m_last == 0xFF ? 7 : 8;
            m_last = m_data[m_pos++];
        }
        --m_count;
        return (m_last >> m_count) & 1u;
    }
    uint64_t bits(uint32_t n)
    {
        uint64_t v = 0;
        while (n--) v = v << 1 | bit();
        return v;
    }
    bool over() const { return m_over; }
    /// Bytes of the header once it is brought to a byte boundary: a final 0xFF is followed by
    /// a stuffed byte.
    size_t alignedBytes() const { return m_pos + (m_last == 0xFF ? 1 : 0); }

private:
    const uint8_t* m_data;
    size_t m_size;
    size_t m_pos = 0;
    uint32_t m_count = 0;
    uint8_t m_last = 0;
    bool m_over = false;
};

// A tag tree over a precinct's code-blocks in one sub-band: each node holds the least value of
// its children, sent from the root down, each node's bits only once.
class PacketHeaderWalker::TagTree {
public:
    void init(uint32_t across, uint32_t down)
    {
        m_nodes.clear();
        std::vector<std::pair<uint32_t, uint32_t>> levels;
        for (uint32_t w = across, h = down;; w = (w + 1) / 2, h = (h + 1) / 2) {
            levels.emplace_back(w, h);
            if (w * h <= 1) break;
        }
        size_t start = 0;
        for (size_t l = 0; l < levels.size(); ++l) {
            const uint32_t w = levels[l].first, h = levels[l].second;
            const size_t next = start + size_t(w) * h;
            for (uint32_t y = 0; y < h; ++y)
                for (uint32_t x = 0; x < w; ++x) {
                    Node node;
                    if (l + 1 < levels.size())
                        node.parent = static_cast<uint32_t>(next + (y / 2) * levels[l + 1].first + x / 2);
                    m_nodes.push_back(node);
                }
            start = next;
        }
    }
    /// Reads what the tree says of `leaf` below `threshold`: true when its value is below it.
    bool decode(BitReader& bits, uint32_t leaf, int32_t threshold)
    {
        uint32_t path[40];
        uint32_t depth = 0;
        for (uint32_t n = leaf; n != kNone && depth < 40; n = m_nodes[n].parent) path[depth++] = n;
        int32_t low = 0;
        while (depth) {
            Node& node = m_nodes[path[--depth]];
            if (low > node.low)
                node.low = low;
            else
                low = node.low;
            while (low < threshold && low < node.value && !bits.over()) {
                if (bits.bit())
                    node.value = low;
                else
                    ++low;
            }
            node.low = low;
        }
        return m_nodes[leaf].value < threshold;
    }
    size_t size() const { return m_nodes.size(); }

private:
    static constexpr uint32_t kNone = UINT32_MAX;
    struct Node {
        int32_t value = INT32_MAX;
        int32_t low = 0;
        uint32_t parent = kNone;
    };
    std::vector<Node> m_nodes;
};

struct PacketHeaderWalker::Precinct {
    struct Block {
        bool included = false;
        uint8_t lblock = 3;
        uint8_t segmentPasses = 0;  ///< passes in the open code-word segment
        uint8_t segmentMax = 0;     ///< passes that segment can hold; 0 before the first
    };
    struct Band {
        uint32_t across = 0, down = 0;
        TagTree inclusion, zeroPlanes;
        std::vector<Block> blocks;
    };
    Band bands[3];
};

PacketHeaderWalker::PacketHeaderWalker(PacketLayout layout, uint64_t partLength)
    : m_layout(std::move(layout)), m_partLength(partLength)
{}

PacketHeaderWalker::~PacketHeaderWalker() = default;

PacketHeaderWalker::Status PacketHeaderWalker::unknown(const std::string& why)
{
    m_unknown = true;
    m_why = why;
    return Status::Unknown;
}

PacketHeaderWalker::Status PacketHeaderWalker::walk(const uint8_t* data, size_t size, uint32_t target)
{
    if (m_ends.size() > target) return Status::Reached;
    if (m_unknown) return Status::Unknown;
    if (target >= m_layout.resolutions()) return unknown("no such resolution");
    const bool toTheEnd = m_position + size >= m_partLength;
    if (m_dataStart == 0) {
        const Status status = readTileHeader(data, size);
        if (status != Status::Reached) return status;
        if (m_ends.size() > target) return Status::Reached;
        if (m_lengthsOnly) return unknown("the packet lengths stop short");
        data += m_position;
        size -= m_position;
    }
    if (m_lengthsOnly) return unknown("the packet lengths stop short");
    if (m_layout.foreignBlocks()) return unknown("code-blocks of another coding");
    const uint64_t base = m_position;
    while (m_ends.size() <= target) {
        if (m_packet == m_layout.packetsIn(m_resolution)) {
            m_ends.push_back(m_position);
            ++m_resolution;
            m_packet = 0;
            continue;
        }
        PacketLayout::Packet packet;
        if (!m_layout.packet(m_resolution, m_packet, packet)) return unknown("a packet order we do not follow");
        const uint64_t offset = m_position - base;
        if (offset >= size) return toTheEnd ? unknown("the packets run past the tile-part") : Status::NeedMore;
        uint64_t consumed = 0;
        switch (readPacket(data + offset, size - offset, packet, m_resolution, consumed)) {
            case Parse::Bad:
                return Status::Unknown;
            case Parse::NeedMore:
                return toTheEnd ? unknown("a packet header runs past the tile-part") : Status::NeedMore;
            case Parse::Done:
                break;
        }
        if (consumed > m_partLength - m_position) return unknown("a packet runs past the tile-part");
        m_position += consumed;
        ++m_packet;
        ++m_walked;
    }
    return Status::Reached;
}

PacketHeaderWalker::Status PacketHeaderWalker::readTileHeader(const uint8_t* data, size_t size)
{
    if (size < 12) return m_partLength <= size ? unknown("a tile-part too short") : Status::NeedMore;
    if (ByteCursor::peek16(data) != CodestreamHeader::SOT) return unknown("no tile-part here");
    std::vector<std::pair<uint8_t, std::vector<uint8_t>>> lengths;
    size_t pos = 12;
    for (;;) {
        if (pos + 2 > size) return size >= m_partLength ? unknown("no SOD") : Status::NeedMore;
        const uint16_t marker = ByteCursor::peek16(data + pos);
        if (marker == CodestreamHeader::SOD) break;
        if (pos + 4 > size) return size >= m_partLength ? unknown("no SOD") : Status::NeedMore;
        const size_t length = ByteCursor::peek16(data + pos + 2);
        if (length < 2) return unknown("a damaged tile-part header");
        if (pos + 2 + length > size) return size >= m_partLength ? unknown("no SOD") : Status::NeedMore;
        if (marker == CodestreamHeader::COD || marker == CodestreamHeader::COC || marker == CodestreamHeader::POC ||
            marker == CodestreamHeader::PPT)
            return unknown("the tile-part header changes the coding");
        if (marker == CodestreamHeader::PLT && length >= 3)
            lengths.emplace_back(data[pos + 4], std::vector<uint8_t>(data + pos + 5, data + pos + 2 + length));
        pos += 2 + length;
    }
    m_dataStart = m_position = pos + 2;
    if (lengths.empty()) return Status::Reached;
    std::stable_sort(lengths.begin(), lengths.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<uint8_t> all;
    for (const auto& segment : lengths) all.insert(all.end(), segment.second.begin(), segment.second.end());
    return useLengths(all);
}

PacketHeaderWalker::Status PacketHeaderWalker::useLengths(const std::vector<uint8_t>& lengths)
{
    uint64_t end = m_dataStart, value = 0, left = m_layout.packetsIn(0);
    uint32_t r = 0;
    auto closeEmpty = [&] {
        while (left == 0 && r < m_layout.resolutions()) {
            m_ends.push_back(end);
            if (++r < m_layout.resolutions()) left = m_layout.packetsIn(r);
        }
    };
    closeEmpty();
    for (uint8_t b : lengths) {
        if (r >= m_layout.resolutions()) break;
        value = value << 7 | (b & 0x7F);
        if (value > m_partLength) return unknown("a packet length beyond the tile-part");
        if (b & 0x80) continue;
        end += value;
        value = 0;
        if (end > m_partLength) return unknown("packet lengths beyond the tile-part");
        --left;
        closeEmpty();
    }
    m_lengthsOnly = true;  // nothing more to walk: the lengths said all they could
    return Status::Reached;
}

PacketHeaderWalker::Parse PacketHeaderWalker::readPacket(const uint8_t* data, size_t size,
                                                         const PacketLayout::Packet& packet, uint32_t r,
                                                         uint64_t& consumed)
{
    size_t pos = 0;
    if (size >= 2 && ByteCursor::peek16(data) == CodestreamHeader::SOP) {
        if (size < 6) return Parse::NeedMore;
        pos = 6;
    } else if (size < 2 && m_layout.sop()) {
        return Parse::NeedMore;
    }
    BitReader bits(data + pos, size - pos);
    uint64_t bodyBytes = 0;
    // The precinct's state changes only once its header was read whole: a header cut short by
    // the end of the bytes is read again from its start when more arrive.
    const uint64_t key = (uint64_t(packet.component) << 6 | r) << 32 | packet.precinct;
    auto found = m_precincts.end();
    Precinct state;
    uint64_t newBlocks = 0;
    const bool present = bits.bit() != 0;
    if (present) {
        found = m_precincts.find(key);
        if (found != m_precincts.end()) {
            state = *found->second;
        } else {
            for (uint32_t b = 0; b < PacketLayout::bands(r); ++b) {
                const PacketLayout::BandBlocks blocks = m_layout.blocks(packet.component, r, packet.precinct, b);
                newBlocks += blocks.count();
                // Memory follows the bytes: a real tile-part has far more bytes than code-blocks.
                if (m_blocks + newBlocks > 16 * m_partLength + 65536) {
                    unknown("more code-blocks than the bytes could code");
                    return Parse::Bad;
                }
                Precinct::Band& band = state.bands[b];
                band.across = blocks.across;
                band.down = blocks.down;
                if (blocks.count() == 0) continue;
                band.inclusion.init(blocks.across, blocks.down);
                band.zeroPlanes.init(blocks.across, blocks.down);
                band.blocks.resize(blocks.count());
            }
        }
        const Parse parsed = readBlocks(bits, state, packet.layer, packet.component, bodyBytes);
        if (parsed != Parse::Done) return parsed;
    }
    if (bits.over()) return Parse::NeedMore;
    pos += bits.alignedBytes();
    if (m_layout.eph()) {
        if (size - std::min(size, pos) < 2) return Parse::NeedMore;
        if (ByteCursor::peek16(data + pos) != CodestreamHeader::EPH) {
            unknown("a packet header without its EPH marker");
            return Parse::Bad;
        }
        pos += 2;
    }
    if (pos > size) return Parse::NeedMore;
    consumed = pos + bodyBytes;
    if (present) {
        m_blocks += newBlocks;
        if (found != m_precincts.end())
            *found->second = std::move(state);
        else
            m_precincts.emplace(key, std::make_unique<Precinct>(std::move(state)));
    }
    return Parse::Done;
}

PacketHeaderWalker::Parse PacketHeaderWalker::readBlocks(BitReader& bits, Precinct& precinct, uint32_t layer,
                                                         uint32_t component, uint64_t& bodyBytes)
{
    const uint8_t style = m_layout.blockStyle(component);
    const int32_t threshold = static_cast<int32_t>(layer) + 1;
    for (Precinct::Band& band : precinct.bands) {
        for (uint32_t i = 0; i < band.blocks.size(); ++i) {
            if (bits.over()) return Parse::NeedMore;
            Precinct::Block& block = band.blocks[i];
            const bool included = block.included ? bits.bit() != 0 : band.inclusion.decode(bits, i, threshold);
            if (!included) continue;
            if (!block.included) {
                int32_t planes = 0;
                while (!band.zeroPlanes.decode(bits, i, planes + 1) && !bits.over())
                    if (++planes > kMaxZeroPlanes) {
                        unknown("a code-block with too many zero bit-planes");
                        return Parse::Bad;
                    }
                block.included = true;
            }
            // Coding passes: 1, 2, 3-5, 6-36 or 37-164, in code-words of growing length.
            uint32_t passes = 1;
            if (bits.bit()) {
                passes = 2;
                if (bits.bit()) {
                    const uint32_t two = static_cast<uint32_t>(bits.bits(2));
                    passes = 3 + two;
                    if (two == 3) {
                        const uint32_t five = static_cast<uint32_t>(bits.bits(5));
                        passes = 6 + five;
                        if (five == 31) passes = 37 + static_cast<uint32_t>(bits.bits(7));
                    }
                }
            }
            while (bits.bit())
                if (++block.lblock > kMaxLengthBits) {
                    unknown("a code-word length too long");
                    return Parse::Bad;
                }
            // Each code-word segment the passes reach gets a length of its own: one segment for
            // the default coding, one per pass when every pass is terminated, and with the
            // arithmetic coder bypassed ten passes, then two raw and one coded alternately.
            while (passes > 0) {
                if (block.segmentMax == 0 || block.segmentPasses == block.segmentMax) {
                    const uint8_t previous = block.segmentMax;
                    block.segmentMax = (style & kTerminateAll)             ? 1
                                       : !(style & kBypass)                ? 109
                                       : previous == 0                     ? 10
                                       : (previous == 1 || previous == 10) ? 2
                                                                           : 1;
                    block.segmentPasses = 0;
                }
                const uint32_t n = std::min<uint32_t>(passes, block.segmentMax - block.segmentPasses);
                const uint32_t lengthBits = block.lblock + floorLog2(n);
                if (lengthBits > kMaxLengthBits) {
                    unknown("a code-word length too long");
                    return Parse::Bad;
                }
                bodyBytes += bits.bits(lengthBits);
                block.segmentPasses = static_cast<uint8_t>(block.segmentPasses + n);
                passes -= n;
            }
            if (bodyBytes > m_partLength) {
                unknown("packet data beyond the tile-part");
                return Parse::Bad;
            }
        }
    }
    return Parse::Done;
}

}  // namespace Engine
}  // namespace PLK
