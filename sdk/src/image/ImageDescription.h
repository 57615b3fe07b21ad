// What a container reader learns about an image when it opens it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "PLKTypes.h"
#include "ViewMetadataJp2.h"
#include "ViewMetadataXRV.h"
#include "color/ColourEncoding.h"
#include "georef/Georeferencing.h"

namespace PLK {
namespace Engine {

struct BandLayout {
    std::string description;  ///< "Red", "Green", "Blue", "Grayscale", "AllOpacity", "Band N"
    uint8_t bits = 8;
    bool isSigned = false;
    uint32_t dx = 1;  ///< horizontal sub-sampling of the component
    uint32_t dy = 1;
};

struct ImageDescription {
    PLKFileType fileType = PLK_FILE_UNKNOWN;
    uint32_t width = 0;
    uint32_t height = 0;
    std::vector<BandLayout> bands;
    PLKColorSpace colorSpace = PLK_COLOR_NONE;
    PLKCellType cellType = PLK_CELL_UINT8;
    int alphaBand = -1;  ///< index of the opacity band, -1 when there is none
    uint8_t formatVersion = 1;
    uint16_t targetCompressionRate = 0;
    std::vector<PLKJP2Box> xmlBoxes;    ///< in file order
    ViewMetadata::ViewMetadataJp2 jp2;  ///< code-stream parameters (JPEG 2000 only)
    ViewMetadata::ViewMetadataXRV xrv;  ///< block size (XRV only)
    bool hasGeoJp2 = false;             ///< a GeoJP2 uuid box is present
    bool hasGml = false;                ///< a GMLJP2 association box is present
    ColourEncoding colour;              ///< how the view brings the colour bands to sRGB

    // Facts an XRV file stores itself; other formats leave them empty.
    bool hasStoredPlacement = false;     ///< storedPlacement comes from the file (georeferencing, RPC)
    Georeferencing storedPlacement;      ///< used instead of asking GDAL
    std::string compressionDate;         ///< as written at compression
    std::vector<std::string> authoring;  ///< the ten authoring texts (UTF-8), empty when none stored
    /// Per band, counted over every cell at compression: bucket i holds the type's minimum + i.
    std::vector<std::vector<uint64_t>> storedHistograms;
};

}  // namespace Engine
}  // namespace PLK
