#include "RpcModel.h"

#include <ogr_srs_api.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace {

// RPC00B term order: 1, L, P, H, ... with L longitude, P latitude, H height.
constexpr int kLon = 1, kLat = 2, kHeight = 3;

}  // namespace

// Longitude and latitude of the image centre and of the middles of its right and bottom
// edges, plus the half extents in degrees.
struct RpcModel::Footprint {
    double centreLon = 0, centreLat = 0;
    double rightLon = 0, rightLat = 0;
    double bottomLon = 0, bottomLat = 0;
    double halfLon = 0, halfLat = 0;
};

RpcModel::Footprint RpcModel::footprint(const Georeference& g, int width, int height)
{
    OGRSpatialReferenceH src = OSRNewSpatialReference(nullptr);
    OGRSpatialReferenceH wgs84 = OSRNewSpatialReference(nullptr);
    OSRImportFromEPSG(wgs84, 4326);
    OSRSetAxisMappingStrategy(wgs84, OAMS_TRADITIONAL_GIS_ORDER);
    OGRCoordinateTransformationH ct = nullptr;
    if (OSRImportFromEPSG(src, g.epsg) == OGRERR_NONE) {
        OSRSetAxisMappingStrategy(src, OAMS_TRADITIONAL_GIS_ORDER);
        ct = OCTNewCoordinateTransformation(src, wgs84);
    }
    const double w = width, h = height;
    // centre, right middle, bottom middle, then the four corners (pixel, line)
    double px[7] = {w / 2, w, w / 2, 0, w, 0, w};
    double ln[7] = {h / 2, h / 2, h, 0, 0, h, h};
    double x[7], y[7];
    for (int i = 0; i < 7; ++i) {
        x[i] = g.originX + px[i] * g.cell;
        y[i] = g.originY - ln[i] * g.cell;
    }
    const bool ok = ct && OCTTransform(ct, 7, x, y, nullptr);
    if (ct) OCTDestroyCoordinateTransformation(ct);
    OSRDestroySpatialReference(src);
    OSRDestroySpatialReference(wgs84);
    if (!ok) throw std::runtime_error("cannot map EPSG:" + std::to_string(g.epsg) + " to WGS 84 (unknown code?)");
    Footprint f{x[0], y[0], x[1], y[1], x[2], y[2], 0, 0};
    for (int i = 3; i < 7; ++i) {
        f.halfLon = std::max(f.halfLon, std::fabs(x[i] - f.centreLon));
        f.halfLat = std::max(f.halfLat, std::fabs(y[i] - f.centreLat));
    }
    return f;
}

// Inverts the map from normalised (sample, line) to normalised (lon, lat) given by the
// edge middles, so the numerators reproduce the georeferencing to within a pixel or two.
void RpcModel::setLinearTerms(GDALRPCInfoV2& rpc, const Footprint& f)
{
    const double a = (f.rightLon - f.centreLon) / rpc.dfLONG_SCALE;   // d lon / d sample
    const double b = (f.bottomLon - f.centreLon) / rpc.dfLONG_SCALE;  // d lon / d line
    const double c = (f.rightLat - f.centreLat) / rpc.dfLAT_SCALE;    // d lat / d sample
    const double d = (f.bottomLat - f.centreLat) / rpc.dfLAT_SCALE;   // d lat / d line
    const double det = a * d - b * c;
    rpc.adfSAMP_NUM_COEFF[kLon] = d / det;
    rpc.adfSAMP_NUM_COEFF[kLat] = -b / det;
    rpc.adfLINE_NUM_COEFF[kLon] = -c / det;
    rpc.adfLINE_NUM_COEFF[kLat] = a / det;
}

// Small terms of the kind a real sensor model has: a height-dependent shift (relief
// displacement of an off-nadir view) and slightly non-constant denominators.
void RpcModel::setPerturbations(GDALRPCInfoV2& rpc)
{
    rpc.adfSAMP_NUM_COEFF[kHeight] = 8.0e-4;
    rpc.adfLINE_NUM_COEFF[kHeight] = -5.0e-4;
    rpc.adfSAMP_DEN_COEFF[0] = rpc.adfLINE_DEN_COEFF[0] = 1.0;
    rpc.adfSAMP_DEN_COEFF[kLon] = 1.0e-4;
    rpc.adfSAMP_DEN_COEFF[kLat] = -2.0e-4;
    rpc.adfLINE_DEN_COEFF[kLon] = -1.5e-4;
    rpc.adfLINE_DEN_COEFF[kLat] = 1.0e-4;
    rpc.adfLINE_DEN_COEFF[kHeight] = 5.0e-5;
}

GDALRPCInfoV2 RpcModel::forImage(const Georeference& g, int width, int height)
{
    const Footprint f = footprint(g, width, height);
    GDALRPCInfoV2 rpc{};
    rpc.dfLINE_OFF = height / 2.0;
    rpc.dfSAMP_OFF = width / 2.0;
    rpc.dfLAT_OFF = f.centreLat;
    rpc.dfLONG_OFF = f.centreLon;
    rpc.dfHEIGHT_OFF = 1000.0;
    rpc.dfLINE_SCALE = height / 2.0;
    rpc.dfSAMP_SCALE = width / 2.0;
    rpc.dfLAT_SCALE = f.halfLat;
    rpc.dfLONG_SCALE = f.halfLon;
    rpc.dfHEIGHT_SCALE = 1500.0;
    rpc.dfMIN_LONG = f.centreLon - f.halfLon;
    rpc.dfMAX_LONG = f.centreLon + f.halfLon;
    rpc.dfMIN_LAT = f.centreLat - f.halfLat;
    rpc.dfMAX_LAT = f.centreLat + f.halfLat;
    rpc.dfERR_BIAS = 1.5;
    rpc.dfERR_RAND = 0.5;
    setLinearTerms(rpc, f);
    setPerturbations(rpc);
    return rpc;
}
