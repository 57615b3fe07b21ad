// The folder of the stream disk cache: which files belong to which image, reading and writing
// them safely while other viewers use the same folder, and keeping the folder within its
// bound.
//
// Per image, "<key>.cache" names the address and the version (size, ETag, Last-Modified) the
// bytes belong to, and "<key>-<n>.data" segments hold up to kSegmentPages pages of the image,
// each with a header listing its pages, their checksums and the version. Every file is
// written under a temporary name and renamed into place, so a reader sees a whole file or
// none; a file that fails any check is deleted, never served.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace PLK {
namespace Engine {

class DiskCacheFolder {
public:
    static constexpr uint64_t kSegmentPages = 64;

    /// `pageSize`: bytes per page; `imageSize`: the image's size (the last page may be short).
    DiskCacheFolder(std::string folder, uint64_t boundBytes, std::string address, std::string version,
                    uint64_t pageSize, uint64_t imageSize);

    /// Creates the folder when needed and makes sure the image's index names this version,
    /// deleting the segments of any other version. False when the folder cannot be used.
    bool prepare();

    /// The pages of segment `segment` that are stored and sound, by page number within the
    /// whole image. A damaged segment is deleted and gives none.
    std::map<uint64_t, std::vector<uint8_t>> readPages(uint64_t segment, const std::vector<uint64_t>& wanted);
    /// Adds `pages` (page number -> bytes) to their segments, keeping what is stored already,
    /// then brings the folder within its bound.
    void writePages(const std::map<uint64_t, std::vector<uint8_t>>& pages);

    /// Deletes least recently used segments until the "*.data" and "*.cache" files of the
    /// folder add up to no more than `boundBytes`.
    static void evict(const std::string& folder, uint64_t boundBytes);
    /// Sum of the sizes of the folder's "*.data" and "*.cache" files.
    static uint64_t usedBytes(const std::string& folder);
    /// The file name stem for an address ("xrvp-" and a hash).
    static std::string keyOf(const std::string& address);

private:
    std::string segmentPath(uint64_t segment) const;
    std::string indexPath() const;
    uint64_t pageBytes(uint64_t page) const;
    bool writeSegment(uint64_t segment, const std::map<uint64_t, std::vector<uint8_t>>& pages);
    void deleteSegments() const;

    std::string m_folder;
    uint64_t m_bound;
    std::string m_address;
    std::string m_version;
    uint64_t m_versionHash;
    uint64_t m_keyHash;
    std::string m_key;
    uint64_t m_pageSize;
    uint64_t m_imageSize;
};

/// 64-bit FNV-1a: checksums of pages and names of files.
uint64_t diskCacheHash(const void* data, size_t length, uint64_t seed = 14695981039346656037ull);

}  // namespace Engine
}  // namespace PLK
