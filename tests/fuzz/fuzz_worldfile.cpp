// The world file and .prj beside an image: the input's first line break splits it into the
// two files' contents.
#include "FuzzSupport.h"
#include "georef/GdalReadScope.h"
#include "georef/WorldFileReader.h"

#include <ogr_spatialref.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    using namespace PLK::Engine;
    static const bool ready = (GdalReadScope::initialiseGdal(), true);
    (void)ready;
    const uint8_t* split = static_cast<const uint8_t*>(std::memchr(data, 0, size));
    const size_t worldBytes = split ? static_cast<size_t>(split - data) : size;
    const std::string image = fuzz::writeInput("image.jp2", nullptr, 0);
    fuzz::writeInput("image.j2w", data, worldBytes);
    fuzz::writeInput("image.prj", split ? split + 1 : data, split ? size - worldBytes - 1 : 0);
    GdalReadScope scope;
    double gt[6];
    WorldFileReader::readGeoTransform(image, gt);
    WorldFileReader::readProjection(image);
    return 0;
}
