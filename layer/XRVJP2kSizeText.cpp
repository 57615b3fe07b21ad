#include "XRVJP2kSizeText.h"

QString XRVJP2kSizeText::gigaPixels(quint32 width, quint32 height)
{
    // Whole megapixels first, truncated: 999,950,884 cells are "< 1 GP", not "1.00 GP".
    const quint64 megaPixels = quint64(width) * quint64(height) / 1000u / 1000u;
    const double gigaPixels = megaPixels / 1000.0;
    if (gigaPixels < 1.0) return QStringLiteral("< 1 GP");
    return QString::number(gigaPixels, 'f', 2) + QStringLiteral(" GP");
}
