// Level choice and sampling: which resolution level a view decodes and which cells its
// pixels take.
#include <QtTest>

#include "view/ViewGeometry.h"

using PLK::Engine::AxisSamples;
using PLK::Engine::GridTransform;
using PLK::Engine::LevelRect;
using PLK::Engine::ViewGeometry;

class TestViewGeometry : public QObject {
    Q_OBJECT
private slots:
    void chooseLevel_data();
    void chooseLevel();
    void fullResolutionSamplesCellsOneToOne();
    void offImagePixelsAreMarked();
    void southUpGridMapsRowsDownwards();
    void coarseLevelCoversWholeImage();
    void bilinearWeights();
};

void TestViewGeometry::chooseLevel_data()
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

void TestViewGeometry::chooseLevel()
{
    QFETCH(int, viewWidth);
    QFETCH(double, worldWidth);
    QFETCH(bool, nearestOptimised);
    QFETCH(int, expected);
    const ViewGeometry g(GridTransform{0, 0, 1, -1}, 8192, 8192, viewWidth, viewWidth, 0, 0, worldWidth, -worldWidth);
    QCOMPARE(int(g.chooseLevel(6, nearestOptimised)), expected);
}

void TestViewGeometry::fullResolutionSamplesCellsOneToOne()
{
    // World origin (1000, 5000), 2-unit cells, north-up; view of cells 100..109 x 50..54.
    const GridTransform grid{1000, 5000, 2, -2};
    const ViewGeometry g(grid, 500, 400, 10, 5, 1200, 4900, 1220, 4890);
    const AxisSamples cols = g.columns(500);
    const AxisSamples rows = g.rows(400);
    for (int i = 0; i < 10; ++i) QCOMPARE(cols.nearest[i], int64_t(100 + i));
    for (int j = 0; j < 5; ++j) QCOMPARE(rows.nearest[j], int64_t(50 + j));
    QCOMPARE(ViewGeometry::window(cols, rows), (LevelRect{100, 50, 110, 55}));
}

void TestViewGeometry::offImagePixelsAreMarked()
{
    // A view from x = -500 to 500 over an image from 0 to 1000: the left half is off the image.
    const ViewGeometry g(GridTransform{0, 0, 1, -1}, 1000, 1000, 1000, 10, -500, 0, 500, -10);
    const AxisSamples cols = g.columns(1000);
    QCOMPARE(cols.nearest[0], int64_t(-1));
    QCOMPARE(cols.nearest[499], int64_t(-1));
    QCOMPARE(cols.nearest[500], int64_t(0));
    QCOMPARE(cols.first, int64_t(0));
    QCOMPARE(cols.last, int64_t(499));
}

void TestViewGeometry::southUpGridMapsRowsDownwards()
{
    // Positive y increment: rows grow with world y.
    const ViewGeometry g(GridTransform{0, 0, 1, 1}, 100, 100, 4, 4, 0, 10, 4, 14);
    const AxisSamples rows = g.rows(100);
    QCOMPARE(rows.nearest[0], int64_t(10));
    QCOMPARE(rows.nearest[3], int64_t(13));
}

void TestViewGeometry::coarseLevelCoversWholeImage()
{
    // 1000 cells shown on 125 pixels from level 3 (125 cells): every level cell once.
    const ViewGeometry g(GridTransform{0, 0, 1, -1}, 1000, 1000, 125, 125, 0, 0, 1000, -1000);
    QCOMPARE(int(g.chooseLevel(6, false)), 3);
    const AxisSamples cols = g.columns(125);
    for (int i = 0; i < 125; ++i) QCOMPARE(cols.nearest[i], int64_t(i));
    QCOMPARE(cols.last, int64_t(124));
}

void TestViewGeometry::bilinearWeights()
{
    // Magnified 4x: pixel centres fall at quarter cells.
    const ViewGeometry g(GridTransform{0, 0, 1, -1}, 10, 10, 8, 8, 2, 0, 4, -2);
    const AxisSamples cols = g.columns(10);
    // Pixel 2: centre at cell 2.625 -> between cells 2 and 3 with weight 0.125.
    QCOMPARE(cols.lower[2], int64_t(2));
    QCOMPARE(double(cols.weight[2]), 0.125);
    // Pixel 0: centre at 2.125 -> between 1 and 2, weight 0.625.
    QCOMPARE(cols.lower[0], int64_t(1));
    QCOMPARE(double(cols.weight[0]), 0.625);
}

QTEST_APPLESS_MAIN(TestViewGeometry)
#include "tst_viewgeometry.moc"
