// The XRV file layout (docs/xrv-format.md): the fixed header, the metadata records, the level
// directory and the per-level block index, written and parsed here and nowhere else. Parsing
// checks every length and offset against the bytes there are; nothing is allocated from a
// length the file's own size does not allow.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "PLKTypes.h"

namespace PLK {
namespace Engine {

namespace Xrv {

constexpr uint8_t kMagic[8] = {0x89, 'X', 'R', 'V', '\r', '\n', 0x1A, '\n'};
constexpr uint8_t kVersion = 1;
constexpr size_t kFixedHeaderBytes = 64;
constexpr size_t kLevelEntryBytes = 32;
constexpr size_t kIndexEntryBytes = 8;  ///< segment length and its CRC-32
constexpr uint32_t kMaxResolutions = 16;
constexpr uint32_t kMaxBands = 4096;
constexpr uint32_t kMaxMetadataBytes = 64u << 20;
constexpr uint32_t kMaxBlockSide = 8192;
/// The ten authoring texts, in the file's order.
constexpr size_t kAuthoringTexts = 10;

uint32_t crc32(const uint8_t* data, size_t length, uint32_t crc = 0);

struct Band {
    uint8_t bits = 8;
    bool isSigned = false;
    std::string description;
};

struct Placement {
    bool present = false;
    double originX = 0, originY = 0;
    double cellX = 1, cellY = -1;
    double rotationDegrees = 0;
    int32_t epsg = 0;
    PLKCellSizeUnits units = PLK_UNITS_UNKNOWN;
    std::string wkt;
};

/// A band's histogram: `buckets` values from the type's minimum on, of which only the used
/// ones are listed (value index, count), in increasing order.
struct SparseHistogram {
    uint32_t buckets = 0;
    std::vector<std::pair<uint32_t, uint64_t>> counts;
};

/// Everything the header and metadata records say.
struct Header {
    uint8_t version = kVersion;
    PLKCellType cellType = PLK_CELL_UINT8;
    PLKColorSpace colourSpace = PLK_COLOR_NONE;
    uint32_t resolutions = 1;  ///< wavelet resolutions per block (decompositions + 1)
    uint32_t width = 0, height = 0;
    int alphaBand = -1;
    uint32_t blockWidth = 512, blockHeight = 512;
    bool reversible = false;
    uint64_t fileLength = 0;

    std::vector<Band> bands;
    Placement placement;
    uint16_t targetRate = 0;  ///< N for N:1, 0 for lossless
    float psnr = 0;           ///< measured at compression, 0 when not measured or lossless
    std::string compressionDate;
    std::array<std::string, kAuthoringTexts> authoring;
    bool hasAuthoring = false;
    /// Per band, counted over every cell at compression time.
    std::vector<SparseHistogram> histograms;
    bool hasRpc = false;
    PLKRPCData rpc{};
    bool hasNodata = false;
    double nodata = 0;
    /// XML boxes: contents as written, and (when parsed) where they lie in the file.
    std::vector<std::string> xml;
    std::vector<std::pair<uint64_t, uint64_t>> xmlSpans;

    uint32_t blocksAcross() const { return (width + blockWidth - 1) / blockWidth; }
    uint32_t blocksDown() const { return (height + blockHeight - 1) / blockHeight; }
    uint64_t blockCount() const { return uint64_t(blocksAcross()) * blocksDown(); }
};

/// Where one resolution's index and data lie; entry 0 is the coarsest resolution.
struct LevelEntry {
    uint64_t indexOffset = 0;
    uint32_t indexLength = 0;
    uint32_t indexCrc = 0;
    uint64_t dataOffset = 0;
    uint64_t dataLength = 0;
};

/// Serialises header, metadata and directory: the file's first bytes, up to the first index.
std::vector<uint8_t> writeHead(const Header& header, const std::vector<LevelEntry>& levels);
/// The byte count writeHead produces (to place indexes and data before writing).
size_t headBytes(const Header& header);

/// Parses the first `length` bytes of a file of `fileSize` bytes. Returns "" on success;
/// otherwise the reason. When the bytes end too early, `needed` says how many are required
/// and the reason is "more".
std::string parseHead(const uint8_t* bytes, size_t length, uint64_t fileSize, Header& header,
                      std::vector<LevelEntry>& levels, size_t& needed);

/// Parses one level's index (segment length and CRC-32 of every block in raster order) and
/// checks it against its directory entry.
std::string parseIndex(const uint8_t* bytes, size_t length, const LevelEntry& entry, uint64_t blocks,
                       std::vector<uint32_t>& lengths, std::vector<uint32_t>& crcs);

}  // namespace Xrv
}  // namespace Engine
}  // namespace PLK
