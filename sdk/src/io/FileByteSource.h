// A local file as a byte source, read with positioned reads so threads never share a file
// offset.
#pragma once

#include <memory>

#include "CError.h"
#include "io/ByteSource.h"

namespace PLK {
namespace Engine {

class FileByteSource : public ByteSource {
public:
    /// Opens `path` for reading; on failure returns null and fills `error` with a text that
    /// names the file and the reason.
    static std::shared_ptr<FileByteSource> open(const std::string& path, CError& error);
    ~FileByteSource() override;

    uint64_t size() const override { return m_size; }
    int64_t readAt(uint64_t offset, void* buffer, size_t length) override;
    const std::string& name() const override { return m_path; }

private:
    FileByteSource(std::string path, int fd, uint64_t size);

    std::string m_path;
    int m_fd;
    uint64_t m_size;
};

}  // namespace Engine
}  // namespace PLK
