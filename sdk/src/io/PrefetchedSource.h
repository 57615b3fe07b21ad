// A byte source with some ranges of another one read ahead into memory: reads inside them come
// from memory, any other read goes to the underlying source. Used to fetch every byte range a
// view's decodes need in one request (a stream then sends one batch instead of a round trip per
// tile-part) and let the decodes read as they always do.
#pragma once

#include <memory>
#include <vector>

#include "io/ByteSource.h"

namespace PLK {
namespace Engine {

class PrefetchedSource : public ByteSource {
public:
    explicit PrefetchedSource(std::shared_ptr<ByteSource> source) : m_source(std::move(source)) {}

    /// Reads `ranges` (neighbours merged) from the underlying source in one readRanges call.
    /// Not thread-safe; call it before sharing the object.
    ReadStatus fetch(std::vector<ByteRange> ranges, const std::atomic<bool>* cancel);
    /// Keeps `bytes`, read already from `offset` of the underlying source, for later reads;
    /// fetch() then reads none of them again. Not thread-safe, like fetch().
    void keep(uint64_t offset, std::vector<uint8_t> bytes);
    /// Bytes held in memory.
    uint64_t bytesHeld() const { return m_held; }

    uint64_t size() const override { return m_source->size(); }
    int64_t readAt(uint64_t offset, void* buffer, size_t length) override;
    const std::string& name() const override { return m_source->name(); }
    SourceProtocol protocol() const override { return m_source->protocol(); }
    std::string errorText() const override { return m_source->errorText(); }
    CError fault() const override { return m_source->fault(); }

private:
    struct Piece {
        uint64_t offset = 0;
        std::vector<uint8_t> bytes;  ///< as many as were read
    };
    /// Adds pieces, joining those that touch, so that a read across them is served at once.
    void add(std::vector<Piece> pieces);
    /// `range` less the bytes held at its start and end.
    ByteRange missingPart(ByteRange range) const;

    std::shared_ptr<ByteSource> m_source;
    std::vector<Piece> m_pieces;  ///< by offset, not overlapping
    uint64_t m_held = 0;
};

}  // namespace Engine
}  // namespace PLK
