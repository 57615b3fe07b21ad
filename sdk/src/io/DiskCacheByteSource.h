// A stream seen through the disk cache: pages stored for this version of the image are read
// from the cache folder, the rest from the stream underneath, and what arrives is stored for
// next time. Everything but the reads goes straight to the stream.
#pragma once

#include <memory>
#include <mutex>

#include "io/ByteSource.h"
#include "io/DiskCacheFolder.h"
#include "io/HttpByteSource.h"

namespace PLK {
namespace Engine {

class DiskCacheByteSource : public ByteSource {
public:
    /// `stream` over the cache folder of `settings`; returns `stream` itself when the cache is
    /// off or its folder cannot be used.
    static std::shared_ptr<ByteSource> wrap(std::shared_ptr<HttpByteSource> stream, const StreamSettings& settings);

    uint64_t size() const override { return m_stream->size(); }
    int64_t readAt(uint64_t offset, void* buffer, size_t length) override;
    ReadStatus readRanges(std::vector<RangeRead>& reads, const std::atomic<bool>* cancel = nullptr) override;
    /// Hints the stream at the ranges the cache does not hold in full.
    void prefetch(const std::vector<ByteRange>& ranges) override;
    const std::string& name() const override { return m_stream->name(); }
    SourceProtocol protocol() const override { return m_stream->protocol(); }
    std::string errorText() const override { return m_stream->errorText(); }
    CError fault() const override { return m_stream->fault(); }
    CError reconnect() override { return m_stream->reconnect(); }

private:
    DiskCacheByteSource(std::shared_ptr<HttpByteSource> stream, std::unique_ptr<DiskCacheFolder> folder);

    std::shared_ptr<HttpByteSource> m_stream;
    std::unique_ptr<DiskCacheFolder> m_folder;
    std::mutex m_writeMutex;  ///< one read-modify-write of a segment at a time in this process
};

}  // namespace Engine
}  // namespace PLK
