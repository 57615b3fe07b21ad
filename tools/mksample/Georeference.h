#pragma once

// North-up placement of the image: upper-left corner and square cells, in the units of
// the coordinate system.
struct Georeference {
    int epsg = 32633;  // WGS 84 / UTM zone 33N
    double originX = 500000.0;
    double originY = 5300000.0;
    double cell = 2.0;
};
