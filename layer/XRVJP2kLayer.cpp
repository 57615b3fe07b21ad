#include "XRVJP2kLayer.h"

#include "XRVJP2kImageLock.h"
#include "XRVJP2kRenderer.h"
#include "XRVJP2kSettings.h"
#include "XRVJP2kSizeText.h"
#include "XRVJP2kUrlFile.h"

#include "QDGui/Application.h"
#include "QDGui/GeoPainter.h"
#include "QDGui/StringUtil.h"

#include <QtCore/QDateTime>
#include <QtCore/QFileInfo>
#include <QtCore/QSettings>

#include <vector>

namespace Korvane {

namespace {

// The engine reports a lost connection to the image server with this code.
constexpr int ConnectionLost = PLK::PLK_ERROR_CONNECTION_LOST;
// Reconnecting is slow; a map view that keeps asking must not make it try more often.
constexpr qint64 ReconnectIntervalMs = 20000;

QString cutAtBar(const QString& text)
{
    const int bar = text.indexOf(QLatin1Char('|'));
    return bar >= 0 ? text.left(bar) : text;
}

}  // namespace

XRVJP2kLayer::XRVJP2kLayer(Korvane::Map::IRendererClient* client) : Korvane::Map::RasterLayer(client), m_renderers(this)
{
    // The property table names the type as moc sees it inside the namespace.
    qRegisterMetaType<XRVJP2kLayer::ResampleType>("XRVJP2kLayer::ResampleType");
    using namespace XRVJP2kSettings;
    const QSettings& settings = *Korvane::Application::settings();
    pixmapSmoothing = !OptimizeNearestNeighbour.in(settings).toBool();
    adaptiveRoam = AdaptiveRendering.in(settings).toBool();
    progressive = OpenProgressive.in(settings).toBool();
    defaultResampleType = XRVJP2kLayer::ResampleType(XRVJP2kSettings::ResampleType.in(settings).toInt());
    sizeGigaPixel = tr("Unknown");
    sizeOnDisk = tr("Unknown");
    backingStore = UseBackingstore.in(settings).toBool();
    drawOutline = DrawOutline.in(settings).toBool();
    outlineColor = OutlineColor.in(settings).value<QColor>();
    outlinePen = QPen(outlineColor);
    lastReconnectTime = QDateTime::currentMSecsSinceEpoch();
}

XRVJP2kLayer::~XRVJP2kLayer()
{
    m_renderers.closeMain(freeCache);
    m_renderers.closeBacking(freeCache);
}

// ---- data source ----------------------------------------------------------------------------

QString XRVJP2kLayer::getDataSource()
{
    if (!renderer()) return QString();
    return cutAtBar(viewName());
}

bool XRVJP2kLayer::setDataSource(QString source)
{
    histogramCache.clear();
    QString working = source;
    if (!resolveSource(working)) return false;

    // Re-opening keeps what the user set on the image; the rest starts afresh.
    const bool reopening = renderer() != nullptr;
    ImageSettings kept;
    if (reopening) {
        kept = currentImageSettings();
        pixmapSmoothing = kept.method == Bilinear;
        m_renderers.closeMain(getFreeCache());
    }
    m_renderers.closeBacking(getFreeCache());

    const PLK::CError error = m_renderers.openMain(working, progressive);
    if (error.GetErrorNumber() != PLK::PLK_SUCCESS) {
        bandList.clear();
        valid = false;
        lastError = tr(error.GetErrorText());
        return false;
    }
    if (backingStore && !m_renderers.openBacking(working)) return false;

    if (reopening)
        carryImageSettings(kept);
    else
        applyFirstOpenSettings();
    if (viewSet) requestViewAgain();
    describeSource(working);
    crs().setEpsg(renderer()->GetEPSGCode());
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
    // Quality layers, dither and hill shading start afresh with the new m_renderers.
    m_renderers.both([&kept](XRVJP2kRenderer& to) {
        to.setTransformClip(quint8(kept.clip));
        to.setTransparency(kept.transparency);
        to.setBrightness(kept.brightness);
        to.setContrast(kept.contrast);
        to.Parameters().SetResampleMethod(PLKResampleMethod(kept.method));
    });
    bandList = kept.bands;
    setPixmapSmoothing(kept.method == Bilinear);
}

void XRVJP2kLayer::applyFirstOpenSettings()
{
    // The preferred resample method goes to the main renderer only; the backing picture is a
    // coarse one anyway.
    renderer()->Parameters().SetResampleMethod(PLKResampleMethod(defaultResampleType));
    const quint8 clip = renderer()->getTransformClip();
    m_renderers.both([clip](XRVJP2kRenderer& to) { to.setTransformClip(clip); });
    bandList = getDefaultBandList();
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

void XRVJP2kLayer::requestViewAgain()
{
    const PLK::CError error = m_renderers.setMainView(bandList, m_lastView);
    // After a re-open the flag tells whether repeating the last view FAILED, the opposite of
    // what setView leaves in it. Panels and projects written against this behaviour rely on
    // it, so it is kept deliberately; the backing renderer is given the view only then.
    viewSet = error.GetErrorNumber() != PLK::PLK_SUCCESS;
    if (viewSet) m_renderers.setBackingView(bandList, m_lastView);
}

void XRVJP2kLayer::describeSource(const QString& source)
{
    setDescription(cutAtBar(QFileInfo(source).fileName()));
    const PLKFileInfo* info = renderer()->GetFileInfo();
    sizeGigaPixel = XRVJP2kSizeText::gigaPixels(info ? info->nSizeX : 0, info ? info->nSizeY : 0);
    // A stream has no file on this machine to measure.
    if (getXRVPVersion() != 0)
        sizeOnDisk = tr("Unknown");
    else
        sizeOnDisk = Korvane::Util::String::formatFileSize(quint64(QFileInfo(source).size()), "%2.2f");
}

QVector<int> XRVJP2kLayer::getDefaultBandList()
{
    std::vector<uint32_t> list;
    if (renderer()->GetDefaultRGBABandList(list).GetErrorNumber() == PLK::PLK_SUCCESS)
        return QVector<int>(list.begin(), list.end());
    if (renderer()->getHasOpacityBand()) return {0, 0, 0, renderer()->getOpacityBandNumber()};
    return {0, 0, 0};
}

QString XRVJP2kLayer::viewName()
{
    return renderer() ? QString::fromUtf8(renderer()->GetFileName()) : QString();
}

// ---- view and paint -------------------------------------------------------------------------

void XRVJP2kLayer::setView(int width, int height, double x1, double y1, double x2, double y2)
{
    XRVJP2kViewRequest screen{width, height, x1, y1, x2, y2};
    // While the user pans or zooms a blocking view is decoded at half size, so that it keeps
    // up; the next view after endUpdate is full size again.
    if (updating && !progressive && adaptiveRoam) screen = screen.scaled(0.5);
    XRVJP2kImageLock lock(renderer() ? renderer()->getImageMutex() : nullptr);
    if (!valid || !renderer()) return;
    const PLKFileInfo* info = renderer()->GetFileInfo();
    const std::optional<XRVJP2kViewRequest> clipped =
        info ? xrvClipAndSnap(XRVJP2kImageGrid::of(*info), screen) : std::nullopt;
    if (!clipped) {
        // Nothing of the image is on screen: drop the pictures so nothing stale is drawn.
        m_renderers.both([](XRVJP2kRenderer& r) { r.clearImage(); });
        return;
    }
    m_lastView = *clipped;
    const PLK::CError error = m_renderers.setMainView(bandList, m_lastView);
    if (error.GetErrorNumber() == ConnectionLost) {
        const qint64 now = QDateTime::currentMSecsSinceEpoch();
        if (now - lastReconnectTime > ReconnectIntervalMs) {
            renderer()->Reconnect();
            lastReconnectTime = QDateTime::currentMSecsSinceEpoch();
        }
    }
    viewSet = error.GetErrorNumber() == PLK::PLK_SUCCESS;
    // The backing picture covers the same ground at a quarter of the whole screen's size.
    if (viewSet) {
        XRVJP2kViewRequest backing = screen.scaled(0.25);
        backing.x1 = m_lastView.x1;
        backing.y1 = m_lastView.y1;
        backing.x2 = m_lastView.x2;
        backing.y2 = m_lastView.y2;
        m_renderers.setBackingView(bandList, backing);
    }
}

void XRVJP2kLayer::refreshWithUpdate()
{
    if (renderer() && m_lastView.hasSize())
        setView(m_lastView.width, m_lastView.height, m_lastView.x1, m_lastView.y1, m_lastView.x2, m_lastView.y2);
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
    if (!renderer() || !world || !device) return;
    if (m_renderers.backing() && shouldPaintBacking()) m_renderers.backing()->paint(painter, *world, *device);
    renderer()->paint(painter, *world, *device);
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
    PLK::CIOStream* stream = renderer()->GetStream();
    const bool roaming = stream && stream->IsNetworkStream() && updating;
    const bool opaque = getTransparency() == 1.0;
    if (roaming) return opaque;
    return opaque && !renderer()->getHasOpacityBand();
}

QRectF XRVJP2kLayer::getBounds()
{
    const PLKFileInfo* info = renderer() ? renderer()->GetFileInfo() : nullptr;
    if (!info) return QRectF(-180, 90, 360, -180);
    return QRectF(info->fOriginX, info->fOriginY, info->nSizeX * info->fCellIncrementX,
                  info->nSizeY * info->fCellIncrementY);
}

signed char XRVJP2kLayer::getPercentComplete()
{
    return renderer() ? static_cast<signed char>(renderer()->GetPercentComplete()) : -1;
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
    if (!renderer()) return;
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
    return renderer() ? renderer()->getTransparency() : 0.0;
}

void XRVJP2kLayer::setTransparency(double value)
{
    m_renderers.both([value](XRVJP2kRenderer& r) { r.setTransparency(value); });
}

double XRVJP2kLayer::getContrast()
{
    return renderer() ? renderer()->getContrast() : 0.0;
}

void XRVJP2kLayer::setContrast(double value)
{
    m_renderers.both([value](XRVJP2kRenderer& r) { r.setContrast(value); });
}

double XRVJP2kLayer::getBrightness()
{
    return renderer() ? renderer()->getBrightness() : 0.0;
}

void XRVJP2kLayer::setBrightness(double value)
{
    m_renderers.both([value](XRVJP2kRenderer& r) { r.setBrightness(value); });
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
    return renderer() ? ResampleType(renderer()->Parameters().GetResampleMethod()) : NearestNeighbour;
}

void XRVJP2kLayer::setResampleType(ResampleType type)
{
    if (!renderer() || ResampleType(renderer()->Parameters().GetResampleMethod()) == type) return;
    m_renderers.both([type](XRVJP2kRenderer& r) { r.Parameters().SetResampleMethod(PLKResampleMethod(type)); });
    if (viewSet)
        setView(m_lastView.width, m_lastView.height, m_lastView.x1, m_lastView.y1, m_lastView.x2, m_lastView.y2);
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
    if (!renderer()) return;
    m_renderers.both([smoothing](XRVJP2kRenderer& r) { r.setPixmapSmoothing(smoothing); });
    refresh(0, 0, 0, 0);
}

bool XRVJP2kLayer::getProgressive()
{
    return progressive;
}

void XRVJP2kLayer::setProgressive(bool on)
{
    // Before the first open there is nothing to re-open, and the mode is not stored either.
    if (on == progressive || !renderer()) return;
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
    if (renderer()) renderer()->setReadRGBA(rgba);
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
    if (!renderer()) return;
    m_renderers.both([percent](XRVJP2kRenderer& r) { r.setTransformClip(quint8(percent)); });
    refreshWithUpdate();
}

int XRVJP2kLayer::getTransformClip()
{
    return renderer() ? renderer()->getTransformClip() : 100;
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
    XRVJP2kSettings::OutlineColor.store(*Korvane::Application::settings(), outlineColor);
    refresh(0, 0, 0, 0);
}

bool XRVJP2kLayer::getBackingStore()
{
    return backingStore;
}

void XRVJP2kLayer::setBackingStore(bool backing)
{
    backingStore = backing;
    if (!backing && m_renderers.backing()) {
        m_renderers.dropBacking();
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
    return renderer() ? renderer()->Parameters().GetReaderDitherEnabled() : false;
}

void XRVJP2kLayer::setTextureDither(bool dither)
{
    if (!renderer()) return;
    renderer()->Parameters().SetReaderDitherEnabled(dither);
    refreshWithUpdate();
}

int XRVJP2kLayer::getJp2QualityLayers()
{
    return renderer() ? renderer()->getJp2QualityLayers() : -1;
}

void XRVJP2kLayer::setJp2QualityLayers(int layers)
{
    if (!renderer()) return;
    renderer()->setJp2QualityLayers(layers);
    refreshWithUpdate();
}

int XRVJP2kLayer::getMaxJp2QualityLayers()
{
    return renderer() ? renderer()->getMaxJp2QualityLayers() : -1;
}

double XRVJP2kLayer::getAzumith()
{
    return renderer() ? renderer()->getAzumith() : 0.0;
}

void XRVJP2kLayer::setAzumith(double azimuth)
{
    if (renderer()) renderer()->setAzumith(azimuth);
}

double XRVJP2kLayer::getElevation()
{
    return renderer() ? renderer()->getElevation() : 0.0;
}

void XRVJP2kLayer::setElevation(double elevation)
{
    if (renderer()) renderer()->setElevation(elevation);
}

bool XRVJP2kLayer::getHillShade()
{
    return renderer() ? renderer()->getHillShade() : false;
}

void XRVJP2kLayer::setHillShade(bool on)
{
    if (renderer()) renderer()->setHillShade(on);
}

int XRVJP2kLayer::getOpacityBandNumber()
{
    return renderer() ? renderer()->getOpacityBandNumber() : -1;
}

bool XRVJP2kLayer::hasOpacity()
{
    return getOpacityBandNumber() != -1;
}

}  // namespace Korvane
