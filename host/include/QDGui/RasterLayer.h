#pragma once
#include "QDGui/CoordinateReference.h"
#include "QDGui/Layer.h"

#include <QtCore/QRect>
#include <QtCore/QRectF>
#include <QtCore/QSize>
#include <QtCore/QVector>

namespace Korvane {

class GeoPainter;

namespace Map {

class IRendererClient;

// A layer of cells with a world extent, drawn by the map view. The view tells the layer what
// is on screen with setView after every change and brackets interactive pans and zooms with
// beginUpdate/endUpdate; it then asks the layer to paint.
//
// World rectangles are given by two corners: (x1, y1) is the world point shown at the top
// left, (x2, y2) the one at the bottom right. getBounds() follows the same rule as a QRectF:
// left and top are the world coordinates of the image's top-left corner, width and height
// are cell count times cell size, so the height is negative for north-up images.
class QDGUI_EXPORT RasterLayer : public Layer {
    Q_OBJECT
public:
    enum ColorSpace { RGB = 0, Greyscale = 1, Multiband = 2, Unknown = 3 };
    Q_ENUM(ColorSpace)

    explicit RasterLayer(IRendererClient* client, QObject* parent = nullptr);
    ~RasterLayer() override;

    // The defaults below describe a layer with nothing open.
    virtual QString getFormat();        // "" (e.g. "PNG", "JPEG 2000")
    virtual QString getCoordSysName();  // crs().name()
    // width and height in device pixels; (x1, y1) world of the device's top-left corner,
    // (x2, y2) world of its bottom-right corner. Default: nothing.
    virtual void setView(int width, int height, double x1, double y1, double x2, double y2);
    // An interactive pan or zoom starts / ends; the flag is free for layers to use.
    virtual void beginUpdate(bool interactive);
    virtual void endUpdate();
    virtual QRectF getBounds();      // empty rectangle
    virtual bool isValid();          // false
    virtual QString getLastError();  // ""
    virtual QString getProtocol();   // ""
    // 0..100 while the picture of the last view is built, 100 when complete, negative when
    // the layer has no progress to report. Default: -1.
    virtual signed char getPercentComplete();
    // Draws the layer's part of the world rectangle into the device rectangle (same corner
    // rule as setView, taken from the rectangles' x, y, width and height). Default: nothing.
    virtual void paint(Korvane::GeoPainter& painter, const QRectF* world, const QRect* device);
    virtual double getCellSizeX();  // 1.0
    virtual double getCellSizeY();  // 1.0
    // Painter opacity, 1.0 opaque.
    virtual double getTransparency();  // 1.0
    virtual void setTransparency(double transparency);
    virtual int getNumberOfBands();      // 0
    virtual QVector<int> getBandList();  // empty
    virtual void setBandList(QVector<int> bands);
    virtual QSize getSize();             // 0 x 0 cells
    virtual QString getCellType();       // ""
    virtual bool hasOpacity();           // false
    virtual int getOpacityBandNumber();  // -1
    virtual double getRotation();        // 0.0 degrees
    virtual ColorSpace getColorSpace();  // Unknown
    virtual double getContrast();        // 1.0 (neutral)
    virtual void setContrast(double contrast);
    virtual double getBrightness();  // 1.0 (neutral)
    virtual void setBrightness(double brightness);

    CoordinateReference& crs() { return m_crs; }
    const CoordinateReference& crs() const { return m_crs; }
    IRendererClient* rendererClient() const { return m_client; }

private:
    IRendererClient* m_client = nullptr;
    CoordinateReference m_crs;
    double m_transparency = 1.0;
    double m_contrast = 1.0;
    double m_brightness = 1.0;
    QVector<int> m_bandList;
};

}  // namespace Map
}  // namespace Korvane
