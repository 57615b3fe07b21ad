#include "io/HttpResponse.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>

namespace PLK {
namespace Engine {

namespace {

std::string trim(std::string s)
{
    const auto notSpace = [](unsigned char c) { return !std::isspace(c); };
    s.erase(s.begin(), std::find_if(s.begin(), s.end(), notSpace));
    s.erase(std::find_if(s.rbegin(), s.rend(), notSpace).base(), s.end());
    return s;
}

std::string lower(std::string s)
{
    std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return s;
}

bool parseNumber(const std::string& s, uint64_t& out)
{
    if (s.empty() || s.size() > 19 || !std::all_of(s.begin(), s.end(), [](unsigned char c) { return std::isdigit(c); }))
        return false;
    out = std::strtoull(s.c_str(), nullptr, 10);
    return true;
}

}  // namespace

bool HttpValidator::sameFileAs(const HttpValidator& other) const
{
    if (size != other.size) return false;
    // A weak ETag ("W/...") may come back strong through another server of a CDN; the
    // opaque part is what identifies the version.
    const auto opaque = [](const std::string& e) { return e.rfind("W/", 0) == 0 ? e.substr(2) : e; };
    if (!etag.empty() && !other.etag.empty()) return opaque(etag) == opaque(other.etag);
    if (!lastModified.empty() && !other.lastModified.empty()) return lastModified == other.lastModified;
    return true;
}

std::string HttpValidator::fingerprint() const
{
    return std::to_string(size) + "|" + etag + "|" + lastModified;
}

bool parseContentRange(const std::string& value, HttpResponse& r)
{
    const std::string v = trim(value);
    if (lower(v.substr(0, 6)) != "bytes ") return false;
    const std::string rangeText = trim(v.substr(6));
    const size_t slash = rangeText.find('/');
    if (slash == std::string::npos) return false;
    const std::string span = rangeText.substr(0, slash);
    const std::string total = rangeText.substr(slash + 1);
    r.hasTotal = total != "*";
    if (r.hasTotal && !parseNumber(total, r.total)) return false;
    if (span == "*") {
        r.hasRange = false;
        return r.hasTotal;
    }
    const size_t dash = span.find('-');
    if (dash == std::string::npos) return false;
    if (!parseNumber(span.substr(0, dash), r.rangeFirst) || !parseNumber(span.substr(dash + 1), r.rangeLast))
        return false;
    if (r.rangeLast < r.rangeFirst || (r.hasTotal && r.rangeLast >= r.total)) return false;
    r.hasRange = true;
    return true;
}

void HttpResponse::addHeaderLine(const char* data, size_t length)
{
    std::string line(data, length);
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
    if (line.rfind("HTTP/", 0) == 0) {
        *this = HttpResponse();
        const size_t space = line.find(' ');
        if (space != std::string::npos) status = std::strtol(line.c_str() + space + 1, nullptr, 10);
        return;
    }
    const size_t colon = line.find(':');
    if (colon == std::string::npos) return;
    const std::string name = lower(trim(line.substr(0, colon)));
    const std::string value = trim(line.substr(colon + 1));
    if (name == "etag") {
        etag = value;
    } else if (name == "last-modified") {
        lastModified = value;
    } else if (name == "content-type") {
        contentType = value;
    } else if (name == "content-length") {
        hasContentLength = parseNumber(value, contentLength);
    } else if (name == "content-range") {
        HttpResponse parsed;
        if (parseContentRange(value, parsed)) {
            hasRange = parsed.hasRange;
            rangeFirst = parsed.rangeFirst;
            rangeLast = parsed.rangeLast;
            hasTotal = parsed.hasTotal;
            total = parsed.total;
        }
    } else if (name == "retry-after") {
        uint64_t seconds = 0;
        retryAfter = parseNumber(value, seconds) ? static_cast<long>(std::min<uint64_t>(seconds, 86400)) : -1;
    }
}

HttpValidator HttpResponse::validator(uint64_t size) const
{
    HttpValidator v;
    v.size = size;
    v.etag = etag;
    v.lastModified = lastModified;
    return v;
}

namespace {

/// The boundary parameter of a multipart content type, unquoted; empty when there is none or
/// it is not a valid one.
std::string boundaryOf(const std::string& contentType)
{
    const std::string lowered = lower(contentType);
    if (lowered.rfind("multipart/byteranges", 0) != 0) return std::string();
    const size_t at = lowered.find("boundary=");
    if (at == std::string::npos) return std::string();
    std::string b = contentType.substr(at + 9);
    if (!b.empty() && b[0] == '"') {
        const size_t close = b.find('"', 1);
        if (close == std::string::npos) return std::string();
        b = b.substr(1, close - 1);
    } else {
        b = trim(b.substr(0, b.find(';')));
    }
    return b.size() <= 70 ? b : std::string();
}

}  // namespace

bool splitByteRanges(const std::string& contentType, const std::vector<uint8_t>& body, uint64_t total, size_t maxParts,
                     std::vector<ByteRangePart>& parts, std::string& error)
{
    constexpr size_t kMaxLine = 1024;
    constexpr int kMaxHeaders = 16;
    parts.clear();
    const std::string boundary = boundaryOf(contentType);
    if (boundary.empty()) {
        error = "a multipart answer without a usable boundary";
        return false;
    }
    const std::string delimiter = "--" + boundary;
    const char* data = reinterpret_cast<const char*>(body.data());
    const size_t size = body.size();
    const auto startsWith = [&](size_t at, const std::string& text) {
        return at <= size && size - at >= text.size() && std::equal(text.begin(), text.end(), data + at);
    };
    size_t pos = startsWith(0, "\r\n") ? 2 : 0;
    if (!startsWith(pos, delimiter)) {
        error = "a multipart answer that does not start with its boundary";
        return false;
    }
    pos += delimiter.size();
    for (;;) {
        if (startsWith(pos, "--")) return true;  // the closing delimiter; an epilogue is ignored
        if (!startsWith(pos, "\r\n") || parts.size() >= maxParts) {
            error = parts.size() >= maxParts ? "more parts than were asked for" : "a damaged part boundary";
            return false;
        }
        pos += 2;
        HttpResponse headers;
        for (int line = 0;; ++line) {
            const char* found =
                line < kMaxHeaders
                    ? static_cast<const char*>(std::memchr(data + pos, '\n', std::min(kMaxLine, size - pos)))
                    : nullptr;
            if (!found) {
                error = "a part header that is too long or not ended";
                return false;
            }
            const size_t length = static_cast<size_t>(found - (data + pos)) + 1;
            if (length <= 2 && (length == 1 || data[pos] == '\r')) {
                pos += length;
                break;
            }
            headers.addHeaderLine(data + pos, length);
            pos += length;
        }
        if (!headers.hasRange || !headers.hasTotal || headers.total != total) {
            error = "a part without the Content-Range of this file";
            return false;
        }
        const uint64_t bytes = headers.rangeLast - headers.rangeFirst + 1;
        if (bytes > size - pos) {
            error = "a part cut short";
            return false;
        }
        parts.push_back(ByteRangePart{headers.rangeFirst, headers.rangeLast, pos});
        pos += static_cast<size_t>(bytes);
        if (!startsWith(pos, "\r\n" + delimiter)) {
            error = "a part longer than its Content-Range";
            return false;
        }
        pos += 2 + delimiter.size();
    }
}

const char* httpReason(long status)
{
    switch (status) {
        case 400:
            return "Bad Request";
        case 401:
            return "Unauthorized";
        case 403:
            return "Forbidden";
        case 404:
            return "Not Found";
        case 410:
            return "Gone";
        case 416:
            return "Range Not Satisfiable";
        case 429:
            return "Too Many Requests";
        case 500:
            return "Internal Server Error";
        case 502:
            return "Bad Gateway";
        case 503:
            return "Service Unavailable";
        case 504:
            return "Gateway Timeout";
        default:
            return status >= 500 ? "Server Error" : "Error";
    }
}

}  // namespace Engine
}  // namespace PLK
