// Layers refresh from their decoding threads; the map view must repaint on the GUI thread,
// and only the part of the screen that shows the refreshed world rectangle.
#include "HostTestSupport.h"

#include "QDGui/MapView.h"

#include <thread>
#include <vector>

using Korvane::Map::Layer;
using Korvane::Map::MapView;

namespace {
const QRectF Bounds(0, 400, 400, -400);  // north-up, fills a 400 x 400 view at scale 1
}  // namespace

class TestLayerRefresh : public QObject {
    Q_OBJECT

private slots:
    void burstsFromManyThreadsArriveTogether()
    {
        RecordingLayer layer(Bounds);
        int areas = 0;
        int wholeLayer = 0;
        connect(&layer, &Layer::refreshRequested, this, [&](double x1, double y1, double x2, double y2) {
            ++areas;
            if (x1 == 0 && y1 == 0 && x2 == 0 && y2 == 0) ++wholeLayer;
        });
        std::vector<std::thread> workers;
        for (int t = 0; t < 4; ++t)
            workers.emplace_back([&layer, t]() {
                for (int i = 0; i < 500; ++i) layer.refresh(t, i, t + 1, i + 1);
            });
        for (std::thread& worker : workers) worker.join();
        QTRY_VERIFY(areas > 0);
        QCoreApplication::processEvents();
        // 2000 requests pile up faster than the GUI thread takes them: the view is asked to
        // repaint the whole layer rather than 2000 little areas.
        QCOMPARE(areas, 1);
        QCOMPARE(wholeLayer, 1);
    }

    void viewRepaintsTheRefreshedAreaOnTheGuiThread()
    {
        MapView view;
        view.resize(400, 400);
        auto* layer = new RecordingLayer(Bounds);
        view.addLayer(layer, -1);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        QTRY_VERIFY(!layer->paints.isEmpty());
        QTest::qWait(50);
        layer->paints.clear();

        // World (100..200, 300..250) is device (100..200, 100..150).
        std::thread worker([layer]() { layer->refresh(100, 300, 200, 250); });
        worker.join();
        QTRY_VERIFY(!layer->paints.isEmpty());
        const RecordingLayer::PaintCall paint = layer->paints.first();
        QCOMPARE(paint.thread, QThread::currentThread());
        QVERIFY(paint.device.contains(QRect(100, 100, 100, 50)));
        QVERIFY(paint.device.width() < 150 && paint.device.height() < 100);  // not the whole view
        // The world rectangle handed with it is the one the device rectangle shows.
        QCOMPARE(paint.world.left(), double(paint.device.left()));
        QCOMPARE(paint.world.top(), 400.0 - paint.device.top());
        QCOMPARE(paint.world.height(), -double(paint.device.height()));
    }

    void deletedLayerIsNotDelivered()
    {
        auto* layer = new RecordingLayer(Bounds);
        int delivered = 0;
        connect(layer, &Layer::refreshRequested, this, [&]() { ++delivered; });
        layer->refresh(1, 2, 3, 4);
        delete layer;
        QTest::qWait(20);
        QCOMPARE(delivered, 0);
    }
};

QDGUI_TEST_MAIN(TestLayerRefresh)
#include "tst_layerrefresh.moc"
