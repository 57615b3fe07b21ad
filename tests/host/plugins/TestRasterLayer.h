#pragma once
#include "QDGui/RasterLayer.h"

#include <QtGui/QColor>

#include <atomic>
#include <thread>

// The layer of the tests' plug-in. Its data source is a text file "*.tstr" holding
// "WIDTH HEIGHT COLOUR [late]" (e.g. "40 30 #ff8000"): a plain picture of that colour in
// pixel units. Like a progressive decoder it builds each view on a worker thread, in ten
// steps, calling refresh from there; until the last step it paints grey. A "late" layer's
// worker starts 200 ms after setView and reports the previous view's 100 % until then, as
// decoders that update their progress on their own thread do.
class TestRasterLayer : public Korvane::Map::RasterLayer {
    Q_OBJECT
public:
    TestRasterLayer() : RasterLayer(nullptr) {}
    ~TestRasterLayer() override { stopWorker(); }

    QString getDataSource() override { return m_source; }
    bool setDataSource(QString source) override;
    QString getFormat() override { return QStringLiteral("TSTR"); }
    void setView(int width, int height, double x1, double y1, double x2, double y2) override;
    QRectF getBounds() override;
    bool isValid() override { return !m_size.isEmpty(); }
    QString getLastError() override { return m_lastError; }
    signed char getPercentComplete() override { return static_cast<signed char>(m_percent.load()); }
    void paint(Korvane::GeoPainter& painter, const QRectF* world, const QRect* device) override;

private:
    void stopWorker();

    QString m_source;
    QString m_lastError;
    QSize m_size;
    QColor m_color;
    bool m_late = false;
    std::atomic<int> m_percent{-1};
    std::atomic<bool> m_cancel{false};
    std::thread m_worker;
};
