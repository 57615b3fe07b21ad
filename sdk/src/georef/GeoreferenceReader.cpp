#include "georef/GeoreferenceReader.h"

#include <algorithm>
#include <cstring>

#include <gdal_priv.h>
#include <ogr_spatialref.h>

#include "georef/CrsDescriber.h"
#include "georef/GdalReadScope.h"
#include "georef/GdalSourceRegistration.h"
#include "georef/GeoTransformConverter.h"
#include "georef/SingleTileHeaderSource.h"
#include "georef/WorldFileReader.h"

namespace PLK {
namespace Engine {

namespace {

// Only GDAL's OpenJPEG driver may open our images: the engine decodes with OpenJPEG too, so
// both agree on what a file holds, and a virtual file is never taken for a VRT or any other
// format that could point GDAL elsewhere.
const char* const kJpeg2000Drivers[] = {"JP2OpenJPEG", nullptr};

// What one open of the image told us, under one choice of georeferencing boxes.
struct DatasetFacts {
    bool hasGeoTransform = false;
    double gt[6] = {0, 1, 0, 0, 0, 1};
    std::unique_ptr<OGRSpatialReference> crs;
    bool hasRpc = false;
    PLKRPCData rpc{};
    bool hasGmlBox = false;
};

void copyCoefficients(const double (&from)[20], double (&to)[20])
{
    std::memcpy(to, from, sizeof to);
}

bool readRpc(GDALDataset& dataset, PLKRPCData& rpc)
{
    GDALRPCInfoV2 info{};
    if (!GDALExtractRPCInfoV2(dataset.GetMetadata("RPC"), &info)) return false;
    rpc.ERR_BIAS = info.dfERR_BIAS;
    rpc.ERR_RAND = info.dfERR_RAND;
    rpc.LINE_OFF = info.dfLINE_OFF;
    rpc.SAMP_OFF = info.dfSAMP_OFF;
    rpc.LAT_OFF = info.dfLAT_OFF;
    rpc.LONG_OFF = info.dfLONG_OFF;
    rpc.HEIGHT_OFF = info.dfHEIGHT_OFF;
    rpc.LINE_SCALE = info.dfLINE_SCALE;
    rpc.SAMP_SCALE = info.dfSAMP_SCALE;
    rpc.LAT_SCALE = info.dfLAT_SCALE;
    rpc.LONG_SCALE = info.dfLONG_SCALE;
    rpc.HEIGHT_SCALE = info.dfHEIGHT_SCALE;
    copyCoefficients(info.adfLINE_NUM_COEFF, rpc.LINE_NUM_COEFF);
    copyCoefficients(info.adfLINE_DEN_COEFF, rpc.LINE_DEN_COEFF);
    copyCoefficients(info.adfSAMP_NUM_COEFF, rpc.SAMP_NUM_COEFF);
    copyCoefficients(info.adfSAMP_DEN_COEFF, rpc.SAMP_DEN_COEFF);
    return true;
}

// Opens the image with GDAL reading georeferencing only from `boxes` ("GEOJP2" or "GMLJP2"):
// never PAM files or world files beside the virtual path, which do not exist anyway. Only the
// headers are read; no pixel is decoded.
DatasetFacts readFacts(const std::string& path, const char* boxes)
{
    DatasetFacts facts;
    const std::string georefSources = std::string("GEOREF_SOURCES=") + boxes;
    const char* const openOptions[] = {georefSources.c_str(), nullptr};
    GDALDatasetUniquePtr dataset(
        GDALDataset::Open(path.c_str(), GDAL_OF_RASTER | GDAL_OF_READONLY, kJpeg2000Drivers, openOptions, nullptr));
    if (!dataset) return facts;
    facts.hasGeoTransform = dataset->GetGeoTransform(facts.gt) == CE_None && GeoTransformConverter::isUsable(facts.gt);
    const OGRSpatialReference* crs = dataset->GetSpatialRef();
    if (crs && !crs->IsEmpty()) facts.crs.reset(crs->Clone());
    facts.hasRpc = readRpc(*dataset, facts.rpc);
    facts.hasGmlBox = dataset->GetMetadata("xml:gml.root-instance") != nullptr;
    return facts;
}

// GeoJP2 first, as GDAL itself prefers; the GMLJP2 box is read only when GeoJP2 did not place
// the image, which also tells which of the two did.
DatasetFacts readBoxes(const std::string& path, std::string& source)
{
    DatasetFacts facts = readFacts(path, "GEOJP2");
    if (facts.hasGeoTransform) {
        source = "GeoJP2";
    } else if (facts.hasGmlBox) {
        DatasetFacts gml = readFacts(path, "GMLJP2");
        if (gml.hasGeoTransform) {
            std::copy(gml.gt, gml.gt + 6, facts.gt);
            facts.hasGeoTransform = true;
            facts.crs = std::move(gml.crs);
            source = "GMLJP2";
        }
    }
    return facts;
}

Georeferencing unplaced()
{
    Georeferencing result;
    CrsDescriber::describe(nullptr, PLK_PROJECTION_GDT, result);
    result.source = "none";
    return result;
}

}  // namespace

Georeferencing GeoreferenceReader::read(const std::shared_ptr<ByteSource>& source, const std::string& localPath,
                                        PLKProjectionFormat format)
{
    Georeferencing result = unplaced();
    GdalReadScope scope;
    DatasetFacts facts;
    std::string origin = "none";
    if (source) {
        GdalSourceRegistration registration(std::make_shared<SingleTileHeaderSource>(source));
        facts = readBoxes(registration.path(), origin);
    }
    if (!facts.hasGeoTransform && WorldFileReader::readGeoTransform(localPath, facts.gt) &&
        GeoTransformConverter::isUsable(facts.gt)) {
        facts.hasGeoTransform = true;
        origin = "world file";
        if (!facts.crs) facts.crs = WorldFileReader::readProjection(localPath);
    }
    result.hasRpc = facts.hasRpc;
    result.rpc = facts.rpc;
    if (!facts.hasGeoTransform) return result;

    result.georeferenced = true;
    result.source = origin;
    GeoTransformConverter::apply(facts.gt, result);
    CrsDescriber::describe(facts.crs.get(), format, result);
    return result;
}

}  // namespace Engine
}  // namespace PLK
