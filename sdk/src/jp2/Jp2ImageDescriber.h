// Turns what the boxes and the main header say into the image description the views show:
// band names and colour space, cell type, and the code-stream parameters.
#pragma once

#include <vector>

#include "CError.h"
#include "image/ImageDescription.h"
#include "jp2/CodestreamHeader.h"
#include "jp2/Jp2BoxReader.h"

namespace PLK {
namespace Engine {

class Jp2ImageDescriber {
public:
    /// The output channels: the component mapping of a palette image, else one per component.
    /// Errors carry a bare detail text about the file's boxes.
    static CError channels(const Jp2Boxes& boxes, const CodestreamHeader& header, std::vector<Jp2Channel>& out);
    static ImageDescription describe(const Jp2Boxes& boxes, const CodestreamHeader& header,
                                     const std::vector<Jp2Channel>& channels);

private:
    static void describeBands(const Jp2Boxes& boxes, const CodestreamHeader& header,
                              const std::vector<Jp2Channel>& channels, ImageDescription& d);
    static void nameBands(const Jp2Boxes& boxes, ImageDescription& d);
    /// How the view brings the colour bands to sRGB (after nameBands, which finds them).
    static void describeColour(const Jp2Boxes& boxes, ImageDescription& d);
    static PLKCellType cellType(const std::vector<BandLayout>& bands);
    static ViewMetadata::ViewMetadataJp2 codestreamMetadata(const CodestreamHeader& header, bool hasGml);
    static uint16_t compressionRate(const CodestreamHeader& header, uint64_t codestreamBytes);
};

}  // namespace Engine
}  // namespace PLK
