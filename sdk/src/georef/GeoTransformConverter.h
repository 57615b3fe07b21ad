// Between GDAL's affine geotransform and the engine's origin / cell increments / clockwise
// rotation.
//
// GDAL: x = gt[0] + col * gt[1] + row * gt[2], y = gt[3] + col * gt[4] + row * gt[5], for the
// top-left corner of a cell (GDAL reports area, not point, geotransforms; kept as they are).
//
// A grid rotated clockwise by r has its columns along (cos r, -sin r) and its rows along
// (sin r, cos r) scaled by cellY, which stays negative for a north-up grid:
//   gt[1] = cellX cos r    gt[2] = cellY sin r
//   gt[4] = -cellX sin r   gt[5] = cellY cos r
// so rotating a north-up image by r turns both axes the same way and cellX / cellY keep their
// magnitudes along the rotated axes and the signs they have without rotation. A sheared grid
// (axes not at right angles) has no exact form here: the row axis's length and the grid's
// handedness are kept and the rotation follows the column axis.
#pragma once

#include "georef/Georeferencing.h"

namespace PLK {
namespace Engine {

class GeoTransformConverter {
public:
    /// Whether GDAL's six numbers describe a usable grid (finite, not degenerate).
    static bool isUsable(const double gt[6]);
    /// Sets origin, cell increments and rotation of `out` from `gt`.
    static void apply(const double gt[6], Georeferencing& out);
    /// The geotransform `apply` would have read `placement` from.
    static void toGeoTransform(const Georeferencing& placement, double gt[6]);
};

}  // namespace Engine
}  // namespace PLK
