// Bounds-checked big-endian reading of a block of bytes already in memory. Every JPEG 2000
// structure is big-endian and every length in it comes from the file, so reads past the end
// must fail softly instead of touching memory they do not own.
#pragma once

#include <cstddef>
#include <cstdint>

namespace PLK {
namespace Engine {

class ByteCursor {
public:
    ByteCursor(const uint8_t* data, size_t size) : m_data(data), m_size(size) {}

    size_t position() const { return m_pos; }
    size_t remaining() const { return m_size - m_pos; }
    /// False once any read went past the end; later reads then return 0.
    bool ok() const { return m_ok; }
    const uint8_t* current() const { return m_data + m_pos; }

    uint8_t u8() { return static_cast<uint8_t>(take(1)); }
    uint16_t u16() { return static_cast<uint16_t>(take(2)); }
    uint32_t u32() { return static_cast<uint32_t>(take(4)); }
    uint64_t u64() { return take(8); }
    /// Reads an unsigned value of 1 to 8 bytes.
    uint64_t take(size_t bytes)
    {
        if (!m_ok || bytes > remaining()) {
            m_ok = false;
            return 0;
        }
        uint64_t v = 0;
        for (size_t i = 0; i < bytes; ++i) v = (v << 8) | m_data[m_pos + i];
        m_pos += bytes;
        return v;
    }
    bool skip(size_t bytes)
    {
        if (!m_ok || bytes > remaining()) return m_ok = false;
        m_pos += bytes;
        return true;
    }

    static uint16_t peek16(const uint8_t* p) { return static_cast<uint16_t>(p[0] << 8 | p[1]); }
    static uint32_t peek32(const uint8_t* p)
    {
        return static_cast<uint32_t>(p[0]) << 24 | static_cast<uint32_t>(p[1]) << 16 |
               static_cast<uint32_t>(p[2]) << 8 | p[3];
    }
    static void put16(uint8_t* p, uint16_t v)
    {
        p[0] = static_cast<uint8_t>(v >> 8);
        p[1] = static_cast<uint8_t>(v);
    }
    static void put32(uint8_t* p, uint32_t v)
    {
        put16(p, static_cast<uint16_t>(v >> 16));
        put16(p + 2, static_cast<uint16_t>(v));
    }

private:
    const uint8_t* m_data;
    size_t m_size;
    size_t m_pos = 0;
    bool m_ok = true;
};

}  // namespace Engine
}  // namespace PLK
