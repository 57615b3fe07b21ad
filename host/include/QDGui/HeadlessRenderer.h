#pragma once
#include "QDGui/Export.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QRectF>
#include <QtCore/QSize>
#include <QtGui/QColor>
#include <QtGui/QImage>

namespace Korvane {

class PluginManager;

namespace Map {
class RasterLayer;
}

// Renders one layer into a picture without a window, through the same plug-in path as the
// viewer: the layer gets a view of the picture's size and world rectangle, events are
// processed (progressive layers deliver their pictures from other threads through refresh)
// until the layer reports 100 % (or no progress at all) and has sent no refresh for the
// quiet time (the first-picture time while it has sent none), or until its progress has not
// moved for the stall timeout; then the layer paints.
class QDGUI_EXPORT HeadlessRenderer {
    Q_DECLARE_TR_FUNCTIONS(Korvane::HeadlessRenderer)
public:
    explicit HeadlessRenderer(PluginManager* plugins);

    int stallTimeout() const { return m_stallTimeoutMs; }
    void setStallTimeout(int milliseconds) { m_stallTimeoutMs = milliseconds; }
    // Default 250 ms after the last refresh, 1000 ms when there has been none.
    void setQuietTimes(int afterRefreshMs, int withoutRefreshMs)
    {
        m_quietMs = afterRefreshMs;
        m_firstPictureMs = withoutRefreshMs;
    }
    // Fill of the picture before the layer paints. Default: transparent.
    QColor background() const { return m_background; }
    void setBackground(const QColor& color) { m_background = color; }
    // True when the last render stopped on the stall timeout rather than at 100 %.
    bool lastRenderStalled() const { return m_stalled; }

    // Opens source and renders the world rectangle from corner (extent->x(), extent->y()) to
    // (extent->right(), extent->bottom()), or the layer's bounds when extent is null.
    bool render(const QString& source, const QSize& size, const QRectF* extent, QImage* out, QString* error);
    bool render(Map::RasterLayer* layer, const QSize& size, const QRectF& extent, QImage* out, QString* error);
    // Opens, renders and writes a PNG (or whatever the file's extension names).
    bool renderToFile(const QString& source, const QSize& size, const QRectF* extent, const QString& outputPath,
                      QString* error);

    // "400x300" -> QSize(400, 300); false for anything else or non-positive sizes.
    static bool parseSize(const QString& text, QSize* size);
    // "x1,y1,x2,y2" -> the rectangle from corner (x1, y1) to (x2, y2).
    static bool parseExtent(const QString& text, QRectF* extent);

private:
    void waitForPicture(Map::RasterLayer* layer);

    PluginManager* m_plugins;
    int m_stallTimeoutMs = 10000;
    int m_quietMs = 250;
    int m_firstPictureMs = 1000;
    QColor m_background = Qt::transparent;
    bool m_stalled = false;
};

}  // namespace Korvane
