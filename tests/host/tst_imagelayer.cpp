// Pictures in the world: a geo-referenced picture draws the part of itself that lies in a world
// rectangle into a device rectangle; the built-in image layer places its picture by a world file
// (the numbers name the centre of the top-left cell), in pixel units without one, gives clear
// errors for bad files, and a map view shows the picture where the world file puts it.
#include "HostTestSupport.h"

#include "QDGui/GeoImage.h"
#include "QDGui/ImageLayer.h"
#include "QDGui/MapView.h"

#include <QtGui/QImageWriter>
#include <QtGui/QPainter>

using Korvane::GeoImage;
using Korvane::ImageLayer;

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

class TestImageLayer : public QObject {
    Q_OBJECT

private slots:
    void worldFilePlacesThePicture_data()
    {
        QTest::addColumn<QStringList>("files");  // the picture, its world file (empty: none)
        QTest::addColumn<QString>("content");
        QTest::addColumn<QRectF>("bounds");
        const QString northUp = "10\n0\n0\n-10\n500005\n5299995\n";
        const QRectF northUpBounds(500000, 5300000, 80, -60);
        const QRectF pixels(0, 0, 8, -6);
        QTest::newRow("pgw") << QStringList{"a.png", "a.pgw"} << northUp << northUpBounds;
        QTest::newRow("upper-case wld") << QStringList{"a.png", "a.WLD"} << northUp << northUpBounds;
        QTest::newRow("tfw beside a tiff") << QStringList{"b.tiff", "b.tfw"} << northUp << northUpBounds;
        QTest::newRow("jgw beside a jpeg") << QStringList{"c.jpg", "c.jgw"} << northUp << northUpBounds;
        QTest::newRow("blank lines and spacing")
            << QStringList{"a.png", "a.pgw"} << "  0.5\n\n0\n0\n-0.25\n 100.25 \n 49.875\n"
            << QRectF(100, 50, 4, -1.5);
        QTest::newRow("south-up") << QStringList{"a.png", "a.pgw"} << "2\n0\n0\n2\n1\n1\n" << QRectF(0, 0, 16, 12);
        QTest::newRow("no world file: pixel units") << QStringList{"a.png", ""} << QString() << pixels;
        QTest::newRow("another picture's world file") << QStringList{"a.png", "other.pgw"} << northUp << pixels;
    }

    void worldFilePlacesThePicture()
    {
        QFETCH(QStringList, files);
        QFETCH(QString, content);
        QFETCH(QRectF, bounds);
        const QString image = files[0], worldFile = files[1];
        QTemporaryDir dir;
        const QString format = image.endsWith(".png") ? "PNG" : image.endsWith(".jpg") ? "JPEG" : "TIFF";
        if (!QImageWriter::supportedImageFormats().contains(format.toLower().toLatin1()))
            QSKIP("Qt's image format plug-ins for this format are not installed (qt5-image-formats-plugins)");
        QVERIFY(HostTest::patternImage(QSize(8, 6)).save(dir.filePath(image), qPrintable(format)));
        if (!worldFile.isEmpty()) QVERIFY(HostTest::writeText(dir.filePath(worldFile), content));

        ImageLayer layer;
        QVERIFY2(layer.setDataSource(dir.filePath(image)), qPrintable(layer.getLastError()));
        QCOMPARE(layer.getBounds(), bounds);
        QCOMPARE(layer.getCellSizeY(), bounds.height() / 6);
    }

    void badSources_data()
    {
        QTest::addColumn<QString>("worldFile");  // beside a.png
        QTest::addColumn<int>("picture");        // a.png: 0 none, 1 a picture, 2 not a picture
        QTest::addColumn<QString>("errorPart");
        QTest::newRow("five numbers") << "1\n0\n0\n-1\n5\n" << 1 << "5 numbers instead of six";
        QTest::newRow("words") << "1\n0\nzero\n-1\n5\n5\n" << 1 << "line 3";
        QTest::newRow("zero cell size") << "0\n0\n0\n-1\n5\n5\n" << 1 << "cell size of zero";
        QTest::newRow("missing picture") << QString() << 0 << "does not exist";
        QTest::newRow("not a picture") << QString() << 2 << "a.png";
    }

    void badSources()
    {
        QFETCH(QString, worldFile);
        QFETCH(int, picture);
        QFETCH(QString, errorPart);
        QTemporaryDir dir;
        QVERIFY(HostTest::patternImage(QSize(8, 6)).save(dir.filePath("good.png")));
        if (picture == 2) QVERIFY(HostTest::writeText(dir.filePath("a.png"), "not a picture"));
        if (picture == 1) QVERIFY(HostTest::patternImage(QSize(8, 6)).save(dir.filePath("a.png")));
        if (!worldFile.isEmpty()) QVERIFY(HostTest::writeText(dir.filePath("a.pgw"), worldFile));
        ImageLayer layer;
        QVERIFY(!layer.setDataSource(dir.filePath("a.png")));
        QVERIFY2(layer.getLastError().contains(errorPart), qPrintable(layer.getLastError()));
        QVERIFY(!layer.isValid());
        // A failed re-open keeps the picture that was showing.
        QVERIFY(layer.setDataSource(dir.filePath("good.png")));
        QVERIFY(!layer.setDataSource(dir.filePath("a.png")));
        QVERIFY(layer.isValid());
        QCOMPARE(layer.getDataSource(), dir.filePath("good.png"));
    }

    void mapViewShowsThePictureWhereItBelongs()
    {
        QTemporaryDir dir;
        const QImage source = HostTest::patternImage(QSize(40, 30));
        QVERIFY(source.save(dir.filePath("a.png")));
        QVERIFY(HostTest::writeText(dir.filePath("a.pgw"), "10\n0\n0\n-10\n500005\n5299995\n"));
        auto* layer = new ImageLayer;
        QVERIFY(layer->setDataSource(dir.filePath("a.png")));
        Korvane::Map::MapView view;
        view.resize(160, 120);  // four device pixels per cell
        view.addLayer(layer, -1);
        QImage shown(view.size(), QImage::Format_ARGB32);
        view.renderTo(shown);
        QVERIFY(HostTest::samePixels(shown, source.scaled(160, 120)));
        // World (500100, 5299900) is the top-left corner of cell (10, 10).
        QCOMPARE(view.toDevice(QPointF(500100, 5299900)), QPointF(40, 40));
    }

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

QDGUI_TEST_MAIN(TestImageLayer)
#include "tst_imagelayer.moc"
