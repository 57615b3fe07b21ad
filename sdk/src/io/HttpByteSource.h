// An image on an HTTP(S) server as a byte source, read with range requests through libcurl.
//
// One transfer thread per open stream drives a libcurl multi handle: every range a view needs
// is in flight at once (multiplexed over HTTP/2 where the server offers it, over several
// persistent connections otherwise). Readers hand their ranges over, rounded to pages and
// merged with their neighbours (calls of small reads only: byte-exact), and wait, checking
// their cancel flag, until the bytes are there. Ranges that start together share requests
// (Range: a-b,c-d,... answered multipart) where the server allows it. Recent pages stay in
// memory so small header reads are not a round trip each.
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "CError.h"
#include "image/OpenSettings.h"
#include "io/ByteSource.h"
#include "io/HttpResponse.h"

namespace PLK {
namespace Engine {

class HttpByteSource : public ByteSource {
public:
    /// Granularity of fetching and of the memory and disk caches.
    static constexpr uint64_t kPage = 4096;

    /// Opens `address` (xrvp://... or xrvps://..., or http(s)://...) with one ranged request
    /// that gives the first bytes, the size and the validators. On failure returns null and
    /// fills `error` with what went wrong.
    static std::shared_ptr<HttpByteSource> open(const std::string& address, const StreamSettings& settings,
                                                CError& error);
    ~HttpByteSource() override;

    uint64_t size() const override;
    int64_t readAt(uint64_t offset, void* buffer, size_t length) override;
    ReadStatus readRanges(std::vector<RangeRead>& reads, const std::atomic<bool>* cancel = nullptr) override;
    void prefetch(const std::vector<ByteRange>& ranges) override;
    const std::string& name() const override { return m_name; }
    SourceProtocol protocol() const override { return m_protocol; }
    std::string errorText() const override;
    CError fault() const override;
    CError reconnect() override;

    /// The version of the file the stream was opened on (size, ETag, Last-Modified).
    HttpValidator validator() const;
    /// Requests sent (each try counts) and body bytes received since the open.
    uint64_t requestCount() const { return m_requests.load(); }
    uint64_t bytesReceived() const { return m_bytes.load(); }

    struct Transfer;
    struct Core;

private:
    HttpByteSource(std::string name, SourceProtocol protocol);

    std::string m_name;
    SourceProtocol m_protocol;
    std::unique_ptr<Core> m_core;
    std::atomic<uint64_t> m_requests{0};
    std::atomic<uint64_t> m_bytes{0};
};

/// The http(s):// address an xrvp(s):// address is read from; empty (and `error` filled)
/// when `address` is not a stream address with a host.
std::string httpUrlOf(const std::string& address, CError& error);

}  // namespace Engine
}  // namespace PLK
