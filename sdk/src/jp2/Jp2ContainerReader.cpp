#include "jp2/Jp2ContainerReader.h"

#include "CLog.h"
#include "jp2/CodestreamHeader.h"
#include "jp2/Jp2BoxReader.h"
#include "jp2/Jp2ImageDescriber.h"
#include "jp2/Jp2Messages.h"
#include "jp2/Jp2RegionDecoder.h"
#include "jp2/TilePartIndex.h"

namespace PLK {
namespace Engine {

bool Jp2ContainerReader::recognises(const uint8_t* head, size_t length) const
{
    return Jp2BoxReader::looksLikeJpeg2000(head, length);
}

CError Jp2ContainerReader::open(const std::shared_ptr<ByteSource>& source, const OpenSettings& /*settings*/,
                                OpenedContainer& out) const
{
    if (!source) return CError(PLK_ERROR_INVALID_ARGUMENT, "No file was given.");
    const std::string& name = source->name();
    Jp2Boxes boxes;
    if (const CError error = Jp2BoxReader::read(*source, boxes))
        return Jp2Messages::explain(error, name, Jp2Messages::Part::Container);

    CodestreamHeader header;
    if (const CError error = CodestreamHeader::read(*source, boxes.codestreamOffset, boxes.codestreamLength, header))
        return Jp2Messages::explain(error, name, Jp2Messages::Part::Codestream);

    std::vector<Jp2Channel> channels;
    if (const CError error = Jp2ImageDescriber::channels(boxes, header, channels))
        return Jp2Messages::explain(error, name, Jp2Messages::Part::Container);

    TilePartIndex index;
    index.build(*source, boxes.codestreamOffset + header.mainHeaderLength,
                boxes.codestreamOffset + boxes.codestreamLength, header);
    if (!index.hasData())
        return Jp2Messages::explain(CError(PLK_ERROR_CORRUPT_CODESTREAM, "it holds no tile data"), name,
                                    Jp2Messages::Part::Codestream);

    // Damage beyond the main header still leaves the intact tiles to show.
    if (!index.damage().empty())
        CLog::Log("jp2", LOG_WARNING, "The JPEG 2000 code-stream of '%s' is damaged: %s.", name.c_str(),
                  index.damage().c_str());

    out.description = Jp2ImageDescriber::describe(boxes, header, channels);
    if (!out.description.colour.notApplied.empty())
        CLog::Log("jp2", LOG_WARNING, "The colours of '%s' are shown as stored: %s.", name.c_str(),
                  out.description.colour.notApplied.c_str());
    out.decoder = std::make_unique<Jp2RegionDecoder>(source, std::move(header), std::move(index), std::move(channels),
                                                     boxes.palette);
    return {};
}

}  // namespace Engine
}  // namespace PLK
