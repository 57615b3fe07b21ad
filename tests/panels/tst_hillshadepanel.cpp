// The hillshade panel against a layer on the bundled sample: what it shows and sets, when it
// stays out of the way, and that it never reaches a layer that is gone.
#include <QtTest>

#include <QCheckBox>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QSpinBox>
#include <QTextEdit>

#include "PanelTestSupport.h"
#include "QDGui/MapView.h"
#include "SunShadeWidget.h"
#include "XRVJP2kSunshade.h"

class TestHillshadePanel : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();
    void loadingShowsLayerWithoutWritingBack();
    void controlsReachLayer_data();
    void controlsReachLayer();
    void layerGoneOrOfAnotherKind_data();
    void layerGoneOrOfAnotherKind();
    void subWindowActivation_data();
    void subWindowActivation();
    void draggingSunLeavesLayerAlone();

private:
    std::unique_ptr<XRVJP2kSunshade> m_panel;
    std::unique_ptr<Korvane::XRVJP2kLayer> m_layer;
};

void TestHillshadePanel::initTestCase()
{
    if (PanelTest::samplePath().isEmpty()) QSKIP("the bundled sample has not been made");
}

void TestHillshadePanel::init()
{
    m_panel = std::make_unique<XRVJP2kSunshade>();
    m_layer = PanelTest::openLayer(PanelTest::samplePath());
    QVERIFY(m_layer->isValid());
}

void TestHillshadePanel::cleanup()
{
    m_panel.reset();
    m_layer.reset();
}

void TestHillshadePanel::loadingShowsLayerWithoutWritingBack()
{
    m_layer->setHillShade(true);
    m_layer->setAzumith(359.9);
    m_layer->setElevation(45.5);
    m_panel->onLayerActivated(m_layer.get());
    QVERIFY(m_panel->isEnabled());
    QVERIFY(m_panel->findChild<QCheckBox*>("hillShadeCheckBox")->isChecked());
    QCOMPARE(m_panel->findChild<QSpinBox*>("azumithSpinBox")->value(), 359);  // truncated
    QCOMPARE(m_panel->findChild<QSpinBox*>("elevationSpinBox")->value(), 45);
    QCOMPARE(m_layer->getAzumith(), 359.9);
    QCOMPARE(m_layer->getElevation(), 45.5);
}

void TestHillshadePanel::controlsReachLayer_data()
{
    QTest::addColumn<QString>("spinBox");
    QTest::addColumn<int>("value");
    QTest::addColumn<double>("azimuth");
    QTest::addColumn<double>("elevation");
    // The sun starts at 45 degrees both ways.
    QTest::newRow("azimuth") << "azumithSpinBox" << 120 << 120.0 << 45.0;
    QTest::newRow("azimuth past a full turn") << "azumithSpinBox" << 400 << 360.0 << 45.0;
    QTest::newRow("elevation past the zenith") << "elevationSpinBox" << 95 << 45.0 << 90.0;
}

void TestHillshadePanel::controlsReachLayer()
{
    QFETCH(QString, spinBox);
    QFETCH(int, value);
    QFETCH(double, azimuth);
    QFETCH(double, elevation);
    m_panel->onLayerActivated(m_layer.get());
    QSignalSpy redraws(m_layer.get(), &Korvane::Map::Layer::refreshRequested);
    m_panel->findChild<QSpinBox*>(spinBox)->setValue(value);
    QCOMPARE(m_layer->getAzumith(), azimuth);
    QCOMPARE(m_layer->getElevation(), elevation);
    QTRY_VERIFY(!redraws.isEmpty());
}

void TestHillshadePanel::layerGoneOrOfAnotherKind_data()
{
    QTest::addColumn<QString>("how");
    QTest::newRow("told with a null layer") << "null";
    QTest::newRow("deleted without notice") << "deleted";
    QTest::newRow("layer of another kind") << "other";
}

void TestHillshadePanel::layerGoneOrOfAnotherKind()
{
    QFETCH(QString, how);
    m_panel->onLayerActivated(m_layer.get());
    m_panel->show();
    PanelTest::OtherLayer other;
    if (how == "null") m_panel->onLayerActivated(nullptr);
    if (how == "other") m_panel->onLayerActivated(&other);
    if (how != "other") m_layer.reset();
    QVERIFY(!m_panel->isEnabled());
    // Controls reached some other way touch nothing.
    m_panel->setEnabled(true);
    PanelTest::click(m_panel->findChild<QCheckBox*>("hillShadeCheckBox"));
    m_panel->findChild<QSpinBox*>("azumithSpinBox")->setValue(200);
    if (m_layer) {
        QVERIFY(!m_layer->getHillShade());
        QCOMPARE(m_layer->getAzumith(), 45.0);
    }
}

void TestHillshadePanel::subWindowActivation_data()
{
    QTest::addColumn<QString>("window");
    QTest::addColumn<bool>("enabled");
    QTest::newRow("map view") << "map" << true;
    QTest::newRow("other window") << "text" << false;
    QTest::newRow("none") << "none" << false;
}

void TestHillshadePanel::subWindowActivation()
{
    QFETCH(QString, window);
    QFETCH(bool, enabled);
    QMdiArea area;
    QMdiSubWindow* sub = nullptr;
    if (window == "map") sub = area.addSubWindow(new Korvane::Map::MapView);
    if (window == "text") sub = area.addSubWindow(new QTextEdit);
    m_panel->onSubWindowActivated(sub);
    QCOMPARE(m_panel->isEnabled(), enabled);
}

void TestHillshadePanel::draggingSunLeavesLayerAlone()
{
    m_layer->setAzumith(90);
    m_panel->onLayerActivated(m_layer.get());
    m_panel->resize(200, 260);
    m_panel->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_panel.get()));
    SunShadeWidget* picker = m_panel->sunPicker();
    const QImage before = picker->grab().toImage();
    QTest::mousePress(picker, Qt::LeftButton, {}, QPoint(10, 10));
    QMouseEvent move(QEvent::MouseMove, QPointF(30, 40), Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(picker, &move);
    QTest::mouseRelease(picker, Qt::LeftButton, {}, QPoint(30, 40));
    QCOMPARE(picker->sunPosition(), QPoint(30, 40));
    QVERIFY(picker->grab().toImage() != before);  // the sun is drawn where it was dropped
    QCOMPARE(m_layer->getAzumith(), 90.0);
    QCOMPARE(m_panel->findChild<QSpinBox*>("azumithSpinBox")->value(), 90);
}

XRV_PANELS_TEST_MAIN(TestHillshadePanel)
#include "tst_hillshadepanel.moc"
