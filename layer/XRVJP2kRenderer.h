// One open image or stream of a layer, as the engine's view of it: opens the source, reads
// the view the layer set into a geo-referenced picture and paints the newest picture with
// the layer's transparency, brightness, contrast, smoothing and hill-shade settings.
//
// Progressive views are read inside the engine's refresh callback, on the engine's thread;
// blocking views are read when the picture is painted. The picture lock guards the swap and
// the painting of the current picture only; decoding never holds it.
//
// Contrast and brightness, or the hill-shade veil, are worked into a second picture once,
// when a picture is installed (on the reading thread), and again only when those settings
// change; painting draws that picture as it is.
#pragma once

#include "xrv60.h"

#include <QtCore/QMutex>
#include <QtCore/QRect>
#include <QtCore/QRectF>
#include <QtCore/QString>
#include <QtCore/QVector>

#include <atomic>
#include <memory>

class QPainter;

namespace Korvane {
class GeoImage;
class XRVJP2kLayer;
namespace Map {
class Layer;
}
}  // namespace Korvane

class XRVJP2kRenderer : public PLK::CView {
public:
    explicit XRVJP2kRenderer(Korvane::XRVJP2kLayer* owner);
    ~XRVJP2kRenderer() override;

    // Opens a file or stream; progressive views decode pass by pass on the engine's thread.
    PLK::CError openFile(const QString& path, bool progressive);

    // Painting settings. The clamping setters keep NaN: it passes both bounds unchanged.
    double getTransparency() const { return transparency.load(); }
    void setTransparency(double value);
    double getContrast() const { return contrast.load(); }
    void setContrast(double value);
    double getBrightness() const { return brightness.load(); }
    void setBrightness(double value);
    double getAzumith() const { return azimuth; }
    void setAzumith(double value);
    double getElevation() const { return elevation; }
    void setElevation(double value);
    bool getHillShade() const { return hillShade.load(); }
    void setHillShade(bool on) { hillShade = on; }
    bool getPixmapSmoothing() const { return pixmapSmoothing; }
    void setPixmapSmoothing(bool on) { pixmapSmoothing = on; }
    // Lines as packed pixels (true) or band by band (false).
    bool getReadRGBA() const { return readRGBA.load() != 0; }
    void setReadRGBA(bool on) { readRGBA = on ? 1 : 0; }

    // Dynamic range: the clip, in per cent, of the stretch applied to the bands.
    quint8 getTransformClip() const { return clipPercent; }
    void setTransformClip(quint8 percent) { calculateMinMaxTransforms(percent); }
    void calculateMinMaxTransforms(quint8 percent);

    // JPEG 2000 quality layers decoded; -1 before a file is open.
    int getJp2QualityLayers() const { return qualityLayers; }
    void setJp2QualityLayers(int layers);
    int getMaxJp2QualityLayers() const;

    bool getHasOpacityBand() const { return hasOpacityBand; }
    // The last band described "allopacity", or -1.
    int getOpacityBandNumber() const;

    // Engine records for the caller, who frees them; null when the engine has none.
    PLKRPCData* getRPCData() const;
    PLKFileStatistics* getClientStatistics();

    // Progress of the last progressive pass.
    quint8 getPercentComplete() const { return percentComplete.load(); }

    // Abandons the read in progress and returns once a picture swap or paint in progress
    // has finished.
    void cancelRead();
    // Drops the current picture: nothing is painted until the next read.
    void clearImage();
    // Reads the current view into a new picture of the given size and world extent and
    // makes it current when it is complete.
    PLKReadStatus readView(int width, int height, double x1, double y1, double x2, double y2);
    // Draws the current picture: the part in world into the device rectangle.
    void paint(QPainter& painter, const QRectF& world, const QRect& device);

    // The lock the layer holds while it sets a view, so that no picture is swapped or painted
    // while the view changes.
    QMutex* getImageMutex() { return &imageMutex; }

protected:
    PLKReadStatus RefreshUpdateEx(PLKSetViewInfo* pViewInfo) override;

private:
    // The settings that change how a picture looks when painted.
    struct Look {
        double contrast = 1.0;
        double brightness = 1.0;
        double transparency = 1.0;
        bool hillShade = false;
        bool operator==(const Look& other) const;
    };
    Look currentLook() const;
    // The picture as painted with look; null when that is the picture itself.
    static std::unique_ptr<Korvane::GeoImage> lookOf(const Korvane::GeoImage& picture, const Look& look);

    PLKReadStatus readPackedPixels(int width, int height, double x1, double y1, double x2, double y2);
    PLKReadStatus readBandInterleaved(int width, int height, double x1, double y1, double x2, double y2);
    void makeLineBuffers(int width);
    void freeLineBuffers();
    // Makes picture current unless the read was cancelled meanwhile.
    PLKReadStatus install(Korvane::GeoImage* picture, PLKReadStatus status);
    // A cancelled read drops its picture and reports success.
    PLKReadStatus abandon(Korvane::GeoImage* picture, PLKReadStatus status);
    void drawPicture(QPainter& painter, const Korvane::GeoImage& picture, const QRectF& world,
                     const QRect& device) const;

    QMutex imageMutex;
    Korvane::GeoImage* currentImage = nullptr;
    // currentImage with m_shownLook worked in, or null when it is painted as it is.
    std::unique_ptr<Korvane::GeoImage> m_shownImage;
    Look m_shownLook;
    Korvane::Map::Layer* ownerLayer;
    // Set on the GUI thread, read also by the reading thread when it installs a picture.
    std::atomic<double> transparency{1.0};
    std::atomic<double> contrast{1.0};
    std::atomic<double> brightness{1.0};
    double azimuth = 45.0;
    double elevation = 45.0;
    // Set by the GUI thread, read between lines by the reading thread.
    std::atomic<bool> cancelRequested{false};
    bool hasOpacityBand = false;
    std::atomic<bool> hillShade{false};
    bool pixmapSmoothing = false;
    std::atomic<qint32> readRGBA{1};
    std::atomic<quint8> percentComplete{0};
    QVector<quint8*> lineBuffers;
    qint32 lineBufferWidth = 0;
    quint8 clipPercent = 100;
    qint32 qualityLayers = -1;
};
