// What every fuzzer shares: a byte source over the fuzzer's input in memory, and a file that
// holds the input for targets that go through the engine's file-opening path.
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include "io/ByteSource.h"

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

}  // namespace fuzz
