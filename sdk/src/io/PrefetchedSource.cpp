#include "io/PrefetchedSource.h"

#include <algorithm>
#include <cstring>

namespace PLK {
namespace Engine {

ReadStatus PrefetchedSource::fetch(std::vector<ByteRange> ranges, const std::atomic<bool>* cancel)
{
    std::sort(ranges.begin(), ranges.end(), [](const ByteRange& a, const ByteRange& b) { return a.offset < b.offset; });
    std::vector<ByteRange> merged;
    for (const ByteRange& r : ranges) {
        if (r.length == 0 || r.offset >= size()) continue;
        const ByteRange clipped{r.offset, std::min(r.length, size() - r.offset)};
        if (!merged.empty() && clipped.offset <= merged.back().end())
            merged.back().length = std::max(merged.back().end(), clipped.end()) - merged.back().offset;
        else
            merged.push_back(clipped);
    }
    m_pieces.assign(merged.size(), Piece{});
    std::vector<RangeRead> reads(merged.size());
    for (size_t i = 0; i < merged.size(); ++i) {
        m_pieces[i].offset = merged[i].offset;
        m_pieces[i].bytes.resize(static_cast<size_t>(merged[i].length));
        reads[i].offset = merged[i].offset;
        reads[i].length = m_pieces[i].bytes.size();
        reads[i].buffer = m_pieces[i].bytes.data();
    }
    const ReadStatus status = reads.empty() ? ReadStatus::Ok : m_source->readRanges(reads, cancel);
    m_held = 0;
    for (size_t i = 0; i < reads.size(); ++i) {
        m_pieces[i].bytes.resize(reads[i].read < 0 ? 0 : static_cast<size_t>(reads[i].read));
        m_held += m_pieces[i].bytes.size();
    }
    return status;
}

int64_t PrefetchedSource::readAt(uint64_t offset, void* buffer, size_t length)
{
    if (length == 0) return 0;
    auto it = std::upper_bound(m_pieces.begin(), m_pieces.end(), offset,
                               [](uint64_t o, const Piece& p) { return o < p.offset; });
    if (it != m_pieces.begin()) {
        const Piece& p = *std::prev(it);
        if (offset - p.offset + length <= p.bytes.size()) {
            std::memcpy(buffer, p.bytes.data() + (offset - p.offset), length);
            return static_cast<int64_t>(length);
        }
    }
    return m_source->readAt(offset, buffer, length);
}

}  // namespace Engine
}  // namespace PLK
