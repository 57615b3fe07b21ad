// What opening an image's container yields: its description and its decoder.
#pragma once

#include <memory>

#include "image/ImageDescription.h"
#include "image/RegionDecoder.h"

namespace PLK {
namespace Engine {

struct OpenedContainer {
    ImageDescription description;
    std::unique_ptr<RegionDecoder> decoder;
};

}  // namespace Engine
}  // namespace PLK
