// The code-stream's main header, the tile-part index built from it, and the one-tile
// code-streams handed to the decoder (without decoding them).
#include "FuzzSupport.h"
#include "jp2/CodestreamHeader.h"
#include "jp2/TileCodestream.h"
#include "jp2/TilePartIndex.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    using namespace PLK::Engine;
    fuzz::MemorySource source(data, size);
    CodestreamHeader header;
    if (header.parse(data, size, true)) return 0;
    header.minResolutions();
    header.maxResolutions();
    TilePartIndex index;
    index.build(source, header.mainHeaderLength, size, header);
    const TileCodestream builder(source, header, index);
    const uint32_t tiles = index.tileCount();
    for (uint32_t t = 0; t < tiles && t < 8; ++t) {
        header.tileHasSamples(t);
        std::vector<uint8_t> codestream;
        builder.build(t, 0, true, codestream);
        builder.build(t, header.minResolutions() - 1, false, codestream);
    }
    return 0;
}
