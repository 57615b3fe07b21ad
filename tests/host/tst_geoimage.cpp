// A geo-referenced picture draws the part of itself that lies in a world rectangle into a
// device rectangle.
#include "HostTestSupport.h"

#include "QDGui/GeoImage.h"

#include <QtGui/QPainter>

using Korvane::GeoImage;

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
};

QDGUI_TEST_MAIN(TestGeoImage)
#include "tst_geoimage.moc"
