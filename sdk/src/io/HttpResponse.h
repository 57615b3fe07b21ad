// What one HTTP answer to a range request told us, and the words for what went wrong with it.
// Kept apart from the transfer machinery so the rules (which answers are good, which are
// worth another try, which mean the file changed) sit in one place.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace PLK {
namespace Engine {

/// What identifies one version of a file on a server.
struct HttpValidator {
    uint64_t size = 0;
    std::string etag;
    std::string lastModified;

    /// Whether `other`, seen in a later answer, is the same version of the file. A validator
    /// the later answer does not carry is not held against it.
    bool sameFileAs(const HttpValidator& other) const;
    /// One line of text that changes whenever the version does (for cache files).
    std::string fingerprint() const;
};

struct HttpResponse {
    long status = 0;
    std::string etag;
    std::string lastModified;
    std::string contentType;
    bool hasContentLength = false;
    uint64_t contentLength = 0;
    /// From "Content-Range: bytes first-last/total" ("*" totals give hasTotal false).
    bool hasRange = false;
    uint64_t rangeFirst = 0;
    uint64_t rangeLast = 0;
    bool hasTotal = false;
    uint64_t total = 0;
    /// Seconds from "Retry-After" (-1 when absent or a date we do not read).
    long retryAfter = -1;

    /// Takes one header line as libcurl hands it over (with its CR LF). A status line starts
    /// a new answer (after a redirect or a 100 Continue), forgetting the headers before it.
    void addHeaderLine(const char* data, size_t length);
    HttpValidator validator(uint64_t size) const;
};

/// "bytes 10-19/100", "bytes */100" -> fields of `r`; false when the text is not of that form.
bool parseContentRange(const std::string& value, HttpResponse& r);

/// One part of a multipart/byteranges answer: bytes first..last of the file.
struct ByteRangePart {
    uint64_t first = 0;
    uint64_t last = 0;
    size_t bodyOffset = 0;  ///< where its bytes start in the answer's body
};

/// Splits the body of a "multipart/byteranges" answer (`contentType` names its boundary) into
/// its parts. Strict: every part must carry a Content-Range of a file of `total` bytes and be
/// followed by the boundary, at most `maxParts` parts, header lines of bounded length. False
/// with `error` set when the body is not such an answer.
bool splitByteRanges(const std::string& contentType, const std::vector<uint8_t>& body, uint64_t total, size_t maxParts,
                     std::vector<ByteRangePart>& parts, std::string& error);

/// The reason phrase we show for a status code ("Not Found").
const char* httpReason(long status);

}  // namespace Engine
}  // namespace PLK
