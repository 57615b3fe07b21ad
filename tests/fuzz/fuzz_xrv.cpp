// The XRV header, metadata, level directory and block indexes, then the first blocks'
// segments through the HTJ2K block decoder at every level, as the reader takes them.
// A mutated file nearly always fails one of its checksums, which stops the reader long before
// the block decoder; so every input is taken twice: as it is, and with every checksum
// (segments, indexes, directory, metadata, header) made to match what the bytes hold, as a
// file crafted to pass them would.
// Self-contained: needs only the XRV sources and OpenJPH.
//   clang++ -std=c++17 -g -O1 -fsanitize=fuzzer,address,undefined -I sdk/src -I sdk/include/xrv60 \
//     tests/fuzz/fuzz_xrv.cpp sdk/src/xrv/XrvFormat.cpp sdk/src/xrv/HtBlockCodec.cpp -lopenjph -o fuzz_xrv
//   ./fuzz_xrv -max_len=65536 -rss_limit_mb=1024 SEEDS/
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "xrv/HtBlockCodec.h"
#include "xrv/XrvFormat.h"

using namespace PLK::Engine;

namespace {

constexpr uint32_t kBlocksDecoded = 4;

void readFile(const uint8_t* data, size_t size)
{
    Xrv::Header header;
    std::vector<Xrv::LevelEntry> levels;
    size_t needed = 0;
    if (!Xrv::parseHead(data, size, size, header, levels, needed).empty()) return;
    std::vector<std::vector<uint32_t>> lengths(levels.size()), crcs(levels.size());
    for (uint32_t r = 0; r < levels.size(); ++r) {
        const Xrv::LevelEntry& e = levels[r];
        if (!Xrv::parseIndex(data + e.indexOffset, e.indexLength, e, header.blockCount(), lengths[r], crcs[r]).empty())
            return;
    }
    const uint32_t bands = static_cast<uint32_t>(header.bands.size());
    const bool resilient = (data[size - 1] & 1) == 0;  // both of the reader's ways, as the input picks
    const uint64_t blocks = std::min<uint64_t>(header.blockCount(), kBlocksDecoded);
    for (uint32_t b = 0; b < blocks; ++b) {
        const uint32_t x0 = b % header.blocksAcross() * header.blockWidth;
        const uint32_t y0 = b / header.blocksAcross() * header.blockHeight;
        const HtBlockCodec::Expected expected{std::min(header.blockWidth, header.width - x0),
                                              std::min(header.blockHeight, header.height - y0), bands};
        if (uint64_t(expected.width) * expected.height * expected.components > (1u << 22)) return;
        std::vector<uint8_t> block;  // block b's segments, coarsest first
        for (uint32_t r = 0; r < levels.size(); ++r) {
            uint64_t offset = levels[r].dataOffset;
            for (uint32_t i = 0; i < b; ++i) offset += lengths[r][i];
            const uint32_t length = lengths[r][b];
            if (Xrv::crc32(data + offset, length) != crcs[r][b]) break;  // as the reader checks
            block.insert(block.end(), data + offset, data + offset + length);
            if (block.empty()) continue;
            // Decode what a view at the level that needs resolutions 0..r would read.
            const uint32_t level = static_cast<uint32_t>(levels.size()) - 1 - r;
            std::vector<std::vector<int32_t>> planes;
            uint32_t w = 0, h = 0;
            std::string why;
            HtBlockCodec::decode(block.data(), block.size(), level, resilient, expected, planes, w, h, why);
        }
        HtBlockCodec::resolutionEnds(block.data(), block.size(), bands);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    readFile(data, size);
    std::vector<uint8_t> fixed(data, data + size);
    fuzz::fixXrvChecksums(fixed);
    if (!std::equal(fixed.begin(), fixed.end(), data)) readFile(fixed.data(), fixed.size());
    return 0;
}
