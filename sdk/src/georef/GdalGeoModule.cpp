// The engine's GDAL users behind GeoModule; compiled into libxrv60geo only.
#include <ogr_spatialref.h>

#include "georef/CrsDescriber.h"
#include "georef/GdalReadScope.h"
#include "georef/GeoModule.h"
#include "georef/GeoreferenceReader.h"

namespace PLK {
namespace Engine {

namespace {

class GdalGeoModule : public GeoModule {
public:
    // GDAL's drivers and our file handler go in as the module loads, under the engine's once.
    GdalGeoModule() { GdalReadScope::initialiseGdal(); }

    Georeferencing read(const std::shared_ptr<ByteSource>& source, const std::string& localPath,
                        PLKProjectionFormat format) override
    {
        return GeoreferenceReader::read(source, localPath, format);
    }

    void describeCrs(PLKProjectionFormat format, Georeferencing& out) override
    {
        const int storedEpsg = out.epsg;
        const PLKCellSizeUnits storedUnits = out.units;
        OGRSpatialReference crs;
        crs.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
        bool haveCrs = !out.wkt.empty() && crs.importFromWkt(out.wkt.c_str()) == OGRERR_NONE;
        if (!haveCrs && storedEpsg > 0) haveCrs = crs.importFromEPSG(storedEpsg) == OGRERR_NONE;
        CrsDescriber::describe(haveCrs ? &crs : nullptr, format, out);
        if (out.epsg <= 0) out.epsg = storedEpsg;
        if (out.units == PLK_UNITS_UNKNOWN) out.units = storedUnits;
    }
};

}  // namespace

}  // namespace Engine
}  // namespace PLK

extern "C" __attribute__((visibility("default"))) PLK::Engine::GeoModule* xrv60geoModule()
{
    static PLK::Engine::GdalGeoModule module;
    return &module;
}
