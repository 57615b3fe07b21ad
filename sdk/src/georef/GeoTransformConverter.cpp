#include "georef/GeoTransformConverter.h"

#include <cmath>

namespace PLK {
namespace Engine {

namespace {
constexpr double kDegreesPerRadian = 57.295779513082320876798;
}

bool GeoTransformConverter::isUsable(const double gt[6])
{
    for (int i = 0; i < 6; ++i)
        if (!std::isfinite(gt[i])) return false;
    return gt[1] * gt[5] - gt[2] * gt[4] != 0.0;
}

void GeoTransformConverter::apply(const double gt[6], Georeferencing& out)
{
    out.originX = gt[0];
    out.originY = gt[3];
    if (gt[2] == 0.0 && gt[4] == 0.0) {
        // The common case is copied exactly: no trigonometry round-off in the cell sizes.
        out.cellX = gt[1];
        out.cellY = gt[5];
        out.rotationDegrees = 0.0;
        return;
    }
    const double cellX = std::hypot(gt[1], gt[4]);
    const double determinant = gt[1] * gt[5] - gt[2] * gt[4];
    // A right-handed world with the column axis to the east needs cellY < 0 for north-up.
    out.cellX = cellX;
    out.cellY = std::copysign(std::hypot(gt[2], gt[5]), determinant);
    out.rotationDegrees = std::atan2(-gt[4], gt[1]) * kDegreesPerRadian;
    out.rotationDegrees += 0.0;  // no "-0" in reports
}

void GeoTransformConverter::toGeoTransform(const Georeferencing& placement, double gt[6])
{
    const double r = placement.rotationDegrees / kDegreesPerRadian;
    const double c = placement.rotationDegrees == 0.0 ? 1.0 : std::cos(r);
    const double s = placement.rotationDegrees == 0.0 ? 0.0 : std::sin(r);
    gt[0] = placement.originX;
    gt[1] = placement.cellX * c;
    gt[2] = placement.cellY * s;
    gt[3] = placement.originY;
    gt[4] = -placement.cellX * s;
    gt[5] = placement.cellY * c;
}

}  // namespace Engine
}  // namespace PLK
