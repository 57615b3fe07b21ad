// Reads the box structure of a JP2 (or JP2-compatible JPX) file: the header boxes that say
// how to interpret the code-stream's components, the metadata boxes, and where the
// code-stream lies. A raw code-stream without boxes is accepted as well.
#pragma once

#include <cstdint>
#include <vector>

#include "CError.h"
#include "PLKTypes.h"
#include "io/ByteSource.h"

namespace PLK {
namespace Engine {

enum class Jp2Colour { Unknown, SRGB, Greyscale, SYCC, CMYK, ESYCC, CIELab };

/// A colour look-up table (pclr) with the columns its channels use.
struct Jp2Palette {
    uint32_t entries = 0;
    std::vector<uint8_t> bits;    ///< per column
    std::vector<bool> isSigned;   ///< per column
    std::vector<int32_t> values;  ///< entries x columns, entry after entry
};

/// Where an output channel comes from: a component directly, or a palette column indexed by
/// a component.
struct Jp2Channel {
    uint16_t component = 0;
    int paletteColumn = -1;
};

/// One cdef entry: channel `channel` is a colour (type 0) or opacity (1, 2) of colour `assoc`.
struct Jp2ChannelDefinition {
    uint16_t channel = 0;
    uint16_t type = 0;
    uint16_t assoc = 0;
};

struct Jp2Boxes {
    bool rawCodestream = false;
    uint64_t codestreamOffset = 0;
    uint64_t codestreamLength = 0;
    bool codestreamTruncated = false;  ///< the file ends inside the code-stream box
    Jp2Colour colour = Jp2Colour::Unknown;
    std::vector<uint8_t> iccProfile;  ///< the colour box's ICC profile, empty when it has none
    /// CIELab ranges and offsets (RL, OL, RA, OA, RB, OB) when the colour box gives them.
    std::vector<uint32_t> labRanges;
    std::vector<Jp2ChannelDefinition> channelDefinitions;
    Jp2Palette palette;                  ///< entries == 0 when there is none
    std::vector<Jp2Channel> channelMap;  ///< from cmap; empty means one channel per component
    std::vector<PLKJP2Box> xmlBoxes;
    bool hasGeoJp2 = false;
    bool hasGml = false;
};

class Jp2BoxReader {
public:
    /// Reads the boxes of `source`. Errors carry a bare detail text: PLK_ERROR_NOT_SUPPORTED_FORMAT
    /// (not JPEG 2000 at all), PLK_ERROR_CORRUPT_CODESTREAM (a damaged box) or
    /// PLK_ERROR_UNSUPPORTED_FEATURE (the feature's name).
    static CError read(ByteSource& source, Jp2Boxes& out);
    /// Whether the first bytes are a JP2 signature box or a code-stream's SOC and SIZ markers.
    static bool looksLikeJpeg2000(const uint8_t* head, size_t length);

private:
    struct Box {
        uint32_t type = 0;
        uint64_t offset = 0;  ///< of the box header
        uint64_t contentOffset = 0;
        uint64_t contentLength = 0;
        bool truncated = false;  ///< the box claims more bytes than there are
    };

    explicit Jp2BoxReader(ByteSource& source, Jp2Boxes& out) : m_source(source), m_out(out) {}
    CError readFile();
    CError readBoxHeader(uint64_t offset, uint64_t end, Box& box);
    CError readTopLevelBox(const Box& box);
    CError checkFileType(const Box& box);
    CError readHeaderBox(const Box& box);
    CError readHeaderChild(uint32_t type, const uint8_t* data, size_t size);
    CError readColour(const uint8_t* data, size_t size);
    CError readChannelDefinitions(const uint8_t* data, size_t size);
    CError readPalette(const uint8_t* data, size_t size);
    CError readComponentMap(const uint8_t* data, size_t size);
    CError readAssociation(const Box& box, int depth);
    CError readUuid(const Box& box);
    CError readContent(const Box& box, size_t limit, std::vector<uint8_t>& bytes);

    ByteSource& m_source;
    Jp2Boxes& m_out;
    bool m_sawHeader = false;
    bool m_sawColour = false;
    bool m_sawFragmentTable = false;
    bool m_sawCodestream = false;
    uint32_t m_boxCount = 0;
};

}  // namespace Engine
}  // namespace PLK
