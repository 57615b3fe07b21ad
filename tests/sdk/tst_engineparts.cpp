// The engine's small parts on their own: the shared block cache (memory bound, eviction, one
// decode per block across threads), histogram buckets and the path to screen bytes, and the view
// geometry (level choice and which cell each pixel samples), and the rows a picture reads from
// the blocks.
#include <QtTest>

#include <atomic>
#include <thread>
#include <vector>

#include "cache/BlockCache.h"
#include "image/BandHistogram.h"
#include "view/BandQuantizer.h"
#include "view/BlockRows.h"
#include "view/ViewGeometry.h"

using namespace PLK::Engine;
Q_DECLARE_METATYPE(LevelRect)

namespace {
std::shared_ptr<Block> makeBlock(uint32_t side)
{
    auto b = std::make_shared<Block>();
    b->rect = LevelRect{0, 0, side, side};
    b->cells.allocate(side, side, 1);
    return b;
}
BlockKey key(uint32_t block, uint64_t image = 1)
{
    return BlockKey{image, 0, 1, 0, block};
}
void put(BlockCache& cache, const BlockKey& k, uint32_t side)
{
    QVERIFY(cache.claim(k));
    cache.publish(k, makeBlock(side));
}
}  // namespace

class TestEngineParts : public QObject {
    Q_OBJECT
private slots:
    void cacheStaysWithinLimitLeastRecentFirst();
    void cacheDecodesEachBlockOnce();
    void histogramBuckets_data();
    void histogramBuckets();
    void quantize_data();
    void quantize();
    void chooseLevel_data();
    void chooseLevel();
    void pixelsSampleCells();
    void rowsFromBlocks_data();
    void rowsFromBlocks();
};

void TestEngineParts::cacheStaysWithinLimitLeastRecentFirst()
{
    const uint64_t oneBlock = 64 * 64 * 4 + 200;
    BlockCache cache(oneBlock * 10);
    for (uint32_t i = 0; i < 100; ++i) {
        put(cache, key(i), 64);
        QVERIFY(cache.bytesInUse() <= cache.limit());
    }
    QVERIFY(cache.bytesInUse() > oneBlock * 5);
    cache.setLimit(3 * oneBlock);
    QVERIFY(cache.bytesInUse() <= 3 * oneBlock);
    BlockCache::BlockPtr held = cache.find(key(98));
    QVERIFY(cache.find(key(97)));  // 97, then 98, are the most recently used
    put(cache, key(100), 64);
    QVERIFY(cache.contains(key(97)));
    QVERIFY(!cache.contains(key(99)));
    put(cache, key(101), 64);
    QVERIFY(!cache.contains(key(98)));
    QCOMPARE(held->cells.width, 64u);  // a reader's block stays whole after eviction

    put(cache, key(0, 2), 16);
    cache.dropImage(1);
    QVERIFY(!cache.contains(key(101)));
    QVERIFY(cache.contains(key(0, 2)));
    cache.setLimit(0);
    QCOMPARE(cache.bytesInUse(), uint64_t(0));
}

// A claimed block is nobody else's: readers wait for it and get what is published, or come
// away empty-handed when the decoder gives up, and may then claim it themselves.
void TestEngineParts::cacheDecodesEachBlockOnce()
{
    BlockCache cache(1 << 20);
    QVERIFY(cache.claim(key(1)));
    QVERIFY(!cache.claim(key(1)));
    QVERIFY(cache.claim(key(2)));
    std::atomic<int> published{0}, emptyHanded{0};
    std::vector<std::thread> readers;
    for (int i = 0; i < 4; ++i)
        readers.emplace_back([&] {
            if (cache.waitFor(key(1))) ++published;
            if (!cache.waitFor(key(2))) ++emptyHanded;
        });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    cache.publish(key(1), makeBlock(8));
    cache.abandon(key(2));
    for (auto& t : readers) t.join();
    QCOMPARE(published.load(), 4);
    QCOMPARE(emptyHanded.load(), 4);
    QVERIFY(!cache.claim(key(1)));  // decoded already
    QVERIFY(cache.claim(key(2)));   // free to decode again
}

void TestEngineParts::histogramBuckets_data()
{
    QTest::addColumn<int>("bits");
    QTest::addColumn<bool>("isSigned");
    QTest::addColumn<int>("value");
    QTest::addColumn<int>("buckets");
    QTest::addColumn<int>("bucket");
    QTest::newRow("8-bit") << 8 << false << 200 << 256 << 200;
    QTest::newRow("signed 8-bit") << 8 << true << -128 << 256 << 0;
    QTest::newRow("12-bit") << 12 << false << 4095 << 4096 << 4095;
    QTest::newRow("16-bit signed") << 16 << true << 0 << 65536 << 32768;
    QTest::newRow("20-bit folds into 65536") << 20 << false << 16 << 65536 << 1;
    QTest::newRow("out of range clamps") << 8 << false << 300 << 256 << 255;
}

void TestEngineParts::histogramBuckets()
{
    QFETCH(int, bits);
    QFETCH(bool, isSigned);
    QFETCH(int, value);
    BandHistogram h(static_cast<uint8_t>(bits), isSigned);
    const int32_t v = value;
    h.add(&v, 1);
    QTEST(int(h.bucketCount()), "buckets");
    QFETCH(int, bucket);
    QCOMPARE(h.counts()[bucket], uint64_t(1));
}

void TestEngineParts::quantize_data()
{
    QTest::addColumn<int>("bits");
    QTest::addColumn<bool>("isSigned");
    QTest::addColumn<QString>("flags");  // "opacity", "autoscale", "dither"
    QTest::addColumn<double>("tmin");    // NaN: no transform
    QTest::addColumn<double>("tmax");
    QTest::addColumn<float>("value");
    QTest::addColumn<int>("low");  // every pixel of a 4 x 4 dither cell gives low or low + spread
    QTest::addColumn<int>("spread");
    const double none = qQNaN();
    QTest::newRow("8-bit passes through") << 8 << false << "" << none << none << 173.f << 173 << 0;
    QTest::newRow("signed 8-bit is offset") << 8 << true << "" << none << none << -128.f << 0 << 0;
    QTest::newRow("16-bit keeps top bits") << 16 << false << "" << none << none << 65535.f << 255 << 0;
    QTest::newRow("16-bit mid") << 16 << false << "" << none << none << 32768.f << 128 << 0;
    QTest::newRow("transform stretches") << 16 << false << "" << 1000.0 << 2000.0 << 1500.f << 128 << 0;
    QTest::newRow("transform clamps low") << 16 << false << "" << 1000.0 << 2000.0 << 10.f << 0 << 0;
    QTest::newRow("transform clamps high") << 16 << false << "" << 1000.0 << 2000.0 << 9000.f << 255 << 0;
    QTest::newRow("1-bit mask autoscaled") << 1 << false << "opacity autoscale" << none << none << 1.f << 255 << 0;
    QTest::newRow("1-bit mask left alone") << 1 << false << "opacity" << none << none << 1.f << 1 << 0;
    QTest::newRow("4-bit colour stretched") << 4 << false << "" << none << none << 15.f << 255 << 0;
    QTest::newRow("dither within one step") << 8 << false << "dither" << none << none << 100.4f << 100 << 1;
    QTest::newRow("opacity never dithered") << 8 << false << "opacity dither" << none << none << 100.4f << 100 << 0;
}

void TestEngineParts::quantize()
{
    QFETCH(int, bits);
    QFETCH(double, tmin);
    QFETCH(double, tmax);
    QFETCH(int, low);
    QFETCH(int, spread);
    QFETCH(float, value);
    BandLayout band;
    band.bits = static_cast<uint8_t>(bits);
    QFETCH(bool, isSigned);
    band.isSigned = isSigned;
    BandTransform t;
    t.active = !qIsNaN(tmin);
    if (t.active) t.transform = PLK::API::CMinMaxTransform(tmin, tmax);
    QFETCH(QString, flags);
    const BandQuantizer q(band, t, flags.contains("opacity"), flags.contains("autoscale"), flags.contains("dither"));
    QSet<int> seen;
    for (uint32_t y = 0; y < 4; ++y)
        for (uint32_t x = 0; x < 4; ++x) seen << q(value, x, y);
    QCOMPARE(seen, spread ? QSet<int>({low, low + spread}) : QSet<int>({low}));
}

void TestEngineParts::chooseLevel_data()
{
    QTest::addColumn<int>("viewWidth");
    QTest::addColumn<double>("worldWidth");
    QTest::addColumn<bool>("nearestOptimised");
    QTest::addColumn<int>("expected");
    // A 8192-cell image with 1-unit cells, 6 levels.
    QTest::newRow("one cell per pixel") << 1024 << 1024.0 << false << 0;
    QTest::newRow("magnified") << 1024 << 100.0 << false << 0;
    QTest::newRow("exactly two cells per pixel") << 1024 << 2048.0 << false << 1;
    QTest::newRow("just under two") << 1024 << 2040.0 << false << 0;
    QTest::newRow("whole image in 1024") << 1024 << 8192.0 << false << 3;
    QTest::newRow("beyond the coarsest level") << 16 << 8192.0 << false << 5;
    QTest::newRow("nearest takes 1.5 as level 1") << 1024 << 1536.0 << true << 1;
    QTest::newRow("nearest keeps 1.3 at level 0") << 1024 << 1331.0 << true << 0;
    QTest::newRow("not optimised keeps 1.5 at level 0") << 1024 << 1536.0 << false << 0;
}

void TestEngineParts::chooseLevel()
{
    QFETCH(int, viewWidth);
    QFETCH(double, worldWidth);
    QFETCH(bool, nearestOptimised);
    const ViewGeometry g(GridTransform{0, 0, 1, -1}, 8192, 8192, viewWidth, viewWidth, 0, 0, worldWidth, -worldWidth);
    QTEST(int(g.chooseLevel(6, nearestOptimised)), "expected");
}

void TestEngineParts::pixelsSampleCells()
{
    // Origin (1000, 5000), 2-unit cells, north-up; a view of cells 100..109 x 50..54.
    const ViewGeometry g(GridTransform{1000, 5000, 2, -2}, 500, 400, 10, 5, 1200, 4900, 1220, 4890);
    const AxisSamples cols = g.columns(500), rows = g.rows(400);
    for (int i = 0; i < 10; ++i) QCOMPARE(cols.nearest[i], int64_t(100 + i));
    for (int j = 0; j < 5; ++j) QCOMPARE(rows.nearest[j], int64_t(50 + j));
    QCOMPARE(ViewGeometry::window(cols, rows), (LevelRect{100, 50, 110, 55}));

    // From x = -500 to 500 over an image from 0 to 1000: the left half is off the image.
    const AxisSamples half =
        ViewGeometry(GridTransform{0, 0, 1, -1}, 1000, 1000, 1000, 10, -500, 0, 500, -10).columns(1000);
    QCOMPARE(half.nearest[499], int64_t(-1));
    QCOMPARE(half.nearest[500], int64_t(0));
    QCOMPARE(half.first, int64_t(0));
    QCOMPARE(half.last, int64_t(499));

    // A positive y increment: rows grow with world y.
    const AxisSamples southUp = ViewGeometry(GridTransform{0, 0, 1, 1}, 100, 100, 4, 4, 0, 10, 4, 14).rows(100);
    QCOMPARE(southUp.nearest[0], int64_t(10));
    QCOMPARE(southUp.nearest[3], int64_t(13));

    // 1000 cells on 125 pixels from level 3 (125 cells): every level cell once.
    const ViewGeometry coarse(GridTransform{0, 0, 1, -1}, 1000, 1000, 125, 125, 0, 0, 1000, -1000);
    QCOMPARE(int(coarse.chooseLevel(6, false)), 3);
    const AxisSamples levelCols = coarse.columns(125);
    for (int i = 0; i < 125; ++i) QCOMPARE(levelCols.nearest[i], int64_t(i));

    // Magnified 4x, pixel centres at quarter cells: pixel 0 at 2.125 lies between cells 1 and
    // 2 (weight 0.625), pixel 2 at 2.625 between 2 and 3 (weight 0.125).
    const AxisSamples magnified = ViewGeometry(GridTransform{0, 0, 1, -1}, 10, 10, 8, 8, 2, 0, 4, -2).columns(10);
    QCOMPARE(magnified.lower[0], int64_t(1));
    QCOMPARE(double(magnified.weight[0]), 0.625);
    QCOMPARE(magnified.lower[2], int64_t(2));
    QCOMPARE(double(magnified.weight[2]), 0.125);
}

// Cell (x, y) of band b; `wide` bands hold values no byte can, so their blocks stay 32-bit.
int32_t cellValue(int64_t x, int64_t y, uint32_t b, bool wide)
{
    return wide ? int32_t(x * 1000 + y) * (b % 2 ? -1 : 1) : int32_t((x * 7 + y * 3 + b * 50) & 255);
}

void TestEngineParts::rowsFromBlocks_data()
{
    QTest::addColumn<LevelRect>("window");
    QTest::addColumn<bool>("wide");
    QTest::newRow("inside one block") << LevelRect{3, 5, 20, 9} << false;
    QTest::newRow("across block edges") << LevelRect{10, 20, 90, 70} << false;
    QTest::newRow("the whole grid, 32-bit cells") << LevelRect{0, 0, 100, 80} << true;
    QTest::newRow("across block edges, 32-bit cells") << LevelRect{31, 1, 33, 79} << true;
}

// Blocks of 32 cells with short ones at the grid's right and bottom edges, in no order: every
// row read from them holds the cells the blocks hold, whichever order rows are asked for in.
void TestEngineParts::rowsFromBlocks()
{
    QFETCH(LevelRect, window);
    QFETCH(bool, wide);
    BlockFetcher::BlockSet set;
    set.window = window;
    for (int64_t y0 = 64; y0 >= 0; y0 -= 32)
        for (int64_t x0 = 96; x0 >= 0; x0 -= 32) {
            auto block = std::make_shared<Block>();
            block->rect = {x0, y0, std::min<int64_t>(x0 + 32, 100), std::min<int64_t>(y0 + 32, 80)};
            if (block->rect.intersected(window).empty()) continue;
            const LevelRect& r = block->rect;
            block->cells.allocate(uint32_t(r.width()), uint32_t(r.height()), 2, !wide);
            for (uint32_t b = 0; b < 2; ++b)
                for (int64_t y = r.y0; y < r.y1; ++y)
                    for (int64_t x = r.x0; x < r.x1; ++x) {
                        const size_t at = (b * r.height() + (y - r.y0)) * r.width() + (x - r.x0);
                        wide ? void(block->cells.wide[at] = cellValue(x, y, b, true))
                             : void(block->cells.bytes[at] = uint8_t(cellValue(x, y, b, false)));
                    }
            set.blocks.push_back(block);
        }
    RegionBuffer whole;
    set.assemble(whole, 2);
    BlockRows rows(set, {1, 0});
    // Rows in pairs, both in use at once, as bilinear sampling asks for them; the last pair goes
    // back to the first rows.
    auto check = [&](const int32_t* row, uint32_t band, int64_t y) {
        for (int64_t x = 0; x < window.width(); ++x) {
            const int32_t expected = cellValue(window.x0 + x, window.y0 + y, band, wide);
            QCOMPARE(row[x], expected);
            QCOMPARE(whole.plane(band)[y * whole.width + x], expected);
        }
    };
    for (int64_t y = 0; y <= window.height(); ++y) {
        const int64_t top = y % window.height(), bottom = std::min(top + 1, window.height() - 1);
        for (uint32_t plane = 0; plane < 2; ++plane) {
            const int32_t* upper = rows.row(plane, top);
            const int32_t* lower = rows.row(plane, bottom);
            check(upper, 1 - plane, top);
            check(lower, 1 - plane, bottom);
        }
    }
}

QTEST_APPLESS_MAIN(TestEngineParts)
#include "tst_engineparts.moc"
