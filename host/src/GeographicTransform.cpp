#include "QDGui/GeographicTransform.h"

#include <cpl_error.h>
#include <ogr_srs_api.h>

#include <cmath>

namespace Korvane {
namespace Map {

namespace {
// Metres per degree of latitude on the WGS 84 ellipsoid, near enough for a scale bar.
constexpr double MetresPerDegree = 111319.49;
constexpr double Pi = 3.14159265358979323846;
}  // namespace

struct GeographicTransform::Handles {
    OGRSpatialReferenceH source = nullptr;
    OGRSpatialReferenceH wgs84 = nullptr;
    OGRCoordinateTransformationH toWgs84 = nullptr;

    ~Handles()
    {
        if (toWgs84) OCTDestroyCoordinateTransformation(toWgs84);
        if (wgs84) OSRDestroySpatialReference(wgs84);
        if (source) OSRDestroySpatialReference(source);
    }
};

GeographicTransform::GeographicTransform(int epsg) : m_epsg(epsg)
{
    if (epsg <= 0) return;
    auto handles = std::make_unique<Handles>();
    // An unknown code is an answer ("no coordinate system"), not a message on stderr.
    CPLPushErrorHandler(CPLQuietErrorHandler);
    handles->source = OSRNewSpatialReference(nullptr);
    handles->wgs84 = OSRNewSpatialReference(nullptr);
    const bool imported = OSRImportFromEPSG(handles->source, epsg) == OGRERR_NONE &&
                          OSRImportFromEPSG(handles->wgs84, 4326) == OGRERR_NONE;
    if (imported) {
        // Longitude first, as x, whatever the authority's axis order.
        OSRSetAxisMappingStrategy(handles->source, OAMS_TRADITIONAL_GIS_ORDER);
        OSRSetAxisMappingStrategy(handles->wgs84, OAMS_TRADITIONAL_GIS_ORDER);
        handles->toWgs84 = OCTNewCoordinateTransformation(handles->source, handles->wgs84);
    }
    CPLPopErrorHandler();
    if (!handles->toWgs84) return;
    m_name = QString::fromUtf8(OSRGetName(handles->source));
    m_geographic = OSRIsGeographic(handles->source) != 0;
    if (!m_geographic) m_linearUnit = OSRGetLinearUnits(handles->source, nullptr);
    m_handles = std::move(handles);
}

GeographicTransform::~GeographicTransform() = default;

bool GeographicTransform::isValid() const
{
    return m_handles != nullptr;
}

bool GeographicTransform::toLonLat(const QPointF& world, QPointF* lonLat) const
{
    if (!m_handles || !std::isfinite(world.x()) || !std::isfinite(world.y())) return false;
    double x = world.x(), y = world.y();
    CPLPushErrorHandler(CPLQuietErrorHandler);
    const bool ok = OCTTransform(m_handles->toWgs84, 1, &x, &y, nullptr) != 0;
    CPLPopErrorHandler();
    if (!ok || !std::isfinite(x) || !std::isfinite(y) || std::fabs(y) > 90.0) return false;
    *lonLat = QPointF(x, y);
    return true;
}

double GeographicTransform::metresPerUnit(const QPointF& world) const
{
    if (!m_handles) return 0.0;
    if (!m_geographic) return m_linearUnit;
    QPointF lonLat;
    if (!toLonLat(world, &lonLat)) return 0.0;
    return MetresPerDegree * std::cos(lonLat.y() * Pi / 180.0);
}

QString GeographicTransform::formatDegrees(double degrees, bool latitude)
{
    const QChar hemisphere = latitude ? (degrees < 0 ? QLatin1Char('S') : QLatin1Char('N'))
                                      : (degrees < 0 ? QLatin1Char('W') : QLatin1Char('E'));
    // Rounded once, in tenths of a second, so that 59.96" never shows as 60.0".
    const qint64 tenths = qRound64(std::fabs(degrees) * 36000.0);
    const qint64 whole = tenths / 36000;
    const qint64 minutes = (tenths / 600) % 60;
    const double seconds = (tenths % 600) / 10.0;
    return QStringLiteral("%1°%2'%3\"%4")
        .arg(whole)
        .arg(minutes, 2, 10, QLatin1Char('0'))
        .arg(seconds, 4, 'f', 1, QLatin1Char('0'))
        .arg(hemisphere);
}

}  // namespace Map
}  // namespace Korvane
