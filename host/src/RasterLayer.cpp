#include "QDGui/RasterLayer.h"

#include <QtCore/QtGlobal>

namespace Korvane {
namespace Map {

RasterLayer::RasterLayer(IRendererClient* client, QObject* parent) : Layer(parent), m_client(client) {}

RasterLayer::~RasterLayer() = default;

QString RasterLayer::getFormat()
{
    return QString();
}

QString RasterLayer::getCoordSysName()
{
    return m_crs.name();
}

void RasterLayer::setView(int, int, double, double, double, double) {}

void RasterLayer::beginUpdate(bool) {}

void RasterLayer::endUpdate() {}

QRectF RasterLayer::getBounds()
{
    return QRectF();
}

bool RasterLayer::isValid()
{
    return false;
}

QString RasterLayer::getLastError()
{
    return QString();
}

QString RasterLayer::getProtocol()
{
    return QString();
}

signed char RasterLayer::getPercentComplete()
{
    return -1;
}

void RasterLayer::paint(GeoPainter&, const QRectF*, const QRect*) {}

double RasterLayer::getCellSizeX()
{
    return 1.0;
}

double RasterLayer::getCellSizeY()
{
    return 1.0;
}

double RasterLayer::getTransparency()
{
    return m_transparency;
}

void RasterLayer::setTransparency(double transparency)
{
    m_transparency = qBound(0.0, transparency, 1.0);
}

int RasterLayer::getNumberOfBands()
{
    return 0;
}

QVector<int> RasterLayer::getBandList()
{
    return m_bandList;
}

void RasterLayer::setBandList(QVector<int> bands)
{
    m_bandList = bands;
}

QSize RasterLayer::getSize()
{
    return QSize(0, 0);
}

QString RasterLayer::getCellType()
{
    return QString();
}

bool RasterLayer::hasOpacity()
{
    return false;
}

int RasterLayer::getOpacityBandNumber()
{
    return -1;
}

double RasterLayer::getRotation()
{
    return 0.0;
}

RasterLayer::ColorSpace RasterLayer::getColorSpace()
{
    return Unknown;
}

double RasterLayer::getContrast()
{
    return m_contrast;
}

void RasterLayer::setContrast(double contrast)
{
    m_contrast = contrast;
}

double RasterLayer::getBrightness()
{
    return m_brightness;
}

void RasterLayer::setBrightness(double brightness)
{
    m_brightness = brightness;
}

}  // namespace Map
}  // namespace Korvane
