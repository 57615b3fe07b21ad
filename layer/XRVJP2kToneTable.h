// The brightness and contrast curve a renderer applies when it paints: one output value for
// each of the 256 input values of a colour channel.
#pragma once

#include <QtCore/QtGlobal>

#include <array>

namespace Korvane {
class GeoImage;
}

class XRVJP2kToneTable {
public:
    // contrast is the slope about the middle grey, brightness 1.0 is neutral and every step
    // of 1.0 moves all values by 255.
    XRVJP2kToneTable(double contrast, double brightness);

    quint8 operator[](int value) const { return m_table[static_cast<size_t>(value)]; }

    // A copy of picture with red, green and blue looked up in the table; alpha is kept.
    Korvane::GeoImage applied(const Korvane::GeoImage& picture) const;

private:
    std::array<quint8, 256> m_table;
};
