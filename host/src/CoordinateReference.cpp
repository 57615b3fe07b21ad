#include "QDGui/CoordinateReference.h"

namespace Korvane {
namespace Map {

CoordinateReference::CoordinateReference(int epsg)
{
    setEpsg(epsg);
}

void CoordinateReference::setEpsg(int epsg)
{
    m_epsg = epsg > 0 ? epsg : 0;
}

QString CoordinateReference::name() const
{
    return isKnown() ? QStringLiteral("epsg:%1").arg(m_epsg) : QStringLiteral("Unknown");
}

}  // namespace Map
}  // namespace Korvane
