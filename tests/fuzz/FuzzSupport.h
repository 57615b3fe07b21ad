// What every fuzzer shares: a byte source over the fuzzer's input in memory, a file that holds
// the input for targets that go through the engine's file-opening path, and XRV checksums made
// to match.
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include <vector>

#include "io/ByteSource.h"
#include "xrv/XrvFormat.h"

namespace fuzz {

class MemorySource : public PLK::Engine::ByteSource {
public:
    MemorySource(const uint8_t* data, size_t size) : m_data(data), m_size(size) {}
    uint64_t size() const override { return m_size; }
    int64_t readAt(uint64_t offset, void* buffer, size_t length) override
    {
        if (offset >= m_size || length == 0) return 0;
        const size_t n = static_cast<size_t>(std::min<uint64_t>(length, m_size - offset));
        std::memcpy(buffer, m_data + offset, n);
        return static_cast<int64_t>(n);
    }
    const std::string& name() const override { return m_name; }

private:
    const uint8_t* m_data;
    size_t m_size;
    std::string m_name = "fuzz input";
};

/// A file in a per-process folder under /dev/shm (or /tmp) holding `data`, named `leaf`.
inline std::string writeInput(const std::string& leaf, const uint8_t* data, size_t size)
{
    static const std::string folder = [] {
        const char* base = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
        std::string f = std::string(base) + "/xrvfuzz-" + std::to_string(getpid());
        mkdir(f.c_str(), 0700);
        return f;
    }();
    const std::string path = folder + "/" + leaf;
    if (FILE* f = std::fopen(path.c_str(), "wb")) {
        if (size) std::fwrite(data, 1, size, f);
        std::fclose(f);
    }
    return path;
}

inline uint64_t xrvLe(const uint8_t* p, int k)
{
    uint64_t v = 0;
    for (int i = 0; i < k; ++i) v |= uint64_t(p[i]) << (8 * i);
    return v;
}

inline void putXrvCrc(std::vector<uint8_t>& f, size_t at, size_t from, size_t length)
{
    const uint32_t crc = PLK::Engine::Xrv::crc32(f.data() + from, length);
    for (int i = 0; i < 4; ++i) f[at + i] = static_cast<uint8_t>(crc >> (8 * i));
}

/// Makes every checksum of an XRV file match its bytes, innermost first (segments, then the
/// indexes holding their checksums, the directory holding those, the metadata and the header),
/// wherever the fields that locate them point inside the file: a mutated file nearly always
/// fails one, which stops the reader long before what comes after the checks.
inline void fixXrvChecksums(std::vector<uint8_t>& f)
{
    const uint64_t size = f.size();
    if (size < PLK::Engine::Xrv::kFixedHeaderBytes) return;
    const uint64_t metadata = xrvLe(f.data() + 36, 4);
    const uint32_t resolutions = f[11];
    const uint64_t directory = PLK::Engine::Xrv::kFixedHeaderBytes + metadata;
    const uint64_t entries = uint64_t(resolutions) * PLK::Engine::Xrv::kLevelEntryBytes;
    if (metadata >= 4 && resolutions >= 1 && resolutions <= PLK::Engine::Xrv::kMaxResolutions &&
        directory + entries + 4 <= size) {
        for (uint32_t r = 0; r < resolutions; ++r) {
            uint8_t* e = f.data() + directory + r * PLK::Engine::Xrv::kLevelEntryBytes;
            const uint64_t indexOffset = xrvLe(e, 8), indexLength = xrvLe(e + 8, 4);
            const uint64_t dataOffset = xrvLe(e + 16, 8), dataLength = xrvLe(e + 24, 8);
            if (indexOffset > size || indexLength > size - indexOffset) continue;
            const uint64_t dataEnd = dataOffset <= size ? dataOffset + std::min(dataLength, size - dataOffset) : 0;
            uint64_t at = dataOffset;
            for (uint64_t i = 0; i + PLK::Engine::Xrv::kIndexEntryBytes <= indexLength;
                 i += PLK::Engine::Xrv::kIndexEntryBytes) {
                const uint64_t length = xrvLe(f.data() + indexOffset + i, 4);
                if (at > dataEnd || length > dataEnd - at) break;
                putXrvCrc(f, indexOffset + i + 4, at, length);
                at += length;
            }
            putXrvCrc(f, directory + r * PLK::Engine::Xrv::kLevelEntryBytes + 12, indexOffset, indexLength);
        }
        putXrvCrc(f, directory + entries, directory, entries);
    }
    if (metadata >= 4 && PLK::Engine::Xrv::kFixedHeaderBytes + metadata <= size)
        putXrvCrc(f, PLK::Engine::Xrv::kFixedHeaderBytes + metadata - 4, PLK::Engine::Xrv::kFixedHeaderBytes,
                  metadata - 4);
    putXrvCrc(f, PLK::Engine::Xrv::kFixedHeaderBytes - 4, 0, PLK::Engine::Xrv::kFixedHeaderBytes - 4);
}

}  // namespace fuzz
