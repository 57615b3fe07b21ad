// The bytes of a JPEG 2000 image as GDAL is shown them for reading georeferencing: the same,
// except that the code-stream's SIZ marker declares the whole image as one tile. OpenJPEG,
// under GDAL, allocates coding parameters for every declared tile when it reads the main
// header (about 10 KB each), so a header claiming tens of thousands of tiles would cost
// gigabytes just to learn where the image lies; the boxes GDAL reads are untouched.
#pragma once

#include <algorithm>
#include <cstring>
#include <memory>

#include "io/ByteSource.h"
#include "jp2/ByteCursor.h"
#include "jp2/Jp2BoxReader.h"

namespace PLK {
namespace Engine {

class SingleTileHeaderSource : public ByteSource {
public:
    explicit SingleTileHeaderSource(std::shared_ptr<ByteSource> source) : m_source(std::move(source))
    {
        Jp2Boxes boxes;
        uint8_t head[kPatchEnd];
        if (Jp2BoxReader::read(*m_source, boxes) || !m_source->readExact(boxes.codestreamOffset, head, sizeof head))
            return;
        if (ByteCursor::peek32(head) != 0xFF4FFF51u) return;
        // SIZ after SOC, marker, length and Rsiz: Xsiz Ysiz XOsiz YOsiz XTsiz YTsiz XTOsiz YTOsiz.
        std::memcpy(m_patch, head + 8, 8);  // the tile is the image: XTsiz = Xsiz, YTsiz = Ysiz
        std::memset(m_patch + 8, 0, 8);     // tile origin at 0, 0
        m_patchAt = boxes.codestreamOffset + kPatchStart;
        m_patched = true;
    }

    uint64_t size() const override { return m_source->size(); }
    const std::string& name() const override { return m_source->name(); }
    SourceProtocol protocol() const override { return m_source->protocol(); }
    int64_t readAt(uint64_t offset, void* buffer, size_t length) override
    {
        const int64_t got = m_source->readAt(offset, buffer, length);
        if (!m_patched || got <= 0) return got;
        const uint64_t from = std::max(offset, m_patchAt);
        const uint64_t to = std::min(offset + uint64_t(got), m_patchAt + sizeof m_patch);
        if (from < to)
            std::memcpy(static_cast<uint8_t*>(buffer) + (from - offset), m_patch + (from - m_patchAt), to - from);
        return got;
    }

private:
    static constexpr size_t kPatchStart = 24;  ///< XTsiz within the code-stream
    static constexpr size_t kPatchEnd = 40;    ///< after YTOsiz
    std::shared_ptr<ByteSource> m_source;
    uint8_t m_patch[kPatchEnd - kPatchStart] = {};
    uint64_t m_patchAt = 0;
    bool m_patched = false;
};

}  // namespace Engine
}  // namespace PLK
