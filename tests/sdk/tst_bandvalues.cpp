// Band statistics and the path from stored cells to screen bytes.
#include <QtTest>

#include <vector>

#include "image/BandHistogram.h"
#include "view/BandQuantizer.h"

using namespace PLK::Engine;

class TestBandValues : public QObject {
    Q_OBJECT
private slots:
    void histogramFigures();
    void histogramBuckets_data();
    void histogramBuckets();
    void quantize_data();
    void quantize();
    void ditherStaysWithinOneStep();
};

void TestBandValues::histogramFigures()
{
    BandHistogram h(8, false);
    std::vector<int32_t> v;
    for (int i = 0; i < 100; ++i) v.push_back(i);  // 0..99
    v.push_back(50);                               // 50 is the mode
    h.add(v.data(), v.size());
    QCOMPARE(h.total(), uint64_t(101));
    QCOMPARE(h.minimum(), 0.0);
    QCOMPARE(h.maximum(), 99.0);
    QCOMPARE(h.mode(), 50.0);
    QCOMPARE(h.percentile(50), 50.0);
    QVERIFY(qAbs(h.mean() - 4950.0 / 101 - 50.0 / 101) < 1e-9);
    QVERIFY(h.standardDeviation() > 28.0 && h.standardDeviation() < 30.0);
    QCOMPARE(h.percentile(0), 0.0);
    QCOMPARE(h.percentile(100), 99.0);
}

void TestBandValues::histogramBuckets_data()
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

void TestBandValues::histogramBuckets()
{
    QFETCH(int, bits);
    QFETCH(bool, isSigned);
    QFETCH(int, value);
    QFETCH(int, buckets);
    QFETCH(int, bucket);
    BandHistogram h(static_cast<uint8_t>(bits), isSigned);
    const int32_t v = value;
    h.add(&v, 1);
    QCOMPARE(int(h.bucketCount()), buckets);
    QCOMPARE(h.counts()[bucket], uint64_t(1));
}

void TestBandValues::quantize_data()
{
    QTest::addColumn<int>("bits");
    QTest::addColumn<bool>("isSigned");
    QTest::addColumn<bool>("opacity");
    QTest::addColumn<bool>("autoscale");
    QTest::addColumn<double>("tmin");
    QTest::addColumn<double>("tmax");
    QTest::addColumn<float>("value");
    QTest::addColumn<int>("expected");
    const double none = qQNaN();
    QTest::newRow("8-bit passes through") << 8 << false << false << false << none << none << 173.f << 173;
    QTest::newRow("signed 8-bit is offset") << 8 << true << false << false << none << none << -128.f << 0;
    QTest::newRow("16-bit keeps top bits") << 16 << false << false << false << none << none << 65535.f << 255;
    QTest::newRow("16-bit mid") << 16 << false << false << false << none << none << 32768.f << 128;
    QTest::newRow("transform stretches") << 16 << false << false << false << 1000.0 << 2000.0 << 1500.f << 128;
    QTest::newRow("transform clamps low") << 16 << false << false << false << 1000.0 << 2000.0 << 10.f << 0;
    QTest::newRow("transform clamps high") << 16 << false << false << false << 1000.0 << 2000.0 << 9000.f << 255;
    QTest::newRow("1-bit mask autoscaled") << 1 << false << true << true << none << none << 1.f << 255;
    QTest::newRow("1-bit mask left alone") << 1 << false << true << false << none << none << 1.f << 1;
    QTest::newRow("4-bit colour stretched") << 4 << false << false << false << none << none << 15.f << 255;
}

void TestBandValues::quantize()
{
    QFETCH(int, bits);
    QFETCH(bool, isSigned);
    QFETCH(bool, opacity);
    QFETCH(bool, autoscale);
    QFETCH(double, tmin);
    QFETCH(double, tmax);
    QFETCH(float, value);
    QFETCH(int, expected);
    BandLayout band;
    band.bits = static_cast<uint8_t>(bits);
    band.isSigned = isSigned;
    BandTransform t;
    t.active = !qIsNaN(tmin);
    if (t.active) t.transform = PLK::API::CMinMaxTransform(tmin, tmax);
    const BandQuantizer q(band, t, opacity, autoscale, false);
    QCOMPARE(int(q(value, 0, 0)), expected);
}

void TestBandValues::ditherStaysWithinOneStep()
{
    BandLayout band;
    const BandQuantizer q(band, BandTransform{}, false, false, true);
    bool changed = false;
    for (uint32_t y = 0; y < 4; ++y)
        for (uint32_t x = 0; x < 4; ++x) {
            const int out = q(100.4f, x, y);
            QVERIFY(out == 100 || out == 101);
            changed |= out == 101;
        }
    QVERIFY(changed);
    // Opacity is never dithered.
    const BandQuantizer alpha(band, BandTransform{}, true, false, true);
    for (uint32_t x = 0; x < 4; ++x) QCOMPARE(int(alpha(100.4f, x, 0)), 100);
}

QTEST_APPLESS_MAIN(TestBandValues)
#include "tst_bandvalues.moc"
