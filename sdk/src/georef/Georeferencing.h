// Where an image lies on the earth, as the engine reports it.
#pragma once

#include <string>

#include "PLKTypes.h"

namespace PLK {
namespace Engine {

struct Georeferencing {
    bool georeferenced = false;  ///< false: pixel units, origin (0, 0), increments (1, -1)
    double originX = 0.0;        ///< world x of the top-left corner of cell (0, 0)
    double originY = 0.0;
    double cellX = 1.0;            ///< world units per cell along x
    double cellY = -1.0;           ///< negative for north-up images
    double rotationDegrees = 0.0;  ///< clockwise rotation of the grid
    int epsg = 0;                  ///< 0 when unknown
    std::string wkt;               ///< coordinate reference system, empty when unknown
    std::string datum;             ///< texts in the configured projection format
    std::string projection;
    PLKCellSizeUnits units = PLK_UNITS_UNKNOWN;
    bool hasRpc = false;
    PLKRPCData rpc{};
    std::string source;  ///< "GeoJP2", "GMLJP2", "world file" or "none"
};

}  // namespace Engine
}  // namespace PLK
