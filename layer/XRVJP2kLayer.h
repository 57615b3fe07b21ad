// The map layer of XRV and JPEG 2000 images and streams. The host's map view owns it, tells
// it what is on screen and asks it to paint; the layer clips the view to the image, hands it
// to its renderer (and, with the backing store on, a quarter-size view to a second renderer)
// and draws the renderers' pictures. Almost every image setting lives in the renderer; the
// layer forwards to it and answers fixed defaults while no source is open.
#pragma once

#include "QDGui/HistogramT.h"
#include "QDGui/IRasterLayerHistogram.h"
#include "QDGui/RasterLayer.h"

#include "XRVJP2kRendererPair.h"
#include "XRVJP2kViewRequest.h"

#include "xrv60.h"

#include <QtCore/QList>
#include <QtCore/QRect>
#include <QtCore/QRectF>
#include <QtCore/QSize>
#include <QtCore/QString>
#include <QtCore/QVector>
#include <QtGui/QColor>
#include <QtGui/QIcon>
#include <QtGui/QPen>

class XRVJP2kRenderer;

namespace Korvane {

namespace Map {
class IRendererClient;
}

class XRVJP2kLayer : public Korvane::Map::RasterLayer, public Korvane::Map::IRasterLayerHistogram {
    Q_OBJECT
    Q_PROPERTY(QString SizeOnDisk READ getSizeOnDisk)
    Q_PROPERTY(QString SizeGigaPixel READ getSizeGigaPixel)
    Q_PROPERTY(int XRVPVersion READ getXRVPVersion)
    Q_PROPERTY(int FileFormatVersion READ getFileFormatVersion)
    Q_PROPERTY(double Contrast READ getContrast WRITE setContrast)
    Q_PROPERTY(double Brightness READ getBrightness WRITE setBrightness)
    Q_PROPERTY(QVector<qint32> BandList READ getBandList WRITE setBandList)
    Q_PROPERTY(bool FreeCache READ getFreeCache WRITE setFreeCache)
    Q_PROPERTY(bool PixmapSmoothing READ getPixmapSmoothing WRITE setPixmapSmoothing)
    Q_PROPERTY(bool Progressive READ getProgressive WRITE setProgressive)
    Q_PROPERTY(bool AdaptiveRoam READ getAdaptiveRoam WRITE setAdaptiveRoam)
    Q_PROPERTY(bool ReadRGBA READ getReadRGBA WRITE setReadRGBA)
    Q_PROPERTY(int TransformClip READ getTransformClip WRITE setTransformClip)
    Q_PROPERTY(int OpacityBandNumber READ getOpacityBandNumber)
    Q_PROPERTY(XRVJP2kLayer::ResampleType ResampleMethod READ getResampleType WRITE setResampleType)
    Q_PROPERTY(bool DrawOutline READ getDrawOutline WRITE setDrawOutline)
    Q_PROPERTY(QColor OutlineColor READ getOutlineColor WRITE setOutlineColor)
    Q_PROPERTY(bool BackingStore READ getBackingStore WRITE setBackingStore)
    Q_PROPERTY(bool TextureDither READ getTextureDither WRITE setTextureDither)
    Q_PROPERTY(int Jp2QualityLayers READ getJp2QualityLayers WRITE setJp2QualityLayers)

public:
    // Handed unchanged to the engine's resample method.
    enum ResampleType { NearestNeighbour = 0, Bilinear = 1 };

    // The JPEG 2000 code-stream parameters shown by the header page.
    struct Jp2FileInfo {
        int profile = 0;
        QString comments;
        QSize numberOfTiles;
        QSize tileSize;
        QString precinctSizesX;
        QString precinctSizesY;
        QSize codeBlockSize;
        QString bitDepths;
        int resolutionLevels = 0;
        int qualityLayers = 0;
        QString progressionOrder;
        QString filter;
        bool useSOP = false;
        bool useEPH = false;
        bool hasGML = false;
    };

    explicit XRVJP2kLayer(Korvane::Map::IRendererClient* client);
    ~XRVJP2kLayer() override;

    // Layer
    QString getDataSource() override;
    bool setDataSource(QString source) override;
    QIcon getIcon() override;
    bool isVisible() override;
    void setVisible(bool visible) override;

    // RasterLayer
    QString getFormat() override;
    QString getCoordSysName() override;
    void setView(int width, int height, double x1, double y1, double x2, double y2) override;
    void beginUpdate(bool interactive) override;
    void endUpdate() override;
    QRectF getBounds() override;
    bool isValid() override;
    QString getLastError() override;
    QString getProtocol() override;
    signed char getPercentComplete() override;
    bool readXML(QDomNode& node, QDir& projectDir, QString* error) override;
    bool writeXML(QDomNode& node, QDomDocument& document) override;
    void paint(Korvane::GeoPainter& painter, const QRectF* world, const QRect* device) override;
    double getCellSizeX() override;
    double getCellSizeY() override;
    double getTransparency() override;
    void setTransparency(double transparency) override;
    int getNumberOfBands() override;
    QVector<int> getBandList() override;
    void setBandList(QVector<int> bands) override;
    QSize getSize() override;
    QString getCellType() override;
    bool hasOpacity() override;
    int getOpacityBandNumber() override;
    double getRotation() override;
    ColorSpace getColorSpace() override;
    double getContrast() override;
    void setContrast(double contrast) override;
    double getBrightness() override;
    void setBrightness(double brightness) override;

    // This layer's own settings.
    virtual ResampleType getResampleType();
    virtual void setResampleType(ResampleType type);
    virtual bool getFreeCache();
    virtual void setFreeCache(bool free);
    virtual bool getPixmapSmoothing();
    virtual void setPixmapSmoothing(bool smoothing);
    virtual bool getProgressive();
    virtual void setProgressive(bool progressive);
    virtual bool getAdaptiveRoam();
    virtual void setAdaptiveRoam(bool adaptive);
    virtual bool getReadRGBA();
    virtual void setReadRGBA(bool rgba);
    virtual QString getSizeOnDisk();
    virtual QString getSizeGigaPixel();
    virtual int getXRVPVersion();
    virtual int getFileFormatVersion();
    virtual void setTransformClip(int percent);
    virtual int getTransformClip();
    virtual bool getDrawOutline();
    virtual void setDrawOutline(bool draw);
    virtual QColor getOutlineColor();
    virtual void setOutlineColor(QColor color);
    virtual bool getBackingStore();
    virtual void setBackingStore(bool backing);
    virtual bool getTextureDither();
    virtual void setTextureDither(bool dither);
    virtual int getJp2QualityLayers();
    virtual void setJp2QualityLayers(int layers);
    virtual int getMaxJp2QualityLayers();

    // IRasterLayerHistogram: only reset is used; the histograms cover the whole image.
    QVector<Korvane::Map::HistogramT<quint64>> getHistograms(bool reset, bool approximate, QSize size, double x1,
                                                             double y1, double x2, double y2) override;

    // Hill shading, held by the main renderer; the hillshade panel redraws.
    double getAzumith();
    void setAzumith(double azimuth);
    double getElevation();
    void setElevation(double elevation);
    bool getHillShade();
    void setHillShade(bool on);

    // For the information pages. The caller frees statistics with PLKFreeStatistics and RPC
    // data with PLKFreeRPCData.
    PLK::CView* getFile();
    PLKFileInfo* getFileInfo();
    PLKFileType getFileType();
    PLKRPCData* getRPCInfo();
    PLKFileStatistics* getStatistics();
    bool getJp2FileInfo(Jp2FileInfo& info);
    QList<QString> getBandDescriptions();

private:
    XRVJP2kRenderer* renderer() const { return m_renderers.main(); }
    void refreshWithUpdate();
    QVector<int> getDefaultBandList();

    // What a re-opened source keeps of the image settings.
    struct ImageSettings {
        int clip = 100;
        double transparency = 1.0;
        double brightness = 1.0;
        double contrast = 1.0;
        QVector<int> bands;
        ResampleType method = NearestNeighbour;
    };

    // setDataSource in its steps.
    bool resolveSource(QString& source);
    ImageSettings currentImageSettings();
    void carryImageSettings(const ImageSettings& kept);
    void applyFirstOpenSettings();
    void describeSource(const QString& source);
    void requestViewAgain();
    // True when the backing picture may show under the main one.
    bool shouldPaintBacking();
    // The main renderer's view name as the engine holds it.
    QString viewName();

    // The last view after clipping to the image and snapping to whole cells.
    XRVJP2kViewRequest m_lastView;
    bool updating = false;
    bool freeCache = true;
    bool visible = true;
    bool pixmapSmoothing;
    bool valid = false;
    bool progressive;
    bool adaptiveRoam;
    bool readRGBA = true;
    bool viewSet = false;
    bool drawOutline;
    bool backingStore;
    ResampleType defaultResampleType;
    QVector<qint32> bandList;
    XRVJP2kRendererPair m_renderers;
    QString lastError;
    QString sizeGigaPixel;
    QString sizeOnDisk;
    QColor outlineColor;
    QPen outlinePen;
    qint64 lastReconnectTime;
    QVector<Korvane::Map::HistogramT<quint64>> histogramCache;
};

}  // namespace Korvane

// Known to the meta-type system so that the ResampleMethod property reads and writes.
Q_DECLARE_METATYPE(Korvane::XRVJP2kLayer::ResampleType)
