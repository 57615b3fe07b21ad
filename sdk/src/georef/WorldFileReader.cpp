#include "georef/WorldFileReader.h"

#include <cpl_conv.h>
#include <cpl_vsi.h>
#include <gdal_priv.h>
#include <ogr_spatialref.h>

namespace PLK {
namespace Engine {

namespace {
// A .prj holds one WKT text; anything larger is not one and is not read into memory.
constexpr GIntBig kMaxProjectionFileBytes = 64 * 1024;
}  // namespace

bool WorldFileReader::isLocalPath(const std::string& path)
{
    // GDAL would happily follow "/vsicurl/..." or "/vsizip/..." names to the network or into
    // archives; only plain paths on disk are ours to look beside.
    return !path.empty() && path.rfind("/vsi", 0) != 0;
}

bool WorldFileReader::readGeoTransform(const std::string& imagePath, double gt[6])
{
    if (!isLocalPath(imagePath)) return false;
    // Null asks GDAL for the extensions made from the image's own ("j2w" and "jp2w" for .jp2);
    // "jpw" is the short form some tools write for any JPEG family image, "wld" the generic one.
    for (const char* extension : {static_cast<const char*>(nullptr), "jpw", "wld"}) {
        if (GDALReadWorldFile2(imagePath.c_str(), extension, gt, nullptr, nullptr)) return true;
    }
    return false;
}

std::unique_ptr<OGRSpatialReference> WorldFileReader::readProjection(const std::string& imagePath)
{
    if (!isLocalPath(imagePath)) return nullptr;
    const std::string prjPath = CPLResetExtension(imagePath.c_str(), "prj");
    GByte* content = nullptr;
    if (!VSIIngestFile(nullptr, prjPath.c_str(), &content, nullptr, kMaxProjectionFileBytes)) return nullptr;
    const std::string text(reinterpret_cast<const char*>(content));
    VSIFree(content);

    auto crs = std::make_unique<OGRSpatialReference>();
    crs->SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    // The limitations forbid following the text to other files or to the network.
    if (text.empty() ||
        crs->SetFromUserInput(text.c_str(), OGRSpatialReference::SET_FROM_USER_INPUT_LIMITATIONS_get()) != OGRERR_NONE)
        return nullptr;
    return crs;
}

}  // namespace Engine
}  // namespace PLK
