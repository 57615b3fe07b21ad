// The layer in a host map view, against xrvtool: the bundled sample and a JP2 written by
// GDAL, opened progressively, fitted, panned (also while passes are still arriving) and moved
// off the image; each final picture must equal xrvtool's render of the same window. Also the
// engine's thread against the GUI thread: paints during passes and deleting a layer mid-pass.
#include <QtTest>

#include "../common/HostTestMain.h"
#include "LayerTestSupport.h"
#include "QDGui/MapView.h"

using Korvane::XRVJP2kLayer;

class TestMapView : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void matchesXrvtool_data();
    void matchesXrvtool();
    void paintsWhilePassesArrive();
    void deletingDuringPassesIsClean();

private:
    QTemporaryDir folder;
    QMap<QString, QString> images;
};

void TestMapView::initTestCase()
{
    QVERIFY(folder.isValid());
    LayerTest::useSettingsFile(folder.path());
    images["sample"] = LayerTest::bundledSample();
    // 1000 x 800 cells of 2 m: a 500 x 400 view shows it whole at exactly 2 cells per pixel.
    images["gdal"] =
        LayerTest::makeGdalImage(folder.path(), "north-up", QSize(1000, 800), 600000, 5200000, 602000, 5198400);
    // Rows running south (y grows downwards) and an image without georeference.
    images["gdal south-up"] = LayerTest::makeGdalImage(folder.path(), "south-up", QSize(600, 400), 0, 0, 600, 400);
    images["opj"] = LayerTest::makeOpjImage(folder.path(), "plain", QSize(600, 400));
}

void TestMapView::matchesXrvtool_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QSize>("viewSize");
    QTest::addColumn<QList<QPointF>>("pans");
    QTest::addColumn<bool>("waitBetweenPans");
    QTest::addColumn<bool>("onImage");
    // Pans are whole pixels of a view whose pixels are whole cells of one resolution level,
    // so the layer's clipped, cell-snapped view samples the very cells xrvtool samples for the
    // full window: the pictures must agree exactly, with no tolerance.
    QTest::newRow("sample fitted") << "sample" << QSize(512, 512) << QList<QPointF>{} << true << true;
    QTest::newRow("sample panned off the top left")
        << "sample" << QSize(512, 512) << QList<QPointF>{{100, 50}} << true << true;
    QTest::newRow("sample panned during passes")
        << "sample" << QSize(512, 512) << QList<QPointF>{{-64, 0}, {0, -96}, {-32, -32}, {17, 5}} << false << true;
    QTest::newRow("sample panned off the image")
        << "sample" << QSize(256, 256) << QList<QPointF>{{2000, 0}} << true << false;
    QTest::newRow("gdal fitted") << "gdal" << QSize(500, 400) << QList<QPointF>{} << true << true;
    QTest::newRow("gdal panned twice") << "gdal" << QSize(500, 400) << QList<QPointF>{{37, -21}, {-80, 60}} << true
                                       << true;
    QTest::newRow("south-up panned") << "gdal south-up" << QSize(300, 200) << QList<QPointF>{{40, 30}, {-90, -10}}
                                     << true << true;
    QTest::newRow("plain opj panned") << "opj" << QSize(300, 200) << QList<QPointF>{{-25, 60}} << true << true;
}

void TestMapView::matchesXrvtool()
{
    QFETCH(QString, kind);
    QFETCH(QSize, viewSize);
    QFETCH(QList<QPointF>, pans);
    QFETCH(bool, waitBetweenPans);
    QFETCH(bool, onImage);
    const QString file = images.value(kind);
    if (file.isEmpty())
        QSKIP("The test image is not available (no bundled sample, or gdal_translate or opj_compress missing).");

    Korvane::Map::MapView view;
    view.setBackgroundColor(Qt::transparent);
    view.resize(viewSize);
    view.show();
    QVERIFY(QTest::qWaitForWindowExposed(&view));
    auto* layer = new XRVJP2kLayer(nullptr);
    QVERIFY2(layer->setDataSource(file), qPrintable(layer->getLastError()));
    QVERIFY(layer->getProgressive());
    QSignalSpy refreshes(layer, &Korvane::Map::Layer::refreshRequested);
    view.addLayer(layer);
    for (const QPointF& pan : pans) {
        if (waitBetweenPans) QVERIFY(LayerTest::waitForFinalPicture(*layer, refreshes));
        view.panBy(pan);
        // Paint while the passes arrive, as the screen would.
        QImage scratch(viewSize, QImage::Format_ARGB32);
        view.renderTo(scratch);
    }
    if (onImage) QVERIFY(LayerTest::waitForFinalPicture(*layer, refreshes));

    QImage shown(viewSize, QImage::Format_ARGB32_Premultiplied);
    view.renderTo(shown);
    const QRectF world = view.visibleWorld();
    const QImage reference =
        LayerTest::renderWithXrvtool(file, world.left(), world.top(), world.right(), world.bottom(), viewSize);
    QVERIFY(!reference.isNull());
    QCOMPARE(LayerTest::differingPixels(shown, reference), 0);
    // Not two empty pictures, nor a stale one off the image.
    QCOMPARE(qAlpha(shown.pixel(viewSize.width() / 2, viewSize.height() / 2)), onImage ? 255 : 0);
    QCOMPARE(layer->crs().epsg(), kind == "opj" ? 0 : 32633);
}

void TestMapView::paintsWhilePassesArrive()
{
    const QString file = LayerTest::bundledSample();
    if (file.isEmpty()) QSKIP("The bundled sample was not made.");
    // The GUI thread paints without pause, processing no events, while the engine's thread
    // swaps pictures in: only the picture lock orders the two here.
    XRVJP2kLayer layer(nullptr);
    QVERIFY(layer.setDataSource(file));
    const double x = 508000, y = 5290000;  // ground no other test decodes at full resolution
    layer.setView(512, 512, x, y, x + 1024, y - 1024);
    QElapsedTimer clock;
    clock.start();
    int painted = 0;
    while (LayerTest::rendererOf(layer)->getPercentComplete() < 100 && clock.elapsed() < 30000) {
        const QImage shown = LayerTest::paintLayer(layer, QSize(128, 128), x, y, x + 1024, y - 1024);
        painted += qAlpha(shown.pixel(64, 64)) == 255;
    }
    QCOMPARE(int(LayerTest::rendererOf(layer)->getPercentComplete()), 100);
    QVERIFY(painted > 0);
}

void TestMapView::deletingDuringPassesIsClean()
{
    const QString file = LayerTest::bundledSample();
    if (file.isEmpty()) QSKIP("The bundled sample was not made.");
    // Each piece of ground is shown twice. The first time its tiles are decoded and the layer
    // goes at once or a little after a pass arrived; the second time its blocks are cached,
    // the engine's thread goes straight to the final pass and spends its time reading it
    // into a picture, which is when the layer goes. The sanitizer builds check that nothing
    // is touched after it is freed and that the picture hand-over is ordered.
    for (int round = 0; round < 16; ++round) {
        auto* layer = new XRVJP2kLayer(nullptr);
        QVERIFY(layer->setDataSource(file));
        QSignalSpy refreshes(layer, &Korvane::Map::Layer::refreshRequested);
        const int ground = round / 2;
        const double x = 500000 + ground * 2048, y = 5290000;
        layer->setView(1024, 1024, x, y, x + 2048, y - 2048);
        if (round % 2 == 0 && round % 4 != 0) QTRY_VERIFY_WITH_TIMEOUT(!refreshes.isEmpty(), 20000);
        if (round % 2 == 1) QTest::qSleep(1 + round % 5);
        LayerTest::paintLayer(*layer, QSize(256, 256), x, y, x + 2048, y - 2048);
        delete layer;
    }
}

XRV_HOST_TEST_MAIN(TestMapView)

#include "tst_mapview.moc"
