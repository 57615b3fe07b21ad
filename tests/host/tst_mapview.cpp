// The map view's geometry as layers see it: the visible world rectangle handed to setView,
// zooming about the cursor, panning by dragging and keys, and headless drawing.
#include "HostTestSupport.h"

#include "QDGui/MapView.h"

#include <cmath>

using Korvane::Map::MapView;

namespace {

// 400 x 300 world units; north-up: top edge at y = 2000, rows run south.
const QRectF NorthUpBounds(1000, 2000, 400, -300);
const QRectF SouthUpBounds(0, 0, 400, 300);

void sendMouse(QWidget* widget, QEvent::Type type, const QPointF& pos, Qt::MouseButtons buttons)
{
    QMouseEvent event(type, pos, widget->mapToGlobal(pos.toPoint()), Qt::LeftButton, buttons, Qt::NoModifier);
    QApplication::sendEvent(widget, &event);
}

void sendWheel(QWidget* widget, const QPointF& pos, int angleDelta)
{
    QWheelEvent event(pos, widget->mapToGlobal(pos.toPoint()), QPoint(), QPoint(0, angleDelta), Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(widget, &event);
}

void drag(QWidget* widget, const QPointF& from, const QPointF& to)
{
    sendMouse(widget, QEvent::MouseButtonPress, from, Qt::LeftButton);
    sendMouse(widget, QEvent::MouseMove, (from + to) / 2, Qt::LeftButton);
    sendMouse(widget, QEvent::MouseMove, to, Qt::LeftButton);
    sendMouse(widget, QEvent::MouseButtonRelease, to, Qt::NoButton);
}

bool near(double a, double b, double tolerance = 1e-6)
{
    return std::abs(a - b) <= tolerance * qMax(1.0, std::abs(b));
}

}  // namespace

class TestMapView : public QObject {
    Q_OBJECT

private:
    // A shown view of the given size holding one recording layer, fitted to it.
    RecordingLayer* setUp(MapView& view, const QRectF& bounds, const QSize& size)
    {
        auto* layer = new RecordingLayer(bounds);
        view.resize(size);
        view.addLayer(layer, -1);
        view.show();
        if (!QTest::qWaitForWindowExposed(&view)) qWarning("map view not exposed");
        return layer;
    }

private slots:
    void setViewIsTheVisibleWorld_data()
    {
        QTest::addColumn<QRectF>("bounds");
        QTest::addColumn<QSize>("size");
        QTest::addColumn<QPoint>("dragBy");
        QTest::addColumn<QRectF>("expected");  // from corner (x1, y1) to (x2, y2)

        QTest::newRow("north-up, exact fit")
            << NorthUpBounds << QSize(400, 300) << QPoint() << QRectF(QPointF(1000, 2000), QPointF(1400, 1700));
        QTest::newRow("north-up, tall window")
            << NorthUpBounds << QSize(400, 600) << QPoint() << QRectF(QPointF(1000, 2150), QPointF(1400, 1550));
        QTest::newRow("north-up, dragged right and down")
            << NorthUpBounds << QSize(400, 300) << QPoint(100, 50) << QRectF(QPointF(900, 2050), QPointF(1300, 1750));
        QTest::newRow("south-up, tall window")
            << SouthUpBounds << QSize(400, 600) << QPoint() << QRectF(QPointF(0, -150), QPointF(400, 450));
        QTest::newRow("south-up, dragged right and down")
            << SouthUpBounds << QSize(400, 300) << QPoint(100, 50) << QRectF(QPointF(-100, -50), QPointF(300, 250));
        QTest::newRow("half-scale image, exact fit")
            << QRectF(0, 600, 800, -600) << QSize(400, 300) << QPoint() << QRectF(QPointF(0, 600), QPointF(800, 0));
    }

    void setViewIsTheVisibleWorld()
    {
        QFETCH(QRectF, bounds);
        QFETCH(QSize, size);
        QFETCH(QPoint, dragBy);
        QFETCH(QRectF, expected);
        MapView view;
        RecordingLayer* layer = setUp(view, bounds, size);
        if (!dragBy.isNull()) drag(&view, QPointF(200, 150), QPointF(200, 150) + dragBy);

        QVERIFY(!layer->views.isEmpty());
        const RecordingLayer::ViewCall last = layer->views.last();
        QCOMPARE(last.size, size);
        QVERIFY(near(last.x1, expected.left()) && near(last.y1, expected.top()));
        QVERIFY(near(last.x2, expected.right()) && near(last.y2, expected.bottom()));
        // And the corners really are where the view draws them.
        QVERIFY(near(view.toDevice(QPointF(last.x1, last.y1)).x(), 0.0));
        QVERIFY(near(view.toDevice(QPointF(last.x2, last.y2)).y(), size.height()));
    }

    void zoomKeepsThePointUnderTheCursor_data()
    {
        QTest::addColumn<QRectF>("bounds");
        QTest::addColumn<QPointF>("cursor");
        QTest::addColumn<int>("angleDelta");

        const QList<QPointF> cursors{QPointF(3, 4), QPointF(397.5, 12.25), QPointF(51, 290)};
        const QList<int> deltas{120, -240, 60};
        for (const QPointF& cursor : cursors) {
            for (int delta : deltas) {
                QTest::addRow("north-up at %g,%g by %d", cursor.x(), cursor.y(), delta)
                    << NorthUpBounds << cursor << delta;
                QTest::addRow("south-up at %g,%g by %d", cursor.x(), cursor.y(), delta)
                    << SouthUpBounds << cursor << delta;
            }
        }
    }

    void zoomKeepsThePointUnderTheCursor()
    {
        QFETCH(QRectF, bounds);
        QFETCH(QPointF, cursor);
        QFETCH(int, angleDelta);
        MapView view;
        RecordingLayer* layer = setUp(view, bounds, QSize(400, 300));
        const QPointF before = view.toWorld(cursor);
        const double scaleBefore = view.unitsPerPixel();

        sendWheel(&view, cursor, angleDelta);
        sendWheel(&view, cursor, angleDelta);

        const QPointF after = view.toWorld(cursor);
        QVERIFY(near(after.x(), before.x(), 1e-9) && near(after.y(), before.y(), 1e-9));
        const double expectedScale = scaleBefore / std::pow(1.25, 2 * angleDelta / 120.0);
        QVERIFY(near(view.unitsPerPixel(), expectedScale));

        // The layer's new view puts that world point at the cursor's place across the screen.
        const RecordingLayer::ViewCall last = layer->views.last();
        QVERIFY(near((before.x() - last.x1) / (last.x2 - last.x1), cursor.x() / 400.0));
        QVERIFY(near((before.y() - last.y1) / (last.y2 - last.y1), cursor.y() / 300.0));
    }

    void activeLayerIsLetGoBeforeItIsDeleted_data()
    {
        QTest::addColumn<QString>("how");
        QTest::addColumn<bool>("othersLeft");
        QTest::newRow("removed, another left") << "remove" << true;
        QTest::newRow("removed, the last one") << "remove" << false;
        QTest::newRow("deleted behind the view's back") << "delete" << false;
        QTest::newRow("the view goes") << "view" << true;
    }

    void activeLayerIsLetGoBeforeItIsDeleted()
    {
        QFETCH(QString, how);
        QFETCH(bool, othersLeft);
        auto* view = new MapView;
        auto* other = othersLeft ? new RecordingLayer(NorthUpBounds) : nullptr;
        if (other) view->addLayer(other, -1);
        auto* layer = new RecordingLayer(NorthUpBounds);
        view->addLayer(layer, -1);
        QCOMPARE(view->addLayer(layer, -1), -1);  // once only
        // What a panel would hold: the active layer as last announced.
        Korvane::Map::Layer* shown = layer;
        bool shownWhenDeleted = false;
        connect(view, &MapView::activeLayerChanged, this, [&](Korvane::Map::Layer* now) { shown = now; });
        connect(layer, &QObject::destroyed, this, [&]() { shownWhenDeleted = shown == layer; });
        if (how == "remove")
            QVERIFY(view->removeLayer(layer));
        else if (how == "delete")
            delete layer;
        if (how != "view") {
            QCOMPARE(view->activeLayer(), other);
            QCOMPARE(view->layers().size(), othersLeft ? 1 : 0);
        }
        delete view;
        QVERIFY(!shownWhenDeleted);
        QVERIFY(!shown);
    }

    void keysAndNewLayersMoveTheView_data()
    {
        QTest::addColumn<int>("key");
        QTest::addColumn<QPointF>("centerMoves");  // in device pixels of the 400 x 300 view
        QTest::addColumn<double>("zoom");
        QTest::newRow("plus") << int(Qt::Key_Plus) << QPointF() << 2.0;
        QTest::newRow("minus") << int(Qt::Key_Minus) << QPointF() << 0.5;
        QTest::newRow("left") << int(Qt::Key_Left) << QPointF(-100, 0) << 1.0;
        QTest::newRow("down") << int(Qt::Key_Down) << QPointF(0, 75) << 1.0;
        QTest::newRow("home after zooming in") << int(Qt::Key_Home) << QPointF() << 1.0 / 3;
    }

    void keysAndNewLayersMoveTheView()
    {
        QFETCH(int, key);
        QFETCH(QPointF, centerMoves);
        QFETCH(double, zoom);
        MapView view;
        setUp(view, NorthUpBounds, QSize(400, 300));
        const QPointF fitted = view.viewport().center();
        view.zoomAt(QPointF(200, 150), key == Qt::Key_Home ? 3.0 : 1.0);
        const QPointF expected = key == Qt::Key_Home ? fitted : view.toWorld(QPointF(200, 150) + centerMoves);
        const double scale = view.unitsPerPixel();
        QTest::keyClick(&view, Qt::Key(key));
        QVERIFY(near(view.unitsPerPixel(), scale / zoom));
        QVERIFY(near(view.viewport().center().x(), expected.x()));
        QVERIFY(near(view.viewport().center().y(), expected.y()));

        // A layer wholly out of sight brings the view to it; one in sight leaves it alone.
        const QRectF before = view.visibleWorld();
        view.addLayer(new RecordingLayer(NorthUpBounds.translated(90, -40)), -1);
        QCOMPARE(view.visibleWorld(), before);
        const QRectF far(50000, 90000, 40, -30);
        view.addLayer(new RecordingLayer(far), -1);
        QVERIFY(view.visibleWorld().normalized().contains(far.normalized()));
    }

    void renderToDrawsWithoutAScreen()
    {
        MapView view;
        view.resize(400, 300);
        view.addLayer(new RecordingLayer(QRectF(0, 100, 100, -100), Qt::red), -1);
        // World (0..100, 0..100) lands on device (100..200, 100..200).
        view.setCenterAndScale(QPointF(100, 50), 1.0);
        QImage image(view.size(), QImage::Format_ARGB32);
        view.renderTo(image);
        QCOMPARE(image.pixelColor(101, 101), QColor(Qt::red));
        QCOMPARE(image.pixelColor(198, 198), QColor(Qt::red));
        QCOMPARE(image.pixelColor(99, 150), QColor(Qt::white));
        QCOMPARE(image.pixelColor(150, 201), QColor(Qt::white));
    }
};

QDGUI_TEST_MAIN(TestMapView)
#include "tst_mapview.moc"
