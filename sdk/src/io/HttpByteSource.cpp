#include "io/HttpByteSource.h"

#include <curl/curl.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <list>
#include <map>
#include <mutex>
#include <set>
#include <thread>
#include <unordered_map>

#include "CLog.h"

namespace PLK {
namespace Engine {

namespace {

using Clock = std::chrono::steady_clock;
using Bytes = std::vector<uint8_t>;
constexpr uint64_t kPage = HttpByteSource::kPage;
constexpr uint64_t kProbeBytes = 65536;       // the opening request: most headers fit
constexpr uint64_t kMergeGapPages = 16;       // gaps this small are fetched, not a round trip
constexpr uint64_t kMultiGapPages = 2;        // ... when a request can carry several ranges
constexpr size_t kExactReadMax = 1024;        // calls with reads this small are fetched byte-exact
constexpr size_t kMaxRangesPerRequest = 64;   // keeps the Range header well under 2 KB
constexpr uint64_t kGroupBytes = 4u << 20;    // bytes one multi-range request carries, about
constexpr uint64_t kMaxTransfer = 16u << 20;  // larger runs go as several requests in parallel
constexpr uint64_t kWholeBodyCap = 4u << 20;  // a server ignoring ranges: files this small still serve
constexpr uint64_t kMemoryBytes = 8u << 20;   // recent pages kept per stream
constexpr uint64_t kReadAheadMin = 64u << 10;
constexpr uint64_t kReadAheadMax = 4u << 20;
constexpr uint64_t kPrefetchBudget = 16u << 20;  // hinted bytes in flight at once
constexpr uint64_t kErrorPageCap = 1u << 20;     // body of an error answer we skip over
constexpr int kTransportTries = 3;
constexpr int kServerTries = 3;
constexpr int kBusyTries = 4;
constexpr long kMaxRetryAfterS = 5;
constexpr const char* kTestCaVariable = "XRV60_TEST_CA_FILE";

void initCurl()
{
    static std::once_flag once;
    std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

std::string lowerCase(std::string s)
{
    for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

std::string hostOf(const std::string& url)
{
    const size_t start = url.find("://");
    if (start == std::string::npos) return url;
    const size_t end = url.find_first_of("/?#", start + 3);
    return url.substr(start + 3, end == std::string::npos ? std::string::npos : end - start - 3);
}

std::string percentEncodeUnsafe(const std::string& s)
{
    static const char* hex = "0123456789ABCDEF";
    std::string out;
    for (unsigned char c : s) {
        if (c <= 0x20 || c >= 0x7F || c == '"' || c == '<' || c == '>' || c == '\\' || c == '^' || c == '`' ||
            c == '{' || c == '|' || c == '}') {
            out += '%';
            out += hex[c >> 4];
            out += hex[c & 15];
        } else {
            out += static_cast<char>(c);
        }
    }
    return out;
}

std::string megabytes(uint64_t bytes)
{
    return std::to_string((bytes + (1u << 19)) >> 20) + " MB";
}

}  // namespace

std::string httpUrlOf(const std::string& address, CError& error)
{
    const std::string lower = lowerCase(address);
    std::string scheme;
    size_t rest = 0;
    for (const auto& map : {std::make_pair("xrvps://", "https://"), std::make_pair("xrvp://", "http://"),
                            std::make_pair("https://", "https://"), std::make_pair("http://", "http://")}) {
        if (lower.rfind(map.first, 0) == 0) {
            scheme = map.second;
            rest = std::strlen(map.first);
            break;
        }
    }
    const std::string tail = scheme.empty() ? std::string() : address.substr(rest);
    const size_t hostEnd = tail.find_first_of("/?#");
    const std::string host = tail.substr(0, hostEnd);
    if (scheme.empty() || host.empty() || host.find_first_of(" @") != std::string::npos) {
        error = CError(PLK_ERROR_INVALID_ARGUMENT,
                       "'" + address + "' is not a stream address of the form xrvp://host[:port]/path.");
        return std::string();
    }
    std::string path = hostEnd == std::string::npos ? "/" : tail.substr(hostEnd);
    if (path[0] != '/') path = "/" + path;
    return scheme + host + percentEncodeUnsafe(path);
}

// ---- one request ---------------------------------------------------------------------------

enum class Failure {
    None,
    Transport,
    Connect,
    Tls,
    NotFound,
    Refused,
    Server,
    Busy,
    Malformed,
    NoRanges,
    Changed,
    MultiRefused,
    Other
};

struct HttpByteSource::Transfer {
    enum class State { Queued, Running, Done, Failed, Cancelled };

    Core* core = nullptr;
    uint64_t offset = 0;    ///< first byte asked for (a page boundary)
    uint64_t length = 0;    ///< bytes asked for
    bool probe = false;     ///< the opening request: learns size and validators
    bool prefetch = false;  ///< nobody waits for it: never dropped for want of readers
    bool solo = false;      ///< never sent with others in one request (that failed once)
    /// Transfers sent along in this one's request (Range: a-b,c-d,...); the answer is split
    /// among them. Only while the request runs.
    std::vector<std::shared_ptr<Transfer>> riders;

    // Written by the transfer thread only while the transfer runs.
    CURL* easy = nullptr;
    HttpResponse response;
    Bytes body;
    uint64_t bodyOffset = 0;  ///< file offset of body[0] (0 for a whole-file answer)
    uint64_t skipped = 0;     ///< body bytes of an error answer, not kept
    bool bodyStarted = false;
    Failure abortReason = Failure::None;
    std::string abortText;
    char errorBuffer[CURL_ERROR_SIZE] = {};
    int tries = 0;
    Clock::time_point notBefore;
    HttpValidator learned;  ///< probe: what the answer told of the file

    // Guarded by the core's mutex.
    State state = State::Queued;
    int waiters = 0;
    Failure failure = Failure::None;
    std::string error;

    bool finished() const { return state == State::Done || state == State::Failed || state == State::Cancelled; }
    bool wanted() const { return waiters > 0 || prefetch || probe; }
    bool groupWanted() const
    {
        return wanted() || std::any_of(riders.begin(), riders.end(), [](const auto& r) { return r->wanted(); });
    }
    uint64_t firstPage() const { return offset / kPage; }
    uint64_t lastPage() const { return length ? (offset + length - 1) / kPage : offset / kPage; }
    void resetForRetry()
    {
        response = HttpResponse();
        body.clear();
        body.shrink_to_fit();
        skipped = 0;
        bodyStarted = false;
        abortReason = Failure::None;
        abortText.clear();
        errorBuffer[0] = 0;
    }
};

// ---- the transfer thread and the page store -----------------------------------------------

struct HttpByteSource::Core {
    Core(HttpByteSource& owner, std::string url, const StreamSettings& settings);
    ~Core();

    HttpByteSource& owner;
    const std::string url;
    const std::string host;
    const std::string userAgent;
    const std::string caFile;

    mutable std::mutex mutex;
    std::condition_variable cv;
    bool stop = false;
    bool resetConnections = false;
    bool multiRange = true;  ///< the server answers several ranges in one request
    CURLM* multi = nullptr;

    bool opened = false;
    HttpValidator validator;
    CError faultError;
    std::string lastError;

    struct Cached {
        std::shared_ptr<const Bytes> bytes;
        std::list<uint64_t>::iterator lru;
    };
    std::unordered_map<uint64_t, Cached> pages;
    std::list<uint64_t> lru;  ///< most recent first
    uint64_t cachedBytes = 0;
    std::map<uint64_t, std::shared_ptr<Transfer>> inflight;  ///< page -> the transfer fetching it
    std::vector<std::shared_ptr<Transfer>> queue;            ///< to start (or to try again)
    uint64_t prefetchBytes = 0;
    uint64_t sequentialEnd = UINT64_MAX;
    uint64_t readAhead = 0;
    uint64_t aheadEnd = 0;  ///< end of the read-ahead asked for so far

    // The transfer thread's own.
    std::unordered_map<Transfer*, std::shared_ptr<Transfer>> running;
    std::thread thread;

    void run();
    void wake();
    void counted(size_t bytes) { owner.m_bytes.fetch_add(bytes); }
    CURLM* newMulti() const;
    void startAll(std::vector<std::shared_ptr<Transfer>>& transfers);
    void start(const std::shared_ptr<Transfer>& t);
    void detach(Transfer& t);
    void finish(const std::shared_ptr<Transfer>& t, CURLcode code);
    void finishGroup(const std::shared_ptr<Transfer>& t, CURLcode code);
    void settle(const std::shared_ptr<Transfer>& t, Failure f, std::string text, long retryMs);
    Failure judge(Transfer& t, CURLcode code, std::string& text, long& retryMs) const;
    Failure checkPartial(Transfer& t, std::string& text) const;
    Failure checkWhole(Transfer& t, std::string& text) const;

    // Under the mutex.
    void insertPages(const Transfer& t);
    void releaseInflight(const Transfer& t);
    std::shared_ptr<Transfer> newTransfer(uint64_t firstPage, uint64_t lastPage, bool prefetch);
    std::shared_ptr<Transfer> newExactTransfer(uint64_t offset, uint64_t length);
    void planPrefetch(uint64_t offset, uint64_t length);
    CError faultFor(Failure f, const std::string& text) const;

    CError probe(bool reconnecting);
    void waitFor(std::unique_lock<std::mutex>& lock, const std::vector<std::shared_ptr<Transfer>>& transfers,
                 const std::atomic<bool>* cancel, bool& cancelled);
};

namespace {

size_t onHeader(char* data, size_t size, size_t count, void* user)
{
    static_cast<HttpByteSource::Transfer*>(user)->response.addHeaderLine(data, size * count);
    return size * count;
}

}  // namespace

HttpByteSource::Core::Core(HttpByteSource& o, std::string u, const StreamSettings& settings)
    : owner(o),
      url(std::move(u)),
      host(hostOf(url)),
      userAgent(settings.userAgent.empty() ? std::string("xrv60/6.0") : settings.userAgent),
      caFile(std::getenv(kTestCaVariable) ? std::getenv(kTestCaVariable) : "")
{
    multi = newMulti();
    thread = std::thread([this] { run(); });
}

HttpByteSource::Core::~Core()
{
    {
        std::lock_guard<std::mutex> lock(mutex);
        stop = true;
    }
    wake();
    thread.join();
}

CURLM* HttpByteSource::Core::newMulti() const
{
    CURLM* m = curl_multi_init();
    curl_multi_setopt(m, CURLMOPT_PIPELINING, CURLPIPE_MULTIPLEX);
    curl_multi_setopt(m, CURLMOPT_MAX_HOST_CONNECTIONS, 8L);
    curl_multi_setopt(m, CURLMOPT_MAXCONNECTS, 16L);
    return m;
}

void HttpByteSource::Core::wake()
{
    std::lock_guard<std::mutex> lock(mutex);
    if (multi) curl_multi_wakeup(multi);
}

void HttpByteSource::Core::run()
{
    for (;;) {
        std::vector<std::shared_ptr<Transfer>> toStart;
        std::vector<std::shared_ptr<Transfer>> toDrop;
        bool reset = false;
        int waitMs = 100;
        CURLM* m = nullptr;
        {
            std::lock_guard<std::mutex> lock(mutex);
            if (stop) break;
            const auto now = Clock::now();
            for (auto it = queue.begin(); it != queue.end();) {
                Transfer& t = **it;
                if (!t.wanted()) {
                    t.state = Transfer::State::Cancelled;
                    releaseInflight(t);
                    it = queue.erase(it);
                } else if (t.notBefore <= now) {
                    t.state = Transfer::State::Running;
                    toStart.push_back(*it);
                    it = queue.erase(it);
                } else {
                    const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(t.notBefore - now).count();
                    waitMs = std::max(1, std::min(waitMs, static_cast<int>(ms)));
                    ++it;
                }
            }
            for (const auto& entry : running)
                if (!entry.second->groupWanted()) toDrop.push_back(entry.second);
            reset = resetConnections;
            resetConnections = false;
            m = multi;
        }
        for (const auto& t : toDrop) {
            {
                // A reader may have joined since: then it stays. Once out of the in-flight
                // table nobody can join any more.
                std::lock_guard<std::mutex> lock(mutex);
                if (t->groupWanted()) continue;
                t->state = Transfer::State::Cancelled;
                releaseInflight(*t);
                for (const auto& r : t->riders) {
                    r->state = Transfer::State::Cancelled;
                    releaseInflight(*r);
                }
            }
            detach(*t);
            t->riders.clear();
        }
        if (!toDrop.empty()) cv.notify_all();
        if (reset) {
            // Every connection goes: transfers still running start again on fresh ones.
            std::vector<std::shared_ptr<Transfer>> again;
            for (const auto& entry : running) again.push_back(entry.second);
            for (const auto& t : again) {
                detach(*t);
                t->resetForRetry();
                toStart.push_back(t);
                for (const auto& r : t->riders) {
                    r->resetForRetry();
                    toStart.push_back(r);
                }
                t->riders.clear();
            }
            CURLM* fresh = newMulti();
            {
                std::lock_guard<std::mutex> lock(mutex);
                multi = fresh;
            }
            curl_multi_cleanup(m);
            m = fresh;
        }
        startAll(toStart);

        int still = 0;
        curl_multi_perform(m, &still);
        int queued = 0;
        while (CURLMsg* msg = curl_multi_info_read(m, &queued)) {
            if (msg->msg != CURLMSG_DONE) continue;
            Transfer* raw = nullptr;
            curl_easy_getinfo(msg->easy_handle, CURLINFO_PRIVATE, reinterpret_cast<char**>(&raw));
            const CURLcode code = msg->data.result;
            auto it = running.find(raw);
            if (it == running.end()) continue;
            const std::shared_ptr<Transfer> t = it->second;
            detach(*t);
            finish(t, code);
        }
        curl_multi_poll(m, nullptr, 0, waitMs, nullptr);
    }

    // Closing: nobody waits any more (the source is being destroyed).
    std::vector<std::shared_ptr<Transfer>> left;
    for (const auto& entry : running) left.push_back(entry.second);
    for (const auto& t : left) {
        detach(*t);
        t->riders.clear();
    }
    std::lock_guard<std::mutex> lock(mutex);
    curl_multi_cleanup(multi);
    multi = nullptr;
}

size_t onBodyBytes(char* data, size_t size, size_t count, void* user);

// Transfers that start together go as few requests: up to kMaxRangesPerRequest ranges each,
// spread over several requests when they carry many bytes, so that large reads still use
// several connections at once.
void HttpByteSource::Core::startAll(std::vector<std::shared_ptr<Transfer>>& transfers)
{
    bool multi = false;
    {
        std::lock_guard<std::mutex> lock(mutex);
        multi = multiRange;
    }
    std::vector<std::shared_ptr<Transfer>> groupable;
    for (const auto& t : transfers) {
        if (multi && !t->probe && !t->solo)
            groupable.push_back(t);
        else
            start(t);
    }
    std::sort(groupable.begin(), groupable.end(), [](const auto& a, const auto& b) { return a->offset < b->offset; });
    uint64_t bytes = 0;
    for (const auto& t : groupable) bytes += t->length;
    const size_t n = groupable.size();
    const size_t groups = std::min<size_t>(n, std::max<size_t>((n + kMaxRangesPerRequest - 1) / kMaxRangesPerRequest,
                                                               (bytes + kGroupBytes - 1) / kGroupBytes));
    for (size_t g = 0, from = 0; g < groups; ++g) {
        const size_t to = (n * (g + 1)) / groups;
        const std::shared_ptr<Transfer>& leader = groupable[from];
        leader->riders.assign(groupable.begin() + static_cast<std::ptrdiff_t>(from + 1),
                              groupable.begin() + static_cast<std::ptrdiff_t>(to));
        start(leader);
        from = to;
    }
}

void HttpByteSource::Core::start(const std::shared_ptr<Transfer>& t)
{
    CURL* e = curl_easy_init();
    t->easy = e;
    ++t->tries;
    std::string range = std::to_string(t->offset) + "-" + std::to_string(t->offset + t->length - 1);
    for (const auto& r : t->riders)
        range += "," + std::to_string(r->offset) + "-" + std::to_string(r->offset + r->length - 1);
    curl_easy_setopt(e, CURLOPT_URL, url.c_str());
    curl_easy_setopt(e, CURLOPT_RANGE, range.c_str());  // copied by libcurl
    curl_easy_setopt(e, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(e, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(e, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(e, CURLOPT_MAXREDIRS, 5L);
    curl_easy_setopt(e, CURLOPT_USERAGENT, userAgent.c_str());
    curl_easy_setopt(e, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(e, CURLOPT_CONNECTTIMEOUT_MS, 10000L);
    curl_easy_setopt(e, CURLOPT_LOW_SPEED_LIMIT, 1L);
    curl_easy_setopt(e, CURLOPT_LOW_SPEED_TIME, 15L);
    curl_easy_setopt(e, CURLOPT_TCP_KEEPALIVE, 1L);
    curl_easy_setopt(e, CURLOPT_PIPEWAIT, 1L);
    curl_easy_setopt(e, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_2TLS));
    if (!caFile.empty()) curl_easy_setopt(e, CURLOPT_CAINFO, caFile.c_str());
    curl_easy_setopt(e, CURLOPT_HEADERFUNCTION, onHeader);
    curl_easy_setopt(e, CURLOPT_HEADERDATA, t.get());
    curl_easy_setopt(e, CURLOPT_WRITEFUNCTION, onBodyBytes);
    curl_easy_setopt(e, CURLOPT_WRITEDATA, t.get());
    curl_easy_setopt(e, CURLOPT_ERRORBUFFER, t->errorBuffer);
    curl_easy_setopt(e, CURLOPT_PRIVATE, reinterpret_cast<char*>(t.get()));
    running[t.get()] = t;
    owner.m_requests.fetch_add(1);
    curl_multi_add_handle(multi, e);
}

void HttpByteSource::Core::detach(Transfer& t)
{
    if (!t.easy) return;
    curl_multi_remove_handle(multi, t.easy);
    curl_easy_cleanup(t.easy);
    t.easy = nullptr;
    running.erase(&t);
}

size_t onBodyBytes(char* data, size_t size, size_t count, void* user)
{
    auto* t = static_cast<HttpByteSource::Transfer*>(user);
    const size_t bytes = size * count;
    const HttpResponse& r = t->response;
    const auto abort = [t](Failure why, std::string text) {
        t->abortReason = why;
        t->abortText = std::move(text);
        return size_t(0);
    };
    const std::string& host = t->core->host;
    if (!t->riders.empty() && (r.status == 200 || r.status == 206)) {
        // Several ranges asked for: only a multipart answer will do. Anything else (the whole
        // file, one range) is not read on; the ranges are asked for one by one instead.
        if (r.status != 206 || lowerCase(r.contentType).rfind("multipart/byteranges", 0) != 0)
            return abort(Failure::MultiRefused, "several ranges in one request are not answered");
        uint64_t cap = t->length + 1024;
        for (const auto& rider : t->riders) cap += rider->length + 1024;
        if (t->body.size() + bytes > cap)
            return abort(Failure::MultiRefused, "a multipart answer longer than was asked for");
        if (!t->bodyStarted) {
            t->bodyStarted = true;
            t->body.reserve(static_cast<size_t>(cap));
        }
        t->body.insert(t->body.end(), data, data + bytes);
        t->core->counted(bytes);
        return bytes;
    }
    if (r.status == 206) {
        if (!t->bodyStarted && (!r.hasRange || r.rangeFirst != t->offset))
            return abort(Failure::Malformed, "The image server " + host +
                                                 " sent a malformed answer (not the byte range that was asked for).");
        if (t->body.size() + bytes > t->length)
            return abort(Failure::Malformed,
                         "The image server " + host + " sent a malformed answer (more bytes than were asked for).");
    } else if (r.status == 200) {
        // The server ignores ranges and sends the whole file: fine for a small one, never
        // worth reading gigabytes for.
        if ((r.hasContentLength && r.contentLength > kWholeBodyCap) || t->body.size() + bytes > kWholeBodyCap)
            return abort(Failure::NoRanges,
                         "The image server " + host +
                             " does not answer byte-range requests, which streaming needs (it sends the whole " +
                             (r.hasContentLength ? megabytes(r.contentLength) + " " : std::string()) + "file).");
    } else {
        t->skipped += bytes;
        if (t->skipped > kErrorPageCap)
            return abort(Failure::Other, "The image server " + host + " answered HTTP " + std::to_string(r.status) +
                                             " with an endless page.");
        return bytes;
    }
    if (!t->bodyStarted) {
        t->bodyStarted = true;
        t->body.reserve(r.status == 206 ? t->length : (r.hasContentLength ? r.contentLength : kPage));
    }
    t->body.insert(t->body.end(), data, data + bytes);
    t->core->counted(bytes);
    return bytes;
}

Failure HttpByteSource::Core::checkPartial(Transfer& t, std::string& text) const
{
    const HttpResponse& r = t.response;
    const std::string server = "The image server " + host;
    if (!r.hasRange) {
        text = server + " sent a malformed answer (a partial answer without Content-Range).";
        return Failure::Malformed;
    }
    if (!r.hasTotal && !opened) {
        text = server + " does not tell the size of the image (Content-Range without a total).";
        return Failure::Malformed;
    }
    const uint64_t total = r.hasTotal ? r.total : validator.size;
    t.learned = r.validator(total);
    if (opened && !t.probe && !validator.sameFileAs(t.learned)) {
        text = "The image " + owner.m_name + " changed on the server while it was open; open it again.";
        return Failure::Changed;
    }
    const uint64_t expectedLast = std::min(t.offset + t.length, total) - 1;
    if (r.rangeFirst != t.offset || r.rangeLast != expectedLast) {
        text = server + " sent a malformed answer (bytes " + std::to_string(r.rangeFirst) + "-" +
               std::to_string(r.rangeLast) + " for a request of " + std::to_string(t.offset) + "-" +
               std::to_string(expectedLast) + ").";
        return Failure::Malformed;
    }
    if (t.body.size() != r.rangeLast - r.rangeFirst + 1) {
        text = server + " cut an answer short (" + std::to_string(t.body.size()) + " of " +
               std::to_string(r.rangeLast - r.rangeFirst + 1) + " bytes).";
        return Failure::Transport;
    }
    t.bodyOffset = t.offset;
    return Failure::None;
}

Failure HttpByteSource::Core::checkWhole(Transfer& t, std::string& text) const
{
    const HttpResponse& r = t.response;
    if (r.hasContentLength && t.body.size() != r.contentLength) {
        text = "The image server " + host + " cut an answer short.";
        return Failure::Transport;
    }
    t.learned = r.validator(t.body.size());
    if (opened && !t.probe && !validator.sameFileAs(t.learned)) {
        text = "The image " + owner.m_name + " changed on the server while it was open; open it again.";
        return Failure::Changed;
    }
    t.bodyOffset = 0;
    return Failure::None;
}

Failure HttpByteSource::Core::judge(Transfer& t, CURLcode code, std::string& text, long& retryMs) const
{
    const std::string server = "The image server " + host;
    const std::string detail = t.errorBuffer[0] ? std::string(t.errorBuffer) : curl_easy_strerror(code);
    if (t.abortReason != Failure::None) {
        text = t.abortText;
        return t.abortReason;
    }
    switch (code) {
        case CURLE_OK:
            break;
        case CURLE_COULDNT_RESOLVE_HOST:
        case CURLE_COULDNT_RESOLVE_PROXY:
            // No such name: asking again at once finds none either (a later Reconnect may).
            text = "Could not find the image server " + host + ": " + detail + ".";
            return Failure::Other;
        case CURLE_COULDNT_CONNECT:
            text = "Could not connect to the image server " + host + ": " + detail + ".";
            return Failure::Connect;
        case CURLE_PEER_FAILED_VERIFICATION:
        case CURLE_SSL_CACERT_BADFILE:
        case CURLE_SSL_CERTPROBLEM:
        case CURLE_SSL_ISSUER_ERROR:
            text = "The certificate of the image server " + host + " could not be verified: " + detail + ".";
            return Failure::Tls;
        case CURLE_TOO_MANY_REDIRECTS:
        case CURLE_UNSUPPORTED_PROTOCOL:
        case CURLE_URL_MALFORMAT:
            text = server + " cannot be read: " + detail + ".";
            return Failure::Other;
        default:
            text = detail;
            return Failure::Transport;
    }
    const long status = t.response.status;
    const std::string httpText = " (HTTP " + std::to_string(status) + " " + httpReason(status) + ")";
    if (status == 206) return checkPartial(t, text);
    if (status == 200) return checkWhole(t, text);
    if (status == 416) {
        if (t.probe && t.response.hasTotal && t.response.total == 0) {
            t.learned = t.response.validator(0);
            return Failure::None;
        }
        text = "The image " + owner.m_name + " changed on the server while it was open; open it again.";
        return Failure::Changed;
    }
    if (status == 429) {
        const long seconds = t.response.retryAfter >= 0 ? t.response.retryAfter : 1;
        retryMs = std::max(100L, std::min(kMaxRetryAfterS, seconds) * 1000);
        text = server + " is too busy" + httpText + ".";
        return Failure::Busy;
    }
    if (status >= 500) {
        text = server + " reported an error" + httpText + ".";
        return Failure::Server;
    }
    if (status == 404 || status == 410) {
        text = server + " has no image at " + url + httpText + ".";
        return Failure::NotFound;
    }
    if (status == 401 || status == 403) {
        text = server + " refused access to " + url + httpText + ".";
        return Failure::Refused;
    }
    text = server + " answered a range request with HTTP " + std::to_string(status) + ".";
    return Failure::Other;
}

void HttpByteSource::Core::finishGroup(const std::shared_ptr<Transfer>& t, CURLcode code)
{
    std::vector<std::shared_ptr<Transfer>> members = t->riders;
    members.insert(members.begin(), t);
    t->riders.clear();
    const HttpResponse& r = t->response;
    std::string why = t->abortReason == Failure::MultiRefused ? t->abortText : std::string();
    bool refused = !why.empty();
    if (code == CURLE_OK && t->abortReason == Failure::None && r.status == 206) {
        // Every part must be exactly one of the ranges asked for, each asked range once.
        std::vector<ByteRangePart> parts;
        const uint64_t size = validator.size;
        refused = !splitByteRanges(r.contentType, t->body, size, members.size(), parts, why);
        HttpValidator learned = r.validator(size);
        if (!refused && !validator.sameFileAs(learned)) {
            const std::string text =
                "The image " + owner.m_name + " changed on the server while it was open; open it again.";
            for (const auto& m : members) settle(m, Failure::Changed, text, -1);
            return;
        }
        std::vector<const ByteRangePart*> match(members.size(), nullptr);
        for (size_t p = 0; p < parts.size() && !refused; ++p) {
            size_t i = 0;
            while (i < members.size() && (parts[p].first != members[i]->offset ||
                                          parts[p].last != std::min(members[i]->offset + members[i]->length, size) - 1))
                ++i;
            refused = i == members.size() || match[i];
            if (refused)
                why = "a part that was not asked for";
            else
                match[i] = &parts[p];
        }
        if (!refused && std::find(match.begin(), match.end(), nullptr) != match.end()) {
            refused = true;
            why = "a range asked for is missing";
        }
        if (!refused) {
            for (size_t i = 0; i < members.size(); ++i) {
                Transfer& m = *members[i];
                if (&m != t.get())
                    m.body.assign(t->body.begin() + static_cast<std::ptrdiff_t>(match[i]->bodyOffset),
                                  t->body.begin() + static_cast<std::ptrdiff_t>(
                                                        match[i]->bodyOffset + (match[i]->last - match[i]->first + 1)));
                m.bodyOffset = m.offset;
                m.learned = learned;
            }
            // The leader's own part last: its body held the whole answer until now.
            Transfer& lead = *t;
            std::vector<uint8_t> own(
                lead.body.begin() + static_cast<std::ptrdiff_t>(match[0]->bodyOffset),
                lead.body.begin() +
                    static_cast<std::ptrdiff_t>(match[0]->bodyOffset + (match[0]->last - match[0]->first + 1)));
            lead.body.swap(own);
            for (const auto& m : members) settle(m, Failure::None, std::string(), -1);
            return;
        }
    }
    // The request failed or the server does not answer several ranges as asked: each range
    // goes again on its own, through the checks and retries of a single range.
    std::lock_guard<std::mutex> lock(mutex);
    if (refused && multiRange) {
        multiRange = false;
        CLog::Log("stream", LOG_INFO, "%s: asking for one range per request (%s)", url.c_str(), why.c_str());
    }
    for (const auto& m : members) {
        m->resetForRetry();
        m->solo = true;
        m->state = Transfer::State::Queued;
        m->notBefore = Clock::now();
        queue.push_back(m);
    }
}

void HttpByteSource::Core::finish(const std::shared_ptr<Transfer>& t, CURLcode code)
{
    if (!t->riders.empty()) {
        finishGroup(t, code);
        return;
    }
    std::string text;
    long retryMs = -1;
    const Failure f = judge(*t, code, text, retryMs);
    settle(t, f, std::move(text), retryMs);
}

void HttpByteSource::Core::settle(const std::shared_ptr<Transfer>& t, Failure f, std::string text, long retryMs)
{
    int tries = 0;
    if (f == Failure::Transport || f == Failure::Connect) {
        tries = kTransportTries;
        retryMs = 250L * t->tries;
    } else if (f == Failure::Server) {
        tries = kServerTries;
        retryMs = 250L << (t->tries - 1);
    } else if (f == Failure::Busy) {
        tries = kBusyTries;
    }
    std::lock_guard<std::mutex> lock(mutex);
    if (f != Failure::None && t->tries < tries && !stop && t->wanted()) {
        CLog::Log("stream", LOG_DEBUG, "%s: trying again in %ld ms (%s)", url.c_str(), retryMs, text.c_str());
        t->resetForRetry();
        t->notBefore = Clock::now() + std::chrono::milliseconds(retryMs);
        t->state = Transfer::State::Queued;
        queue.push_back(t);
        return;
    }
    if (t->prefetch) prefetchBytes -= std::min(prefetchBytes, t->length);
    if (f == Failure::None) {
        if (!t->probe) insertPages(*t);
        t->state = Transfer::State::Done;
    } else {
        if (f == Failure::Transport) text = "The connection to the image server " + host + " was lost: " + text + ".";
        t->state = Transfer::State::Failed;
        t->failure = f;
        t->error = text;
        lastError = text;
        if (!t->probe && !faultError) faultError = faultFor(f, text);
        CLog::Log("stream", LOG_WARNING, "%s", text.c_str());
    }
    releaseInflight(*t);
    cv.notify_all();
}

CError HttpByteSource::Core::faultFor(Failure f, const std::string& text) const
{
    // Every failed read stops the stream: a picture with holes is never shown. What time can
    // mend (the network, a busy or failing server) is a lost connection, which Reconnect()
    // retries; what it cannot (the image gone or changed, a broken server) needs a new open.
    switch (f) {
        case Failure::NotFound:
            return CError(PLK_ERROR_FILE_READ,
                          "The image " + owner.m_name + " is no longer on the server (" + text + "); open it again.");
        case Failure::Changed:
        case Failure::Refused:
        case Failure::Tls:
        case Failure::Malformed:
        case Failure::NoRanges:
            return CError(PLK_ERROR_FILE_READ, text);
        default:
            return CError(PLK_ERROR_CONNECTION_LOST, text);
    }
}

void HttpByteSource::Core::insertPages(const Transfer& t)
{
    const uint64_t size = opened ? validator.size : t.learned.size;
    for (uint64_t at = 0; at < t.body.size(); at += kPage) {
        const uint64_t fileOffset = t.bodyOffset + at;
        if (fileOffset % kPage) continue;
        const uint64_t n = std::min<uint64_t>(kPage, t.body.size() - at);
        if (n < kPage && fileOffset + n != size) continue;  // a page is whole or ends the file
        const uint64_t page = fileOffset / kPage;
        if (pages.count(page)) continue;
        auto bytes = std::make_shared<const Bytes>(t.body.begin() + static_cast<std::ptrdiff_t>(at),
                                                   t.body.begin() + static_cast<std::ptrdiff_t>(at + n));
        lru.push_front(page);
        pages[page] = Cached{std::move(bytes), lru.begin()};
        cachedBytes += n;
    }
    while (cachedBytes > kMemoryBytes && !lru.empty()) {
        auto it = pages.find(lru.back());
        cachedBytes -= it->second.bytes->size();
        pages.erase(it);
        lru.pop_back();
    }
}

void HttpByteSource::Core::releaseInflight(const Transfer& t)
{
    for (uint64_t p = t.firstPage(); p <= t.lastPage(); ++p) {
        auto it = inflight.find(p);
        if (it != inflight.end() && it->second.get() == &t) inflight.erase(it);
    }
}

std::shared_ptr<HttpByteSource::Transfer> HttpByteSource::Core::newTransfer(uint64_t firstPage, uint64_t lastPage,
                                                                            bool prefetch)
{
    auto t = std::make_shared<Transfer>();
    t->core = this;
    t->offset = firstPage * kPage;
    t->length = std::min((lastPage + 1) * kPage, validator.size) - t->offset;
    t->prefetch = prefetch;
    for (uint64_t p = firstPage; p <= lastPage; ++p)
        if (!inflight.count(p)) inflight[p] = t;
    queue.push_back(t);
    return t;
}

std::shared_ptr<HttpByteSource::Transfer> HttpByteSource::Core::newExactTransfer(uint64_t offset, uint64_t length)
{
    auto t = std::make_shared<Transfer>();
    t->core = this;
    t->offset = offset;
    t->length = std::min(offset + length, validator.size) - offset;
    queue.push_back(t);
    return t;
}

void HttpByteSource::Core::planPrefetch(uint64_t offset, uint64_t length)
{
    if (faultError || offset >= validator.size || length == 0) return;
    const uint64_t last = (std::min(offset + length, validator.size) - 1) / kPage;
    uint64_t runFirst = UINT64_MAX;
    for (uint64_t p = offset / kPage; p <= last + 1; ++p) {
        const bool missing = p <= last && !pages.count(p) && !inflight.count(p);
        if (missing && runFirst == UINT64_MAX) runFirst = p;
        const bool full = runFirst != UINT64_MAX && (p - runFirst) * kPage >= kMaxTransfer;
        if ((!missing || full) && runFirst != UINT64_MAX) {
            const uint64_t bytes = (p - runFirst) * kPage;
            if (prefetchBytes + bytes > kPrefetchBudget) return;
            prefetchBytes += bytes;
            newTransfer(runFirst, p - 1, true);
            runFirst = missing ? p : UINT64_MAX;
        }
    }
}

void HttpByteSource::Core::waitFor(std::unique_lock<std::mutex>& lock,
                                   const std::vector<std::shared_ptr<Transfer>>& transfers,
                                   const std::atomic<bool>* cancel, bool& cancelled)
{
    cancelled = false;
    for (;;) {
        if (std::all_of(transfers.begin(), transfers.end(), [](const auto& t) { return t->finished(); })) return;
        if (cancel && cancel->load(std::memory_order_relaxed)) {
            cancelled = true;
            return;
        }
        cv.wait_for(lock, std::chrono::milliseconds(10));
    }
}

CError HttpByteSource::Core::probe(bool reconnecting)
{
    auto t = std::make_shared<Transfer>();
    t->core = this;
    t->offset = 0;
    t->length = kProbeBytes;
    t->probe = true;
    t->waiters = 1;
    {
        std::lock_guard<std::mutex> lock(mutex);
        queue.push_back(t);
    }
    wake();
    std::unique_lock<std::mutex> lock(mutex);
    bool cancelled = false;
    waitFor(lock, {t}, nullptr, cancelled);
    t->waiters = 0;
    if (t->state != Transfer::State::Done) {
        const bool unreachable = t->failure == Failure::Connect || t->failure == Failure::Transport;
        if (reconnecting && unreachable) return CError(PLK_ERROR_CONNECTION_LOST, t->error);
        return CError(t->failure == Failure::NotFound ? PLK_ERROR_FILE_NOT_FOUND : PLK_ERROR_FILE_OPEN, t->error);
    }
    if (!opened) {
        validator = t->learned;
        opened = true;
    } else if (!validator.sameFileAs(t->learned)) {
        return CError(PLK_ERROR_FILE_READ,
                      "The image " + owner.m_name + " changed on the server while it was open; open it again.");
    }
    insertPages(*t);
    return CError();
}

// ---- the source ----------------------------------------------------------------------------

HttpByteSource::HttpByteSource(std::string name, SourceProtocol protocol)
    : m_name(std::move(name)), m_protocol(protocol)
{}

HttpByteSource::~HttpByteSource() = default;

std::shared_ptr<HttpByteSource> HttpByteSource::open(const std::string& address, const StreamSettings& settings,
                                                     CError& error)
{
    const std::string url = httpUrlOf(address, error);
    if (url.empty()) return nullptr;
    initCurl();
    const SourceProtocol protocol = url.rfind("https://", 0) == 0 ? SourceProtocol::Xrvps : SourceProtocol::Xrvp;
    std::shared_ptr<HttpByteSource> source(new HttpByteSource(address, protocol));
    source->m_core.reset(new Core(*source, url, settings));
    const CError e = source->m_core->probe(false);
    if (e) {
        error = e;
        return nullptr;
    }
    CLog::Log("stream", LOG_INFO, "%s: %llu bytes from %s", address.c_str(),
              static_cast<unsigned long long>(source->size()), url.c_str());
    return source;
}

uint64_t HttpByteSource::size() const
{
    std::lock_guard<std::mutex> lock(m_core->mutex);
    return m_core->validator.size;
}

HttpValidator HttpByteSource::validator() const
{
    std::lock_guard<std::mutex> lock(m_core->mutex);
    return m_core->validator;
}

std::string HttpByteSource::errorText() const
{
    std::lock_guard<std::mutex> lock(m_core->mutex);
    return m_core->faultError ? m_core->faultError.message() : m_core->lastError;
}

CError HttpByteSource::fault() const
{
    std::lock_guard<std::mutex> lock(m_core->mutex);
    return m_core->faultError;
}

CError HttpByteSource::reconnect()
{
    Core& c = *m_core;
    {
        std::lock_guard<std::mutex> lock(c.mutex);
        if (!c.faultError) return CError();
        if (c.faultError.GetErrorNumber() != PLK_ERROR_CONNECTION_LOST) return c.faultError;
        c.resetConnections = true;
    }
    CLog::Log("stream", LOG_INFO, "%s: reconnecting", m_name.c_str());
    const CError e = c.probe(true);
    std::lock_guard<std::mutex> lock(c.mutex);
    c.faultError = e;
    return e;
}

int64_t HttpByteSource::readAt(uint64_t offset, void* buffer, size_t length)
{
    return readOneRange(offset, buffer, length);
}

void HttpByteSource::prefetch(const std::vector<ByteRange>& ranges)
{
    {
        std::lock_guard<std::mutex> lock(m_core->mutex);
        for (const ByteRange& r : ranges) m_core->planPrefetch(r.offset, r.length);
    }
    m_core->wake();
}

ReadStatus HttpByteSource::readRanges(std::vector<RangeRead>& reads, const std::atomic<bool>* cancel)
{
    Core& c = *m_core;
    struct PageRef {
        std::shared_ptr<const Bytes> bytes;
        std::shared_ptr<Transfer> transfer;
    };
    std::map<uint64_t, PageRef> refs;
    std::vector<std::shared_ptr<Transfer>> mine;
    std::unique_lock<std::mutex> lock(c.mutex);
    for (RangeRead& r : reads) r.read = -1;
    if (c.faultError) {
        c.lastError = c.faultError.message();
        return ReadStatus::Failed;
    }
    const uint64_t size = c.validator.size;
    std::set<Transfer*> joined;
    std::vector<uint64_t> missing;
    // Small reads (tile-part headers looked for all over the file) are fetched byte for byte:
    // whole pages would multiply their bytes a thousandfold. Larger ones go in whole pages.
    const bool exactBatch =
        std::all_of(reads.begin(), reads.end(), [](const RangeRead& r) { return r.length <= kExactReadMax; });
    std::vector<std::shared_ptr<Transfer>> exactOf(reads.size());
    for (size_t i = 0; i < reads.size(); ++i) {
        const RangeRead& r = reads[i];
        if (r.length == 0 || r.offset >= size) continue;
        const uint64_t last = (std::min<uint64_t>(r.offset + r.length, size) - 1) / kPage;
        // In a view's batch, a read shorter than a page (a tile's leading packets, a coarse
        // tile-part) is fetched exactly too: rounding each to whole pages would read several
        // times its bytes, and nothing else is likely to want the rest of those pages.
        if (exactBatch || (reads.size() > 1 && r.length < kPage)) {
            bool held = false;
            for (uint64_t p = r.offset / kPage; p <= last && !held; ++p) held = c.pages.count(p) || c.inflight.count(p);
            if (!held) {
                exactOf[i] = c.newExactTransfer(r.offset, r.length);
                exactOf[i]->waiters = 1;
                mine.push_back(exactOf[i]);
                continue;
            }
        }
        for (uint64_t p = r.offset / kPage; p <= last; ++p) {
            if (refs.count(p)) continue;
            PageRef& ref = refs[p];
            auto cached = c.pages.find(p);
            if (cached != c.pages.end()) {
                ref.bytes = cached->second.bytes;
                c.lru.splice(c.lru.begin(), c.lru, cached->second.lru);
                continue;
            }
            auto flying = c.inflight.find(p);
            if (flying != c.inflight.end()) {
                ref.transfer = flying->second;
                if (joined.insert(ref.transfer.get()).second) {
                    ++ref.transfer->waiters;
                    mine.push_back(ref.transfer);
                }
                continue;
            }
            missing.push_back(p);
        }
    }
    // Missing pages, in order, become runs; short gaps are fetched rather than paid for with
    // another round trip.
    std::sort(missing.begin(), missing.end());
    const uint64_t gapPages = c.multiRange ? kMultiGapPages : kMergeGapPages;
    for (size_t i = 0; i < missing.size();) {
        size_t j = i;
        while (j + 1 < missing.size() && missing[j + 1] - missing[j] <= gapPages + 1 &&
               (missing[j + 1] - missing[i] + 1) * kPage <= kMaxTransfer)
            ++j;
        auto t = c.newTransfer(missing[i], missing[j], false);
        t->waiters = 1;
        mine.push_back(t);
        for (size_t k = i; k <= j; ++k) refs[missing[k]].transfer = t;
        i = j + 1;
    }
    // Reads that go on where the last one ended, and had to wait for the network, fetch further
    // ahead each time. Reads served from memory (the header boxes inside the opening request's
    // bytes) leave it as it is: a few of them must not start megabytes of read-ahead.
    if (reads.size() == 1 && reads[0].length && !exactBatch) {
        const RangeRead& r = reads[0];
        // A walk over small headers skips a little between reads; it is still going forwards.
        const bool forwards = r.offset >= c.sequentialEnd && r.offset - c.sequentialEnd <= kReadAheadMin;
        if (!forwards)
            c.readAhead = 0;
        else if (!mine.empty())
            c.readAhead = std::min(kReadAheadMax, std::max(kReadAheadMin, c.readAhead * 2));
        c.sequentialEnd = r.offset + r.length;
        // Fetch ahead in whole chunks, once half of what was fetched ahead is used up, rather
        // than a sliver after every read.
        const uint64_t from = std::max(c.aheadEnd, ((r.offset + r.length + kPage - 1) / kPage) * kPage);
        if (c.readAhead && r.offset + r.length + c.readAhead / 2 >= c.aheadEnd) {
            c.planPrefetch(from, c.readAhead);
            c.aheadEnd = from + c.readAhead;
        }
    }
    if (!c.queue.empty() && c.multi) curl_multi_wakeup(c.multi);

    bool cancelled = false;
    c.waitFor(lock, mine, cancel, cancelled);
    for (const auto& t : mine) --t->waiters;
    if (cancelled) {
        if (c.multi) curl_multi_wakeup(c.multi);
        return ReadStatus::Cancelled;
    }
    std::string failure;
    for (const auto& t : mine)
        if (t->state != Transfer::State::Done && failure.empty())
            failure = t->error.empty() ? "The read was cancelled." : t->error;
    lock.unlock();

    // Every transfer is finished: bodies and pages no longer change.
    bool ok = true;
    for (size_t i = 0; i < reads.size(); ++i) {
        RangeRead& r = reads[i];
        if (r.length && !r.buffer) continue;
        if (r.length == 0 || r.offset >= size) {
            r.read = 0;
            continue;
        }
        const uint64_t end = std::min<uint64_t>(r.offset + r.length, size);
        if (const std::shared_ptr<Transfer>& t = exactOf[i]) {
            // The body starts at the read, or at 0 when a server sent a small file whole.
            const bool whole =
                t->state == Transfer::State::Done && r.offset >= t->bodyOffset && t->body.size() >= end - t->bodyOffset;
            if (whole) {
                std::memcpy(r.buffer, t->body.data() + (r.offset - t->bodyOffset), static_cast<size_t>(end - r.offset));
                r.read = static_cast<int64_t>(end - r.offset);
            }
            ok = ok && whole;
            continue;
        }
        uint64_t at = r.offset;
        bool whole = true;
        while (at < end) {
            const uint64_t p = at / kPage;
            const PageRef& ref = refs[p];
            const uint8_t* data = nullptr;
            uint64_t available = 0;
            if (ref.bytes) {
                data = ref.bytes->data() + (at - p * kPage);
                available = ref.bytes->size() - std::min<uint64_t>(ref.bytes->size(), at - p * kPage);
            } else if (ref.transfer && ref.transfer->state == Transfer::State::Done && at >= ref.transfer->bodyOffset &&
                       at - ref.transfer->bodyOffset < ref.transfer->body.size()) {
                data = ref.transfer->body.data() + (at - ref.transfer->bodyOffset);
                available = ref.transfer->body.size() - (at - ref.transfer->bodyOffset);
            }
            const uint64_t n = std::min({available, end - at, (p + 1) * kPage - at});
            if (!data || n == 0) {
                whole = false;
                break;
            }
            std::memcpy(static_cast<uint8_t*>(r.buffer) + (at - r.offset), data, n);
            at += n;
        }
        if (whole) r.read = static_cast<int64_t>(end - r.offset);
        ok = ok && whole;
    }
    if (!ok) {
        std::lock_guard<std::mutex> relock(c.mutex);
        c.lastError = failure.empty() ? "The image server " + c.host + " did not send every byte asked for." : failure;
        return ReadStatus::Failed;
    }
    return ReadStatus::Ok;
}

}  // namespace Engine
}  // namespace PLK
