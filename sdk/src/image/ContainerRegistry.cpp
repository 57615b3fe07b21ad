#include "image/ContainerReader.h"

#include "jp2/Jp2ContainerReader.h"
#include "xrv/XrvContainerReader.h"

namespace PLK {
namespace Engine {

const std::vector<std::unique_ptr<ContainerReader>>& ContainerRegistry::readers()
{
    static const std::vector<std::unique_ptr<ContainerReader>> all = [] {
        std::vector<std::unique_ptr<ContainerReader>> list;
        list.push_back(std::make_unique<Jp2ContainerReader>());
        list.push_back(std::make_unique<XrvContainerReader>());
        return list;
    }();
    return all;
}

const ContainerReader* ContainerRegistry::find(const uint8_t* head, size_t length)
{
    for (const auto& reader : readers())
        if (reader->recognises(head, length)) return reader.get();
    return nullptr;
}

}  // namespace Engine
}  // namespace PLK
