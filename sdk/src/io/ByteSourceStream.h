// A byte source seen as the seek-and-read stream that callers reading boxes themselves use.
#pragma once

#include <memory>

#include "CIOStream.h"
#include "io/ByteSource.h"

namespace PLK {
namespace Engine {

class ByteSourceStream : public CIOStream {
public:
    explicit ByteSourceStream(std::shared_ptr<ByteSource> source) : m_source(std::move(source)) {}

    bool Seek(uint64_t offset) override
    {
        if (offset > m_source->size()) return false;
        m_position = offset;
        return true;
    }
    uint64_t Tell() const override { return m_position; }
    bool Read(void* buffer, uint32_t length) override
    {
        if (!buffer && length) return false;
        if (!m_source->readExact(m_position, buffer, length)) return false;
        m_position += length;
        return true;
    }
    uint64_t Size() const override { return m_source->size(); }
    bool IsNetworkStream() const override { return m_source->isRemote(); }

private:
    std::shared_ptr<ByteSource> m_source;
    uint64_t m_position = 0;
};

}  // namespace Engine
}  // namespace PLK
