#include "XRVJP2kHillShadeVeil.h"

#include "QDGui/GeoImage.h"

#include <QtGui/QColor>

Korvane::GeoImage XRVJP2kHillShadeVeil::make(const Korvane::GeoImage& picture, double transparency)
{
    const QColor clear(255, 255, 255, 0);
    Korvane::GeoImage veil(picture.width(), picture.height(), picture.x1(), picture.y1(), picture.x2(), picture.y2(),
                           picture.format(), &clear);
    const double alpha = transparency * 255.0;
    const QRgb shade = (alpha >= 0.0 ? static_cast<QRgb>(static_cast<int>(alpha)) : 0u) << 24;
    // The veil shades every inner cell alike: the data values, the sun azimuth and the
    // elevation do not change it. The frame of one
    // pixel at the top and left and two at the bottom and right stays clear. Both are the
    // behaviour users know from earlier versions and are kept deliberately.
    for (int y = 1; y <= picture.height() - 3; ++y) {
        auto* line = reinterpret_cast<QRgb*>(veil.scanLine(y));
        for (int x = 1; x <= picture.width() - 3; ++x) line[x] = shade;
    }
    return veil;
}
