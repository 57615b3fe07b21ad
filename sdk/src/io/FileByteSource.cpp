#include "io/FileByteSource.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace PLK {
namespace Engine {

std::shared_ptr<FileByteSource> FileByteSource::open(const std::string& path, CError& error)
{
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0) {
        const int code = errno == ENOENT || errno == ENOTDIR ? PLK_ERROR_FILE_NOT_FOUND : PLK_ERROR_FILE_OPEN;
        error = CError(code, code == PLK_ERROR_FILE_NOT_FOUND
                                 ? "The file '" + path + "' does not exist."
                                 : "The file '" + path + "' cannot be opened: " + std::strerror(errno) + ".");
        return nullptr;
    }
    if (S_ISDIR(st.st_mode)) {
        error = CError(PLK_ERROR_FILE_OPEN, "'" + path + "' is a folder, not an image file.");
        return nullptr;
    }
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        error = CError(PLK_ERROR_FILE_OPEN, "The file '" + path + "' cannot be opened: " + std::strerror(errno) + ".");
        return nullptr;
    }
    return std::shared_ptr<FileByteSource>(new FileByteSource(path, fd, static_cast<uint64_t>(st.st_size)));
}

FileByteSource::FileByteSource(std::string path, int fd, uint64_t size)
    : m_path(std::move(path)), m_fd(fd), m_size(size)
{}

FileByteSource::~FileByteSource()
{
    ::close(m_fd);
}

int64_t FileByteSource::readAt(uint64_t offset, void* buffer, size_t length)
{
    if (offset >= m_size || length == 0) return 0;
    if (length > m_size - offset) length = static_cast<size_t>(m_size - offset);
    auto* out = static_cast<char*>(buffer);
    size_t done = 0;
    while (done < length) {
        const ssize_t n = ::pread(m_fd, out + done, length - done, static_cast<off_t>(offset + done));
        if (n < 0) {
            if (errno == EINTR) continue;
            return -1;
        }
        if (n == 0) break;
        done += static_cast<size_t>(n);
    }
    return static_cast<int64_t>(done);
}

}  // namespace Engine
}  // namespace PLK
