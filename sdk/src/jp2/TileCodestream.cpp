#include "jp2/TileCodestream.h"

#include <algorithm>

#include "jp2/ByteCursor.h"

namespace PLK {
namespace Engine {

namespace {

constexpr size_t kSotBytes = 12;
constexpr size_t kMaxPptData = 65535 - 3;
// Far more zeros than the packets of a damaged tile-part can consume.
constexpr size_t kMaxPadding = 16u << 20;

CError damaged(const std::string& detail)
{
    return CError(PLK_ERROR_CORRUPT_CODESTREAM, detail);
}

std::string tileName(uint32_t tile)
{
    return "tile " + std::to_string(tile);
}

}  // namespace

CError TileCodestream::build(uint32_t tile, uint32_t level, bool resilient, std::vector<uint8_t>& out) const
{
    const std::vector<TilePart>& parts = m_index.parts(tile);
    if (parts.empty()) return damaged(tileName(tile) + " is missing");
    std::vector<uint8_t> bytes;
    if (const CError error = readPart(tile, parts[0], bytes)) return error;
    const uint32_t keep = partsNeeded(tile, level, bytes);
    if (!resilient) {
        for (uint32_t i = 0; i < keep; ++i)
            if (parts[i].truncated) return damaged(tileName(tile) + " is cut short");
        if (keep == parts.size() && !m_index.complete(tile))
            return damaged(tileName(tile) + " lacks some of its tile-parts");
    }
    out = m_header.headerForTile(tile);
    // Announce exactly the tile-parts handed over, so the decoder does not wait for the ones
    // left out (or, with `resilient`, the ones the file lacks).
    const bool partial = keep < parts.size() || (resilient && !m_index.complete(tile));
    const uint32_t announcedCount = partial ? keep : 0;
    uint32_t pptIndex = 0;
    for (uint32_t i = 0; i < keep; ++i) {
        if (i > 0)
            if (const CError error = readPart(tile, parts[i], bytes)) return error;
        if (const CError error = appendPart(parts[i], bytes, announcedCount, pptIndex, out)) return error;
    }
    out.push_back(0xFF);
    out.push_back(0xD9);
    return {};
}

CError TileCodestream::buildLeading(uint32_t tile, const LeadingPartIndex::Plan& plan, std::vector<uint8_t>& out) const
{
    const std::vector<TilePart>& parts = m_index.parts(tile);
    if (parts.size() != 1 || plan.bytes > parts[0].length) return damaged(tileName(tile) + " is not one tile-part");
    TilePart head = parts[0];
    head.length = static_cast<uint32_t>(plan.bytes);
    std::vector<uint8_t> bytes;
    if (const CError error = readPart(tile, head, bytes)) return error;
    out = m_header.headerForTile(tile);
    const size_t start = out.size();
    out.insert(out.end(), bytes.begin(), bytes.begin() + kSotBytes);
    ByteCursor::put16(out.data() + start + 4, 0);
    // The header's segments but its packet lengths, which would no longer match.
    size_t pos = kSotBytes;
    for (;;) {
        if (pos + 2 > bytes.size()) return damaged(tileName(tile) + " has no SOD marker where expected");
        const uint16_t marker = ByteCursor::peek16(bytes.data() + pos);
        if (marker == CodestreamHeader::SOD) break;
        if (pos + 4 > bytes.size()) return damaged(tileName(tile) + " has no SOD marker where expected");
        const size_t segment = 2 + size_t(ByteCursor::peek16(bytes.data() + pos + 2));
        if (pos + segment > bytes.size()) return damaged(tileName(tile) + " has no SOD marker where expected");
        if (marker != CodestreamHeader::PLT) out.insert(out.end(), bytes.begin() + pos, bytes.begin() + pos + segment);
        pos += segment;
    }
    out.insert(out.end(), bytes.begin() + pos, bytes.end());
    // An empty packet is one zero byte, with its start and end-of-header markers when the
    // tile uses them. Their count is bounded by the tile-part's real length.
    const bool sop = m_header.sop, eph = m_header.eph;
    for (uint64_t i = 0; i < plan.packetsAfter; ++i) {
        if (sop) {
            const uint16_t sequence = static_cast<uint16_t>(plan.packetsBefore + i);
            out.insert(out.end(), {0xFF, 0x91, 0x00, 0x04, uint8_t(sequence >> 8), uint8_t(sequence)});
        }
        out.push_back(0);
        if (eph) out.insert(out.end(), {0xFF, 0x92});
    }
    const size_t length = out.size() - start;
    if (length > UINT32_MAX) return damaged("a tile-part is too long");
    ByteCursor::put32(out.data() + start + 6, static_cast<uint32_t>(length));
    out.push_back(0xFF);
    out.push_back(0xD9);
    return {};
}

uint32_t TileCodestream::partsLikelyNeeded(uint32_t tile, uint32_t level) const
{
    const std::vector<TilePart>& parts = m_index.parts(tile);
    const uint32_t all = static_cast<uint32_t>(parts.size());
    // Only a resolution-major order written one resolution per tile-part (as encoders do when
    // asked to split tile-parts by resolution) lets the finest resolutions be cut off.
    const bool resolutionMajor = m_header.progression == 1 || m_header.progression == 2;
    const uint32_t resolutions = m_header.maxResolutions();
    if (level == 0 || !resolutionMajor || m_header.hasPoc || all != resolutions) return all;
    for (uint32_t i = 0; i < all; ++i)
        if (parts[i].index != i || (parts[i].count != 0 && parts[i].count != all)) return all;
    return resolutions - level;
}

uint32_t TileCodestream::partsNeeded(uint32_t tile, uint32_t level, const std::vector<uint8_t>& firstPart) const
{
    const uint32_t all = static_cast<uint32_t>(m_index.parts(tile).size());
    const uint32_t likely = partsLikelyNeeded(tile, level);
    // The first tile-part's own header must announce every part, and change no coding order.
    if (likely == all || firstPart.size() < kSotBytes || firstPart[11] != all) return all;
    return tilePartHeaderChangesOrder(firstPart) ? all : likely;
}

bool TileCodestream::tilePartHeaderChangesOrder(const std::vector<uint8_t>& part)
{
    size_t pos = kSotBytes;
    while (pos + 2 <= part.size()) {
        const uint16_t marker = ByteCursor::peek16(part.data() + pos);
        if (marker == CodestreamHeader::SOD) return false;
        if (pos + 4 > part.size()) break;
        if (marker == CodestreamHeader::COD || marker == CodestreamHeader::POC) return true;
        pos += 2 + ByteCursor::peek16(part.data() + pos + 2);
    }
    return true;  // a header we cannot follow: take no chances
}

CError TileCodestream::readPart(uint32_t tile, const TilePart& part, std::vector<uint8_t>& bytes) const
{
    bytes.resize(part.length);
    if (!m_source.readExact(part.offset, bytes.data(), bytes.size()))
        return CError(PLK_ERROR_FILE_READ, "the file cannot be read");
    // An index taken from the code-stream's length markers is checked here, where the bytes
    // are at hand: the tile-part must be the one it claims.
    const uint32_t psot = bytes.size() >= kSotBytes ? ByteCursor::peek32(bytes.data() + 6) : 0;
    if (bytes.size() < kSotBytes || ByteCursor::peek16(bytes.data()) != CodestreamHeader::SOT ||
        ByteCursor::peek16(bytes.data() + 4) != tile || bytes[10] != part.index || (psot != 0 && psot != part.psot))
        return damaged(tileName(tile) + " is not where the tile-part index says");
    return {};
}

CError TileCodestream::appendPart(const TilePart& part, const std::vector<uint8_t>& bytes, uint32_t partCount,
                                  uint32_t& pptIndex, std::vector<uint8_t>& out) const
{
    if (bytes.size() < kSotBytes) return damaged("a tile-part is too short");
    const size_t start = out.size();
    out.insert(out.end(), bytes.begin(), bytes.begin() + kSotBytes);
    ByteCursor::put16(out.data() + start + 4, 0);  // the tile is tile 0 of its own image
    if (partCount) out[start + 11] = static_cast<uint8_t>(partCount);
    if (m_header.hasPackedHeaders())
        if (const CError error = appendPackedHeaders(part, pptIndex, out)) return error;
    out.insert(out.end(), bytes.begin() + kSotBytes, bytes.end());
    // OpenJPEG 2.5.0 reads memory it does not own when packets run past the end of the data
    // in its lenient mode, so a cut-short tile-part gets the bytes it lacks as zeros: they read
    // as empty packets and blank code-block data.
    if (part.truncated && part.psot > part.length)
        out.resize(out.size() + std::min<size_t>(part.psot - part.length, kMaxPadding), 0);
    const size_t length = out.size() - start;
    if (length > UINT32_MAX) return damaged("a tile-part is too long");
    ByteCursor::put32(out.data() + start + 6, static_cast<uint32_t>(length));
    return {};
}

// Packet headers packed into the main header belong to tile-parts by their order in the whole
// code-stream; a code-stream of one tile has to carry them in its own tile-part headers.
CError TileCodestream::appendPackedHeaders(const TilePart& part, uint32_t& pptIndex, std::vector<uint8_t>& out) const
{
    const std::vector<uint8_t>* headers = m_header.packedHeaders(part.sequence);
    if (!headers) return damaged("the packed packet headers do not cover every tile-part");
    for (size_t pos = 0; pos < headers->size(); pos += kMaxPptData) {
        if (pptIndex > 255) return CError(PLK_ERROR_UNSUPPORTED_FEATURE, "packed packet headers this large");
        const size_t n = std::min(kMaxPptData, headers->size() - pos);
        const size_t at = out.size();
        out.resize(at + 5);
        ByteCursor::put16(out.data() + at, CodestreamHeader::PPT);
        ByteCursor::put16(out.data() + at + 2, static_cast<uint16_t>(n + 3));
        out[at + 4] = static_cast<uint8_t>(pptIndex++);
        out.insert(out.end(), headers->begin() + static_cast<std::ptrdiff_t>(pos),
                   headers->begin() + static_cast<std::ptrdiff_t>(pos + n));
    }
    return {};
}

}  // namespace Engine
}  // namespace PLK
