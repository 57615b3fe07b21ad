#pragma once
#include "QDGui/GeoImage.h"
#include "QDGui/RasterLayer.h"

namespace Korvane {

// The host's own raster layer: a PNG, TIFF or JPEG picture read whole through Qt's image
// readers. A world file beside the picture (.pgw/.pngw, .tfw/.tifw, .jgw/.jpgw, or .wld)
// places it in the world; without one the picture lies in pixel units, origin (0, 0), cells
// 1 wide and -1 high. Rotation terms of a world file are reported but not drawn.
class QDGUI_EXPORT ImageLayer : public Map::RasterLayer {
    Q_OBJECT
public:
    static const char* const FileFilter;  // "Images (*.png *.tif *.tiff *.jpg *.jpeg)"

    explicit ImageLayer(Map::IRendererClient* client = nullptr, QObject* parent = nullptr);
    ~ImageLayer() override;

    // True when the file name has one of the extensions of FileFilter.
    static bool canRead(const QString& path);

    QString getDataSource() override;
    bool setDataSource(QString source) override;
    QIcon getIcon() override;

    QString getFormat() override;
    void setView(int width, int height, double x1, double y1, double x2, double y2) override;
    QRectF getBounds() override;
    bool isValid() override;
    QString getLastError() override;
    QString getProtocol() override;
    signed char getPercentComplete() override;
    void paint(Korvane::GeoPainter& painter, const QRectF* world, const QRect* device) override;
    double getCellSizeX() override;
    double getCellSizeY() override;
    int getNumberOfBands() override;
    QSize getSize() override;
    QString getCellType() override;
    bool hasOpacity() override;
    int getOpacityBandNumber() override;
    double getRotation() override;
    ColorSpace getColorSpace() override;

    // The world file that placed the picture, empty when none was found.
    QString worldFile() const { return m_worldFile; }

private:
    bool readWorldFile(const QString& imagePath, QString* error);

    QString m_source;
    QString m_format;
    QString m_worldFile;
    QString m_lastError;
    GeoImage m_image;
    double m_originX = 0.0;
    double m_originY = 0.0;
    double m_cellX = 1.0;
    double m_cellY = -1.0;
    double m_rotation = 0.0;
    int m_bands = 0;
};

}  // namespace Korvane
