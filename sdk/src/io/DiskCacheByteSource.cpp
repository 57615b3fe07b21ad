#include "io/DiskCacheByteSource.h"

#include <cstring>
#include <set>

#include "CLog.h"

namespace PLK {
namespace Engine {

namespace {
constexpr uint64_t kPage = HttpByteSource::kPage;
using Pages = std::map<uint64_t, std::vector<uint8_t>>;
}  // namespace

std::shared_ptr<ByteSource> DiskCacheByteSource::wrap(std::shared_ptr<HttpByteSource> stream,
                                                      const StreamSettings& settings)
{
    if (!settings.diskCacheEnabled || settings.diskCacheFolder.empty() || settings.diskCacheSizeMb <= 0) return stream;
    const uint64_t bound = static_cast<uint64_t>(settings.diskCacheSizeMb) << 20;
    auto folder = std::make_unique<DiskCacheFolder>(settings.diskCacheFolder, bound, stream->name(),
                                                    stream->validator().fingerprint(), kPage, stream->size());
    if (!folder->prepare()) {
        CLog::Log("stream", LOG_WARNING, "the disk cache folder '%s' cannot be used; streaming without it",
                  settings.diskCacheFolder.c_str());
        return stream;
    }
    return std::shared_ptr<ByteSource>(new DiskCacheByteSource(std::move(stream), std::move(folder)));
}

DiskCacheByteSource::DiskCacheByteSource(std::shared_ptr<HttpByteSource> stream,
                                         std::unique_ptr<DiskCacheFolder> folder)
    : m_stream(std::move(stream)), m_folder(std::move(folder))
{}

int64_t DiskCacheByteSource::readAt(uint64_t offset, void* buffer, size_t length)
{
    return readOneRange(offset, buffer, length);
}

void DiskCacheByteSource::prefetch(const std::vector<ByteRange>& ranges)
{
    // What is stored already must not be fetched again: a second open reads the disk alone.
    const uint64_t size = m_stream->size();
    std::vector<ByteRange> missing;
    for (const ByteRange& r : ranges) {
        if (r.length == 0 || r.offset >= size) continue;
        const uint64_t first = r.offset / kPage, last = (std::min(r.end(), size) - 1) / kPage;
        bool stored = true;
        for (uint64_t s = first / DiskCacheFolder::kSegmentPages; s <= last / DiskCacheFolder::kSegmentPages && stored;
             ++s) {
            std::vector<uint64_t> pages;
            for (uint64_t p = std::max(first, s * DiskCacheFolder::kSegmentPages);
                 p <= std::min(last, (s + 1) * DiskCacheFolder::kSegmentPages - 1); ++p)
                pages.push_back(p);
            stored = m_folder->readPages(s, pages).size() == pages.size();
        }
        if (!stored) missing.push_back(r);
    }
    if (!missing.empty()) m_stream->prefetch(missing);
}

ReadStatus DiskCacheByteSource::readRanges(std::vector<RangeRead>& reads, const std::atomic<bool>* cancel)
{
    const uint64_t size = m_stream->size();
    std::map<uint64_t, std::vector<uint64_t>> wanted;  // segment -> pages
    std::set<uint64_t> needed;
    for (RangeRead& r : reads) {
        r.read = -1;
        if (r.length == 0 || r.offset >= size) continue;
        const uint64_t last = (std::min<uint64_t>(r.offset + r.length, size) - 1) / kPage;
        for (uint64_t p = r.offset / kPage; p <= last; ++p)
            if (needed.insert(p).second) wanted[p / DiskCacheFolder::kSegmentPages].push_back(p);
    }
    Pages have;
    for (const auto& entry : wanted) {
        Pages stored = m_folder->readPages(entry.first, entry.second);
        have.insert(std::make_move_iterator(stored.begin()), std::make_move_iterator(stored.end()));
    }

    // What the cache lacks comes from the stream, consecutive pages as one range.
    std::vector<RangeRead> fetch;
    std::vector<std::vector<uint8_t>> buffers;
    for (auto it = needed.begin(); it != needed.end();) {
        if (have.count(*it)) {
            ++it;
            continue;
        }
        const uint64_t first = *it;
        uint64_t last = first;
        while (++it != needed.end() && *it == last + 1 && !have.count(*it)) last = *it;
        RangeRead r;
        r.offset = first * kPage;
        r.length = static_cast<size_t>(std::min((last + 1) * kPage, size) - r.offset);
        fetch.push_back(r);
    }
    ReadStatus status = ReadStatus::Ok;
    if (!fetch.empty()) {
        buffers.resize(fetch.size());
        for (size_t i = 0; i < fetch.size(); ++i) {
            buffers[i].resize(fetch[i].length);
            fetch[i].buffer = buffers[i].data();
        }
        status = m_stream->readRanges(fetch, cancel);
        if (status == ReadStatus::Cancelled) return status;
        Pages fetched;
        for (size_t i = 0; i < fetch.size(); ++i) {
            if (fetch[i].read != static_cast<int64_t>(fetch[i].length)) continue;
            for (uint64_t at = 0; at < fetch[i].length; at += kPage) {
                const uint64_t n = std::min<uint64_t>(kPage, fetch[i].length - at);
                fetched[(fetch[i].offset + at) / kPage] =
                    std::vector<uint8_t>(buffers[i].begin() + static_cast<std::ptrdiff_t>(at),
                                         buffers[i].begin() + static_cast<std::ptrdiff_t>(at + n));
            }
        }
        if (!fetched.empty()) {
            std::lock_guard<std::mutex> lock(m_writeMutex);
            m_folder->writePages(fetched);
        }
        have.insert(std::make_move_iterator(fetched.begin()), std::make_move_iterator(fetched.end()));
    }

    bool ok = true;
    for (RangeRead& r : reads) {
        if (r.length && !r.buffer) continue;
        if (r.length == 0 || r.offset >= size) {
            r.read = 0;
            continue;
        }
        const uint64_t end = std::min<uint64_t>(r.offset + r.length, size);
        bool whole = true;
        for (uint64_t at = r.offset; at < end && whole;) {
            const uint64_t p = at / kPage;
            const auto page = have.find(p);
            whole = page != have.end() && at - p * kPage < page->second.size();
            if (!whole) break;
            const uint64_t n = std::min<uint64_t>(end - at, page->second.size() - (at - p * kPage));
            std::memcpy(static_cast<uint8_t*>(r.buffer) + (at - r.offset), page->second.data() + (at - p * kPage), n);
            at += n;
        }
        if (whole) r.read = static_cast<int64_t>(end - r.offset);
        ok = ok && whole;
    }
    return ok ? ReadStatus::Ok : ReadStatus::Failed;
}

}  // namespace Engine
}  // namespace PLK
