#include "io/PrefetchedSource.h"

#include <algorithm>
#include <cstring>

namespace PLK {
namespace Engine {

ReadStatus PrefetchedSource::fetch(std::vector<ByteRange> ranges, const std::atomic<bool>* cancel)
{
    for (ByteRange& r : ranges) r = missingPart(r);
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
    std::vector<Piece> pieces(merged.size());
    std::vector<RangeRead> reads(merged.size());
    for (size_t i = 0; i < merged.size(); ++i) {
        pieces[i].offset = merged[i].offset;
        pieces[i].bytes.resize(static_cast<size_t>(merged[i].length));
        reads[i].offset = merged[i].offset;
        reads[i].length = pieces[i].bytes.size();
        reads[i].buffer = pieces[i].bytes.data();
    }
    const ReadStatus status = reads.empty() ? ReadStatus::Ok : m_source->readRanges(reads, cancel);
    for (size_t i = 0; i < reads.size(); ++i)
        pieces[i].bytes.resize(reads[i].read < 0 ? 0 : static_cast<size_t>(reads[i].read));
    add(std::move(pieces));
    return status;
}

void PrefetchedSource::keep(uint64_t offset, std::vector<uint8_t> bytes)
{
    std::vector<Piece> pieces(1);
    pieces[0].offset = offset;
    pieces[0].bytes = std::move(bytes);
    add(std::move(pieces));
}

void PrefetchedSource::add(std::vector<Piece> pieces)
{
    for (Piece& p : pieces)
        if (!p.bytes.empty()) m_pieces.push_back(std::move(p));
    std::sort(m_pieces.begin(), m_pieces.end(), [](const Piece& a, const Piece& b) { return a.offset < b.offset; });
    std::vector<Piece> joined;
    for (Piece& p : m_pieces) {
        if (!joined.empty() && p.offset <= joined.back().offset + joined.back().bytes.size()) {
            Piece& last = joined.back();
            const uint64_t end = last.offset + last.bytes.size();
            const uint64_t skip = end - p.offset;  // bytes both hold
            if (skip < p.bytes.size()) last.bytes.insert(last.bytes.end(), p.bytes.begin() + skip, p.bytes.end());
        } else {
            joined.push_back(std::move(p));
        }
    }
    m_pieces = std::move(joined);
    m_held = 0;
    for (const Piece& p : m_pieces) m_held += p.bytes.size();
}

ByteRange PrefetchedSource::missingPart(ByteRange range) const
{
    for (const Piece& p : m_pieces) {
        const uint64_t end = p.offset + p.bytes.size();
        if (p.offset <= range.offset && range.offset < end) {
            const uint64_t cut = std::min(end, range.end()) - range.offset;
            range.offset += cut;
            range.length -= cut;
        }
        if (range.length && p.offset < range.end() && range.end() <= end && p.offset > range.offset)
            range.length = p.offset - range.offset;
    }
    return range;
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
