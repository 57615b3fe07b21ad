// A geo-referenced picture draws the part of itself that lies in a world rectangle into a
// device rectangle; the geo painter maps world rectangles onto its device.
#include "HostTestSupport.h"

#include "QDGui/GeoImage.h"
#include "QDGui/GeoPainter.h"

using Korvane::GeoImage;
using Korvane::GeoPainter;

namespace {

// 4 x 4 cells of 10 world units, north-up, top-left corner at (100, 200): four quadrants of
// red (top left), green (top right), blue (bottom left) and yellow (bottom right).
GeoImage quadrants()
{
    GeoImage image(4, 4, 100, 200, 140, 160, QImage::Format_ARGB32);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x) {
            const Qt::GlobalColor c = y < 2 ? (x < 2 ? Qt::red : Qt::green) : (x < 2 ? Qt::blue : Qt::yellow);
            image.setPixelColor(x, y, QColor(c));
        }
    return image;
}

const QColor Background(Qt::white);

}  // namespace

class TestGeoImage : public QObject {
    Q_OBJECT

private slots:
    void paintMapsWorldToDevice_data()
    {
        QTest::addColumn<QRectF>("device");  // corners (dx1, dy1)-(dx2, dy2) as x, y, right, bottom
        QTest::addColumn<QRectF>("world");   // corners (wx1, wy1)-(wx2, wy2) likewise
        QTest::addColumn<QPoint>("probe");
        QTest::addColumn<QColor>("expected");

        const QRectF whole(QPointF(100, 200), QPointF(140, 160));
        const QRectF device8(QPointF(0, 0), QPointF(8, 8));
        QTest::newRow("whole picture, top left") << device8 << whole << QPoint(0, 0) << QColor(Qt::red);
        QTest::newRow("whole picture, quadrant edge") << device8 << whole << QPoint(4, 4) << QColor(Qt::yellow);
        QTest::newRow("whole picture, last red") << device8 << whole << QPoint(3, 3) << QColor(Qt::red);

        const QRectF bottomRight(QPointF(120, 180), QPointF(140, 160));
        QTest::newRow("bottom-right quarter fills the device")
            << device8 << bottomRight << QPoint(0, 0) << QColor(Qt::yellow);

        const QRectF middle(QPointF(2, 2), QPointF(6, 6));
        QTest::newRow("into a device sub-rectangle") << middle << whole << QPoint(2, 2) << QColor(Qt::red);
        QTest::newRow("outside the device rectangle untouched") << middle << whole << QPoint(1, 1) << Background;

        // The world rectangle is twice the picture: the picture takes the middle half.
        const QRectF larger(QPointF(80, 220), QPointF(160, 140));
        QTest::newRow("world beyond the picture stays empty") << device8 << larger << QPoint(1, 1) << Background;
        QTest::newRow("picture in the middle") << device8 << larger << QPoint(2, 2) << QColor(Qt::red);

        // Half a cell to the right: device column 0 shows the right half of cell 0.
        const QRectF shifted(QPointF(105, 200), QPointF(145, 160));
        QTest::newRow("shifted by half a cell") << device8 << shifted << QPoint(2, 0) << QColor(Qt::red);
        QTest::newRow("shifted by half a cell, past the end") << device8 << shifted << QPoint(7, 0) << Background;

        // A world rectangle given south-up mirrors the picture vertically.
        const QRectF flipped(QPointF(100, 160), QPointF(140, 200));
        QTest::newRow("mirrored rows") << device8 << flipped << QPoint(0, 0) << QColor(Qt::blue);
    }

    void paintMapsWorldToDevice()
    {
        QFETCH(QRectF, device);
        QFETCH(QRectF, world);
        QFETCH(QPoint, probe);
        QFETCH(QColor, expected);
        QImage target(8, 8, QImage::Format_ARGB32);
        target.fill(Background);
        QPainter painter(&target);
        quadrants().paint(painter, device.left(), device.top(), device.right(), device.bottom(), world.left(),
                          world.top(), world.right(), world.bottom());
        painter.end();
        QCOMPARE(target.pixelColor(probe), expected);
    }

    void paintHonoursOpacity()
    {
        QImage target(8, 8, QImage::Format_ARGB32);
        target.fill(Qt::black);
        QPainter painter(&target);
        painter.setOpacity(0.5);
        quadrants().paint(painter, 0, 0, 8, 8, 100, 200, 140, 160);
        painter.end();
        const QColor mixed = target.pixelColor(0, 0);
        QVERIFY(qAbs(mixed.red() - 128) <= 2);
        QCOMPARE(mixed.green(), 0);
    }

    void drawWorldRect_data()
    {
        QTest::addColumn<QTransform>("worldToDevice");
        QTest::addColumn<QRectF>("world");
        QTest::addColumn<QRect>("device");
        // 1 unit = 2 pixels, north-up with world (0, 10) at the device's top-left.
        const QTransform northUp(2, 0, 0, -2, 0, 20);
        QTest::newRow("corners in order") << northUp << QRectF(QPointF(1, 9), QPointF(4, 6)) << QRect(2, 2, 6, 6);
        QTest::newRow("corners swapped") << northUp << QRectF(QPointF(4, 6), QPointF(1, 9)) << QRect(2, 2, 6, 6);
        QTest::newRow("bounds with negative height") << northUp << QRectF(1, 9, 3, -3) << QRect(2, 2, 6, 6);
        const QTransform southUp(1, 0, 0, 1, 10, 10);
        QTest::newRow("south-up offset") << southUp << QRectF(0, 0, 5, 4) << QRect(10, 10, 5, 4);
    }

    void drawWorldRect()
    {
        QFETCH(QTransform, worldToDevice);
        QFETCH(QRectF, world);
        QFETCH(QRect, device);
        QImage target(24, 24, QImage::Format_ARGB32);
        target.fill(Qt::white);
        GeoPainter painter(&target, worldToDevice);
        painter.setPen(Qt::NoPen);
        painter.setBrush(Qt::black);
        painter.drawWorldRect(world);
        QCOMPARE(painter.toWorld(painter.toDevice(QPointF(3, 7))), QPointF(3, 7));
        painter.end();
        QRect painted;
        for (int y = 0; y < target.height(); ++y)
            for (int x = 0; x < target.width(); ++x)
                if (target.pixelColor(x, y) == Qt::black) painted |= QRect(x, y, 1, 1);
        QCOMPARE(painted, device);
    }
};

QDGUI_TEST_MAIN(TestGeoImage)
#include "tst_geoimage.moc"
