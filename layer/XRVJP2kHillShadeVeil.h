// The hill-shade overlay a renderer draws instead of its picture while hill shading is on.
#pragma once

namespace Korvane {
class GeoImage;
}

class XRVJP2kHillShadeVeil {
public:
    // A dark veil of picture's size, extent and format whose opacity follows transparency.
    static Korvane::GeoImage make(const Korvane::GeoImage& picture, double transparency);
};
