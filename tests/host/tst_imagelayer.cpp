// The built-in image layer: world files place the picture (the numbers name the centre of
// the top-left cell), pixel units without one, clear errors for bad files, and a map view
// shows the picture where the world file puts it.
#include "HostTestSupport.h"

#include "QDGui/ImageLayer.h"
#include "QDGui/MapView.h"

#include <QtGui/QImageWriter>

using Korvane::ImageLayer;

class TestImageLayer : public QObject {
    Q_OBJECT

private slots:
    void worldFilePlacesThePicture_data()
    {
        QTest::addColumn<QString>("image");
        QTest::addColumn<QString>("worldFile");  // empty: none
        QTest::addColumn<QString>("content");
        QTest::addColumn<QRectF>("bounds");

        const QString northUp = "10\n0\n0\n-10\n500005\n5299995\n";
        const QRectF northUpBounds(500000, 5300000, 80, -60);
        QTest::newRow("pgw") << "a.png"
                             << "a.pgw" << northUp << northUpBounds;
        QTest::newRow("wld") << "a.png"
                             << "a.wld" << northUp << northUpBounds;
        QTest::newRow("upper-case extension") << "a.png"
                                              << "a.PGW" << northUp << northUpBounds;
        QTest::newRow("tfw beside a tiff") << "b.tiff"
                                           << "b.tfw" << northUp << northUpBounds;
        QTest::newRow("jgw beside a jpeg") << "c.jpg"
                                           << "c.jgw" << northUp << northUpBounds;
        QTest::newRow("blank lines and spacing") << "a.png"
                                                 << "a.pgw"
                                                 << "  0.5\n\n0\n0\n-0.25\n 100.25 \n 49.875\n"
                                                 << QRectF(100, 50, 4, -1.5);
        QTest::newRow("south-up") << "a.png"
                                  << "a.pgw"
                                  << "2\n0\n0\n2\n1\n1\n"
                                  << QRectF(0, 0, 16, 12);
        QTest::newRow("no world file: pixel units") << "a.png"
                                                    << ""
                                                    << "" << QRectF(0, 0, 8, -6);
        QTest::newRow("world file of another picture ignored") << "a.png"
                                                               << "other.pgw" << northUp << QRectF(0, 0, 8, -6);
    }

    void worldFilePlacesThePicture()
    {
        QFETCH(QString, image);
        QFETCH(QString, worldFile);
        QFETCH(QString, content);
        QFETCH(QRectF, bounds);
        QTemporaryDir dir;
        const QString format = image.endsWith(".png") ? "PNG" : image.endsWith(".jpg") ? "JPEG" : "TIFF";
        if (!QImageWriter::supportedImageFormats().contains(format.toLower().toLatin1()))
            QSKIP("Qt's image format plug-ins for this format are not installed (qt5-image-formats-plugins)");
        QVERIFY(HostTest::patternImage(QSize(8, 6)).save(dir.filePath(image), qPrintable(format)));
        if (!worldFile.isEmpty()) QVERIFY(HostTest::writeText(dir.filePath(worldFile), content));

        ImageLayer layer;
        QVERIFY2(layer.setDataSource(dir.filePath(image)), qPrintable(layer.getLastError()));
        QVERIFY(layer.isValid());
        QCOMPARE(layer.getBounds(), bounds);
        QCOMPARE(layer.getSize(), QSize(8, 6));
        QCOMPARE(layer.getCellSizeX(), bounds.width() / 8);
        QCOMPARE(layer.getCellSizeY(), bounds.height() / 6);
        QCOMPARE(layer.getFormat(), format);
        QCOMPARE(layer.getPercentComplete(), qint8(100));
    }

    void badSources_data()
    {
        QTest::addColumn<QString>("worldFile");
        QTest::addColumn<QString>("errorPart");
        QTest::newRow("five numbers") << "1\n0\n0\n-1\n5\n"
                                      << "5 numbers instead of six";
        QTest::newRow("words") << "1\n0\nzero\n-1\n5\n5\n"
                               << "line 3";
        QTest::newRow("zero cell size") << "0\n0\n0\n-1\n5\n5\n"
                                        << "cell size of zero";
    }

    void badSources()
    {
        QFETCH(QString, worldFile);
        QFETCH(QString, errorPart);
        QTemporaryDir dir;
        QVERIFY(HostTest::patternImage(QSize(8, 6)).save(dir.filePath("a.png")));
        QVERIFY(HostTest::writeText(dir.filePath("a.pgw"), worldFile));
        ImageLayer layer;
        QVERIFY(!layer.setDataSource(dir.filePath("a.png")));
        QVERIFY2(layer.getLastError().contains(errorPart), qPrintable(layer.getLastError()));
        QVERIFY(layer.getLastError().contains("a.pgw"));
        QVERIFY(!layer.isValid());
    }

    void unreadableFiles()
    {
        QTemporaryDir dir;
        ImageLayer layer;
        QVERIFY(!layer.setDataSource(dir.filePath("missing.png")));
        QVERIFY(layer.getLastError().contains("does not exist"));
        QVERIFY(HostTest::writeText(dir.filePath("fake.png"), "not a picture"));
        QVERIFY(!layer.setDataSource(dir.filePath("fake.png")));
        QVERIFY(layer.getLastError().contains("fake.png"));
        // A failed re-open keeps the picture that was showing.
        QVERIFY(HostTest::patternImage(QSize(8, 6)).save(dir.filePath("good.png")));
        QVERIFY(layer.setDataSource(dir.filePath("good.png")));
        QVERIFY(!layer.setDataSource(dir.filePath("missing.png")));
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
        QCOMPARE(HostTest::maxChannelDifference(shown, source.scaled(160, 120)), 0);
        // World (500100, 5299900) is the top-left corner of cell (10, 10).
        QCOMPARE(view.toDevice(QPointF(500100, 5299900)), QPointF(40, 40));
    }
};

QDGUI_TEST_MAIN(TestImageLayer)
#include "tst_imagelayer.moc"
