#include "image/ImageRegistry.h"

namespace PLK {
namespace Engine {

ImageRegistry& ImageRegistry::shared()
{
    static ImageRegistry registry;
    return registry;
}

std::shared_ptr<OpenImage> ImageRegistry::acquire(const std::string& name, const OpenSettings& settings, CError& error)
{
    // Opening happens under the lock: two views opening one file at once must not read its
    // header twice. Opening reads only headers, so the wait is short.
    std::lock_guard<std::mutex> lock(m_mutex);
    for (auto it = m_images.begin(); it != m_images.end();) {
        if (it->second.expired())
            it = m_images.erase(it);
        else
            ++it;
    }
    if (auto existing = m_images[name].lock()) {
        error = CError();
        return existing;
    }
    auto image = OpenImage::open(name, settings, error);
    if (image)
        m_images[name] = image;
    else
        m_images.erase(name);
    return image;
}

bool ImageRegistry::stillOpen(uint64_t id)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    for (auto& entry : m_images) {
        auto image = entry.second.lock();
        if (image && image->id() == id) return true;
    }
    return false;
}

}  // namespace Engine
}  // namespace PLK
