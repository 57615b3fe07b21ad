#include "io/DiskCacheFolder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;

namespace PLK {
namespace Engine {

namespace {

constexpr char kSegmentMagic[8] = {'X', 'R', 'V', 'C', 'S', 'E', 'G', '1'};
constexpr const char* kIndexMagic = "XRVCACHE1";

struct SegmentHeader {
    char magic[8];
    uint64_t keyHash;
    uint64_t versionHash;
    uint64_t segment;
    uint64_t pageSize;
    uint64_t present;  ///< bit i: page i of the segment is stored
    uint64_t checksum[DiskCacheFolder::kSegmentPages];
    uint64_t headerChecksum;  ///< of everything above
};

uint64_t headerChecksum(const SegmentHeader& h)
{
    return diskCacheHash(&h, offsetof(SegmentHeader, headerChecksum));
}

bool endsWith(const std::string& s, const char* tail)
{
    const size_t n = std::strlen(tail);
    return s.size() >= n && s.compare(s.size() - n, n, tail) == 0;
}

/// Writes `bytes` to `path` through a temporary file renamed into place, so no reader ever
/// sees half of it.
bool writeAtomically(const std::string& path, const std::string& bytes)
{
    static std::atomic<uint64_t> counter{0};
    const std::string temp = path + ".tmp" + std::to_string(::getpid()) + "-" + std::to_string(counter.fetch_add(1));
    const int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) return false;
    size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        done += static_cast<size_t>(n);
    }
    const bool ok = ::close(fd) == 0 && done == bytes.size() && ::rename(temp.c_str(), path.c_str()) == 0;
    if (!ok) ::unlink(temp.c_str());
    return ok;
}

bool preadAll(int fd, void* buffer, size_t length, uint64_t offset)
{
    auto* out = static_cast<char*>(buffer);
    size_t done = 0;
    while (done < length) {
        const ssize_t n = ::pread(fd, out + done, length - done, static_cast<off_t>(offset + done));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

}  // namespace

uint64_t diskCacheHash(const void* data, size_t length, uint64_t seed)
{
    const auto* p = static_cast<const unsigned char*>(data);
    uint64_t h = seed;
    for (size_t i = 0; i < length; ++i) {
        h ^= p[i];
        h *= 1099511628211ull;
    }
    return h;
}

DiskCacheFolder::DiskCacheFolder(std::string folder, uint64_t boundBytes, std::string address, std::string version,
                                 uint64_t pageSize, uint64_t imageSize)
    : m_folder(std::move(folder)),
      m_bound(boundBytes),
      m_address(std::move(address)),
      m_version(std::move(version)),
      m_versionHash(diskCacheHash(m_version.data(), m_version.size())),
      m_keyHash(diskCacheHash(m_address.data(), m_address.size())),
      m_key(keyOf(m_address)),
      m_pageSize(pageSize),
      m_imageSize(imageSize)
{}

std::string DiskCacheFolder::keyOf(const std::string& address)
{
    char hex[17];
    std::snprintf(hex, sizeof hex, "%016llx",
                  static_cast<unsigned long long>(diskCacheHash(address.data(), address.size())));
    return std::string("xrvp-") + hex;
}

std::string DiskCacheFolder::segmentPath(uint64_t segment) const
{
    return (fs::path(m_folder) / (m_key + "-" + std::to_string(segment) + ".data")).string();
}

std::string DiskCacheFolder::indexPath() const
{
    return (fs::path(m_folder) / (m_key + ".cache")).string();
}

uint64_t DiskCacheFolder::pageBytes(uint64_t page) const
{
    const uint64_t start = page * m_pageSize;
    return start >= m_imageSize ? 0 : std::min(m_pageSize, m_imageSize - start);
}

bool DiskCacheFolder::prepare()
{
    std::error_code ec;
    fs::create_directories(m_folder, ec);
    if (!fs::is_directory(m_folder, ec)) return false;
    std::ifstream in(indexPath());
    std::string magic, address, version;
    if (in && std::getline(in, magic) && std::getline(in, address) && std::getline(in, version) &&
        magic == kIndexMagic && address == m_address && version == m_version)
        return true;
    // A new image, or a new version of it on the server: nothing stored may be served.
    deleteSegments();
    return writeAtomically(indexPath(), std::string(kIndexMagic) + "\n" + m_address + "\n" + m_version + "\n");
}

void DiskCacheFolder::deleteSegments() const
{
    std::error_code ec;
    const std::string prefix = m_key + "-";
    for (fs::directory_iterator it(m_folder, ec), end; !ec && it != end; it.increment(ec)) {
        const std::string name = it->path().filename().string();
        if (name.rfind(prefix, 0) == 0 && endsWith(name, ".data")) fs::remove(it->path(), ec);
    }
}

std::map<uint64_t, std::vector<uint8_t>> DiskCacheFolder::readPages(uint64_t segment,
                                                                    const std::vector<uint64_t>& wanted)
{
    std::map<uint64_t, std::vector<uint8_t>> out;
    const std::string path = segmentPath(segment);
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return out;
    SegmentHeader h{};
    struct stat st {};
    bool sound = preadAll(fd, &h, sizeof h, 0) && ::fstat(fd, &st) == 0 &&
                 std::memcmp(h.magic, kSegmentMagic, sizeof h.magic) == 0 && h.keyHash == m_keyHash &&
                 h.versionHash == m_versionHash && h.segment == segment && h.pageSize == m_pageSize &&
                 h.headerChecksum == headerChecksum(h);
    // Where each stored page lies: pages follow the header in order, each of its own length.
    std::map<uint64_t, uint64_t> offsets;
    uint64_t at = sizeof h;
    for (uint64_t i = 0; sound && i < kSegmentPages; ++i) {
        if (!(h.present >> i & 1)) continue;
        const uint64_t page = segment * kSegmentPages + i;
        if (pageBytes(page) == 0) sound = false;
        offsets[page] = at;
        at += pageBytes(page);
    }
    sound = sound && static_cast<uint64_t>(st.st_size) == at;
    for (uint64_t page : wanted) {
        if (!sound) break;
        const auto where = offsets.find(page);
        if (where == offsets.end()) continue;
        std::vector<uint8_t> bytes(pageBytes(page));
        sound = preadAll(fd, bytes.data(), bytes.size(), where->second) &&
                diskCacheHash(bytes.data(), bytes.size()) == h.checksum[page - segment * kSegmentPages];
        if (sound) out[page] = std::move(bytes);
    }
    if (sound && !out.empty()) ::futimens(fd, nullptr);  // its last use, for eviction
    ::close(fd);
    if (!sound) {
        // Damaged, cut short or of another version of the image: never served.
        ::unlink(path.c_str());
        out.clear();
    }
    return out;
}

bool DiskCacheFolder::writeSegment(uint64_t segment, const std::map<uint64_t, std::vector<uint8_t>>& pages)
{
    SegmentHeader h{};
    std::memcpy(h.magic, kSegmentMagic, sizeof h.magic);
    h.keyHash = m_keyHash;
    h.versionHash = m_versionHash;
    h.segment = segment;
    h.pageSize = m_pageSize;
    std::string body;
    for (const auto& entry : pages) {
        const uint64_t i = entry.first - segment * kSegmentPages;
        if (i >= kSegmentPages || entry.second.size() != pageBytes(entry.first)) continue;
        h.present |= uint64_t(1) << i;
        h.checksum[i] = diskCacheHash(entry.second.data(), entry.second.size());
        body.append(reinterpret_cast<const char*>(entry.second.data()), entry.second.size());
    }
    h.headerChecksum = headerChecksum(h);
    return writeAtomically(segmentPath(segment), std::string(reinterpret_cast<const char*>(&h), sizeof h) + body);
}

void DiskCacheFolder::writePages(const std::map<uint64_t, std::vector<uint8_t>>& pages)
{
    std::map<uint64_t, std::map<uint64_t, std::vector<uint8_t>>> bySegment;
    for (const auto& entry : pages) bySegment[entry.first / kSegmentPages][entry.first] = entry.second;
    for (auto& entry : bySegment) {
        const uint64_t segment = entry.first;
        std::vector<uint64_t> all;
        for (uint64_t i = 0; i < kSegmentPages; ++i) all.push_back(segment * kSegmentPages + i);
        std::map<uint64_t, std::vector<uint8_t>> merged = readPages(segment, all);
        for (auto& page : entry.second) merged[page.first] = std::move(page.second);
        writeSegment(segment, merged);
    }
    evict(m_folder, m_bound);
}

uint64_t DiskCacheFolder::usedBytes(const std::string& folder)
{
    uint64_t total = 0;
    std::error_code ec;
    for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
        const std::string name = it->path().filename().string();
        if ((endsWith(name, ".data") || endsWith(name, ".cache")) && it->is_regular_file(ec))
            total += it->file_size(ec);
    }
    return total;
}

void DiskCacheFolder::evict(const std::string& folder, uint64_t boundBytes)
{
    struct Entry {
        fs::path path;
        uint64_t size;
        fs::file_time_type used;
    };
    std::vector<Entry> segments, indexes;
    uint64_t total = 0;
    std::error_code ec;
    const auto now = fs::file_time_type::clock::now();
    for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
        std::error_code fileError;
        if (!it->is_regular_file(fileError)) continue;
        const std::string name = it->path().filename().string();
        const auto used = it->last_write_time(fileError);
        if (name.find(".tmp") != std::string::npos && now - used > std::chrono::minutes(10)) {
            fs::remove(it->path(), fileError);  // left by a viewer that stopped mid-write
            continue;
        }
        const bool data = endsWith(name, ".data");
        if (!data && !endsWith(name, ".cache")) continue;
        const uint64_t size = it->file_size(fileError);
        total += size;
        (data ? segments : indexes).push_back(Entry{it->path(), size, used});
    }
    if (total <= boundBytes) return;
    const auto older = [](const Entry& a, const Entry& b) { return a.used < b.used; };
    std::sort(segments.begin(), segments.end(), older);
    std::sort(indexes.begin(), indexes.end(), older);
    for (auto* list : {&segments, &indexes})
        for (const Entry& e : *list) {
            if (total <= boundBytes) return;
            if (fs::remove(e.path, ec) || !fs::exists(e.path, ec)) total -= std::min(total, e.size);
        }
}

}  // namespace Engine
}  // namespace PLK
