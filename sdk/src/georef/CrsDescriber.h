// Turns GDAL's coordinate reference system into what the engine reports: EPSG code, WKT, cell
// units and the datum and projection texts in the caller's projection format.
#pragma once

#include "PLKTypes.h"
#include "georef/Georeferencing.h"

class OGRSpatialReference;

namespace PLK {
namespace Engine {

class CrsDescriber {
public:
    /// Fills epsg, wkt, units, datum and projection of `out`. A null or empty CRS gives
    /// EPSG 0, no WKT, unknown units and "RAW" datum and projection.
    static void describe(const OGRSpatialReference* crs, PLKProjectionFormat format, Georeferencing& out);

private:
    static int epsgCode(const OGRSpatialReference& crs);
    static PLKCellSizeUnits units(const OGRSpatialReference& crs);
    static std::string datumCode(const OGRSpatialReference& crs, int epsg);
    static int epsgDatumCode(const OGRSpatialReference& crs);
    static std::string projectionCode(const OGRSpatialReference& crs);
};

}  // namespace Engine
}  // namespace PLK
