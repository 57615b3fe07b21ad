#include "jp2/Jp2BoxReader.h"

#include <cstring>

#include "jp2/ByteCursor.h"

namespace PLK {
namespace Engine {

namespace {

constexpr uint32_t boxType(const char (&s)[5])
{
    return static_cast<uint32_t>(static_cast<uint8_t>(s[0])) << 24 |
           static_cast<uint32_t>(static_cast<uint8_t>(s[1])) << 16 |
           static_cast<uint32_t>(static_cast<uint8_t>(s[2])) << 8 | static_cast<uint8_t>(s[3]);
}

constexpr uint32_t kSignature = boxType("jP  ");
constexpr uint32_t kFileType = boxType("ftyp");
constexpr uint32_t kHeader = boxType("jp2h");
constexpr uint32_t kColour = boxType("colr");
constexpr uint32_t kChannelDefinition = boxType("cdef");
constexpr uint32_t kPalette = boxType("pclr");
constexpr uint32_t kComponentMap = boxType("cmap");
constexpr uint32_t kXml = boxType("xml ");
constexpr uint32_t kUuid = boxType("uuid");
constexpr uint32_t kAssociation = boxType("asoc");
constexpr uint32_t kLabel = boxType("lbl ");
constexpr uint32_t kCodestream = boxType("jp2c");
constexpr uint32_t kFragmentTable = boxType("ftbl");

const uint8_t kSignatureBox[12] = {0, 0, 0, 12, 'j', 'P', ' ', ' ', 0x0D, 0x0A, 0x87, 0x0A};
const uint8_t kGeoJp2Uuid[16] = {0xB1, 0x4B, 0xF8, 0xBD, 0x08, 0x3D, 0x4B, 0x43,
                                 0xA5, 0xAE, 0x8C, 0xD7, 0xD5, 0xA6, 0xCE, 0x03};

// Header boxes hold colour profiles and palettes: a few hundred kilobytes at most.
constexpr size_t kMaxHeaderBox = 16u << 20;
// Far more boxes than any real file has; a damaged file cannot keep us walking for ever.
constexpr uint32_t kMaxBoxes = 100000;
constexpr int kMaxAssociationDepth = 8;

CError damaged(const std::string& detail)
{
    return CError(PLK_ERROR_CORRUPT_CODESTREAM, detail);
}

std::string typeName(uint32_t type)
{
    std::string s;
    for (int shift = 24; shift >= 0; shift -= 8) {
        const char c = static_cast<char>((type >> shift) & 0xFF);
        s += (c >= 0x20 && c < 0x7F) ? c : '?';
    }
    return s;
}

Jp2Colour iccColour(const uint8_t* profile, size_t size)
{
    if (size < 20) return Jp2Colour::Unknown;
    const uint32_t space = ByteCursor::peek32(profile + 16);
    if (space == boxType("RGB ")) return Jp2Colour::SRGB;
    if (space == boxType("GRAY")) return Jp2Colour::Greyscale;
    if (space == boxType("YCbr")) return Jp2Colour::SYCC;
    return Jp2Colour::Unknown;
}

}  // namespace

bool Jp2BoxReader::looksLikeJpeg2000(const uint8_t* b, size_t got)
{
    if (got >= 12 && std::memcmp(b, kSignatureBox, 12) == 0) return true;
    return got >= 4 && b[0] == 0xFF && b[1] == 0x4F && b[2] == 0xFF && b[3] == 0x51;
}

CError Jp2BoxReader::read(ByteSource& source, Jp2Boxes& out)
{
    out = Jp2Boxes();
    Jp2BoxReader reader(source, out);
    return reader.readFile();
}

CError Jp2BoxReader::readFile()
{
    uint8_t first[12] = {};
    const int64_t got = m_source.readAt(0, first, sizeof first);
    if (got < 0) return CError(PLK_ERROR_FILE_READ, "the file cannot be read");
    if (got >= 4 && first[0] == 0xFF && first[1] == 0x4F && first[2] == 0xFF && first[3] == 0x51) {
        m_out.rawCodestream = true;
        m_out.codestreamLength = m_source.size();
        return {};
    }
    if (got < 12 || std::memcmp(first, kSignatureBox, 12) != 0)
        return CError(PLK_ERROR_NOT_SUPPORTED_FORMAT, "no JPEG 2000 signature");
    const uint64_t end = m_source.size();
    for (uint64_t pos = 12; end - pos >= 8;) {
        Box box;
        if (const CError error = readBoxHeader(pos, end, box)) {
            if (m_sawCodestream) break;  // damage after the code-stream costs only metadata
            return error;
        }
        if (box.truncated && box.type != kCodestream) {
            if (m_sawCodestream) break;
            return damaged("the box '" + typeName(box.type) + "' runs past the end of the file");
        }
        if (const CError error = readTopLevelBox(box)) return error;
        pos = box.contentOffset + box.contentLength;
    }
    if (m_sawCodestream) return {};
    if (m_sawFragmentTable) return CError(PLK_ERROR_UNSUPPORTED_FEATURE, "a code-stream split into fragments");
    return damaged("the file holds no code-stream");
}

CError Jp2BoxReader::readBoxHeader(uint64_t offset, uint64_t end, Box& box)
{
    if (++m_boxCount > kMaxBoxes) return damaged("it has more than " + std::to_string(kMaxBoxes) + " boxes");
    uint8_t b[16];
    const uint64_t available = end - offset;
    const size_t want = available >= 16 ? 16 : static_cast<size_t>(available);
    if (want < 8 || !m_source.readExact(offset, b, want)) return damaged("a box header is cut short");
    uint64_t length = ByteCursor::peek32(b);
    box.type = ByteCursor::peek32(b + 4);
    box.offset = offset;
    uint64_t headerLength = 8;
    if (length == 1) {
        if (want < 16) return damaged("a box header is cut short");
        length = static_cast<uint64_t>(ByteCursor::peek32(b + 8)) << 32 | ByteCursor::peek32(b + 12);
        headerLength = 16;
    } else if (length == 0) {
        length = available;  // the last box runs to the end of the file
    }
    if (length < headerLength) return damaged("the box '" + typeName(box.type) + "' has an impossible length");
    box.contentOffset = offset + headerLength;
    box.truncated = length > available;
    box.contentLength = (box.truncated ? available : length) - headerLength;
    return {};
}

CError Jp2BoxReader::readTopLevelBox(const Box& box)
{
    switch (box.type) {
        case kFileType:
            return checkFileType(box);
        case kHeader:
            return m_sawHeader ? CError() : readHeaderBox(box);
        case kXml:
            m_out.xmlBoxes.push_back({kXml, box.contentOffset, box.contentLength});
            return {};
        case kUuid:
            return readUuid(box);
        case kAssociation:
            return readAssociation(box, 0);
        case kFragmentTable:
            m_sawFragmentTable = true;
            return {};
        case kCodestream:
            if (!m_sawCodestream) {
                m_sawCodestream = true;
                m_out.codestreamOffset = box.contentOffset;
                m_out.codestreamLength = box.contentLength;
                m_out.codestreamTruncated = box.truncated;
            }
            return {};
        default:
            return {};
    }
}

CError Jp2BoxReader::checkFileType(const Box& box)
{
    std::vector<uint8_t> bytes;
    if (const CError error = readContent(box, 4096, bytes)) return error;
    if (bytes.size() < 8) return damaged("the file type box is too short");
    const uint32_t brand = ByteCursor::peek32(bytes.data());
    // JPX files that a JP2 reader can show list 'jp2 ' among their compatible brands.
    for (size_t at = 0; at + 4 <= bytes.size(); at += at == 0 ? 8 : 4) {
        const uint32_t b = ByteCursor::peek32(bytes.data() + at);
        if (b == boxType("jp2 ") || b == boxType("jpx ") || b == boxType("jpxb") || b == boxType("jph ")) return {};
    }
    return CError(PLK_ERROR_UNSUPPORTED_FEATURE, "the file type '" + typeName(brand) + "'");
}

CError Jp2BoxReader::readContent(const Box& box, size_t limit, std::vector<uint8_t>& bytes)
{
    const size_t size = box.contentLength < limit ? static_cast<size_t>(box.contentLength) : limit;
    bytes.resize(size);
    if (size && !m_source.readExact(box.contentOffset, bytes.data(), size))
        return CError(PLK_ERROR_FILE_READ, "the file cannot be read");
    return {};
}

CError Jp2BoxReader::readHeaderBox(const Box& box)
{
    m_sawHeader = true;
    if (box.contentLength > kMaxHeaderBox) return damaged("the header box is implausibly large");
    std::vector<uint8_t> bytes;
    if (const CError error = readContent(box, kMaxHeaderBox, bytes)) return error;
    size_t pos = 0;
    while (bytes.size() - pos >= 8) {
        const uint8_t* p = bytes.data() + pos;
        uint64_t length = ByteCursor::peek32(p);
        const uint32_t type = ByteCursor::peek32(p + 4);
        size_t header = 8;
        if (length == 1) {
            if (bytes.size() - pos < 16) return damaged("a box in the header box is cut short");
            length = static_cast<uint64_t>(ByteCursor::peek32(p + 8)) << 32 | ByteCursor::peek32(p + 12);
            header = 16;
        } else if (length == 0) {
            length = bytes.size() - pos;
        }
        if (length < header || length > bytes.size() - pos)
            return damaged("the box '" + typeName(type) + "' in the header box has an impossible length");
        if (const CError error = readHeaderChild(type, p + header, static_cast<size_t>(length) - header)) return error;
        pos += static_cast<size_t>(length);
    }
    return {};
}

CError Jp2BoxReader::readHeaderChild(uint32_t type, const uint8_t* data, size_t size)
{
    switch (type) {
        case kColour:
            return m_sawColour ? CError() : readColour(data, size);
        case kChannelDefinition:
            return readChannelDefinitions(data, size);
        case kPalette:
            return readPalette(data, size);
        case kComponentMap:
            return readComponentMap(data, size);
        default:
            return {};  // ihdr, bpcc and res add nothing the code-stream does not say
    }
}

CError Jp2BoxReader::readColour(const uint8_t* data, size_t size)
{
    m_sawColour = true;
    if (size < 3) return damaged("the colour box is too short");
    const uint8_t method = data[0];
    if (method == 1) {
        if (size < 7) return damaged("the colour box is too short");
        switch (ByteCursor::peek32(data + 3)) {
            case 16:
                m_out.colour = Jp2Colour::SRGB;
                break;
            case 17:
                m_out.colour = Jp2Colour::Greyscale;
                break;
            case 18:
                m_out.colour = Jp2Colour::SYCC;
                break;
            case 12:
                m_out.colour = Jp2Colour::CMYK;
                break;
            case 24:
                m_out.colour = Jp2Colour::ESYCC;
                break;
            case 14:
                m_out.colour = Jp2Colour::CIELab;
                if (size >= 7 + 28) {  // ranges and offsets follow; the illuminant is D50 for us
                    ByteCursor c(data + 7, 24);
                    for (int i = 0; i < 6; ++i) m_out.labRanges.push_back(c.u32());
                }
                break;
            default:
                m_out.colour = Jp2Colour::Unknown;
                break;
        }
    } else if (method == 2 || method == 3) {
        // An ICC profile: its header says whether it describes RGB or grey cells.
        m_out.colour = iccColour(data + 3, size - 3);
        m_out.iccProfile.assign(data + 3, data + size);
    }
    return {};
}

CError Jp2BoxReader::readChannelDefinitions(const uint8_t* data, size_t size)
{
    ByteCursor c(data, size);
    const uint32_t n = c.u16();
    if (!c.ok() || c.remaining() != 6u * n) return damaged("the channel definition box has the wrong length");
    m_out.channelDefinitions.resize(n);
    for (Jp2ChannelDefinition& d : m_out.channelDefinitions) {
        d.channel = c.u16();
        d.type = c.u16();
        d.assoc = c.u16();
    }
    return {};
}

CError Jp2BoxReader::readPalette(const uint8_t* data, size_t size)
{
    ByteCursor c(data, size);
    Jp2Palette& palette = m_out.palette;
    palette.entries = c.u16();
    const uint32_t columns = c.u8();
    if (!c.ok() || palette.entries == 0 || palette.entries > 1024 || columns == 0)
        return damaged("the palette box is damaged");
    size_t entryBytes = 0;
    for (uint32_t i = 0; i < columns; ++i) {
        const uint8_t b = c.u8();
        const uint32_t bits = (b & 0x7Fu) + 1;
        if (bits > 31) return CError(PLK_ERROR_UNSUPPORTED_FEATURE, "a palette with more than 31 bits per entry");
        palette.bits.push_back(static_cast<uint8_t>(bits));
        palette.isSigned.push_back((b & 0x80) != 0);
        entryBytes += (bits + 7) / 8;
    }
    if (!c.ok() || c.remaining() < entryBytes * palette.entries) return damaged("the palette box is cut short");
    palette.values.reserve(size_t(palette.entries) * columns);
    for (uint32_t e = 0; e < palette.entries; ++e) {
        for (uint32_t col = 0; col < columns; ++col) {
            const uint32_t bits = palette.bits[col];
            int64_t v = static_cast<int64_t>(c.take((bits + 7) / 8) & ((uint64_t(1) << bits) - 1));
            if (palette.isSigned[col] && (v >> (bits - 1)) != 0) v -= int64_t(1) << bits;
            palette.values.push_back(static_cast<int32_t>(v));
        }
    }
    return {};
}

CError Jp2BoxReader::readComponentMap(const uint8_t* data, size_t size)
{
    if (size == 0 || size % 4 != 0) return damaged("the component mapping box has the wrong length");
    ByteCursor c(data, size);
    m_out.channelMap.resize(size / 4);
    for (Jp2Channel& channel : m_out.channelMap) {
        channel.component = c.u16();
        const uint8_t type = c.u8();
        const uint8_t column = c.u8();
        channel.paletteColumn = type == 1 ? column : -1;
    }
    return {};
}

CError Jp2BoxReader::readUuid(const Box& box)
{
    uint8_t id[16];
    if (box.contentLength >= 16 && m_source.readExact(box.contentOffset, id, 16) &&
        std::memcmp(id, kGeoJp2Uuid, 16) == 0)
        m_out.hasGeoJp2 = true;
    return {};
}

CError Jp2BoxReader::readAssociation(const Box& box, int depth)
{
    if (depth > kMaxAssociationDepth) return {};
    const uint64_t end = box.contentOffset + box.contentLength;
    bool first = true;
    for (uint64_t pos = box.contentOffset; end - pos >= 8; first = false) {
        Box child;
        if (readBoxHeader(pos, end, child) || child.truncated) return {};  // metadata only: keep going
        // Writers differ on whether the label ends with a NUL ("gml.data" or "gml.data\0").
        if (first && child.type == kLabel && (child.contentLength == 8 || child.contentLength == 9)) {
            char label[9] = {};
            if (m_source.readExact(child.contentOffset, label, static_cast<size_t>(child.contentLength)) &&
                std::memcmp(label, "gml.data", 8) == 0 && label[8] == 0)
                m_out.hasGml = true;
        } else if (child.type == kXml) {
            m_out.xmlBoxes.push_back({kXml, child.contentOffset, child.contentLength});
        } else if (child.type == kAssociation) {
            readAssociation(child, depth + 1);
        }
        pos = child.contentOffset + child.contentLength;
    }
    return {};
}

}  // namespace Engine
}  // namespace PLK
