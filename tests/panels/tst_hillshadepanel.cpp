// The hillshade panel against a layer on the bundled sample, and the sun picker's drawing,
// recorded through a paint engine that writes down what it is asked to draw.
#include <QtTest>

#include <QCheckBox>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QPaintEngine>
#include <QSpinBox>
#include <QTextEdit>

#include "PanelTestSupport.h"
#include "QDGui/MapView.h"
#include "SunShadeWidget.h"
#include "XRVJP2kSunshade.h"

namespace {

class RecordingEngine : public QPaintEngine {
public:
    RecordingEngine() : QPaintEngine(QPaintEngine::AllFeatures) {}
    QList<QRectF> ellipses;
    QList<QLineF> lines;
    QList<QRectF> images;

    bool begin(QPaintDevice*) override { return true; }
    bool end() override { return true; }
    void updateState(const QPaintEngineState&) override {}
    Type type() const override { return QPaintEngine::User; }
    void drawPixmap(const QRectF&, const QPixmap&, const QRectF&) override {}
    void drawEllipse(const QRectF& r) override { ellipses << r; }
    void drawLines(const QLineF* l, int count) override
    {
        for (int i = 0; i < count; ++i) lines << l[i];
    }
    void drawImage(const QRectF& r, const QImage&, const QRectF&, Qt::ImageConversionFlags) override { images << r; }
};

class RecordingDevice : public QPaintDevice {
public:
    explicit RecordingDevice(QSize size) : size(size) {}
    RecordingEngine engine;
    QPaintEngine* paintEngine() const override { return const_cast<RecordingEngine*>(&engine); }

protected:
    int metric(PaintDeviceMetric metric) const override
    {
        switch (metric) {
            case PdmWidth:
                return size.width();
            case PdmHeight:
                return size.height();
            case PdmDepth:
                return 32;
            case PdmDevicePixelRatio:
                return 1;
            case PdmDevicePixelRatioScaled:
                return int(devicePixelRatioFScale());
            case PdmWidthMM:
                return size.width() / 4;
            case PdmHeightMM:
                return size.height() / 4;
            default:
                return 96;
        }
    }

private:
    QSize size;
};

}  // namespace

class TestHillshadePanel : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();
    void loadingShowsLayerWithoutWritingBack();
    void controlsReachLayer_data();
    void controlsReachLayer();
    void layerOfAnotherKind();
    void subWindowActivation_data();
    void subWindowActivation();
    void pickerDrawing();
    void draggingSunLeavesLayerAlone();

private:
    std::unique_ptr<XRVJP2kSunshade> m_panel;
    std::unique_ptr<PanelTest::RecordingLayer> m_layer;
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
    QTest::newRow("elevation") << "elevationSpinBox" << 30 << 45.0 << 30.0;
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

void TestHillshadePanel::layerOfAnotherKind()
{
    m_panel->onLayerActivated(m_layer.get());
    m_panel->show();
    auto* check = m_panel->findChild<QCheckBox*>("hillShadeCheckBox");
    QTest::mouseClick(check, Qt::LeftButton, {}, QPoint(5, check->height() / 2));
    QVERIFY(m_layer->getHillShade());

    PanelTest::OtherLayer other;
    m_panel->onLayerActivated(&other);
    QVERIFY(!m_panel->isEnabled());
    // Controls reached some other way still leave the earlier layer alone.
    check->setChecked(false);
    m_panel->findChild<QSpinBox*>("azumithSpinBox")->setValue(200);
    QVERIFY(m_layer->getHillShade());
    QCOMPARE(m_layer->getAzumith(), 45.0);
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

void TestHillshadePanel::pickerDrawing()
{
    SunShadeWidget picker;
    picker.resize(300, 200);
    RecordingDevice before(picker.size());
    picker.render(&before, QPoint(), QRegion(), QWidget::RenderFlags());
    // A 200-pixel square centred across the width; the outer ring 10 pixels inside it and each
    // further ring one fifth of the half side (20 pixels) inside the one before.
    const QList<QRectF> rings{QRectF(60, 10, 180, 180), QRectF(80, 30, 140, 140), QRectF(100, 50, 100, 100),
                              QRectF(120, 70, 60, 60), QRectF(140, 90, 20, 20)};
    QCOMPARE(before.engine.ellipses.mid(0, 5), rings);
    // Before any press the sun sits at the top-left corner, joined to the centre.
    QCOMPARE(before.engine.ellipses.value(5), QRectF(-5, -5, 10, 10));
    const QList<QLineF> lines{QLineF(60, 100, 240, 100), QLineF(150, 10, 150, 190), QLineF(0, 0, 150, 100)};
    QCOMPARE(before.engine.lines, lines);
    QCOMPARE(before.engine.images, QList<QRectF>{QRectF(-8, -8, 16, 16)});

    QTest::mousePress(&picker, Qt::LeftButton, {}, QPoint(40, 50));
    RecordingDevice after(picker.size());
    picker.render(&after, QPoint(), QRegion(), QWidget::RenderFlags());
    QCOMPARE(after.engine.ellipses.value(5), QRectF(35, 45, 10, 10));
    QCOMPARE(after.engine.lines.value(2), QLineF(40, 50, 150, 100));
    QCOMPARE(after.engine.images, QList<QRectF>{QRectF(32, 42, 16, 16)});
}

void TestHillshadePanel::draggingSunLeavesLayerAlone()
{
    m_layer->setAzumith(90);
    m_layer->setElevation(20);
    m_panel->onLayerActivated(m_layer.get());
    m_panel->resize(200, 260);
    m_panel->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_panel.get()));
    SunShadeWidget* picker = m_panel->sunPicker();
    QVERIFY(picker->isVisible());

    QTest::mousePress(picker, Qt::LeftButton, {}, QPoint(10, 10));
    QMouseEvent move(QEvent::MouseMove, QPointF(30, 40), Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(picker, &move);
    QTest::mouseRelease(picker, Qt::LeftButton, {}, QPoint(30, 40));

    QCOMPARE(picker->sunPosition(), QPoint(30, 40));
    QCOMPARE(m_layer->getAzumith(), 90.0);
    QCOMPARE(m_layer->getElevation(), 20.0);
    QCOMPARE(m_panel->findChild<QSpinBox*>("azumithSpinBox")->value(), 90);
}

XRV_PANELS_TEST_MAIN(TestHillshadePanel)
#include "tst_hillshadepanel.moc"
