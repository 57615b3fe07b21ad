// The layer properties panel driven as a user drives it, against layers opened on real images:
// what each control does to the layer, what the panel shows for a layer, and that it never
// reaches a layer that is gone.
#include <QtTest>

#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QRadioButton>
#include <QSlider>
#include <QSpinBox>
#include <QTextEdit>
#include <QToolButton>

#include "PanelTestSupport.h"
#include "QDGui/MapView.h"
#include "XRVJP2kProperties.h"

using Korvane::XRVJP2kLayer;

namespace {

// What the layer holds after a control changed, by the name of the control's group.
double layerValue(XRVJP2kLayer& layer, const QString& group)
{
    if (group == "transparency") return layer.getTransparency();
    if (group == "contrast") return layer.getContrast();
    if (group == "brightness") return layer.getBrightness();
    if (group == "dra") return layer.getTransformClip();
    if (group == "jp2Quality") return layer.getJp2QualityLayers();
    return -1;
}

QStringList warnings;
void keepWarnings(QtMsgType type, const QMessageLogContext&, const QString& text)
{
    if (type == QtWarningMsg) warnings << text;
}

}  // namespace

class TestPropertiesPanel : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();
    void controlsReachLayer_data();
    void controlsReachLayer();
    void loadingShowsLayerWithoutWritingBack_data();
    void loadingShowsLayerWithoutWritingBack();
    void bands_data();
    void bands();
    void resampleChoiceSetsSmoothing();
    void readLineButtonsConnectedQuietly();
    void layerGoneGreysOut_data();
    void layerGoneGreysOut();
    void wheelNeedsFocus();
    void subWindowActivation_data();
    void subWindowActivation();

private:
    template <typename T>
    T* child(const QString& name) const
    {
        return m_panel->findChild<T*>(name);
    }
    void activate(const QString& path);

    std::unique_ptr<XRVJP2kProperties> m_panel;
    std::unique_ptr<XRVJP2kLayer> m_layer;
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
}

void TestPropertiesPanel::controlsReachLayer_data()
{
    QTest::addColumn<QString>("group");
    QTest::addColumn<QString>("control");  // Slider, SpinBox or a reset button
    QTest::addColumn<int>("value");
    QTest::addColumn<QVariant>("storedClip");
    QTest::addColumn<double>("expected");
    QTest::addColumn<int>("shown");  // by slider and spin box afterwards
    // Transparency is shown in percent but kept by the layer as an opacity.
    QTest::newRow("transparency slider") << "transparency"
                                         << "Slider" << 25 << QVariant() << 0.75 << 25;
    QTest::newRow("transparency spin box") << "transparency"
                                           << "SpinBox" << 100 << QVariant() << 0.0 << 100;
    QTest::newRow("contrast spin box") << "contrast"
                                       << "SpinBox" << 150 << QVariant() << 1.5 << 150;
    QTest::newRow("brightness slider") << "brightness"
                                       << "Slider" << 40 << QVariant() << 0.4 << 40;
    // The spin box goes down to 0, the slider only to 1: the slider's floor wins.
    QTest::newRow("clip spin box at 0") << "dra"
                                        << "SpinBox" << 0 << QVariant() << 1.0 << 1;
    QTest::newRow("quality spin box") << "jp2Quality"
                                      << "SpinBox" << 1 << QVariant() << 1.0 << 1;
    QTest::newRow("reset transparency") << "transparency"
                                        << "resetTransparency" << 50 << QVariant() << 1.0 << 0;
    QTest::newRow("reset contrast") << "contrast"
                                    << "resetContrast" << 50 << QVariant() << 1.0 << 100;
    QTest::newRow("reset clip, nothing stored") << "dra"
                                                << "resetDRA" << 50 << QVariant() << 99.0 << 99;
    QTest::newRow("reset clip, stored default") << "dra"
                                                << "resetDRA" << 50 << QVariant(90) << 90.0 << 90;
}

void TestPropertiesPanel::controlsReachLayer()
{
    QFETCH(QString, group);
    QFETCH(QString, control);
    QFETCH(int, value);
    QFETCH(QVariant, storedClip);
    QFETCH(double, expected);
    QFETCH(int, shown);
    if (storedClip.isValid())
        Korvane::Application::settings()->setValue("XRVJP2kLayer/DefaultClipTransform", storedClip);
    activate(PanelTest::samplePath());
    QSignalSpy redraws(m_layer.get(), &Korvane::Map::Layer::refreshRequested);
    auto* slider = child<QSlider>(group + "Slider");
    if (control.startsWith("reset")) {
        slider->setValue(value);
        QTest::mouseClick(child<QToolButton>(control), Qt::LeftButton);
    } else {
        QVERIFY(child<QWidget>(group + control)->setProperty("value", value));
    }
    QCOMPARE(layerValue(*m_layer, group), expected);
    QCOMPARE(slider->value(), shown);
    QCOMPARE(child<QSpinBox>(group + "SpinBox")->value(), shown);
    QTRY_VERIFY(!redraws.isEmpty());
}

void TestPropertiesPanel::loadingShowsLayerWithoutWritingBack_data()
{
    QTest::addColumn<QString>("group");
    QTest::addColumn<double>("value");
    QTest::addColumn<int>("shown");
    // Shown values are truncated, never rounded; a written-back value would be rounded.
    QTest::newRow("opacity 0.333 is 66 % transparent") << "transparency" << 0.333 << 66;
    QTest::newRow("contrast 1.239") << "contrast" << 1.239 << 123;
    QTest::newRow("clip 42") << "dra" << 42.0 << 42;
}

void TestPropertiesPanel::loadingShowsLayerWithoutWritingBack()
{
    QFETCH(QString, group);
    QFETCH(double, value);
    QFETCH(int, shown);
    m_layer = PanelTest::openLayer(PanelTest::samplePath());
    if (group == "transparency") m_layer->setTransparency(value);
    if (group == "contrast") m_layer->setContrast(value);
    if (group == "dra") m_layer->setTransformClip(int(value));
    m_panel->onLayerActivated(m_layer.get());
    QVERIFY(m_panel->isEnabled());
    QCOMPARE(child<QSlider>(group + "Slider")->value(), shown);
    QCOMPARE(child<QSpinBox>(group + "SpinBox")->value(), shown);
    QCOMPARE(layerValue(*m_layer, group), value);
}

void TestPropertiesPanel::bands_data()
{
    QTest::addColumn<bool>("rgba");
    QTest::addColumn<QVector<int>>("before");  // empty: the layer's default
    QTest::addColumn<QString>("combo");
    QTest::addColumn<int>("key");
    QTest::addColumn<bool>("opacityEnabled");
    QTest::addColumn<QVector<int>>("after");
    QTest::newRow("rgb: green shows band 0")
        << false << QVector<int>() << "greenBandComboBox" << int(Qt::Key_Up) << false << QVector<int>{0, 0, 2};
    QTest::newRow("rgba: red shows band 1, opacity kept")
        << true << QVector<int>() << "redBandComboBox" << int(Qt::Key_Down) << true << QVector<int>{1, 1, 2, 3};
    QTest::newRow("rgba: opacity off") << true << QVector<int>() << "opacityBandComboBox" << int(Qt::Key_Up) << true
                                       << QVector<int>{0, 1, 2};
    QTest::newRow("rgba shown without opacity: on") << true << QVector<int>{0, 1, 2} << "opacityBandComboBox"
                                                    << int(Qt::Key_Down) << true << QVector<int>{0, 1, 2, 3};
}

void TestPropertiesPanel::bands()
{
    QFETCH(bool, rgba);
    QFETCH(QVector<int>, before);
    QFETCH(QString, combo);
    QFETCH(int, key);
    QFETCH(bool, opacityEnabled);
    QFETCH(QVector<int>, after);
    const QString path = rgba ? PanelTest::rgbaPath() : PanelTest::samplePath();
    if (path.isEmpty()) QSKIP("the RGBA test image has not been made");
    m_layer = PanelTest::openLayer(path);
    if (!before.isEmpty()) m_layer->setBandList(before);
    m_panel->onLayerActivated(m_layer.get());
    QCOMPARE(child<QComboBox>("redBandComboBox")->count(), m_layer->getNumberOfBands());
    QCOMPARE(child<QComboBox>("opacityBandComboBox")->isEnabled(), opacityEnabled);
    QTest::keyClick(child<QComboBox>(combo), Qt::Key(key));
    QCOMPARE(m_layer->getBandList(), after);
}

void TestPropertiesPanel::resampleChoiceSetsSmoothing()
{
    activate(PanelTest::samplePath());
    auto* combo = child<QComboBox>("resampleTypeComboBox");
    QCOMPARE(combo->currentIndex(), int(m_layer->getResampleType()));
    combo->setCurrentIndex(1);
    QCOMPARE(m_layer->getResampleType(), XRVJP2kLayer::Bilinear);
    QVERIFY(m_layer->getPixmapSmoothing());
    combo->setCurrentIndex(0);
    QCOMPARE(m_layer->getResampleType(), XRVJP2kLayer::NearestNeighbour);
    QVERIFY(!m_layer->getPixmapSmoothing());
}

void TestPropertiesPanel::readLineButtonsConnectedQuietly()
{
    warnings.clear();
    const QtMessageHandler previous = qInstallMessageHandler(keepWarnings);
    XRVJP2kProperties panel;
    qInstallMessageHandler(previous);
    QVERIFY2(warnings.filter("connectSlotsByName").isEmpty(), qPrintable(warnings.join('\n')));
    // The advanced group is on its way out but its buttons still work until it is gone.
    auto layer = PanelTest::openLayer(PanelTest::samplePath());
    panel.onLayerActivated(layer.get());
    panel.findChild<QRadioButton*>("readLineBIL")->click();
    QVERIFY(!layer->getReadRGBA());
    panel.findChild<QRadioButton*>("readLineRGBA")->click();
    QVERIFY(layer->getReadRGBA());
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!panel.findChild<QGroupBox*>("groupBoxAdvanced"));
}

void TestPropertiesPanel::layerGoneGreysOut_data()
{
    QTest::addColumn<bool>("told");  // the host says so with a null layer, or just deletes it
    QTest::newRow("told with a null layer") << true;
    QTest::newRow("deleted without notice") << false;
}

void TestPropertiesPanel::layerGoneGreysOut()
{
    QFETCH(bool, told);
    activate(PanelTest::samplePath());
    QVERIFY(m_panel->isEnabled());
    if (told) m_panel->setLayer(nullptr);
    m_layer.reset();
    QVERIFY(!m_panel->isEnabled());
    // Controls reached anyway (the panel is greyed, not gone) touch nothing.
    m_panel->setEnabled(true);
    PanelTest::click(child<QCheckBox>("drawImageOutlineCheckBox"));
    child<QSlider>("contrastSlider")->setValue(10);
    QTest::keyClick(child<QComboBox>("redBandComboBox"), Qt::Key_Down);
}

void TestPropertiesPanel::wheelNeedsFocus()
{
    activate(PanelTest::samplePath());
    auto* slider = child<QSlider>("contrastSlider");
    const auto turn = [slider] {
        const QPoint middle(slider->width() / 2, slider->height() / 2);
        QWheelEvent wheel(middle, slider->mapToGlobal(middle), QPoint(), QPoint(0, 120), Qt::NoButton, Qt::NoModifier,
                          Qt::NoScrollPhase, false);
        QApplication::sendEvent(slider, &wheel);
    };
    slider->clearFocus();
    turn();
    QCOMPARE(m_layer->getContrast(), 1.0);
    slider->setFocus();
    QTRY_VERIFY(slider->hasFocus());
    turn();
    QVERIFY(m_layer->getContrast() != 1.0);
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
    QTest::newRow("layer of another kind") << "other layer" << true << false;
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
    PanelTest::OtherLayer other;
    if (window == "other layer")
        m_panel->onLayerActivated(&other);
    else
        m_panel->onSubWindowActivated(sub);
    QCOMPARE(m_panel->isEnabled(), enabled);
}

XRV_PANELS_TEST_MAIN(TestPropertiesPanel)
#include "tst_propertiespanel.moc"
