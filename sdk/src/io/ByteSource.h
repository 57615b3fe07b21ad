// The bytes of an image, wherever they live. Every container reader and the GDAL bridge read
// through this one interface, so a stream needs nothing above it changed.
//
// The contract is shaped for a network: a reader that knows several ranges it needs asks for
// them in one call (a stream fetches them together, merging neighbours), announces ranges it
// will need soon (a stream starts fetching them), and passes a cancel flag so a view that has
// moved on stops waiting for bytes it no longer wants.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "CError.h"

namespace PLK {
namespace Engine {

/// A span of bytes of a source.
struct ByteRange {
    uint64_t offset = 0;
    uint64_t length = 0;
    uint64_t end() const { return offset + length; }
};

/// One read of a batch: where, how much, into what; `read` is filled by readRanges with the
/// bytes read (short only at the end of the data) or -1 when the read failed or was cancelled.
struct RangeRead {
    uint64_t offset = 0;
    size_t length = 0;
    void* buffer = nullptr;
    int64_t read = -1;
};

/// How the bytes reach us. Asked of the source, never guessed from the name.
enum class SourceProtocol { LocalFile, Xrvp, Xrvps };

enum class ReadStatus {
    Ok,         ///< every range read in full (or up to the end of the data)
    Failed,     ///< at least one range failed; see errorText()
    Cancelled,  ///< the cancel flag was raised before every range was read
};

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
    /// How the bytes reach us.
    virtual SourceProtocol protocol() const { return SourceProtocol::LocalFile; }
    /// Whether the bytes come over a network connection.
    bool isRemote() const { return protocol() != SourceProtocol::LocalFile; }

    /// Reads every range of `reads`; a network source fetches them together. `cancel`, when
    /// raised, makes the call give up early with Cancelled. Safe from several threads.
    virtual ReadStatus readRanges(std::vector<RangeRead>& reads, const std::atomic<bool>* cancel = nullptr)
    {
        ReadStatus status = ReadStatus::Ok;
        for (RangeRead& r : reads) {
            if (cancel && cancel->load(std::memory_order_relaxed)) return ReadStatus::Cancelled;
            r.read = readAt(r.offset, r.buffer, r.length);
            if (r.read < 0) status = ReadStatus::Failed;
        }
        return status;
    }
    /// Announces ranges that will be read soon, so a network source can start fetching them.
    /// A hint only: nothing is promised and nothing waits. Local files ignore it.
    virtual void prefetch(const std::vector<ByteRange>& /*ranges*/) {}
    /// Why the last read failed, in words a user understands ("" when nothing failed).
    virtual std::string errorText() const { return std::string(); }
    /// A fault that stops every further read (the connection to the server lost, the image
    /// changed on the server), as the error a view reports; success while reads can go on.
    virtual CError fault() const { return CError(); }
    /// Re-establishes a lost connection and checks the image is still the same one; success
    /// when reads can go on.
    virtual CError reconnect() { return CError(); }

    /// A single positioned read through readRanges, for sources whose ranged path is the real one.
    int64_t readOneRange(uint64_t offset, void* buffer, size_t length)
    {
        std::vector<RangeRead> reads(1);
        reads[0].offset = offset;
        reads[0].length = length;
        reads[0].buffer = buffer;
        readRanges(reads);
        return reads[0].read;
    }

    /// Reads exactly `length` bytes; false when fewer are available or the read fails.
    bool readExact(uint64_t offset, void* buffer, size_t length)
    {
        return readAt(offset, buffer, length) == static_cast<int64_t>(length);
    }
};

}  // namespace Engine
}  // namespace PLK
