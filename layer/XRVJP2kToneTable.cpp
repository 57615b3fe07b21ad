#include "XRVJP2kToneTable.h"

#include "QDGui/GeoImage.h"

#include <QtGui/QColor>

XRVJP2kToneTable::XRVJP2kToneTable(double contrast, double brightness)
{
    for (int i = 0; i < 256; ++i) {
        // The curve is evaluated in double from a single-precision offset and rounded back to
        // single precision before it is cut to a byte, so that every renderer maps a value the
        // same way whatever its settings were made with.
        const float offset = static_cast<float>(i - 127.5);
        float t = static_cast<float>(static_cast<double>(offset) * contrast + 127.5 + (brightness - 1.0) * 255.0);
        if (!(t >= 0.0f)) t = 0.0f;  // also catches a curve made from a NaN setting
        if (t > 255.0f) t = 255.0f;
        m_table[static_cast<size_t>(i)] = static_cast<quint8>(t);
    }
}

Korvane::GeoImage XRVJP2kToneTable::applied(const Korvane::GeoImage& picture) const
{
    Korvane::GeoImage copy(picture);
    for (int y = 0; y < copy.height(); ++y) {
        auto* line = reinterpret_cast<QRgb*>(copy.scanLine(y));
        for (int x = 0; x < copy.width(); ++x) {
            const QRgb p = line[x];
            line[x] = qRgba((*this)[qRed(p)], (*this)[qGreen(p)], (*this)[qBlue(p)], qAlpha(p));
        }
    }
    return copy;
}
