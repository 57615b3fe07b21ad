// Random access to the bytes of an open image, for callers that read boxes themselves.
#pragma once

#include <cstdint>

namespace PLK {

class CIOStream {
public:
    virtual ~CIOStream() = default;
    /// Moves to an absolute offset; false when it lies beyond the end.
    virtual bool Seek(uint64_t offset) = 0;
    /// Current offset.
    virtual uint64_t Tell() const = 0;
    /// Reads exactly nLength bytes at the current offset and moves past them; false when fewer
    /// are available or the read fails.
    virtual bool Read(void* pBuffer, uint32_t nLength) = 0;
    virtual uint64_t Size() const = 0;
    /// Whether the bytes come over a network connection (they are fetched on demand and may
    /// arrive slowly); false for local files.
    virtual bool IsNetworkStream() const = 0;
};

}  // namespace PLK
