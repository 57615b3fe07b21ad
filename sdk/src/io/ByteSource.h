// The bytes of an image, wherever they live. Every container reader and the GDAL bridge read
// through this one interface, so a stream needs nothing above it changed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace PLK {
namespace Engine {

class ByteSource {
public:
    virtual ~ByteSource() = default;
    /// Total size in bytes.
    virtual uint64_t size() const = 0;
    /// Reads up to `length` bytes at `offset` into `buffer`. Returns the number of bytes read,
    /// which is short only at the end of the data, or -1 on an I/O error. Safe to call from
    /// several threads at once.
    virtual int64_t readAt(uint64_t offset, void* buffer, size_t length) = 0;
    /// The name the source was opened with (a path or an address).
    virtual const std::string& name() const = 0;
    /// Whether the bytes come over a network connection.
    virtual bool isRemote() const { return false; }

    /// Reads exactly `length` bytes; false when fewer are available or the read fails.
    bool readExact(uint64_t offset, void* buffer, size_t length)
    {
        return readAt(offset, buffer, length) == static_cast<int64_t>(length);
    }
};

}  // namespace Engine
}  // namespace PLK
