#pragma once
#include "QDGui/Export.h"

#include <QtCore/QPointF>
#include <QtCore/QString>

#include <memory>

namespace Korvane {
namespace Map {

// Where a map's world coordinates lie on the earth: the name of the coordinate system of an
// EPSG code, the latitude and longitude of a world point, and how many metres one world unit
// covers there (for scale bars and "1:n" scales). Made once per map, used on the GUI thread.
class QDGUI_EXPORT GeographicTransform {
public:
    // An EPSG code of zero or below, or one the coordinate system database does not know,
    // gives an invalid transform.
    explicit GeographicTransform(int epsg);
    ~GeographicTransform();
    GeographicTransform(const GeographicTransform&) = delete;
    GeographicTransform& operator=(const GeographicTransform&) = delete;

    bool isValid() const;
    int epsg() const { return m_epsg; }
    // "WGS 84 / UTM zone 33N"; empty when invalid.
    QString name() const { return m_name; }
    // True when world units are degrees of longitude and latitude.
    bool isGeographic() const { return m_geographic; }

    // Longitude (x) and latitude (y) in degrees on WGS 84; false when the point has none.
    bool toLonLat(const QPointF& world, QPointF* lonLat) const;
    // Metres along the ground per world unit across, at the world point; 0 when unknown.
    double metresPerUnit(const QPointF& world) const;

    // "46°03'12.3\"N" or "14°30'00.0\"E".
    static QString formatDegrees(double degrees, bool latitude);

private:
    struct Handles;
    std::unique_ptr<Handles> m_handles;
    int m_epsg = 0;
    QString m_name;
    bool m_geographic = false;
    double m_linearUnit = 0.0;  // metres per unit of a projected system
};

}  // namespace Map
}  // namespace Korvane
