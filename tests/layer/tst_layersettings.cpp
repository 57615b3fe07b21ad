// The layer object: the settings it starts from, which setters decode again and which only
// redraw, and re-opening (progressive mode, backing store) with the image settings carried.
#include <QtTest>

#include "../common/HostTestMain.h"
#include "LayerTestSupport.h"

#include <QSettings>

using Korvane::XRVJP2kLayer;
using Setter = void (*)(XRVJP2kLayer&);
Q_DECLARE_METATYPE(Setter)

class TestLayerSettings : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void settingsAtConstruction_data();
    void settingsAtConstruction();
    void outlineColourPersists();
    void redrawRules_data();
    void redrawRules();
    void reopenKeepsImageSettings();
    void viewFlagAfterReopen();
    void backingStoreReopens_data();
    void backingStoreReopens();

private:
    QTemporaryDir folder;
    QString image;
};

void TestLayerSettings::initTestCase()
{
    QVERIFY(folder.isValid());
    image = LayerTest::makeImage(folder.path(), "image.jp2", {"--layers", "3"});
    QVERIFY(!image.isEmpty());
}

void TestLayerSettings::init()
{
    LayerTest::useSettingsFile(folder.path());
}

void TestLayerSettings::settingsAtConstruction_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QVariant>("stored");
    QTest::addColumn<QString>("property");
    QTest::addColumn<QVariant>("expected");
    QTest::newRow("nearest neighbour not optimised smooths")
        << "OptimizeNearestNeighbour" << QVariant(false) << "PixmapSmoothing" << QVariant(true);
    QTest::newRow("adaptive") << "AdaptiveRendering" << QVariant(true) << "AdaptiveRoam" << QVariant(true);
    QTest::newRow("blocking") << "OpenProgressive" << QVariant(false) << "Progressive" << QVariant(false);
    QTest::newRow("backing store") << "UseBackingstore" << QVariant(true) << "BackingStore" << QVariant(true);
    QTest::newRow("colour as text") << "OutlineColor" << QVariant("#ff0000") << "OutlineColor"
                                    << QVariant(QColor(Qt::red));
    QTest::newRow("colour unreadable") << "OutlineColor" << QVariant("no colour") << "OutlineColor"
                                       << QVariant(QColor());
    QTest::newRow("bilinear for new sources")
        << "ResampleType" << QVariant(1) << "ResampleMethod" << QVariant::fromValue(XRVJP2kLayer::Bilinear);
}

void TestLayerSettings::settingsAtConstruction()
{
    QFETCH(QString, key);
    QFETCH(QVariant, stored);
    QFETCH(QString, property);
    QFETCH(QVariant, expected);
    Korvane::Application::settings()->setValue("XRVJP2kLayer/" + key, stored);
    auto layer = LayerTest::openLayer(image);  // the resample type reaches the renderer at the first open
    QCOMPARE(layer->property(qPrintable(property)), expected);
}

void TestLayerSettings::outlineColourPersists()
{
    XRVJP2kLayer(nullptr).setOutlineColor(QColor(10, 20, 30, 40));
    Korvane::Application::settings()->sync();
    QCOMPARE(QSettings(Korvane::Application::settingsFile(), QSettings::IniFormat)
                 .value("XRVJP2kLayer/OutlineColor")
                 .value<QColor>(),
             QColor(10, 20, 30, 40));
    QCOMPARE(XRVJP2kLayer(nullptr).getOutlineColor(), QColor(10, 20, 30, 40));
}

void TestLayerSettings::redrawRules_data()
{
    QTest::addColumn<Setter>("change");
    QTest::addColumn<bool>("decodesAgain");
    QTest::addColumn<bool>("redraws");
#define ROW(name, decodesAgain, redraws, ...) \
    QTest::newRow(name) << Setter([](XRVJP2kLayer& l) { __VA_ARGS__; }) << decodesAgain << redraws
    ROW("band list", true, true, l.setBandList({2, 1, 0}));
    ROW("transform clip", true, true, l.setTransformClip(90));
    ROW("texture dither", true, true, l.setTextureDither(true));
    ROW("quality layers", true, true, l.setJp2QualityLayers(2));
    ROW("progressive mode", true, true, l.setProgressive(true));
    ROW("resample type", true, false, l.setResampleType(XRVJP2kLayer::Bilinear));
    ROW("same resample type", false, false, l.setResampleType(XRVJP2kLayer::NearestNeighbour));
    ROW("smoothing", false, true, l.setPixmapSmoothing(true));
    ROW("outline colour", false, true, l.setOutlineColor(Qt::blue));
    ROW("visibility", false, true, l.setVisible(false));
    ROW("transparency", false, false, l.setTransparency(0.5));
    ROW("hill shade", false, false, l.setHillShade(true));
    ROW("read method", false, false, l.setReadRGBA(false));
#undef ROW
}

void TestLayerSettings::redrawRules()
{
    QFETCH(Setter, change);
    QFETCH(bool, decodesAgain);
    QFETCH(bool, redraws);
    // Blocking views: no pass calls back, so every refresh comes from the setter.
    Korvane::Application::settings()->setValue("XRVJP2kLayer/OpenProgressive", false);
    auto layer = LayerTest::openLayer(image);
    layer->setView(100, 100, 500000, 5300000, 501024, 5298976);
    // Put another view on the engine behind the layer's back: a setter that decodes again
    // puts the layer's own view back.
    std::vector<int> bands{0, 1, 2};
    LayerTest::rendererOf(*layer)->SetView(3, bands.data(), 10, 10, 500000, 5300000, 500100, 5299900);
    QCoreApplication::processEvents();
    QSignalSpy refreshes(layer.get(), &Korvane::Map::Layer::refreshRequested);
    change(*layer);
    QCoreApplication::processEvents();
    QCoreApplication::processEvents();
    QCOMPARE(LayerTest::viewOf(*layer).nSizeX == 100, decodesAgain);
    QCOMPARE(!refreshes.isEmpty(), redraws);
}

void TestLayerSettings::reopenKeepsImageSettings()
{
    auto layer = LayerTest::openLayer(image);
    layer->setTransparency(0.4);
    layer->setContrast(1.5);
    layer->setBrightness(0.8);
    layer->setTransformClip(90);
    layer->setBandList({2, 1, 0});
    layer->setResampleType(XRVJP2kLayer::Bilinear);
    layer->setJp2QualityLayers(2);
    layer->setTextureDither(true);
    layer->setHillShade(true);
    layer->setProgressive(false);  // opens the source again, blocking
    QVERIFY(layer->isValid());
    QCOMPARE(LayerTest::rendererOf(*layer)->IsProgressive(), false);
    QCOMPARE(layer->getTransparency(), 0.4);
    QCOMPARE(layer->getContrast(), 1.5);
    QCOMPARE(layer->getBrightness(), 0.8);
    QCOMPARE(layer->getTransformClip(), 90);
    QCOMPARE(layer->getBandList(), QVector<int>({2, 1, 0}));
    QCOMPARE(layer->getResampleType(), XRVJP2kLayer::Bilinear);
    QCOMPARE(layer->getPixmapSmoothing(), true);
    // What the renderer starts with again.
    QCOMPARE(layer->getJp2QualityLayers(), 3);
    QCOMPARE(layer->getTextureDither(), false);
    QCOMPARE(layer->getHillShade(), false);
}

void TestLayerSettings::viewFlagAfterReopen()
{
    auto layer = LayerTest::openLayer(image);
    layer->setView(100, 100, 500000, 5300000, 501024, 5298976);
    std::vector<int> bands{0, 1, 2};
    const auto resampleReviews = [&](XRVJP2kLayer::ResampleType type) {
        LayerTest::rendererOf(*layer)->SetView(3, bands.data(), 10, 10, 500000, 5300000, 500100, 5299900);
        layer->setResampleType(type);
        return LayerTest::viewOf(*layer).nSizeX == 100;
    };
    QVERIFY(resampleReviews(XRVJP2kLayer::Bilinear));
    // The re-open repeats the last view successfully, which leaves the flag saying "not
    // set": a resample change then does not decode again until the next view.
    QVERIFY(layer->setDataSource(image));
    QCOMPARE(LayerTest::viewOf(*layer).nSizeX, 100u);
    QVERIFY(!resampleReviews(XRVJP2kLayer::NearestNeighbour));
    layer->setView(100, 100, 500000, 5300000, 501024, 5298976);
    QVERIFY(resampleReviews(XRVJP2kLayer::Bilinear));
}

void TestLayerSettings::backingStoreReopens_data()
{
    QTest::addColumn<bool>("backed");
    QTest::addColumn<bool>("argument");
    QTest::addColumn<bool>("reopens");
    QTest::newRow("turned on") << false << true << true;
    QTest::newRow("on again") << true << true << true;
    QTest::newRow("off without a backing renderer") << false << false << true;
    QTest::newRow("turned off") << true << false << false;
}

void TestLayerSettings::backingStoreReopens()
{
    QFETCH(bool, backed);
    QFETCH(bool, argument);
    QFETCH(bool, reopens);
    Korvane::Application::settings()->setValue("XRVJP2kLayer/UseBackingstore", backed);
    auto layer = LayerTest::openLayer(image);
    layer->setJp2QualityLayers(1);  // a re-open resets it
    QSignalSpy refreshes(layer.get(), &Korvane::Map::Layer::refreshRequested);
    layer->setBackingStore(argument);
    QCOMPARE(layer->getBackingStore(), argument);
    QCOMPARE(layer->getJp2QualityLayers(), reopens ? 3 : 1);
    QVERIFY(layer->isValid());
    QCOMPARE(layer->getFreeCache(), true);  // kept off only during the re-open
    QTRY_VERIFY(!refreshes.isEmpty());
}

XRV_HOST_TEST_MAIN(TestLayerSettings)

#include "tst_layersettings.moc"
