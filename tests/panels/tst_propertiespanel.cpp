// The layer properties panel driven as a user drives it, against layers opened on real images:
// what each control hands the layer, what the panel shows for a layer, and when it stays out
// of the way.
#include <QtTest>

#include <QCheckBox>
#include <QColorDialog>
#include <QComboBox>
#include <QFrame>
#include <QGroupBox>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QPushButton>
#include <QSettings>
#include <QSlider>
#include <QSpinBox>
#include <QTextEdit>
#include <QToolButton>

#include "PanelTestSupport.h"
#include "QDGui/MapView.h"
#include "XRVJP2kProperties.h"

using PanelTest::RecordingLayer;

class TestPropertiesPanel : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();
    void controlsReachLayer_data();
    void controlsReachLayer();
    void resets_data();
    void resets();
    void loadingShowsLayerWithoutWritingBack_data();
    void loadingShowsLayerWithoutWritingBack();
    void qualityLayersFollowHeader();
    void layerWithoutSourceLeavesQualityGroupOff();
    void bandCombos_data();
    void bandCombos();
    void resampleChoiceSetsSmoothing();
    void options_data();
    void options();
    void outlineColour();
    void advancedGroupNeverShown();
    void layerOfAnotherKindDisablesPanel();
    void subWindowActivation_data();
    void subWindowActivation();

private:
    template <typename T>
    T* child(const char* name) const
    {
        return m_panel->findChild<T*>(QLatin1String(name));
    }
    void activate(const QString& path);

    std::unique_ptr<XRVJP2kProperties> m_panel;
    std::unique_ptr<RecordingLayer> m_layer;
};

void TestPropertiesPanel::initTestCase()
{
    if (PanelTest::samplePath().isEmpty()) QSKIP("the bundled sample has not been made");
}

void TestPropertiesPanel::init()
{
    Korvane::Application::settings()->clear();
    m_panel = std::make_unique<XRVJP2kProperties>();
    m_panel->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_panel.get()));
}

void TestPropertiesPanel::cleanup()
{
    m_panel.reset();
    m_layer.reset();
}

void TestPropertiesPanel::activate(const QString& path)
{
    m_layer = PanelTest::openLayer(path);
    m_panel->onLayerActivated(m_layer.get());
    m_layer->calls.clear();
}

void TestPropertiesPanel::controlsReachLayer_data()
{
    QTest::addColumn<QString>("control");
    QTest::addColumn<int>("value");
    QTest::addColumn<QString>("partner");
    QTest::addColumn<int>("shown");
    QTest::addColumn<QStringList>("calls");
    // Transparency is shown in percent but kept by the layer as an opacity.
    QTest::newRow("transparency slider") << "transparencySlider" << 25 << "transparencySpinBox" << 25
                                         << QStringList{"setTransparency(0.75)"};
    QTest::newRow("transparency spin box")
        << "transparencySpinBox" << 100 << "transparencySlider" << 100 << QStringList{"setTransparency(0)"};
    QTest::newRow("contrast spin box") << "contrastSpinBox" << 150 << "contrastSlider" << 150
                                       << QStringList{"setContrast(1.5)"};
    QTest::newRow("brightness slider") << "brightnessSlider" << 40 << "brightnessSpinBox" << 40
                                       << QStringList{"setBrightness(0.4)"};
    QTest::newRow("clip slider") << "draSlider" << 80 << "draSpinBox" << 80 << QStringList{"setTransformClip(80)"};
    // The spin box goes down to 0, the slider only to 1: the slider's floor wins in both.
    QTest::newRow("clip spin box at 0") << "draSpinBox" << 0 << "draSlider" << 1 << QStringList{"setTransformClip(1)"};
    QTest::newRow("quality spin box") << "jp2QualitySpinBox" << 1 << "jp2QualitySlider" << 1
                                      << QStringList{"setJp2QualityLayers(1)"};
}

void TestPropertiesPanel::controlsReachLayer()
{
    QFETCH(QString, control);
    QFETCH(int, value);
    QFETCH(QString, partner);
    QFETCH(int, shown);
    QFETCH(QStringList, calls);
    activate(PanelTest::samplePath());
    QSignalSpy redraws(m_layer.get(), &Korvane::Map::Layer::refreshRequested);

    auto* widget = m_panel->findChild<QWidget*>(control);
    QVERIFY(widget);
    QVERIFY(widget->setProperty("value", value));

    QCOMPARE(m_layer->calls, calls);  // a spin box moves its slider, which applies the value once
    QCOMPARE(m_panel->findChild<QWidget*>(partner)->property("value").toInt(), shown);
    QTRY_VERIFY(!redraws.isEmpty());
}

void TestPropertiesPanel::resets_data()
{
    QTest::addColumn<QString>("button");
    QTest::addColumn<QString>("slider");
    QTest::addColumn<QVariant>("storedClip");
    QTest::addColumn<QString>("call");
    QTest::newRow("transparency") << "resetTransparency"
                                  << "transparencySlider" << QVariant() << "setTransparency(1)";
    QTest::newRow("contrast") << "resetContrast"
                              << "contrastSlider" << QVariant() << "setContrast(1)";
    QTest::newRow("brightness") << "resetBrightness"
                                << "brightnessSlider" << QVariant() << "setBrightness(1)";
    QTest::newRow("clip, nothing stored") << "resetDRA"
                                          << "draSlider" << QVariant() << "setTransformClip(99)";
    QTest::newRow("clip, stored default") << "resetDRA"
                                          << "draSlider" << QVariant(90) << "setTransformClip(90)";
}

void TestPropertiesPanel::resets()
{
    QFETCH(QString, button);
    QFETCH(QString, slider);
    QFETCH(QVariant, storedClip);
    QFETCH(QString, call);
    if (storedClip.isValid())
        Korvane::Application::settings()->setValue("XRVJP2kLayer/DefaultClipTransform", storedClip);
    activate(PanelTest::samplePath());
    m_panel->findChild<QSlider*>(slider)->setValue(50);
    m_layer->calls.clear();

    QTest::mouseClick(m_panel->findChild<QToolButton*>(button), Qt::LeftButton);

    QCOMPARE(m_layer->calls, QStringList{call});
}

void TestPropertiesPanel::loadingShowsLayerWithoutWritingBack_data()
{
    QTest::addColumn<QString>("setting");
    QTest::addColumn<double>("layerValue");
    QTest::addColumn<QString>("slider");
    QTest::addColumn<QString>("spinBox");
    QTest::addColumn<int>("shown");
    // Shown values are truncated, never rounded.
    QTest::newRow("opacity 0.333 is 66 % transparent") << "transparency" << 0.333 << "transparencySlider"
                                                       << "transparencySpinBox" << 66;
    QTest::newRow("contrast 1.239") << "contrast" << 1.239 << "contrastSlider"
                                    << "contrastSpinBox" << 123;
    QTest::newRow("brightness 0.5") << "brightness" << 0.5 << "brightnessSlider"
                                    << "brightnessSpinBox" << 50;
    QTest::newRow("clip 42") << "clip" << 42.0 << "draSlider"
                             << "draSpinBox" << 42;
}

void TestPropertiesPanel::loadingShowsLayerWithoutWritingBack()
{
    QFETCH(QString, setting);
    QFETCH(double, layerValue);
    QFETCH(QString, slider);
    QFETCH(QString, spinBox);
    QFETCH(int, shown);
    m_layer = PanelTest::openLayer(PanelTest::samplePath());
    if (setting == "transparency") m_layer->setTransparency(layerValue);
    if (setting == "contrast") m_layer->setContrast(layerValue);
    if (setting == "brightness") m_layer->setBrightness(layerValue);
    if (setting == "clip") m_layer->setTransformClip(int(layerValue));
    m_layer->calls.clear();

    m_panel->onLayerActivated(m_layer.get());

    QVERIFY(m_panel->isEnabled());
    QCOMPARE(m_panel->findChild<QSlider*>(slider)->value(), shown);
    QCOMPARE(m_panel->findChild<QSpinBox*>(spinBox)->value(), shown);
    QCOMPARE(m_layer->calls, QStringList());
}

void TestPropertiesPanel::qualityLayersFollowHeader()
{
    activate(PanelTest::samplePath());
    Korvane::XRVJP2kLayer::Jp2FileInfo header;
    QVERIFY(m_layer->getJp2FileInfo(header));
    QVERIFY(header.qualityLayers > 1);
    auto* slider = child<QSlider>("jp2QualitySlider");
    QVERIFY(child<QGroupBox>("groupBoxQuality")->isEnabled());
    QCOMPARE(slider->minimum(), 1);
    QCOMPARE(slider->maximum(), header.qualityLayers);
    QCOMPARE(child<QSpinBox>("jp2QualitySpinBox")->maximum(), header.qualityLayers);
    QCOMPARE(slider->value(), m_layer->getJp2QualityLayers());

    slider->setValue(1);
    m_layer->calls.clear();
    QTest::mouseClick(child<QToolButton>("resetJp2Quality"), Qt::LeftButton);
    QCOMPARE(m_layer->calls, QStringList{QString("setJp2QualityLayers(%1)").arg(header.qualityLayers)});
}

void TestPropertiesPanel::layerWithoutSourceLeavesQualityGroupOff()
{
    activate(QString());
    QVERIFY(m_panel->isEnabled());
    QVERIFY(!child<QGroupBox>("groupBoxQuality")->isEnabled());
    child<QGroupBox>("groupBoxQuality")->setEnabled(true);  // even when reached, reset has nothing to go by
    QTest::mouseClick(child<QToolButton>("resetJp2Quality"), Qt::LeftButton);
    QCOMPARE(m_layer->calls, QStringList());
}

void TestPropertiesPanel::bandCombos_data()
{
    QTest::addColumn<QString>("image");
    QTest::addColumn<QString>("shownBefore");  // band list given to the layer before activation
    QTest::addColumn<QString>("combo");
    QTest::addColumn<int>("key");
    QTest::addColumn<bool>("opacityEnabled");
    QTest::addColumn<int>("opacityShown");
    QTest::addColumn<QString>("call");
    QTest::newRow("rgb: green shows band 0")
        << "rgb"
        << ""
        << "greenBandComboBox" << int(Qt::Key_Up) << false << 0 << "setBandList(0,0,2)";
    QTest::newRow("rgba: red shows band 1, opacity kept")
        << "rgba"
        << ""
        << "redBandComboBox" << int(Qt::Key_Down) << true << 1 << "setBandList(1,1,2,3)";
    QTest::newRow("rgba: opacity off") << "rgba"
                                       << ""
                                       << "opacityBandComboBox" << int(Qt::Key_Up) << true << 1 << "setBandList(0,1,2)";
    QTest::newRow("rgba shown without opacity: opacity on")
        << "rgba"
        << "0,1,2"
        << "opacityBandComboBox" << int(Qt::Key_Down) << true << 0 << "setBandList(0,1,2,3)";
}

void TestPropertiesPanel::bandCombos()
{
    QFETCH(QString, image);
    QFETCH(QString, shownBefore);
    QFETCH(QString, combo);
    QFETCH(int, key);
    QFETCH(bool, opacityEnabled);
    QFETCH(int, opacityShown);
    QFETCH(QString, call);
    const QString path = image == "rgba" ? PanelTest::rgbaPath() : PanelTest::samplePath();
    if (path.isEmpty()) QSKIP("the RGBA test image has not been made");
    m_layer = PanelTest::openLayer(path);
    if (!shownBefore.isEmpty()) {
        QVector<int> bands;
        for (const QString& b : shownBefore.split(',')) bands << b.toInt();
        m_layer->setBandList(bands);
    }
    m_layer->calls.clear();
    m_panel->onLayerActivated(m_layer.get());
    auto* red = child<QComboBox>("redBandComboBox");
    QCOMPARE(red->count(), m_layer->getNumberOfBands());
    QCOMPARE(red->itemText(0), m_layer->getBandDescriptions().value(0));
    QCOMPARE(child<QComboBox>("blueBandComboBox")->currentIndex(), 2);
    auto* opacity = child<QComboBox>("opacityBandComboBox");
    QCOMPARE(opacity->count(), 2);
    QCOMPARE(opacity->itemText(1), QString("AllOpacity"));
    QCOMPARE(opacity->isEnabled(), opacityEnabled);
    QCOMPARE(opacity->currentIndex(), opacityShown);

    QTest::keyClick(child<QComboBox>(combo.toLatin1().constData()), Qt::Key(key));

    QCOMPARE(m_layer->calls, QStringList{call});
    QCOMPARE(m_layer->getBandList().size(), call.count(',') + 1);
}

void TestPropertiesPanel::resampleChoiceSetsSmoothing()
{
    activate(PanelTest::samplePath());
    auto* combo = child<QComboBox>("resampleTypeComboBox");
    QCOMPARE(combo->currentIndex(), int(m_layer->getResampleType()));
    QCOMPARE(combo->itemText(0), QString("Nearest Neighbour"));

    combo->setCurrentIndex(1);
    QCOMPARE(m_layer->calls, (QStringList{"setResampleType(1)", "setPixmapSmoothing(true)"}));
    QCOMPARE(int(m_layer->getResampleType()), 1);
    QVERIFY(m_layer->getPixmapSmoothing());

    m_layer->calls.clear();
    combo->setCurrentIndex(0);
    QCOMPARE(m_layer->calls, (QStringList{"setResampleType(0)", "setPixmapSmoothing(false)"}));
    QVERIFY(!m_layer->getPixmapSmoothing());
}

void TestPropertiesPanel::options_data()
{
    QTest::addColumn<QString>("checkBox");
    QTest::addColumn<QString>("call");
    // A fresh layer opens progressively with the other options off, as nothing is stored.
    QTest::newRow("progressive") << "progressiveCheckbox"
                                 << "setProgressive(false)";
    QTest::newRow("adaptive") << "adaptiveRoamCheckbox"
                              << "setAdaptiveRoam(true)";
    QTest::newRow("backing store") << "backingStoreCheckBox"
                                   << "setBackingStore(true)";
    QTest::newRow("dither") << "textureDitherCheckBox"
                            << "setTextureDither(true)";
    QTest::newRow("outline") << "drawImageOutlineCheckBox"
                             << "setDrawOutline(true)";
}

void TestPropertiesPanel::options()
{
    QFETCH(QString, checkBox);
    QFETCH(QString, call);
    activate(PanelTest::samplePath());
    auto* box = m_panel->findChild<QCheckBox*>(checkBox);
    QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(5, box->height() / 2));
    QCOMPARE(m_layer->calls.value(0), call);
}

void TestPropertiesPanel::outlineColour()
{
    activate(PanelTest::samplePath());
    QCOMPARE(child<QFrame>("colorFrame")->styleSheet(), QString("background-color: rgb(0, 255, 255);"));

    PanelTest::ModalAnswer cancel([](QWidget* dialog) { qobject_cast<QDialog*>(dialog)->reject(); });
    QTest::mouseClick(child<QPushButton>("outlineColorButton"), Qt::LeftButton);
    QVERIFY(cancel.seen);
    QCOMPARE(m_layer->calls, QStringList());

    PanelTest::ModalAnswer pick([](QWidget* dialog) {
        auto* colours = qobject_cast<QColorDialog*>(dialog);
        QVERIFY(colours);
        QCOMPARE(colours->currentColor(), QColor(0, 255, 255));  // starts at the layer's colour
        colours->setCurrentColor(QColor(255, 0, 128));
        colours->accept();
    });
    QTest::mouseClick(child<QPushButton>("outlineColorButton"), Qt::LeftButton);
    QVERIFY(pick.seen);
    QCOMPARE(m_layer->calls, QStringList{"setOutlineColor(#ff0080)"});
    QCOMPARE(child<QFrame>("colorFrame")->styleSheet(), QString("background-color: rgb(255, 0, 128);"));
}

void TestPropertiesPanel::advancedGroupNeverShown()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!child<QGroupBox>("groupBoxAdvanced"));
    QVERIFY(!child<QCheckBox>("freeCacheCheckBox"));
}

void TestPropertiesPanel::layerOfAnotherKindDisablesPanel()
{
    QVERIFY(!m_panel->isEnabled());  // until a layer of ours is active
    activate(PanelTest::samplePath());
    QVERIFY(m_panel->isEnabled());

    PanelTest::OtherLayer other;
    m_panel->onLayerActivated(&other);
    QVERIFY(!m_panel->isEnabled());
    child<QSlider>("contrastSlider")->setValue(10);  // reaches no layer
    QCOMPARE(m_layer->calls, QStringList());
}

void TestPropertiesPanel::subWindowActivation_data()
{
    QTest::addColumn<QString>("window");
    QTest::addColumn<bool>("appActive");
    QTest::addColumn<bool>("enabled");
    QTest::newRow("map view") << "map" << true << true;
    QTest::newRow("other window") << "text" << true << false;
    QTest::newRow("none, application active") << "none" << true << false;
    QTest::newRow("none, application inactive") << "none" << false << true;
}

void TestPropertiesPanel::subWindowActivation()
{
    QFETCH(QString, window);
    QFETCH(bool, appActive);
    QFETCH(bool, enabled);
    activate(PanelTest::samplePath());
    QMdiArea area;
    QMdiSubWindow* sub = nullptr;
    if (window == "map") sub = area.addSubWindow(new Korvane::Map::MapView);
    if (window == "text") sub = area.addSubWindow(new QTextEdit);
    QApplication::setActiveWindow(appActive ? m_panel.get() : nullptr);

    m_panel->onSubWindowActivated(sub);

    QCOMPARE(m_panel->isEnabled(), enabled);
}

XRV_PANELS_TEST_MAIN(TestPropertiesPanel)
#include "tst_propertiespanel.moc"
