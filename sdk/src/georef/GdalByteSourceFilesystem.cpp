#include "georef/GdalByteSourceFilesystem.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>
#include <map>
#include <mutex>
#include <sys/stat.h>

#include <cpl_conv.h>
#include <cpl_vsi.h>

namespace PLK {
namespace Engine {

const char* const GdalByteSourceFilesystem::kPrefix = "/vsixrv/";

namespace {

// The registered sources by their path below the prefix ("17/image.jp2"). Never destroyed:
// GDAL may still call a callback while the process exits, after static destructors ran.
struct Registry {
    std::mutex mutex;
    std::map<std::string, std::shared_ptr<ByteSource>> sources;
    uint64_t nextId = 1;
};

Registry& registry()
{
    static Registry* instance = new Registry;
    return *instance;
}

// GDAL hands the callbacks the path without the prefix; accept both forms.
std::string keyOf(const char* path)
{
    if (!path) return std::string();
    const size_t prefixLength = std::strlen(GdalByteSourceFilesystem::kPrefix);
    if (std::strncmp(path, GdalByteSourceFilesystem::kPrefix, prefixLength) == 0) return path + prefixLength;
    return path;
}

std::shared_ptr<ByteSource> lookup(const char* path)
{
    Registry& r = registry();
    std::lock_guard<std::mutex> lock(r.mutex);
    const auto it = r.sources.find(keyOf(path));
    return it == r.sources.end() ? nullptr : it->second;
}

// The last component of a source name, without a query or fragment, so that the virtual path
// keeps the image's extension ("https://host/a/b.jp2?sig=x" -> "b.jp2").
std::string fileNameOf(const std::string& name)
{
    std::string stem = name.substr(0, name.find_first_of("?#"));
    const size_t slash = stem.find_last_of("/\\");
    if (slash != std::string::npos) stem = stem.substr(slash + 1);
    return stem.empty() ? std::string("image") : stem;
}

// One open file: the source stays alive while GDAL holds the handle, even when the
// registration is removed meanwhile.
struct OpenFile {
    std::shared_ptr<ByteSource> source;
    uint64_t size = 0;
    uint64_t position = 0;
    bool atEnd = false;
};

void* openFile(void*, const char* path, const char* access)
{
    // Read-only: any write, append or update mode is refused so nothing lands beside an image.
    if (!access || std::strpbrk(access, "wa+")) {
        errno = EACCES;
        return nullptr;
    }
    std::shared_ptr<ByteSource> source = lookup(path);
    if (!source) {
        errno = ENOENT;
        return nullptr;
    }
    auto* file = new OpenFile;
    file->size = source->size();
    file->source = std::move(source);
    return file;
}

int statFile(void*, const char* path, VSIStatBufL* stat, int)
{
    std::shared_ptr<ByteSource> source = lookup(path);
    if (!source || !stat) return -1;
    std::memset(stat, 0, sizeof(*stat));
    stat->st_size = static_cast<decltype(stat->st_size)>(source->size());
    stat->st_mode = S_IFREG | S_IRUSR | S_IRGRP | S_IROTH;
    return 0;
}

size_t readFile(void* handle, void* buffer, size_t elementSize, size_t count)
{
    auto* file = static_cast<OpenFile*>(handle);
    if (elementSize == 0 || count == 0) return 0;
    if (count > std::numeric_limits<size_t>::max() / elementSize) return 0;
    const size_t wanted = elementSize * count;
    size_t length = 0;
    if (file->position < file->size)
        length = static_cast<size_t>(std::min<uint64_t>(wanted, file->size - file->position));
    int64_t got = length ? file->source->readAt(file->position, buffer, length) : 0;
    if (got < 0) got = 0;
    file->position += static_cast<uint64_t>(got);
    if (static_cast<size_t>(got) < wanted) file->atEnd = true;
    return static_cast<size_t>(got) / elementSize;
}

int seekFile(void* handle, vsi_l_offset offset, int whence)
{
    auto* file = static_cast<OpenFile*>(handle);
    uint64_t base = 0;
    if (whence == SEEK_CUR)
        base = file->position;
    else if (whence == SEEK_END)
        base = file->size;
    else if (whence != SEEK_SET)
        return -1;
    if (offset > std::numeric_limits<uint64_t>::max() - base) return -1;
    file->position = base + offset;
    file->atEnd = false;
    return 0;
}

vsi_l_offset tellFile(void* handle)
{
    return static_cast<OpenFile*>(handle)->position;
}
int endOfFile(void* handle)
{
    return static_cast<OpenFile*>(handle)->atEnd ? 1 : 0;
}

int closeFile(void* handle)
{
    delete static_cast<OpenFile*>(handle);
    return 0;
}

// An empty (not null) list tells GDAL there are no siblings, so it neither lists a folder nor
// probes for .aux.xml, world or RPC files beside a virtual image.
char** noSiblings(void*, const char*)
{
    return static_cast<char**>(CPLCalloc(1, sizeof(char*)));
}

char** refuseListing(void*, const char*, int)
{
    return nullptr;
}
int refuseByName(void*, const char*)
{
    return -1;
}
int refuseRename(void*, const char*, const char*)
{
    return -1;
}
int refuseMkdir(void*, const char*, long)
{
    return -1;
}
size_t refuseWrite(void*, const void*, size_t, size_t)
{
    return 0;
}
int refuseFlush(void*)
{
    return -1;
}
int refuseTruncate(void*, vsi_l_offset)
{
    return -1;
}

bool installHandler()
{
    VSIFilesystemPluginCallbacksStruct* callbacks = VSIAllocFilesystemPluginCallbacksStruct();
    callbacks->open = openFile;
    callbacks->stat = statFile;
    callbacks->read = readFile;
    callbacks->seek = seekFile;
    callbacks->tell = tellFile;
    callbacks->eof = endOfFile;
    callbacks->close = closeFile;
    callbacks->sibling_files = noSiblings;
    callbacks->read_dir = refuseListing;
    callbacks->unlink = refuseByName;
    callbacks->rmdir = refuseByName;
    callbacks->rename = refuseRename;
    callbacks->mkdir = refuseMkdir;
    callbacks->write = refuseWrite;
    callbacks->flush = refuseFlush;
    callbacks->truncate = refuseTruncate;
    // No buffering in GDAL: the byte source has its own block cache for streams, and an extra
    // copy here would only read ahead of what the metadata needs.
    callbacks->nBufferSize = 0;
    callbacks->nCacheSize = 0;
    const int status = VSIInstallPluginHandler(GdalByteSourceFilesystem::kPrefix, callbacks);
    VSIFreeFilesystemPluginCallbacksStruct(callbacks);  // GDAL keeps its own copy
    return status == 0;
}

}  // namespace

bool GdalByteSourceFilesystem::install()
{
    static std::once_flag once;
    static bool installed = false;
    std::call_once(once, [] { installed = installHandler(); });
    return installed;
}

std::string GdalByteSourceFilesystem::registerSource(std::shared_ptr<ByteSource> source)
{
    install();
    if (!source) return std::string();
    const std::string fileName = fileNameOf(source->name());
    Registry& r = registry();
    std::lock_guard<std::mutex> lock(r.mutex);
    const std::string key = std::to_string(r.nextId++) + "/" + fileName;
    r.sources.emplace(key, std::move(source));
    return kPrefix + key;
}

void GdalByteSourceFilesystem::unregisterSource(const std::string& path)
{
    Registry& r = registry();
    std::shared_ptr<ByteSource> released;  // dropped outside the lock
    std::lock_guard<std::mutex> lock(r.mutex);
    const auto it = r.sources.find(keyOf(path.c_str()));
    if (it == r.sources.end()) return;
    released = std::move(it->second);
    r.sources.erase(it);
}

size_t GdalByteSourceFilesystem::registeredCount()
{
    Registry& r = registry();
    std::lock_guard<std::mutex> lock(r.mutex);
    return r.sources.size();
}

}  // namespace Engine
}  // namespace PLK
