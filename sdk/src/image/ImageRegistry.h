// Open images by name, so that every view on one file (a layer's main and backing views, an
// information page) shares one decoder and one set of cached blocks.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "CError.h"
#include "image/OpenImage.h"

namespace PLK {
namespace Engine {

class ImageRegistry {
public:
    static ImageRegistry& shared();

    /// The open image of that name, opened now when no view holds it.
    std::shared_ptr<OpenImage> acquire(const std::string& name, const OpenSettings& settings, CError& error);
    /// Whether any view still holds the image of that id.
    bool stillOpen(uint64_t id);

private:
    std::mutex m_mutex;
    std::map<std::string, std::weak_ptr<OpenImage>> m_images;
};

}  // namespace Engine
}  // namespace PLK
