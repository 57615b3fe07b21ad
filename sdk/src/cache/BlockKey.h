// Names one decoded block: a piece of at most kBlockSize x kBlockSize cells of one tile at one
// resolution level, decoded with a given number of quality layers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

namespace PLK {
namespace Engine {

struct BlockKey {
    uint64_t image = 0;  ///< id of the open image
    uint32_t level = 0;
    uint32_t layers = 0;  ///< quality layers used (the image's count when all are)
    uint32_t tile = 0;
    uint32_t block = 0;  ///< index of the block within the tile at that level, row by row

    bool operator==(const BlockKey& o) const
    {
        return image == o.image && level == o.level && layers == o.layers && tile == o.tile && block == o.block;
    }
};

struct BlockKeyHash {
    size_t operator()(const BlockKey& k) const
    {
        uint64_t h = k.image * 0x9E3779B97F4A7C15ull;
        h ^= (uint64_t(k.level) << 56) ^ (uint64_t(k.layers) << 40) ^ (uint64_t(k.tile) << 20) ^ k.block;
        h *= 0xBF58476D1CE4E5B9ull;
        return static_cast<size_t>(h ^ (h >> 31));
    }
};

}  // namespace Engine
}  // namespace PLK
