// The size texts the information pages show for an open image.
#pragma once

#include <QtCore/QString>

class XRVJP2kSizeText {
public:
    // "< 1 GP" below a thousand whole megapixels, else gigapixels with two decimals, "2.35 GP".
    static QString gigaPixels(quint32 width, quint32 height);
};
