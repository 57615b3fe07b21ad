// The layer object: the settings it starts from, which setters decode again and which only
// redraw, and re-opening (progressive mode, backing store) with the image settings carried.
#include <QtTest>

#include "LayerTestSupport.h"
#include "QDGui/Application.h"

#include <QSettings>
#include <memory>

using Korvane::XRVJP2kLayer;
using Setter = void (*)(XRVJP2kLayer&);
Q_DECLARE_METATYPE(Setter)

class TestLayerSettings : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanupTestCase();
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
    std::unique_ptr<XRVJP2kLayer> openLayer();
    QTemporaryDir folder;
    QString image;
};

void TestLayerSettings::initTestCase()
{
    QVERIFY(folder.isValid());
    image = LayerTest::makeImage(folder.path(), "image.jp2", {"--layers", "3"});
    QVERIFY(!image.isEmpty());
    PLKInit();
}

void TestLayerSettings::init()
{
    LayerTest::useSettingsFile(folder.path());
}

void TestLayerSettings::cleanupTestCase()
{
    PLKShutdown();
}

std::unique_ptr<XRVJP2kLayer> TestLayerSettings::openLayer()
{
    std::unique_ptr<XRVJP2kLayer> layer(new XRVJP2kLayer(nullptr));
    if (!layer->setDataSource(image)) qWarning("%s", qPrintable(layer->getLastError()));
    return layer;
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
    QTest::newRow("outline") << "DrawOutline" << QVariant(true) << "DrawOutline" << QVariant(true);
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
    auto layer = openLayer();  // the resample type reaches the renderer at the first open
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
    auto row = [](const char* name, Setter change, bool decodesAgain, bool redraws) {
        QTest::newRow(name) << change << decodesAgain << redraws;
    };
    row(
        "band list",
        [](XRVJP2kLayer& l) {
            l.setBandList({2, 1, 0});
        },
        true, true);
    row(
        "transform clip", [](XRVJP2kLayer& l) { l.setTransformClip(90); }, true, true);
    row(
        "texture dither", [](XRVJP2kLayer& l) { l.setTextureDither(true); }, true, true);
    row(
        "quality layers", [](XRVJP2kLayer& l) { l.setJp2QualityLayers(2); }, true, true);
    row(
        "progressive mode", [](XRVJP2kLayer& l) { l.setProgressive(true); }, true, true);
    row(
        "resample type", [](XRVJP2kLayer& l) { l.setResampleType(XRVJP2kLayer::Bilinear); }, true, false);
    row(
        "same resample type", [](XRVJP2kLayer& l) { l.setResampleType(XRVJP2kLayer::NearestNeighbour); }, false, false);
    row(
        "smoothing", [](XRVJP2kLayer& l) { l.setPixmapSmoothing(true); }, false, true);
    row(
        "outline", [](XRVJP2kLayer& l) { l.setDrawOutline(true); }, false, true);
    row(
        "outline colour", [](XRVJP2kLayer& l) { l.setOutlineColor(Qt::blue); }, false, true);
    row(
        "visibility", [](XRVJP2kLayer& l) { l.setVisible(false); }, false, true);
    row(
        "transparency", [](XRVJP2kLayer& l) { l.setTransparency(0.5); }, false, false);
    row(
        "contrast", [](XRVJP2kLayer& l) { l.setContrast(1.5); }, false, false);
    row(
        "brightness", [](XRVJP2kLayer& l) { l.setBrightness(0.5); }, false, false);
    row(
        "hill shade", [](XRVJP2kLayer& l) { l.setHillShade(true); }, false, false);
    row(
        "read method", [](XRVJP2kLayer& l) { l.setReadRGBA(false); }, false, false);
    row(
        "free cache", [](XRVJP2kLayer& l) { l.setFreeCache(false); }, false, false);
}

void TestLayerSettings::redrawRules()
{
    QFETCH(Setter, change);
    QFETCH(bool, decodesAgain);
    QFETCH(bool, redraws);
    // Blocking views: no pass calls back, so every refresh comes from the setter.
    Korvane::Application::settings()->setValue("XRVJP2kLayer/OpenProgressive", false);
    auto layer = openLayer();
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
    auto layer = openLayer();
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
    auto layer = openLayer();
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
    auto layer = openLayer();
    layer->setJp2QualityLayers(1);  // a re-open resets it
    QSignalSpy refreshes(layer.get(), &Korvane::Map::Layer::refreshRequested);
    layer->setBackingStore(argument);
    QCOMPARE(layer->getBackingStore(), argument);
    QCOMPARE(layer->getJp2QualityLayers(), reopens ? 3 : 1);
    QVERIFY(layer->isValid());
    QCOMPARE(layer->getFreeCache(), true);  // kept off only during the re-open
    QTRY_VERIFY(!refreshes.isEmpty());
}

int main(int argc, char** argv)
{
    Korvane::Application app(argc, argv);
    TestLayerSettings test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_layersettings.moc"
