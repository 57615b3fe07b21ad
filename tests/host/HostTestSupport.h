#pragma once
#include "QDGui/Application.h"
#include "QDGui/RasterLayer.h"

#include <QtCore/QTemporaryDir>
#include <QtCore/QThread>
#include <QtCore/QVector>
#include <QtGui/QColor>
#include <QtGui/QImage>
#include <QtTest/QtTest>

// A raster layer with fixed bounds that remembers every setView and every paint (with its
// thread and rectangles). It paints its bounds in one colour and reports the progress set.
class RecordingLayer : public Korvane::Map::RasterLayer {
    Q_OBJECT
public:
    struct ViewCall {
        QSize size;
        double x1, y1, x2, y2;
    };
    struct PaintCall {
        QThread* thread;
        QRect device;
        QRectF world;
    };

    explicit RecordingLayer(const QRectF& bounds, const QColor& color = Qt::darkGreen);

    QRectF getBounds() override { return m_bounds; }
    bool isValid() override { return true; }
    signed char getPercentComplete() override { return percent; }
    void setView(int width, int height, double x1, double y1, double x2, double y2) override;
    void paint(Korvane::GeoPainter& painter, const QRectF* world, const QRect* device) override;

    QVector<ViewCall> views;
    QVector<PaintCall> paints;
    signed char percent = -1;  // what getPercentComplete reports

private:
    QRectF m_bounds;
    QColor m_color;
};

namespace HostTest {

// A picture whose every pixel differs from its neighbours, for exact comparisons.
QImage patternImage(const QSize& size);
bool writeText(const QString& path, const QString& text);
// Whether two pictures have the same size and the same colour in every pixel.
bool samePixels(const QImage& a, const QImage& b);

}  // namespace HostTest

// main() for host tests: a Korvane::Application whose settings live in a temporary folder,
// writing only warnings and worse to stderr.
#define QDGUI_TEST_MAIN(TestObject)                                                  \
    int main(int argc, char** argv)                                                  \
    {                                                                                \
        Korvane::Application app(argc, argv);                                        \
        QTemporaryDir settingsDir;                                                   \
        Korvane::Application::setSettingsFile(settingsDir.filePath("settings.ini")); \
        Korvane::Application::setLogLevel(Korvane::Application::Warning);            \
        TestObject test;                                                             \
        QTEST_SET_MAIN_SOURCE_PATH                                                   \
        return QTest::qExec(&test, argc, argv);                                      \
    }
