#pragma once
#include "QDGui/Export.h"

#include <QtCore/QString>

namespace Korvane {
namespace Map {

// The coordinate reference system of a layer's world coordinates, as far as the host needs
// to know it: an EPSG code, or nothing.
class QDGUI_EXPORT CoordinateReference {
public:
    CoordinateReference() = default;
    explicit CoordinateReference(int epsg);

    // Codes of zero or below mean "unknown".
    void setEpsg(int epsg);
    int epsg() const { return m_epsg; }
    bool isKnown() const { return m_epsg > 0; }
    // "epsg:N", or "Unknown".
    QString name() const;

    bool operator==(const CoordinateReference& other) const { return m_epsg == other.m_epsg; }
    bool operator!=(const CoordinateReference& other) const { return !(*this == other); }

private:
    int m_epsg = 0;
};

}  // namespace Map
}  // namespace Korvane
