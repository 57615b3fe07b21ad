// Decoded cells of one block, with the rectangle they cover on their level.
#pragma once

#include "image/LevelRect.h"
#include "image/RegionBuffer.h"

namespace PLK {
namespace Engine {

struct Block {
    LevelRect rect;
    RegionBuffer cells;
};

}  // namespace Engine
}  // namespace PLK
