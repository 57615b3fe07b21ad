// The world file (and .prj) beside a local image, for images that carry no georeferencing of
// their own. Read with GDAL's reader so every extension convention GDAL knows is honoured.
#pragma once

#include <memory>
#include <string>

class OGRSpatialReference;

namespace PLK {
namespace Engine {

class WorldFileReader {
public:
    /// Reads the geotransform from "image.j2w", "image.jp2w", "image.jpw" or "image.wld" beside
    /// `imagePath`. False when there is none, it is malformed, or the path is not a local file.
    /// Call within a GdalReadScope.
    static bool readGeoTransform(const std::string& imagePath, double gt[6]);

    /// The CRS named by "image.prj" beside `imagePath`, or null. Call within a GdalReadScope.
    static std::unique_ptr<OGRSpatialReference> readProjection(const std::string& imagePath);

private:
    static bool isLocalPath(const std::string& path);
};

}  // namespace Engine
}  // namespace PLK
