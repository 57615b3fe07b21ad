#include "georef/CrsDescriber.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <cpl_conv.h>
#include <ogr_spatialref.h>

namespace PLK {
namespace Engine {

namespace {

const char* const kRaw = "RAW";

std::string text(const char* value)
{
    return value ? std::string(value) : std::string();
}

bool near(double a, double b)
{
    return std::fabs(a - b) <= 1e-9 * std::fabs(b);
}

// Geodetic-table codes of the datums users meet most, by EPSG datum code. Others keep their
// own name, which a table lookup on the user's side can still match.
const char* wellKnownDatum(int epsgDatum)
{
    switch (epsgDatum) {
        case 6326:
            return "WGS84";
        case 6322:
            return "WGS72";
        case 6269:
            return "NAD83";
        case 6267:
            return "NAD27";
        case 6258:
            return "ETRS89";
        case 6230:
            return "ED50";
        case 6283:
            return "GDA94";
        case 1168:
            return "GDA2020";
        case 6167:
            return "NZGD2000";
        case 6277:
            return "OSGB36";
        default:
            return nullptr;
    }
}

std::string exportWkt(const OGRSpatialReference& crs)
{
    // WKT 1 is what most readers of our file information understand; a CRS that WKT 1 cannot
    // express (a datum ensemble used in a compound CRS, say) falls back to WKT 2.
    const char* const wkt1[] = {"FORMAT=WKT1", nullptr};
    const char* const wkt2[] = {"FORMAT=WKT2_2018", nullptr};
    for (const char* const* options : {wkt1, wkt2}) {
        char* wkt = nullptr;
        const OGRErr status = crs.exportToWkt(&wkt, options);
        std::string result = status == OGRERR_NONE ? text(wkt) : std::string();
        CPLFree(wkt);
        if (!result.empty()) return result;
    }
    return std::string();
}

}  // namespace

void CrsDescriber::describe(const OGRSpatialReference* crs, PLKProjectionFormat format, Georeferencing& out)
{
    if (!crs || crs->IsEmpty()) {
        out.epsg = 0;
        out.wkt.clear();
        out.units = PLK_UNITS_UNKNOWN;
        out.datum = kRaw;
        out.projection = kRaw;
        return;
    }
    out.epsg = epsgCode(*crs);
    out.wkt = exportWkt(*crs);
    out.units = units(*crs);
    if (format == PLK_PROJECTION_EPSG_NAMES) {
        out.datum = text(crs->GetAttrValue("DATUM"));
        out.projection = text(crs->GetName());
    } else {
        out.datum = datumCode(*crs, out.epsg);
        out.projection = projectionCode(*crs);
    }
    if (out.datum.empty()) out.datum = kRaw;
    if (out.projection.empty()) out.projection = kRaw;
}

int CrsDescriber::epsgCode(const OGRSpatialReference& crs)
{
    const char* root = crs.IsProjected() ? "PROJCS" : crs.IsGeographic() ? "GEOGCS" : nullptr;
    const char* authority = crs.GetAuthorityName(root);
    if (authority && std::strcmp(authority, "EPSG") == 0) return std::atoi(crs.GetAuthorityCode(root));
    // A CRS described by its parameters (as in many GeoJP2 boxes) may still be a known one.
    std::unique_ptr<OGRSpatialReference> copy(crs.Clone());
    if (copy->AutoIdentifyEPSG() != OGRERR_NONE) return 0;
    authority = copy->GetAuthorityName(root);
    return authority && std::strcmp(authority, "EPSG") == 0 ? std::atoi(copy->GetAuthorityCode(root)) : 0;
}

PLKCellSizeUnits CrsDescriber::units(const OGRSpatialReference& crs)
{
    if (crs.IsGeographic()) {
        const double radians = crs.GetAngularUnits(nullptr);
        return near(radians, 0.017453292519943295) ? PLK_UNITS_DEGREES : PLK_UNITS_UNKNOWN;
    }
    const double metres = crs.GetLinearUnits(nullptr);
    if (near(metres, 1.0)) return PLK_UNITS_METERS;
    if (near(metres, 0.3048) || near(metres, 1200.0 / 3937.0)) return PLK_UNITS_FEET;  // international, US survey
    return PLK_UNITS_UNKNOWN;
}

std::string CrsDescriber::datumCode(const OGRSpatialReference& crs, int epsg)
{
    if (const char* known = wellKnownDatum(epsgDatumCode(crs))) return known;
    // A .prj or GeoJP2 box may name the CRS by code but spell its datum out without one.
    OGRSpatialReference byCode;
    if (epsg > 0 && byCode.importFromEPSG(epsg) == OGRERR_NONE) {
        if (const char* known = wellKnownDatum(epsgDatumCode(byCode))) return known;
    }
    return text(crs.GetAttrValue("DATUM"));
}

int CrsDescriber::epsgDatumCode(const OGRSpatialReference& crs)
{
    const char* code = crs.GetAuthorityCode("DATUM");
    const char* authority = crs.GetAuthorityName("DATUM");
    return code && authority && std::strcmp(authority, "EPSG") == 0 ? std::atoi(code) : 0;
}

std::string CrsDescriber::projectionCode(const OGRSpatialReference& crs)
{
    if (crs.IsGeographic()) return "GEODETIC";
    int north = 0;
    const int zone = crs.GetUTMZone(&north);
    if (zone > 0) {
        char code[16];
        std::snprintf(code, sizeof code, "%cUTM%02d", north ? 'N' : 'S', zone);
        return code;
    }
    // A geodetic-table projection names a whole projected system, not just its method, so the
    // closest text is the CRS's own name ("CH1903+ / LV95"); the method only when it has none.
    const std::string name = text(crs.GetName());
    return name.empty() || name == "unnamed" || name == "unknown" ? text(crs.GetAttrValue("PROJECTION")) : name;
}

}  // namespace Engine
}  // namespace PLK
