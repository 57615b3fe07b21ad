// The renderer: its clamping setters, the tone table and hill-shade veil it paints with,
// quality layers, both line-reading methods, the dynamic range of wide data (against xrvtool,
// which applies the same stretch), opacity bands, and a cancelled read keeping the picture.
#include <QtTest>

#include "../common/HostTestMain.h"
#include "LayerTestSupport.h"
#include "QDGui/GeoImage.h"
#include "XRVJP2kHillShadeVeil.h"
#include "XRVJP2kToneTable.h"

#include <cmath>
#include <limits>

using Korvane::XRVJP2kLayer;

class TestRenderer : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void clampingSetters_data();
    void clampingSetters();
    void toneTable_data();
    void toneTable();
    void brightnessAndVeilFollowSettings();
    void hillShadeVeil_data();
    void hillShadeVeil();
    void qualityLayers_data();
    void qualityLayers();
    void readMethodsAgree_data();
    void readMethodsAgree();
    void wideDataMatchesXrvtool_data();
    void wideDataMatchesXrvtool();
    void cancelledReadKeepsPicture();

private:
    QTemporaryDir folder;
    QString rgb;
    QString rgba;
    QString grey16;
    QString rgba16;
};

void TestRenderer::initTestCase()
{
    QVERIFY(folder.isValid());
    rgb = LayerTest::makeImage(folder.path(), "rgb.jp2", {"--layers", "3"});
    rgba = LayerTest::makeImage(folder.path(), "rgba.jp2", {"--bands", "4"});
    grey16 = LayerTest::makeImage(folder.path(), "grey16.jp2", {"--bands", "1", "--bits", "16"});
    rgba16 = LayerTest::makeImage(folder.path(), "rgba16.jp2", {"--bands", "4", "--bits", "16"});
    QVERIFY(!rgb.isEmpty() && !rgba.isEmpty() && !grey16.isEmpty() && !rgba16.isEmpty());
}

void TestRenderer::init()
{
    LayerTest::useSettingsFile(folder.path());
    Korvane::Application::settings()->setValue("XRVJP2kLayer/OpenProgressive", false);
}

void TestRenderer::clampingSetters_data()
{
    QTest::addColumn<QString>("setting");
    QTest::addColumn<double>("value");
    QTest::addColumn<double>("expected");
    QTest::addColumn<double>("brightness");  // set first
    const double nan = std::numeric_limits<double>::quiet_NaN();
    QTest::newRow("transparency above 1") << "transparency" << 1.7 << 1.0 << 1.0;
    QTest::newRow("transparency NaN") << "transparency" << nan << nan << 1.0;
    QTest::newRow("contrast below -2") << "contrast" << -3.0 << -2.0 << 1.0;
    QTest::newRow("brightness above 2") << "brightness" << 3.0 << 2.0 << 1.0;
    QTest::newRow("elevation above 90") << "elevation" << 95.0 << 90.0 << 1.0;
    QTest::newRow("azimuth above 360") << "azimuth" << 400.0 << 360.0 << 1.0;
    // The azimuth setter compares with the brightness, not the azimuth.
    QTest::newRow("azimuth equal to brightness ignored") << "azimuth" << 0.5 << 45.0 << 0.5;
    QTest::newRow("azimuth unlike brightness taken") << "azimuth" << 0.6 << 0.6 << 0.5;
}

void TestRenderer::clampingSetters()
{
    QFETCH(QString, setting);
    QFETCH(double, value);
    QFETCH(double, expected);
    QFETCH(double, brightness);
    auto layer = LayerTest::openLayer(rgb);
    layer->setBrightness(brightness);
    using Accessors = std::pair<void (XRVJP2kLayer::*)(double), double (XRVJP2kLayer::*)()>;
    const QMap<QString, Accessors> accessors{
        {"transparency", {&XRVJP2kLayer::setTransparency, &XRVJP2kLayer::getTransparency}},
        {"contrast", {&XRVJP2kLayer::setContrast, &XRVJP2kLayer::getContrast}},
        {"brightness", {&XRVJP2kLayer::setBrightness, &XRVJP2kLayer::getBrightness}},
        {"elevation", {&XRVJP2kLayer::setElevation, &XRVJP2kLayer::getElevation}},
        {"azimuth", {&XRVJP2kLayer::setAzumith, &XRVJP2kLayer::getAzumith}}};
    const Accessors access = accessors.value(setting);
    ((*layer).*access.first)(value);
    const double stored = ((*layer).*access.second)();
    if (std::isnan(expected))
        QVERIFY(std::isnan(stored));
    else
        QCOMPARE(stored, expected);
}

void TestRenderer::toneTable_data()
{
    QTest::addColumn<double>("contrast");
    QTest::addColumn<double>("brightness");
    QTest::addColumn<int>("in");
    QTest::addColumn<int>("out");
    QTest::newRow("neutral") << 1.0 << 1.0 << 77 << 77;
    QTest::newRow("brightness 2 saturates") << 1.0 << 2.0 << 0 << 255;
    QTest::newRow("brightness 1.1 adds 25.5, truncated") << 1.0 << 1.1 << 100 << 125;
    QTest::newRow("contrast 2 above the middle") << 2.0 << 1.0 << 130 << 132;
    QTest::newRow("contrast 2 clips at 255") << 2.0 << 1.0 << 200 << 255;
    QTest::newRow("contrast 0.5") << 0.5 << 1.0 << 100 << 113;
    QTest::newRow("negative contrast inverts") << -1.0 << 1.0 << 255 << 0;
    QTest::newRow("NaN contrast") << std::numeric_limits<double>::quiet_NaN() << 1.0 << 10 << 0;
}

void TestRenderer::toneTable()
{
    QFETCH(double, contrast);
    QFETCH(double, brightness);
    QFETCH(int, in);
    QFETCH(int, out);
    const XRVJP2kToneTable table(contrast, brightness);
    QCOMPARE(int(table[in]), out);
    // Applied to a picture: colour channels mapped, alpha and extent kept.
    Korvane::GeoImage picture(2, 1, 10, 20, 30, 40);
    picture.setPixel(0, 0, qRgba(in, in, in, 99));
    const Korvane::GeoImage toned = table.applied(picture);
    QCOMPARE(toned.pixel(0, 0), qRgba(out, out, out, 99));
    QCOMPARE(toned.worldRect(), picture.worldRect());
    QCOMPARE(picture.pixel(0, 0), qRgba(in, in, in, 99));  // the source is left alone
}

void TestRenderer::brightnessAndVeilFollowSettings()
{
    auto layer = LayerTest::openLayer(rgb);
    layer->setView(64, 64, 500000, 5300000, 501024, 5298976);
    const QImage plain = LayerTest::paintLayer(*layer, QSize(64, 64), 500000, 5300000, 501024, 5298976);
    QVERIFY(plain.pixel(10, 10) != qRgb(255, 255, 255));
    layer->setBrightness(2.0);
    const QImage white = LayerTest::paintLayer(*layer, QSize(64, 64), 500000, 5300000, 501024, 5298976);
    for (int y = 0; y < 64; ++y)
        for (int x = 0; x < 64; ++x) QCOMPARE(white.pixel(x, y), qRgb(255, 255, 255));
    // Hill shading draws a veil that ignores the data: black at the layer's opacity.
    layer->setBrightness(1.0);
    layer->setHillShade(true);
    const QImage veiled = LayerTest::paintLayer(*layer, QSize(64, 64), 500000, 5300000, 501024, 5298976);
    QCOMPARE(veiled.pixel(10, 10), qRgb(0, 0, 0));
    QCOMPARE(veiled.pixel(40, 50), qRgb(0, 0, 0));
    // The worked picture is kept between paints but follows every change of the settings.
    QCOMPARE(LayerTest::paintLayer(*layer, QSize(64, 64), 500000, 5300000, 501024, 5298976), veiled);
    layer->setHillShade(false);
    QCOMPARE(LayerTest::paintLayer(*layer, QSize(64, 64), 500000, 5300000, 501024, 5298976), plain);
}

void TestRenderer::hillShadeVeil_data()
{
    QTest::addColumn<QSize>("size");
    QTest::addColumn<double>("transparency");
    QTest::addColumn<QRect>("shaded");
    QTest::newRow("3 x 3 stays clear") << QSize(3, 3) << 1.0 << QRect();
    QTest::newRow("6 x 5, half transparent") << QSize(6, 5) << 0.5 << QRect(1, 1, 3, 2);
}

void TestRenderer::hillShadeVeil()
{
    QFETCH(QSize, size);
    QFETCH(double, transparency);
    QFETCH(QRect, shaded);
    Korvane::GeoImage picture(size.width(), size.height(), 0, 10, 10, 0);
    picture.fill(qRgb(200, 100, 50));
    const Korvane::GeoImage veil = XRVJP2kHillShadeVeil::make(picture, transparency);
    QCOMPARE(veil.size(), size);
    QCOMPARE(veil.worldRect(), picture.worldRect());
    const QRgb shade = QRgb(int(transparency * 255)) << 24;
    for (int y = 0; y < size.height(); ++y)
        for (int x = 0; x < size.width(); ++x)
            QCOMPARE(veil.pixel(x, y), shaded.contains(x, y) ? shade : qRgba(255, 255, 255, 0));
}

void TestRenderer::qualityLayers_data()
{
    QTest::addColumn<int>("requested");
    QTest::addColumn<int>("expected");
    QTest::newRow("zero is ignored") << 0 << 3;
    QTest::newRow("beyond the file is ignored") << 4 << 3;
    QTest::newRow("one") << 1 << 1;
    QTest::newRow("all") << 3 << 3;
}

void TestRenderer::qualityLayers()
{
    QFETCH(int, requested);
    QFETCH(int, expected);
    auto layer = LayerTest::openLayer(rgb);
    QCOMPARE(layer->getMaxJp2QualityLayers(), 3);
    QCOMPARE(layer->getJp2QualityLayers(), 3);
    layer->setJp2QualityLayers(requested);
    QCOMPARE(layer->getJp2QualityLayers(), expected);
    const int decoded = LayerTest::rendererOf(*layer)->Jp2Parameters().GetLayersToDecode();
    QCOMPARE(decoded, requested == expected ? requested : 0);  // 0: the engine decodes all
}

void TestRenderer::readMethodsAgree_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<int>("opacityBand");
    QTest::newRow("rgb") << "rgb" << -1;
    QTest::newRow("rgb with opacity") << "rgba" << 3;
}

void TestRenderer::readMethodsAgree()
{
    QFETCH(QString, kind);
    QFETCH(int, opacityBand);
    auto layer = LayerTest::openLayer(kind == "rgb" ? rgb : rgba);
    QCOMPARE(layer->getOpacityBandNumber(), opacityBand);
    QCOMPARE(layer->hasOpacity(), opacityBand >= 0);
    QCOMPARE(layer->getBandList().size(), opacityBand >= 0 ? 4 : 3);
    // Packed pixels and band lines must give the same picture, also with a second view of
    // another width (the band lines are made again for it).
    for (int width : {128, 96}) {
        QImage pictures[2];
        for (bool packed : {true, false}) {
            layer->setReadRGBA(packed);
            layer->setView(width, 128, 500000, 5300000, 501024, 5298976);
            pictures[packed] = LayerTest::paintLayer(*layer, QSize(width, 128), 500000, 5300000, 501024, 5298976);
        }
        QCOMPARE(LayerTest::differingPixels(pictures[0], pictures[1]), 0);
        QCOMPARE(qAlpha(pictures[0].pixel(10, 10)) > 0, true);
    }
}

void TestRenderer::wideDataMatchesXrvtool_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<int>("clipSetting");
    QTest::newRow("16-bit grey, default clip") << "grey16" << -1;
    QTest::newRow("16-bit grey, clip 90") << "grey16" << 90;
    QTest::newRow("16-bit with opacity") << "rgba16" << -1;
}

void TestRenderer::wideDataMatchesXrvtool()
{
    QFETCH(QString, kind);
    QFETCH(int, clipSetting);
    if (clipSetting >= 0) Korvane::Application::settings()->setValue("XRVJP2kLayer/DefaultClipTransform", clipSetting);
    const QString file = kind == "grey16" ? grey16 : rgba16;
    auto layer = LayerTest::openLayer(file);
    const int clip = clipSetting >= 0 ? clipSetting : 99;
    QCOMPARE(layer->getTransformClip(), clip);
    // The whole image at 2 cells a pixel: both decode level 1 with nearest resampling.
    const QRectF b = layer->getBounds();
    layer->setView(256, 256, b.left(), b.top(), b.right(), b.bottom());
    const QImage shown = LayerTest::paintLayer(*layer, QSize(256, 256), b.left(), b.top(), b.right(), b.bottom());
    const QImage reference = LayerTest::renderWithXrvtool(file, b.left(), b.top(), b.right(), b.bottom(),
                                                          QSize(256, 256), {"--clip", QString::number(clip)});
    QVERIFY(!reference.isNull());
    QCOMPARE(LayerTest::differingPixels(shown, reference), 0);
}

void TestRenderer::cancelledReadKeepsPicture()
{
    auto layer = LayerTest::openLayer(rgb);
    const double top = 5300000, bottom = 5298976;
    layer->setView(64, 64, 500000, top, 500512, bottom);  // the left half
    const QImage left = LayerTest::paintLayer(*layer, QSize(64, 64), 500000, top, 500512, bottom);
    QCOMPARE(qAlpha(left.pixel(32, 32)), 255);

    LayerTest::rendererOf(*layer)->cancelRead();
    layer->setView(64, 64, 500512, top, 501024, bottom);  // the right half; its read is abandoned
    QCOMPARE(
        LayerTest::differingPixels(LayerTest::paintLayer(*layer, QSize(64, 64), 500000, top, 500512, bottom), left), 0);
    // The cancel was honoured once: the next paint reads the right half, which leaves the
    // left half empty.
    const QImage again = LayerTest::paintLayer(*layer, QSize(64, 64), 500000, top, 500512, bottom);
    QCOMPARE(again.pixel(32, 32), 0u);
}

XRV_HOST_TEST_MAIN(TestRenderer)

#include "tst_renderer.moc"
