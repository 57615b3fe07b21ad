// What opening an image's container yields (its description and its decoder), and the
// interface every image format implements. Formats register in ContainerRegistry; the open
// path reads the first bytes once and asks the registry which reader recognises them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "CError.h"
#include "image/ImageDescription.h"
#include "image/OpenSettings.h"
#include "image/RegionDecoder.h"
#include "io/ByteSource.h"

namespace PLK {
namespace Engine {

struct OpenedContainer {
    ImageDescription description;
    std::unique_ptr<RegionDecoder> decoder;
};

class ContainerReader {
public:
    virtual ~ContainerReader() = default;
    /// The format's name for messages ("JPEG 2000", "XRV").
    virtual const char* formatName() const = 0;
    /// Whether `head` (the first bytes of the source, at most kHeadBytes, fewer for a short
    /// file) starts an image of this format.
    virtual bool recognises(const uint8_t* head, size_t length) const = 0;
    /// Reads the image. Errors name what is wrong in words a user understands.
    virtual CError open(const std::shared_ptr<ByteSource>& source, const OpenSettings& settings,
                        OpenedContainer& out) const = 0;

    /// How many leading bytes the open path reads to recognise a format.
    static constexpr size_t kHeadBytes = 64;
};

/// The formats the engine reads. Adding one is a reader class and one line in
/// ContainerRegistry.cpp.
class ContainerRegistry {
public:
    /// The reader that recognises `head`, or null.
    static const ContainerReader* find(const uint8_t* head, size_t length);
    static const std::vector<std::unique_ptr<ContainerReader>>& readers();
};

}  // namespace Engine
}  // namespace PLK
