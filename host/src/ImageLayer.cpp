#include "QDGui/ImageLayer.h"

#include "QDGui/Application.h"
#include "QDGui/GeoPainter.h"
#include "WorldFile.h"

#include <QtCore/QFileInfo>
#include <QtCore/QtMath>
#include <QtGui/QImageReader>
#include <QtWidgets/QApplication>
#include <QtWidgets/QStyle>

#include <cmath>

namespace Korvane {

const char* const ImageLayer::FileFilter = "Images (*.png *.tif *.tiff *.jpg *.jpeg)";

namespace {

int bandCount(const QImage& image)
{
    if (image.isGrayscale()) return 1;
    return image.hasAlphaChannel() ? 4 : 3;
}

}  // namespace

ImageLayer::ImageLayer(Map::IRendererClient* client, QObject* parent) : RasterLayer(client, parent) {}

ImageLayer::~ImageLayer() = default;

bool ImageLayer::canRead(const QString& path)
{
    static const QStringList extensions{QStringLiteral("png"), QStringLiteral("tif"), QStringLiteral("tiff"),
                                        QStringLiteral("jpg"), QStringLiteral("jpeg")};
    return extensions.contains(QFileInfo(path).suffix().toLower());
}

QString ImageLayer::getDataSource()
{
    return m_source;
}

bool ImageLayer::setDataSource(QString source)
{
    // A failed open leaves the layer as it was, picture included.
    if (!QFileInfo(source).isFile()) {
        m_lastError = tr("The file %1 does not exist.").arg(source);
        return false;
    }
    QImageReader reader(source);
    reader.setAutoTransform(false);  // cells must stay where the world file puts them
    const QString format = QString::fromLatin1(reader.format()).toUpper();  // known before reading only
    const QImage picture = reader.read();
    if (picture.isNull()) {
        m_lastError = tr("%1 could not be read: %2").arg(source, reader.errorString());
        return false;
    }
    const QImage::Format pixels =
        picture.hasAlphaChannel() ? QImage::Format_ARGB32_Premultiplied : QImage::Format_RGB32;
    if (!readWorldFile(source, &m_lastError)) return false;

    m_source = source;
    m_format = format;
    m_image = GeoImage(picture.convertToFormat(pixels), m_originX, m_originY, m_originX + picture.width() * m_cellX,
                       m_originY + picture.height() * m_cellY);
    m_bands = bandCount(picture);
    m_lastError.clear();
    setDescription(QFileInfo(source).fileName());
    refresh(0, 0, 0, 0);
    return true;
}

bool ImageLayer::readWorldFile(const QString& imagePath, QString* error)
{
    const QString path = WorldFile::find(imagePath);
    WorldFile world;
    if (!path.isEmpty() && !world.read(path, error)) return false;
    m_worldFile = path;
    m_originX = path.isEmpty() ? 0.0 : world.originX();
    m_originY = path.isEmpty() ? 0.0 : world.originY();
    m_cellX = world.a;
    m_cellY = world.e;
    m_rotation = qRadiansToDegrees(std::atan2(world.d, world.a));
    if (world.isRotated())
        Application::logMessage(
            tr("%1: the rotation of the world file %2 is not drawn.").arg(QFileInfo(imagePath).fileName(), path),
            Application::Warning);
    return true;
}

QIcon ImageLayer::getIcon()
{
    return QApplication::style()->standardIcon(QStyle::SP_FileIcon);
}

QString ImageLayer::getFormat()
{
    return m_format;
}

void ImageLayer::setView(int, int, double, double, double, double)
{
    // The whole picture is in memory; painting picks what the view shows.
}

QRectF ImageLayer::getBounds()
{
    if (!isValid()) return QRectF();
    return QRectF(m_originX, m_originY, m_image.width() * m_cellX, m_image.height() * m_cellY);
}

bool ImageLayer::isValid()
{
    return !m_image.isNull();
}

QString ImageLayer::getLastError()
{
    return m_lastError;
}

QString ImageLayer::getProtocol()
{
    return QStringLiteral("file");
}

signed char ImageLayer::getPercentComplete()
{
    return isValid() ? 100 : -1;
}

void ImageLayer::paint(GeoPainter& painter, const QRectF* world, const QRect* device)
{
    if (!isValid() || !world || !device || world->width() == 0.0) return;
    // Smooth only when shrinking: enlarged cells stay crisp squares, as users expect of a
    // raster, while a reduced picture would shimmer without it.
    const double cellsAcross = std::abs(world->width() / m_cellX);
    painter.setRenderHint(QPainter::SmoothPixmapTransform, device->width() < cellsAcross);
    painter.setOpacity(painter.opacity() * getTransparency());
    m_image.paint(painter, device->x(), device->y(), device->x() + device->width(), device->y() + device->height(),
                  world->x(), world->y(), world->x() + world->width(), world->y() + world->height());
}

double ImageLayer::getCellSizeX()
{
    return m_cellX;
}

double ImageLayer::getCellSizeY()
{
    return m_cellY;
}

int ImageLayer::getNumberOfBands()
{
    return isValid() ? m_bands : 0;
}

QSize ImageLayer::getSize()
{
    return m_image.size();
}

QString ImageLayer::getCellType()
{
    return isValid() ? QStringLiteral("Unsigned8") : QString();
}

bool ImageLayer::hasOpacity()
{
    return isValid() && m_bands == 4;
}

int ImageLayer::getOpacityBandNumber()
{
    return hasOpacity() ? 3 : -1;
}

double ImageLayer::getRotation()
{
    return m_rotation;
}

Map::RasterLayer::ColorSpace ImageLayer::getColorSpace()
{
    if (!isValid()) return Unknown;
    return m_bands == 1 ? Greyscale : RGB;
}

}  // namespace Korvane
