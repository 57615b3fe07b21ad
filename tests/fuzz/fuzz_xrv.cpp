// The XRV header, metadata, level directory and block indexes, then the first block's
// segments through the HTJ2K block decoder at every level, as the reader takes them.
// Self-contained: needs only the three XRV sources and OpenJPH.
//   clang++ -std=c++17 -g -O1 -fsanitize=fuzzer,address,undefined -I sdk/src -I sdk/include/xrv60 \
//     tests/fuzz/fuzz_xrv.cpp sdk/src/xrv/XrvFormat.cpp sdk/src/xrv/HtBlockCodec.cpp -lopenjph -o fuzz_xrv
//   ./fuzz_xrv -max_len=65536 -rss_limit_mb=1024 SEEDS/
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "xrv/HtBlockCodec.h"
#include "xrv/XrvFormat.h"

using namespace PLK::Engine;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Xrv::Header header;
    std::vector<Xrv::LevelEntry> levels;
    size_t needed = 0;
    if (!Xrv::parseHead(data, size, size, header, levels, needed).empty()) return 0;
    std::vector<uint8_t> block;  // block 0's segments, coarsest first
    for (uint32_t r = 0; r < levels.size(); ++r) {
        const Xrv::LevelEntry& e = levels[r];
        std::vector<uint32_t> lengths, crcs;
        if (!Xrv::parseIndex(data + e.indexOffset, e.indexLength, e, header.blockCount(), lengths, crcs).empty())
            return 0;
        if (lengths.empty() || lengths[0] > e.dataLength) return 0;
        if (Xrv::crc32(data + e.dataOffset, lengths[0]) != crcs[0]) return 0;  // as the reader checks
        block.insert(block.end(), data + e.dataOffset, data + e.dataOffset + lengths[0]);
        // Decode what a view at the level that needs resolutions 0..r would read.
        const uint32_t level = static_cast<uint32_t>(levels.size()) - 1 - r;
        std::vector<std::vector<int32_t>> planes;
        uint32_t w = 0, h = 0;
        std::string why;
        const HtBlockCodec::Expected expected{std::min(header.blockWidth, header.width),
                                              std::min(header.blockHeight, header.height),
                                              static_cast<uint32_t>(header.bands.size())};
        if (uint64_t(expected.width) * expected.height * expected.components <= (1u << 22))
            HtBlockCodec::decode(block.data(), block.size(), level, true, expected, planes, w, h, why);
    }
    HtBlockCodec::resolutionEnds(block.data(), block.size(), static_cast<uint32_t>(header.bands.size()));
    return 0;
}
