#include "XRVJP2kRenderer.h"

#include "XRVJP2kHillShadeVeil.h"
#include "XRVJP2kImageLock.h"
#include "XRVJP2kLayer.h"
#include "XRVJP2kSettings.h"
#include "XRVJP2kToneTable.h"

#include "QDGui/Application.h"
#include "QDGui/GeoImage.h"

#include <QtCore/QSettings>
#include <QtGui/QPainter>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <string>
#include <vector>

namespace {

// The clamp users know: a NaN passes both bounds unchanged (each comparison with NaN is
// false), so a panel that hands one in sees it again.
double clampKeepingNaN(double value, double lowest, double highest)
{
    return std::max(std::min(value, highest), lowest);
}

// Equal, or both NaN: a NaN setting must not make every paint work the picture again.
bool sameSetting(double a, double b)
{
    return a == b || (std::isnan(a) && std::isnan(b));
}

bool isOpacityDescription(const char* description)
{
    return description && QString::fromLatin1(description).toLower() == QLatin1String("allopacity");
}

}  // namespace

XRVJP2kRenderer::XRVJP2kRenderer(Korvane::XRVJP2kLayer* owner)
    : imageMutex(QMutex::Recursive), ownerLayer(owner), lineBuffers(4, nullptr)
{}

XRVJP2kRenderer::~XRVJP2kRenderer()
{
    // Closing first waits for a refresh callback in progress, so the engine never calls back
    // into a renderer that is half destroyed.
    Close(true);
    delete currentImage;
    freeLineBuffers();
}

PLK::CError XRVJP2kRenderer::openFile(const QString& path, bool progressive)
{
    const std::wstring widePath = path.toStdWString();
    const PLK::CError result = Open(widePath.c_str(), progressive, false);
    if (result.GetErrorNumber() != PLK::PLK_SUCCESS) return result;
    const PLKFileInfo* info = GetFileInfo();
    if (!info || !GetFile()) {
        qualityLayers = Jp2Metadata().Layers();
        return result;
    }
    hasOpacityBand = getOpacityBandNumber() >= 0;
    if (info->eCellType == PLK_CELL_UINT8 || info->eCellType == PLK_CELL_INT8) {
        calculateMinMaxTransforms(100);
    } else {
        // Wider data cannot be shown without a stretch; the clip comes from the preferences.
        const int clip = XRVJP2kSettings::DefaultClipTransform.in(*Korvane::Application::settings()).toInt();
        clipPercent = static_cast<quint8>(clip);
        calculateMinMaxTransforms(clipPercent);
    }
    qualityLayers = Jp2Metadata().Layers();
    return result;
}

void XRVJP2kRenderer::setTransparency(double value)
{
    if (value == transparency.load()) return;
    transparency = clampKeepingNaN(value, 0.0, 1.0);
}

void XRVJP2kRenderer::setContrast(double value)
{
    if (value == contrast.load()) return;
    contrast = clampKeepingNaN(value, -2.0, 2.0);
}

void XRVJP2kRenderer::setBrightness(double value)
{
    if (value == brightness.load()) return;
    brightness = clampKeepingNaN(value, -2.0, 2.0);
}

void XRVJP2kRenderer::setAzumith(double value)
{
    // Compared with the brightness, not the azimuth: the hill-shade panel has always relied
    // on this, so it is kept as it is.
    if (value == brightness.load()) return;
    azimuth = clampKeepingNaN(value, 0.0, 360.0);
}

void XRVJP2kRenderer::setElevation(double value)
{
    if (value == elevation) return;
    elevation = clampKeepingNaN(value, 0.0, 90.0);
}

void XRVJP2kRenderer::calculateMinMaxTransforms(quint8 percent)
{
    clipPercent = percent;
    const PLKFileInfo* info = GetFileInfo();
    if (!info) return;
    // 8-bit data shown unclipped needs no stretch.
    if (info->eCellType == PLK_CELL_UINT8 && percent == 100) {
        ClearTransforms();
        return;
    }
    // The opacity band is never stretched; it is the last band.
    const quint16 count = hasOpacityBand ? quint16(info->nBands - 1) : quint16(info->nBands);
    std::vector<uint32_t> bands(count);
    std::iota(bands.begin(), bands.end(), 0u);
    std::vector<PLK::API::CMinMaxTransform*> transforms;
    const PLK::CError error = CalculateMinMaxTransforms(count, bands.data(), transforms, double(percent), 100);
    if (error.GetErrorNumber() != PLK::PLK_SUCCESS || count == 0) return;
    for (uint32_t i = 0; i < count && i < transforms.size(); ++i) SetTransform(i, transforms[i]);
}

void XRVJP2kRenderer::setJp2QualityLayers(int layers)
{
    if (layers < 1 || layers > getMaxJp2QualityLayers()) return;
    qualityLayers = layers;
    Jp2Parameters().SetLayersToDecode(layers);
}

int XRVJP2kRenderer::getMaxJp2QualityLayers() const
{
    return Jp2Metadata().Layers();
}

int XRVJP2kRenderer::getOpacityBandNumber() const
{
    const PLKFileInfo* info = GetFileInfo();
    if (!info || !GetFile()) return -1;
    for (int band = int(info->nBands) - 1; band >= 0; --band)
        if (isOpacityDescription(info->pBands[band].szDesc)) return band;
    return -1;
}

PLKRPCData* XRVJP2kRenderer::getRPCData() const
{
    PLKRPCData* rpc = nullptr;
    if (GetRPCData(rpc).GetErrorNumber() != PLK::PLK_SUCCESS) return nullptr;
    return rpc;
}

PLKFileStatistics* XRVJP2kRenderer::getClientStatistics()
{
    PLKFileStatistics* statistics = nullptr;
    if (GetClientStatistics(statistics).GetErrorNumber() != PLK::PLK_SUCCESS) return nullptr;
    return statistics;
}

void XRVJP2kRenderer::cancelRead()
{
    cancelRequested = true;
    // Taking the lock once waits for a swap or paint in progress to finish.
    XRVJP2kImageLock::lock(imageMutex);
    XRVJP2kImageLock::unlock(imageMutex);
}

void XRVJP2kRenderer::clearImage()
{
    XRVJP2kImageLock lock(&imageMutex);
    delete currentImage;
    currentImage = nullptr;
    m_shownImage.reset();
}

PLKReadStatus XRVJP2kRenderer::readView(int width, int height, double x1, double y1, double x2, double y2)
{
    if (readRGBA.load()) return readPackedPixels(width, height, x1, y1, x2, y2);
    return readBandInterleaved(width, height, x1, y1, x2, y2);
}

PLKReadStatus XRVJP2kRenderer::readPackedPixels(int width, int height, double x1, double y1, double x2, double y2)
{
    auto* picture = new Korvane::GeoImage(width, height, x1, y1, x2, y2, QImage::Format_ARGB32, nullptr);
    if (width == 0 || height == 0 || !GetFile()) {
        delete picture;
        return PLK_READ_FAILED;
    }
    if (picture->isNull()) {
        delete picture;
        return PLK_READ_OK;
    }
    Parameters().SetAutoscaleOpacitybandUpEnabled(true);
    PLKReadStatus status = PLK_READ_OK;
    for (int y = 0; y < height; ++y) {
        // ARGB32 lies in memory as blue, green, red, alpha: the engine's packed order.
        status = ReadLineBGRA(picture->scanLine(y));
        if (status != PLK_READ_OK || cancelRequested.load()) return abandon(picture, status);
    }
    return install(picture, status);
}

PLKReadStatus XRVJP2kRenderer::readBandInterleaved(int width, int height, double x1, double y1, double x2, double y2)
{
    auto* picture = new Korvane::GeoImage(width, height, x1, y1, x2, y2, QImage::Format_ARGB32, nullptr);
    if (!GetFile()) {
        delete picture;
        return PLK_READ_FAILED;
    }
    if (picture->isNull()) {
        delete picture;
        return PLK_READ_OK;
    }
    if (width != lineBufferWidth) makeLineBuffers(width);
    Parameters().SetAutoscaleOpacitybandUpEnabled(true);
    PLKReadStatus status = PLK_READ_OK;
    const quint8* red = lineBuffers[0];
    const quint8* green = lineBuffers[1];
    const quint8* blue = lineBuffers[2];
    const quint8* alpha = lineBuffers[3];
    for (int y = 0; y < height; ++y) {
        status = ReadLineBIL(lineBuffers.data(), PLK_CELL_UINT8);
        if (status != PLK_READ_OK || cancelRequested.load()) return abandon(picture, status);
        // Three bands leave the alpha line at its 255; a fourth band is the opacity.
        auto* line = reinterpret_cast<QRgb*>(picture->scanLine(y));
        for (int x = 0; x < width; ++x)
            line[x] = (QRgb(alpha[x]) << 24) | (QRgb(red[x]) << 16) | (QRgb(green[x]) << 8) | QRgb(blue[x]);
    }
    return install(picture, status);
}

void XRVJP2kRenderer::makeLineBuffers(int width)
{
    freeLineBuffers();
    for (quint8*& buffer : lineBuffers) buffer = new quint8[static_cast<size_t>(width)]();
    std::fill_n(lineBuffers[3], width, quint8(255));
    lineBufferWidth = width;
}

void XRVJP2kRenderer::freeLineBuffers()
{
    for (quint8*& buffer : lineBuffers) {
        delete[] buffer;
        buffer = nullptr;
    }
}

PLKReadStatus XRVJP2kRenderer::install(Korvane::GeoImage* picture, PLKReadStatus status)
{
    if (cancelRequested.load()) return abandon(picture, status);
    const Look look = currentLook();
    std::unique_ptr<Korvane::GeoImage> shown = lookOf(*picture, look);
    XRVJP2kImageLock lock(&imageMutex);
    delete currentImage;
    currentImage = picture;
    m_shownImage = std::move(shown);
    m_shownLook = look;
    return status;
}

PLKReadStatus XRVJP2kRenderer::abandon(Korvane::GeoImage* picture, PLKReadStatus status)
{
    delete picture;
    cancelRequested = false;
    return status;
}

PLKReadStatus XRVJP2kRenderer::RefreshUpdateEx(PLKSetViewInfo* pViewInfo)
{
    if (IsReadCancelPending() || IsClosePending()) return PLK_READ_CANCELLED;
    if (pViewInfo->nSizeX == 0 || pViewInfo->nSizeY == 0) return PLK_READ_OK;
    PLKReadStatus status = PLK_READ_OK;
    if (IsProgressive()) {
        status = readView(int(pViewInfo->nSizeX), int(pViewInfo->nSizeY), pViewInfo->fTopX, pViewInfo->fLeftY,
                          pViewInfo->fBottomX, pViewInfo->fRightY);
        if (status != PLK_READ_OK) return status;
    }
    percentComplete = GetPercentComplete();
    ownerLayer->refresh(pViewInfo->fTopX, pViewInfo->fLeftY, pViewInfo->fBottomX, pViewInfo->fRightY);
    return status;
}

void XRVJP2kRenderer::paint(QPainter& painter, const QRectF& world, const QRect& device)
{
    // Blocking views are decoded here, when they are shown.
    if (!IsProgressive() && IsViewSet()) {
        const PLKSetViewInfo view = GetSetViewInfo();
        readView(int(view.nSizeX), int(view.nSizeY), view.fTopX, view.fLeftY, view.fBottomX, view.fRightY);
    }
    XRVJP2kImageLock lock(&imageMutex);
    if (!currentImage) return;
    const Look look = currentLook();
    if (!(look == m_shownLook)) {
        // A setting changed since the picture was installed.
        m_shownImage = lookOf(*currentImage, look);
        m_shownLook = look;
    }
    painter.save();
    painter.setRenderHint(QPainter::SmoothPixmapTransform, pixmapSmoothing);
    painter.setOpacity(look.transparency);
    drawPicture(painter, m_shownImage ? *m_shownImage : *currentImage, world, device);
    painter.restore();
}

bool XRVJP2kRenderer::Look::operator==(const Look& other) const
{
    return sameSetting(contrast, other.contrast) && sameSetting(brightness, other.brightness) &&
           sameSetting(transparency, other.transparency) && hillShade == other.hillShade;
}

XRVJP2kRenderer::Look XRVJP2kRenderer::currentLook() const
{
    return {contrast.load(), brightness.load(), transparency.load(), hillShade.load()};
}

std::unique_ptr<Korvane::GeoImage> XRVJP2kRenderer::lookOf(const Korvane::GeoImage& picture, const Look& look)
{
    // Contrast or brightness away from neutral win over the veil.
    if (look.contrast != 1.0 || look.brightness != 1.0)
        return std::make_unique<Korvane::GeoImage>(XRVJP2kToneTable(look.contrast, look.brightness).applied(picture));
    if (!look.hillShade) return nullptr;
    return std::make_unique<Korvane::GeoImage>(XRVJP2kHillShadeVeil::make(picture, look.transparency));
}

void XRVJP2kRenderer::drawPicture(QPainter& painter, const Korvane::GeoImage& picture, const QRectF& world,
                                  const QRect& device) const
{
    picture.paint(painter, device.x(), device.y(), device.x() + device.width(), device.y() + device.height(), world.x(),
                  world.y(), world.x() + world.width(), world.y() + world.height());
}
