// View set-up and painting through the layer (the clipping itself is tst_viewrequest's):
// half-size views while roaming, and the backing picture under the main one.
#include <QtTest>

#include "../common/HostTestMain.h"
#include "LayerTestSupport.h"

#include <QSettings>

using Korvane::XRVJP2kLayer;

class TestViewPaint : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void halvesBlockingViewsWhileRoaming_data();
    void halvesBlockingViewsWhileRoaming();
    void backingPictureStaysHidden_data();
    void backingPictureStaysHidden();

private:
    QTemporaryDir folder;
    QString square;  // 1000 x 1000 cells of 1 unit, x 0..1000, y 1000..0
    QString withOpacity;
};

void TestViewPaint::initTestCase()
{
    QVERIFY(folder.isValid());
    square = LayerTest::makeImage(folder.path(), QStringLiteral("square.jp2"),
                                  {"--size", "1000x1000", "--origin", "0,1000", "--cell", "1"});
    withOpacity = LayerTest::makeImage(folder.path(), QStringLiteral("rgba.jp2"), {"--bands", "4"});
    QVERIFY(!square.isEmpty() && !withOpacity.isEmpty());
}

void TestViewPaint::init()
{
    LayerTest::useSettingsFile(folder.path());
    // Blocking views: each paint decodes the view there and then.
    Korvane::Application::settings()->setValue("XRVJP2kLayer/OpenProgressive", false);
}

void TestViewPaint::halvesBlockingViewsWhileRoaming_data()
{
    QTest::addColumn<bool>("progressive");
    QTest::addColumn<bool>("adaptive");
    QTest::addColumn<bool>("updating");
    QTest::addColumn<QSize>("expected");
    QTest::newRow("blocking, adaptive, roaming") << false << true << true << QSize(500, 400);
    QTest::newRow("blocking, adaptive, still") << false << true << false << QSize(1001, 801);
    QTest::newRow("progressive, adaptive, roaming") << true << true << true << QSize(1001, 801);
}

void TestViewPaint::halvesBlockingViewsWhileRoaming()
{
    QFETCH(bool, progressive);
    QFETCH(bool, adaptive);
    QFETCH(bool, updating);
    QFETCH(QSize, expected);
    Korvane::Application::settings()->setValue("XRVJP2kLayer/OpenProgressive", progressive);
    Korvane::Application::settings()->setValue("XRVJP2kLayer/AdaptiveRendering", adaptive);
    auto layer = LayerTest::openLayer(square);
    if (updating) layer->beginUpdate(false);  // the flag is not what starts the update
    layer->setView(1001, 801, 0, 1000, 1000, 0);
    QCOMPARE(QSize(int(LayerTest::viewOf(*layer).nSizeX), int(LayerTest::viewOf(*layer).nSizeY)), expected);
    layer->endUpdate();
    layer->setView(1001, 801, 0, 1000, 1000, 0);
    QCOMPARE(LayerTest::viewOf(*layer).nSizeX, 1001u);
}

void TestViewPaint::backingPictureStaysHidden_data()
{
    QTest::addColumn<bool>("opacityBand");
    QTest::addColumn<double>("transparency");
    QTest::newRow("half transparent layer") << false << 0.5;
    QTest::newRow("image with an opacity band") << true << 1.0;
}

void TestViewPaint::backingPictureStaysHidden()
{
    QFETCH(bool, opacityBand);
    QFETCH(double, transparency);
    const QString file = opacityBand ? withOpacity : square;
    // The same layer without and with the backing store must paint the same: a backing picture
    // drawn underneath would show through the partly transparent main picture.
    QImage pictures[2];
    for (bool backed : {false, true}) {
        Korvane::Application::settings()->setValue("XRVJP2kLayer/UseBackingstore", backed);
        auto layer = LayerTest::openLayer(file);
        QVERIFY(layer->isValid());
        layer->setTransparency(transparency);
        const QRectF bounds = layer->getBounds();
        layer->setView(256, 256, bounds.left(), bounds.top(), bounds.right(), bounds.bottom());
        pictures[backed] = LayerTest::paintLayer(*layer, QSize(256, 256), bounds.left(), bounds.top(), bounds.right(),
                                                 bounds.bottom());
    }
    int seeThrough = 0;  // pixels where a picture underneath would show
    for (int y = 0; y < 256; ++y)
        for (int x = 0; x < 256; ++x)
            seeThrough += qAlpha(pictures[0].pixel(x, y)) > 0 && qAlpha(pictures[0].pixel(x, y)) < 255;
    QVERIFY(seeThrough > 1000);
    QCOMPARE(LayerTest::differingPixels(pictures[0], pictures[1]), 0);
}

XRV_HOST_TEST_MAIN(TestViewPaint)

#include "tst_viewpaint.moc"
