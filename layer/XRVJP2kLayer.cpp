#include "XRVJP2kLayer.h"

#include "XRVJP2kImageLock.h"
#include "XRVJP2kRenderer.h"
#include "XRVJP2kSizeText.h"
#include "XRVJP2kUrlFile.h"

#include "QDGui/Application.h"
#include "QDGui/GeoPainter.h"
#include "QDGui/StringUtil.h"

#include <QtCore/QDateTime>
#include <QtCore/QFileInfo>
#include <QtCore/QSettings>
#include <QtCore/QStringList>

#include <climits>
#include <cmath>
#include <limits>
#include <vector>

namespace Korvane {

namespace {

const QString OptimizeNearestNeighbourKey = QStringLiteral("XRVJP2kLayer/OptimizeNearestNeighbour");
const QString AdaptiveRenderingKey = QStringLiteral("XRVJP2kLayer/AdaptiveRendering");
const QString OpenProgressiveKey = QStringLiteral("XRVJP2kLayer/OpenProgressive");
const QString ResampleTypeKey = QStringLiteral("XRVJP2kLayer/ResampleType");
const QString UseBackingstoreKey = QStringLiteral("XRVJP2kLayer/UseBackingstore");
const QString DrawOutlineKey = QStringLiteral("XRVJP2kLayer/DrawOutline");
const QString OutlineColorKey = QStringLiteral("XRVJP2kLayer/OutlineColor");

// The engine reports a lost connection to the image server with this code.
constexpr int ConnectionLost = PLK::PLK_ERROR_CONNECTION_LOST;
// Reconnecting is slow; a map view that keeps asking must not make it try more often.
constexpr qint64 ReconnectIntervalMs = 20000;

// A cell or pixel number from a coordinate, truncated toward zero and kept in int range so
// that a view far beyond the image cannot overflow.
int truncatedToInt(double value)
{
    if (std::isnan(value)) return 0;
    if (value <= double(INT_MIN)) return INT_MIN;
    if (value >= double(INT_MAX)) return INT_MAX;
    return static_cast<int>(value);
}

quint64 truncatedToUnsigned(float value)
{
    if (std::isnan(value)) return 0;
    if (value < 0.0f) return value <= float(LLONG_MIN) ? quint64(LLONG_MIN) : quint64(qint64(value));
    if (value >= 18446744073709551615.0f) return std::numeric_limits<quint64>::max();
    return static_cast<quint64>(value);
}

QString cutAtBar(const QString& text)
{
    const int bar = text.indexOf(QLatin1Char('|'));
    return bar >= 0 ? text.left(bar) : text;
}

QString joined(const std::vector<quint32>& values)
{
    QStringList texts;
    for (quint32 value : values) texts << QString::number(value);
    return texts.join(QLatin1Char(','));
}

}  // namespace

XRVJP2kLayer::XRVJP2kLayer(Korvane::Map::IRendererClient* client) : Korvane::Map::RasterLayer(client)
{
    // The property table names the type as moc sees it inside the namespace.
    qRegisterMetaType<XRVJP2kLayer::ResampleType>("XRVJP2kLayer::ResampleType");
    QSettings* settings = Korvane::Application::settings();
    pixmapSmoothing = !settings->value(OptimizeNearestNeighbourKey, true).toBool();
    adaptiveRoam = settings->value(AdaptiveRenderingKey, false).toBool();
    progressive = settings->value(OpenProgressiveKey, true).toBool();
    defaultResampleType = ResampleType(settings->value(ResampleTypeKey, 0).toInt());
    sizeGigaPixel = tr("Unknown");
    sizeOnDisk = tr("Unknown");
    backingStore = settings->value(UseBackingstoreKey, false).toBool();
    drawOutline = settings->value(DrawOutlineKey, false).toBool();
    outlineColor = settings->value(OutlineColorKey, QColor(0, 255, 255, 255)).value<QColor>();
    outlinePen = QPen(outlineColor);
    lastViewX1 = lastViewY1 = lastViewX2 = lastViewY2 = std::numeric_limits<double>::quiet_NaN();
    lastReconnectTime = QDateTime::currentMSecsSinceEpoch();
}

XRVJP2kLayer::~XRVJP2kLayer()
{
    closeRenderer(renderer, freeCache);
    closeRenderer(backingRenderer, freeCache);
}

// ---- data source ----------------------------------------------------------------------------

QString XRVJP2kLayer::getDataSource()
{
    if (!renderer) return QString();
    return cutAtBar(viewName());
}

bool XRVJP2kLayer::setDataSource(QString source)
{
    histogramCache.clear();
    QString working = source;
    if (!resolveSource(working)) return false;

    // Re-opening keeps what the user set on the image; the rest starts afresh.
    const bool reopening = renderer != nullptr;
    ImageSettings kept;
    if (reopening) {
        kept = currentImageSettings();
        pixmapSmoothing = kept.method == Bilinear;
        closeRenderer(renderer, getFreeCache());
    }
    if (backingStore && backingRenderer) closeRenderer(backingRenderer, getFreeCache());

    renderer = new XRVJP2kRenderer(this);
    const PLK::CError error = renderer->openFile(working, progressive);
    if (error.GetErrorNumber() != PLK::PLK_SUCCESS) {
        delete renderer;
        renderer = nullptr;
        bandList.clear();
        valid = false;
        lastError = tr(error.GetErrorText());
        return false;
    }
    if (backingStore && !openBackingRenderer(working)) return false;

    if (reopening)
        carryImageSettings(kept);
    else
        applyFirstOpenSettings();
    if (viewSet) requestViewAgain();
    describeSource(working);
    crs().setEpsg(renderer->GetEPSGCode());
    valid = true;
    lastError.clear();
    return true;
}

XRVJP2kLayer::ImageSettings XRVJP2kLayer::currentImageSettings()
{
    ImageSettings settings;
    settings.clip = getTransformClip();
    settings.transparency = getTransparency();
    settings.brightness = getBrightness();
    settings.contrast = getContrast();
    settings.bands = getBandList();
    settings.method = getResampleType();
    return settings;
}

void XRVJP2kLayer::carryImageSettings(const ImageSettings& kept)
{
    // Quality layers, dither and hill shading start afresh with the new renderer.
    const auto apply = [&kept](XRVJP2kRenderer* to) {
        to->setTransformClip(quint8(kept.clip));
        to->setTransparency(kept.transparency);
        to->setBrightness(kept.brightness);
        to->setContrast(kept.contrast);
    };
    apply(renderer);
    bandList = kept.bands;
    renderer->Parameters().SetResampleMethod(PLKResampleMethod(kept.method));
    setPixmapSmoothing(kept.method == Bilinear);
    if (backingStore && backingRenderer) {
        apply(backingRenderer);
        backingRenderer->Parameters().SetResampleMethod(PLKResampleMethod(kept.method));
    }
}

void XRVJP2kLayer::applyFirstOpenSettings()
{
    // The preferred resample method goes to the main renderer only; the backing picture is a
    // coarse one anyway.
    renderer->Parameters().SetResampleMethod(PLKResampleMethod(defaultResampleType));
    renderer->setTransformClip(renderer->getTransformClip());
    bandList = getDefaultBandList();
    if (backingStore && backingRenderer) backingRenderer->setTransformClip(renderer->getTransformClip());
}

bool XRVJP2kLayer::resolveSource(QString& source)
{
    if (source.toLower().endsWith(QLatin1String(".url"))) {
        switch (XRVJP2kUrlFile::readAddress(source, source)) {
            case XRVJP2kUrlFile::CannotOpen:
                lastError = tr("Could not open URL file.");
                return false;
            case XRVJP2kUrlFile::UnsupportedProtocol:
                lastError = tr("URL file contains non supported protocol type.");
                return false;
            case XRVJP2kUrlFile::Read:
                return true;
        }
        return true;
    }
    // Only a source given directly is tested: a "jpip" address inside a .url file goes on to
    // the engine, which answers for itself. Kept so on purpose.
    if (source.toLower().startsWith(QLatin1String("jpip"))) {
        lastError = tr("JPIP protocol not supported.");
        Korvane::Application::logMessage(lastError, Korvane::Application::Info, QDateTime::currentDateTime());
        return false;
    }
    return true;
}

void XRVJP2kLayer::closeRenderer(XRVJP2kRenderer*& which, bool freeFileCache)
{
    if (!which) return;
    // No decode may run on a renderer being deleted: cancel and wait for its lock first.
    which->cancelRead();
    which->Close(freeFileCache);
    delete which;
    which = nullptr;
}

bool XRVJP2kLayer::openBackingRenderer(const QString& source)
{
    backingRenderer = new XRVJP2kRenderer(this);
    if (backingRenderer->openFile(source, false).GetErrorNumber() == PLK::PLK_SUCCESS) return true;
    delete backingRenderer;
    backingRenderer = nullptr;
    return false;
}

void XRVJP2kLayer::requestViewAgain()
{
    const PLK::CError error = renderer->SetView(bandList.size(), bandList.data(), lastViewWidth, lastViewHeight,
                                                lastViewX1, lastViewY1, lastViewX2, lastViewY2);
    // After a re-open the flag tells whether repeating the last view FAILED, the opposite of
    // what setView leaves in it. Panels and projects written against this behaviour rely on
    // it, so it is kept deliberately.
    viewSet = error.GetErrorNumber() != PLK::PLK_SUCCESS;
    if (viewSet && backingStore && backingRenderer)
        backingRenderer->SetView(bandList.size(), bandList.data(), lastViewWidth, lastViewHeight, lastViewX1,
                                 lastViewY1, lastViewX2, lastViewY2);
}

void XRVJP2kLayer::describeSource(const QString& source)
{
    QString name = QFileInfo(source).fileName();
    const int bar = name.indexOf(QLatin1Char('|'));
    if (bar > 0) name = name.left(bar);
    setDescription(name);

    const PLKFileInfo* info = renderer->GetFileInfo();
    sizeGigaPixel = XRVJP2kSizeText::gigaPixels(info ? info->nSizeX : 0, info ? info->nSizeY : 0);
    if (source.toLower().startsWith(QLatin1String("xrvp")))
        sizeOnDisk = tr("Unknown");
    else
        sizeOnDisk = Korvane::Util::String::formatFileSize(quint64(QFileInfo(source).size()), "%2.2f");
}

QVector<int> XRVJP2kLayer::getDefaultBandList()
{
    std::vector<uint32_t> list;
    if (renderer->GetDefaultRGBABandList(list).GetErrorNumber() == PLK::PLK_SUCCESS)
        return QVector<int>(list.begin(), list.end());
    if (renderer->getHasOpacityBand()) return {0, 0, 0, renderer->getOpacityBandNumber()};
    return {0, 0, 0};
}

QString XRVJP2kLayer::viewName()
{
    return renderer ? QString::fromUtf8(renderer->GetFileName()) : QString();
}

// ---- view and paint -------------------------------------------------------------------------

void XRVJP2kLayer::setView(int width, int height, double x1, double y1, double x2, double y2)
{
    // While the user pans or zooms a blocking view is decoded at half size, so that it keeps
    // up; the next view after endUpdate is full size again.
    if (updating && !progressive && adaptiveRoam) {
        width = truncatedToInt(width * 0.5);
        height = truncatedToInt(height * 0.5);
    }
    XRVJP2kImageLock lock(renderer ? renderer->getImageMutex() : nullptr);
    if (!valid || !renderer) return;
    if (!calculateClippedCoords(width, height, x1, y1, x2, y2)) {
        // Nothing of the image is on screen: drop the pictures so nothing stale is drawn.
        renderer->clearImage();
        if (backingStore && backingRenderer) backingRenderer->clearImage();
        return;
    }
    const PLK::CError error = renderer->SetView(bandList.size(), bandList.data(), lastViewWidth, lastViewHeight,
                                                lastViewX1, lastViewY1, lastViewX2, lastViewY2);
    if (error.GetErrorNumber() == ConnectionLost) {
        const qint64 now = QDateTime::currentMSecsSinceEpoch();
        if (now - lastReconnectTime > ReconnectIntervalMs) {
            renderer->Reconnect();
            lastReconnectTime = QDateTime::currentMSecsSinceEpoch();
        }
    }
    const bool succeeded = error.GetErrorNumber() == PLK::PLK_SUCCESS;
    if (succeeded && backingStore && backingRenderer)
        backingRenderer->SetView(bandList.size(), bandList.data(), truncatedToInt(width * 0.25),
                                 truncatedToInt(height * 0.25), lastViewX1, lastViewY1, lastViewX2, lastViewY2);
    viewSet = succeeded;
}

bool XRVJP2kLayer::calculateClippedCoords(int width, int height, double x1, double y1, double x2, double y2)
{
    const PLKFileInfo* info = renderer->GetFileInfo();
    if (!info) return false;
    const double ox = info->fOriginX;
    const double oy = info->fOriginY;
    const double cx = info->fCellIncrementX;
    const double cy = info->fCellIncrementY;
    const int columns = int(info->nSizeX);
    const int rows = int(info->nSizeY);
    const double right = columns * cx + ox;
    const double bottom = rows * cy + oy;

    if ((ox > x1 && ox > x2) || (x1 > right && x2 > right)) return false;
    if (cy > 0) {
        if ((oy > y1 && oy > y2) || (y1 > bottom && y2 > bottom)) return false;
    } else if ((y1 > oy && y2 > oy) || (bottom > y1 && bottom > y2)) {
        return false;
    }

    // Snap outward to whole cells, then keep to the image.
    const int c0 = truncatedToInt(std::floor((x1 - ox) / cx));
    const int r0 = truncatedToInt(std::floor((y1 - oy) / cy));
    const int c1 = truncatedToInt(std::ceil((x2 - ox) / cx));
    const int r1 = truncatedToInt(std::ceil((y2 - oy) / cy));
    double X0 = 0, Y0 = 0, X1 = 0, Y1 = 0;
    renderer->ConvertDatasetToWorld(c0, r0, X0, Y0);
    renderer->ConvertDatasetToWorld(c1, r1, X1, Y1);
    if (c0 < 0) X0 = ox;
    if (r0 < 0) Y0 = oy;
    if (c1 > columns - 1) X1 = right;
    if (r1 > rows - 1) Y1 = bottom;

    // The part of the screen the clipped rectangle covers.
    const int clippedWidth =
        truncatedToInt((X1 - x1) / (x2 - x1) * width + 0.5) - truncatedToInt((X0 - x1) / (x2 - x1) * width + 0.5);
    const int clippedHeight =
        truncatedToInt((Y1 - y1) / (y2 - y1) * height + 0.5) - truncatedToInt((Y0 - y1) / (y2 - y1) * height + 0.5);
    if (clippedWidth < 1 || clippedHeight < 1) return false;
    lastViewX1 = X0;
    lastViewY1 = Y0;
    lastViewX2 = X1;
    lastViewY2 = Y1;
    lastViewWidth = clippedWidth;
    lastViewHeight = clippedHeight;
    return true;
}

void XRVJP2kLayer::refreshWithUpdate()
{
    if (renderer && lastViewWidth != 0 && lastViewHeight != 0)
        setView(lastViewWidth, lastViewHeight, lastViewX1, lastViewY1, lastViewX2, lastViewY2);
    refresh(0, 0, 0, 0);
}

void XRVJP2kLayer::beginUpdate(bool)
{
    updating = true;
}

void XRVJP2kLayer::endUpdate()
{
    updating = false;
}

void XRVJP2kLayer::paint(Korvane::GeoPainter& painter, const QRectF* world, const QRect* device)
{
    if (!renderer || !world || !device) return;
    if (backingStore && backingRenderer && shouldPaintBacking()) backingRenderer->paint(painter, *world, *device);
    renderer->paint(painter, *world, *device);
    if (drawOutline) {
        const QRectF bounds = getBounds();
        painter.save();
        painter.setPen(outlinePen);
        painter.drawWorldRect(bounds.left(), bounds.top(), bounds.left() + bounds.width(),
                              bounds.top() + bounds.height());
        painter.restore();
    }
}

bool XRVJP2kLayer::shouldPaintBacking()
{
    // The coarse picture only shows where nothing of the layer lets it through: never under a
    // partly transparent layer, and, unless a stream is being roamed, not under an image with
    // its own opacity band.
    PLK::CIOStream* stream = renderer->GetStream();
    const bool roaming = stream && stream->IsNetworkStream() && updating;
    const bool opaque = getTransparency() == 1.0;
    if (roaming) return opaque;
    return opaque && !renderer->getHasOpacityBand();
}

QRectF XRVJP2kLayer::getBounds()
{
    const PLKFileInfo* info = renderer ? renderer->GetFileInfo() : nullptr;
    if (!info) return QRectF(-180, 90, 360, -180);
    return QRectF(info->fOriginX, info->fOriginY, info->nSizeX * info->fCellIncrementX,
                  info->nSizeY * info->fCellIncrementY);
}

signed char XRVJP2kLayer::getPercentComplete()
{
    return renderer ? static_cast<signed char>(renderer->GetPercentComplete()) : -1;
}

// ---- simple state ---------------------------------------------------------------------------

QIcon XRVJP2kLayer::getIcon()
{
    return QIcon(QStringLiteral(":/Resources/logo.png"));
}

bool XRVJP2kLayer::isVisible()
{
    return visible;
}

void XRVJP2kLayer::setVisible(bool visibility)
{
    visible = visibility;
    if (!renderer) return;
    const QRectF bounds = getBounds();
    refresh(bounds.left(), bounds.top(), bounds.right(), bounds.bottom());
}

bool XRVJP2kLayer::isValid()
{
    return valid;
}

QString XRVJP2kLayer::getLastError()
{
    return lastError;
}

bool XRVJP2kLayer::readXML(QDomNode& node, QDir& projectDir, QString* error)
{
    return Korvane::Map::Layer::readXML(node, projectDir, error);
}

bool XRVJP2kLayer::writeXML(QDomNode& node, QDomDocument& document)
{
    return Korvane::Map::Layer::writeXML(node, document);
}

double XRVJP2kLayer::getTransparency()
{
    return renderer ? renderer->getTransparency() : 0.0;
}

void XRVJP2kLayer::setTransparency(double value)
{
    if (renderer) renderer->setTransparency(value);
    if (backingStore && backingRenderer) backingRenderer->setTransparency(value);
}

double XRVJP2kLayer::getContrast()
{
    return renderer ? renderer->getContrast() : 0.0;
}

void XRVJP2kLayer::setContrast(double value)
{
    if (renderer) renderer->setContrast(value);
    if (backingStore && backingRenderer) backingRenderer->setContrast(value);
}

double XRVJP2kLayer::getBrightness()
{
    return renderer ? renderer->getBrightness() : 0.0;
}

void XRVJP2kLayer::setBrightness(double value)
{
    if (renderer) renderer->setBrightness(value);
    if (backingStore && backingRenderer) backingRenderer->setBrightness(value);
}

QVector<int> XRVJP2kLayer::getBandList()
{
    return bandList;
}

void XRVJP2kLayer::setBandList(QVector<int> bands)
{
    bandList = bands;
    refreshWithUpdate();
}

XRVJP2kLayer::ResampleType XRVJP2kLayer::getResampleType()
{
    return renderer ? ResampleType(renderer->Parameters().GetResampleMethod()) : NearestNeighbour;
}

void XRVJP2kLayer::setResampleType(ResampleType type)
{
    if (!renderer || ResampleType(renderer->Parameters().GetResampleMethod()) == type) return;
    renderer->Parameters().SetResampleMethod(PLKResampleMethod(type));
    if (backingStore && backingRenderer) backingRenderer->Parameters().SetResampleMethod(PLKResampleMethod(type));
    if (viewSet) setView(lastViewWidth, lastViewHeight, lastViewX1, lastViewY1, lastViewX2, lastViewY2);
}

bool XRVJP2kLayer::getFreeCache()
{
    return freeCache;
}

void XRVJP2kLayer::setFreeCache(bool free)
{
    freeCache = free;
}

bool XRVJP2kLayer::getPixmapSmoothing()
{
    return pixmapSmoothing;
}

void XRVJP2kLayer::setPixmapSmoothing(bool smoothing)
{
    pixmapSmoothing = smoothing;
    if (!renderer) return;
    renderer->setPixmapSmoothing(smoothing);
    if (backingStore && backingRenderer) backingRenderer->setPixmapSmoothing(smoothing);
    refresh(0, 0, 0, 0);
}

bool XRVJP2kLayer::getProgressive()
{
    return progressive;
}

void XRVJP2kLayer::setProgressive(bool on)
{
    // Before the first open there is nothing to re-open, and the mode is not stored either.
    if (on == progressive || !renderer) return;
    progressive = on;
    setDataSource(viewName());
    refreshWithUpdate();
}

bool XRVJP2kLayer::getAdaptiveRoam()
{
    return adaptiveRoam;
}

void XRVJP2kLayer::setAdaptiveRoam(bool adaptive)
{
    adaptiveRoam = adaptive;
}

bool XRVJP2kLayer::getReadRGBA()
{
    return readRGBA;
}

void XRVJP2kLayer::setReadRGBA(bool rgba)
{
    readRGBA = rgba;
    if (renderer) renderer->setReadRGBA(rgba);
}

QString XRVJP2kLayer::getSizeOnDisk()
{
    return sizeOnDisk;
}

QString XRVJP2kLayer::getSizeGigaPixel()
{
    return sizeGigaPixel;
}

void XRVJP2kLayer::setTransformClip(int percent)
{
    if (!renderer) return;
    renderer->setTransformClip(quint8(percent));
    if (backingStore && backingRenderer) backingRenderer->setTransformClip(quint8(percent));
    refreshWithUpdate();
}

int XRVJP2kLayer::getTransformClip()
{
    return renderer ? renderer->getTransformClip() : 100;
}

bool XRVJP2kLayer::getDrawOutline()
{
    return drawOutline;
}

void XRVJP2kLayer::setDrawOutline(bool draw)
{
    drawOutline = draw;
    refresh(0, 0, 0, 0);
}

QColor XRVJP2kLayer::getOutlineColor()
{
    return outlineColor;
}

void XRVJP2kLayer::setOutlineColor(QColor color)
{
    outlineColor = color;
    outlinePen = QPen(outlineColor);
    Korvane::Application::settings()->setValue(OutlineColorKey, outlineColor);
    refresh(0, 0, 0, 0);
}

bool XRVJP2kLayer::getBackingStore()
{
    return backingStore;
}

void XRVJP2kLayer::setBackingStore(bool backing)
{
    backingStore = backing;
    if (!backing && backingRenderer) {
        delete backingRenderer;
        backingRenderer = nullptr;
    } else {
        // The main file is closed and opened again within this call: it must keep its cached
        // data meanwhile.
        const bool keepFreeCache = getFreeCache();
        setFreeCache(false);
        setDataSource(getDataSource());
        setFreeCache(keepFreeCache);
    }
    refresh(0, 0, 0, 0);
}

bool XRVJP2kLayer::getTextureDither()
{
    return renderer ? renderer->Parameters().GetReaderDitherEnabled() : false;
}

void XRVJP2kLayer::setTextureDither(bool dither)
{
    if (!renderer) return;
    renderer->Parameters().SetReaderDitherEnabled(dither);
    refreshWithUpdate();
}

int XRVJP2kLayer::getJp2QualityLayers()
{
    return renderer ? renderer->getJp2QualityLayers() : -1;
}

void XRVJP2kLayer::setJp2QualityLayers(int layers)
{
    if (!renderer) return;
    renderer->setJp2QualityLayers(layers);
    refreshWithUpdate();
}

int XRVJP2kLayer::getMaxJp2QualityLayers()
{
    return renderer ? renderer->getMaxJp2QualityLayers() : -1;
}

double XRVJP2kLayer::getAzumith()
{
    return renderer ? renderer->getAzumith() : 0.0;
}

void XRVJP2kLayer::setAzumith(double azimuth)
{
    if (renderer) renderer->setAzumith(azimuth);
}

double XRVJP2kLayer::getElevation()
{
    return renderer ? renderer->getElevation() : 0.0;
}

void XRVJP2kLayer::setElevation(double elevation)
{
    if (renderer) renderer->setElevation(elevation);
}

bool XRVJP2kLayer::getHillShade()
{
    return renderer ? renderer->getHillShade() : false;
}

void XRVJP2kLayer::setHillShade(bool on)
{
    if (renderer) renderer->setHillShade(on);
}

int XRVJP2kLayer::getOpacityBandNumber()
{
    return renderer ? renderer->getOpacityBandNumber() : -1;
}

bool XRVJP2kLayer::hasOpacity()
{
    return getOpacityBandNumber() != -1;
}

// ---- queries --------------------------------------------------------------------------------

PLK::CView* XRVJP2kLayer::getFile()
{
    return renderer;
}

PLKFileInfo* XRVJP2kLayer::getFileInfo()
{
    return renderer ? renderer->GetFileInfo() : nullptr;
}

PLKFileType XRVJP2kLayer::getFileType()
{
    return renderer ? renderer->GetFileType() : PLK_FILE_UNKNOWN;
}

PLKRPCData* XRVJP2kLayer::getRPCInfo()
{
    return renderer ? renderer->getRPCData() : nullptr;
}

PLKFileStatistics* XRVJP2kLayer::getStatistics()
{
    return renderer ? renderer->getClientStatistics() : nullptr;
}

QSize XRVJP2kLayer::getSize()
{
    const PLKFileInfo* info = getFileInfo();
    return info ? QSize(int(info->nSizeX), int(info->nSizeY)) : QSize();
}

double XRVJP2kLayer::getCellSizeX()
{
    const PLKFileInfo* info = getFileInfo();
    return info ? info->fCellIncrementX : 1.0;
}

double XRVJP2kLayer::getCellSizeY()
{
    const PLKFileInfo* info = getFileInfo();
    return info ? info->fCellIncrementY : 1.0;
}

double XRVJP2kLayer::getRotation()
{
    const PLKFileInfo* info = getFileInfo();
    return info ? info->fCWRotationDegrees : 0.0;
}

int XRVJP2kLayer::getNumberOfBands()
{
    const PLKFileInfo* info = getFileInfo();
    return info ? int(info->nBands) : 0;
}

QList<QString> XRVJP2kLayer::getBandDescriptions()
{
    QList<QString> descriptions;
    const PLKFileInfo* info = getFileInfo();
    if (!info) return descriptions;
    for (int band = 0; band < int(info->nBands); ++band) descriptions << QString::fromLatin1(info->pBands[band].szDesc);
    return descriptions;
}

QString XRVJP2kLayer::getCellType()
{
    // Technical names, the same in every language.
    static const char* const Names[] = {"UInt8", "UInt16", "UInt32", "UInt64", "Int8",
                                        "Int16", "Int32",  "Int64",  "Float",  "Double"};
    const PLKFileInfo* info = getFileInfo();
    if (!info || int(info->eCellType) < 0 || int(info->eCellType) > 9) return tr("Unknown");
    return QString::fromLatin1(Names[info->eCellType]);
}

Korvane::Map::RasterLayer::ColorSpace XRVJP2kLayer::getColorSpace()
{
    const PLKFileInfo* info = getFileInfo();
    if (!info) return Unknown;
    switch (info->eColorSpace) {
        case PLK_COLOR_SRGB:
            return RGB;
        case PLK_COLOR_GREYSCALE:
            return Greyscale;
        case PLK_COLOR_MULTIBAND:
            return Multiband;
        default:
            return Unknown;
    }
}

QString XRVJP2kLayer::getCoordSysName()
{
    const int code = renderer ? renderer->GetEPSGCode() : 0;
    if (code <= 0) return tr("Unknown");
    return QStringLiteral("epsg:%1").arg(code);
}

QString XRVJP2kLayer::getFormat()
{
    const QString source = getDataSource().toLower();
    if (source.endsWith(QLatin1String(".xrv"))) return QStringLiteral("MILTO XRV");
    if (source.endsWith(QLatin1String(".jp2")) || source.endsWith(QLatin1String(".jpc")) ||
        source.endsWith(QLatin1String(".jpx")))
        return QStringLiteral("JPEG 2000");
    return tr("Unknown");
}

QString XRVJP2kLayer::getProtocol()
{
    if (!renderer) return tr("Local file");
    const QString name = viewName();
    const QString lower = name.toLower();
    if (lower.startsWith(QLatin1String("xrvps://"))) return QStringLiteral("XRVPS");
    if (lower.startsWith(QLatin1String("xrvp://"))) return QStringLiteral("XRVP");
    // The extension tests look at the name as written, unlike the prefix tests: "A.XRV" is a
    // "Local file", and so are ".jpc" and ".jpx" files. The information pages have always
    // shown it so; kept deliberately.
    if (name.contains(QLatin1String(".xrv"))) return tr("Local XRV file");
    if (name.contains(QLatin1String(".jp2"))) return tr("Local JPEG 2000 file");
    return tr("Local file");
}

int XRVJP2kLayer::getFileFormatVersion()
{
    const PLKFileInfo* info = getFileInfo();
    return info ? int(info->nFormatVersion) : 0;
}

int XRVJP2kLayer::getXRVPVersion()
{
    return renderer && renderer->GetFile() && renderer->GetFile()->IsXrvpConnection() ? 3 : 0;
}

bool XRVJP2kLayer::getJp2FileInfo(Jp2FileInfo& info)
{
    if (!renderer || renderer->GetFileType() != PLK_FILE_JPEG2000) return false;
    const PLK::ViewMetadata::ViewMetadataJp2& jp2 = renderer->Jp2Metadata();
    switch (jp2.ComplianceProfileType()) {
        case 0:
            info.profile = 2;
            break;
        case 1:
            info.profile = 0;
            break;
        case 2:
            info.profile = 1;
            break;
        default:
            break;
    }
    info.comments = QString::fromUtf8(jp2.Comments().c_str());
    info.numberOfTiles = QSize(int(jp2.NumberOfTiles().width), int(jp2.NumberOfTiles().height));
    info.tileSize = QSize(int(jp2.TileSize().width), int(jp2.TileSize().height));
    std::vector<quint32> widths;
    std::vector<quint32> heights;
    for (const PLK::ViewMetadata::Size& precinct : jp2.PrecinctSize()) {
        widths.push_back(precinct.width);
        heights.push_back(precinct.height);
    }
    info.precinctSizesX = joined(widths);
    info.precinctSizesY = joined(heights);
    info.codeBlockSize = QSize(int(jp2.CodeBlock().width), int(jp2.CodeBlock().height));
    info.bitDepths = joined(std::vector<quint32>(jp2.BitDepth().begin(), jp2.BitDepth().end()));
    info.resolutionLevels = jp2.Levels();
    info.qualityLayers = jp2.Layers();
    static const char* const Orders[] = {"LRCP", "RLCP", "RPCL", "PCRL", "CPRL"};
    const int order = jp2.PrecinctProgressionOrder();
    info.progressionOrder =
        order >= 0 && order <= 4 ? QString::fromLatin1(Orders[order]) : tr("Unknown progression order");
    if (jp2.TransformationType() == 0)
        info.filter = QStringLiteral("9x7 (Irreversible)");
    else if (jp2.TransformationType() == 1)
        info.filter = QStringLiteral("5x3 (Reversible)");
    info.useSOP = jp2.SOPExists();
    info.useEPH = jp2.EPHExists();
    info.hasGML = jp2.GMLJP2BoxExists();
    return true;
}

QVector<Korvane::Map::HistogramT<quint64>> XRVJP2kLayer::getHistograms(bool reset, bool, QSize, double, double, double,
                                                                       double)
{
    if (!renderer) return histogramCache;
    if (reset) {
        histogramCache.clear();
        return histogramCache;
    }
    // The statistics are asked for before the cache is looked at; a cached answer wins.
    PLKFileStatistics* statistics = renderer->getClientStatistics();
    if (!statistics || !histogramCache.isEmpty()) {
        PLKFreeStatistics(statistics);
        return histogramCache;
    }
    const PLKFileInfo* info = renderer->GetFileInfo();
    QVector<Korvane::Map::HistogramT<quint64>> histograms;
    for (quint32 band = 0; band < statistics->nNumberOfBands; ++band) {
        const PLKBandStatistics& stats = statistics->BandsStats[band];
        Korvane::Map::HistogramT<quint64> histogram(stats.nHistBucketCount);
        histogram.largestCount = 0;
        histogram.smallestCount = std::numeric_limits<quint64>::max();
        for (quint32 bucket = 0; bucket < stats.nHistBucketCount; ++bucket) {
            const quint64 count = stats.Histogram[bucket];
            histogram.counts[bucket] = count;
            histogram.largestCount = qMax(histogram.largestCount, count);
            histogram.smallestCount = qMin(histogram.smallestCount, count);
        }
        histogram.maxValue = truncatedToUnsigned(stats.fMaxVal);
        histogram.minValue = truncatedToUnsigned(stats.fMinVal);
        histogram.mean = stats.fMeanVal;
        histogram.median = stats.fMedianVal;
        histogram.stddev = stats.fStandardDev;
        histogram.mode = stats.fMode;
        if (info && band < info->nBands) histogram.name = QString::fromLatin1(info->pBands[band].szDesc);
        histograms.append(std::move(histogram));
    }
    PLKFreeStatistics(statistics);
    histogramCache = histograms;
    return histogramCache;
}

}  // namespace Korvane
