// The RPC and statistics pages, which own the engine records they show: fields, exact
// clipboard texts, and records replaced and released (checked under AddressSanitizer).
#include <QtTest>

#include <QtWidgets/QComboBox>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QPlainTextEdit>

#include "PageTestSupport.h"
#include "XRVJP2kLayerRPCInfo.h"
#include "XRVJP2kLayerStatistics.h"

namespace {

const QStringList kRpcFields{"errorBias",      "errorRandom",   "lineOffset",      "lineScale",
                             "latitudeOffset", "latitudeScale", "longitudeOffset", "longitudeScale",
                             "heightOffset",   "heightScale",   "sampleOffset",    "sampleScale"};

const QStringList kStatisticsFields{"mode", "median", "mean", "stddev", "min", "max"};

// Twenty coefficients after the given leading ones: the rest are zeros, the last followed by
// a line feed and a blank.
QString coefficients(const QString& leading, int leadingCount)
{
    return leading + QString("0.000000, ").repeated(19 - leadingCount) + "0.000000\n ";
}

// The sample's camera model as its writer stored it.
QString sampleCoefficientText()
{
    return "Line Numerator Coefficients:\n" + coefficients("0.000000, -0.002126, -1.002112, -0.000500, ", 4) +
           "Line Denominator Coefficients:\n" + coefficients("1.000000, -0.000150, 0.000100, 0.000050, ", 4) +
           "Sample Numerator Coefficients:\n" + coefficients("0.000000, 1.002830, -0.001414, 0.000800, ", 4) +
           "Sample Denominator Coefficients:\n" + coefficients("1.000000, 0.000100, -0.000200, ", 3);
}

// The engine's statistics of a file, read through a view of the test's own.
class EngineStatistics {
public:
    explicit EngineStatistics(const QString& path)
    {
        if (m_view.Open(PLK::CString(path.toStdWString()), false, false).Success()) m_view.GetClientStatistics(m_stats);
    }
    ~EngineStatistics() { PLKFreeStatistics(m_stats); }
    EngineStatistics(const EngineStatistics&) = delete;
    EngineStatistics& operator=(const EngineStatistics&) = delete;

    const PLKFileStatistics* record() const { return m_stats; }
    const PLKBandStatistics& band(int b) const { return m_stats->BandsStats[b]; }

    static QString value(float v) { return QString::number(double(v), 'f', 4); }

    QString histogram(int b) const
    {
        QStringList counts;
        for (uint32_t i = 0; i < band(b).nHistBucketCount; ++i) counts << QString::number(band(b).Histogram[i]);
        return counts.join(',');
    }

    QStringList fields(int b) const
    {
        const PLKBandStatistics& s = band(b);
        return {"mode=" + value(s.fMode),          "median=" + value(s.fMedianVal), "mean=" + value(s.fMeanVal),
                "stddev=" + value(s.fStandardDev), "min=" + value(s.fMinVal),       "max=" + value(s.fMaxVal)};
    }

private:
    PLK::CView m_view;
    PLKFileStatistics* m_stats = nullptr;
};

}  // namespace

class TestRecordPages : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void rpcFields();
    void rpcWithoutData_data();
    void rpcWithoutData();
    void rpcRecordReplaced();
    void statisticsBands_data();
    void statisticsBands();
    void statisticsRecordReplaced();

private:
    QTemporaryDir m_dir;
    PageTest::Layers m_layers;
};

void TestRecordPages::initTestCase()
{
    QVERIFY(m_dir.isValid());
    m_layers.open(m_dir.path());
}

void TestRecordPages::rpcFields()
{
    LAYER_OR_SKIP(sample, m_layers, PageTest::Sample);
    XRVJP2kLayerRPCInfo page;
    page.setLayer(sample);
    QCOMPARE(PageTest::fieldTexts(&page, kRpcFields),
             QStringList({"errorBias=1.500000", "errorRandom=0.500000", "lineOffset=4096.000000",
                          "lineScale=4096.000000", "latitudeOffset=47.779583", "latitudeScale=0.073864",
                          "longitudeOffset=15.109354", "longitudeScale=0.109663", "heightOffset=1000.000000",
                          "heightScale=1500.000000", "sampleOffset=4096.000000", "sampleScale=4096.000000"}));
    QCOMPARE(page.findChild<QPlainTextEdit*>("coefficients")->toPlainText(), sampleCoefficientText());
}

void TestRecordPages::rpcWithoutData_data()
{
    QTest::addColumn<int>("source");
    QTest::newRow("grey image without RPC data") << int(PageTest::Grey);
    QTest::newRow("layer of another class") << int(PageTest::OtherClass);
    QTest::newRow("no layer") << -1;
}

void TestRecordPages::rpcWithoutData()
{
    QFETCH(int, source);
    Korvane::Map::Layer* pLayer = source < 0 ? nullptr : m_layers.get(PageTest::Source(source));
    if (source >= 0 && !pLayer) QSKIP("the image for this case could not be made");
    XRVJP2kLayerRPCInfo page;
    page.setLayer(pLayer);
    QCOMPARE(PageTest::fieldTexts(&page, kRpcFields), PageTest::emptyFieldTexts(kRpcFields));
    QCOMPARE(page.findChild<QPlainTextEdit*>("coefficients")->toPlainText(), QString());
    PageTest::putSentinelOnClipboard();
    page.copyToClipboard();
    QCOMPARE(PageTest::clipboardText(), PageTest::clipboardSentinel());
}

// Each record the page takes replaces (and releases) the one before; a layer without RPC
// data leaves the fields as they were.
void TestRecordPages::rpcRecordReplaced()
{
    LAYER_OR_SKIP(sample, m_layers, PageTest::Sample);
    LAYER_OR_SKIP(grey, m_layers, PageTest::Grey);
    XRVJP2kLayerRPCInfo page;
    page.setLayer(sample);
    page.setLayer(sample);
    QCOMPARE(PageTest::field(&page, "lineOffset")->text(), QString("4096.000000"));
    page.setLayer(grey);
    QCOMPARE(PageTest::field(&page, "lineOffset")->text(), QString("4096.000000"));
    page.setLayer(sample);
}

void TestRecordPages::statisticsBands_data()
{
    QTest::addColumn<int>("source");
    QTest::addColumn<QStringList>("items");
    QTest::newRow("RGB sample") << int(PageTest::Sample) << QStringList{"Red", "Green", "Blue"};
    QTest::newRow("grey") << int(PageTest::Grey) << QStringList{"Grayscale"};
    QTest::newRow("RGB with opacity") << int(PageTest::Rgba) << QStringList{"Red", "Green", "Blue"};
}

// The combo box lists the bands but the opacity band; band 0 is shown at once and every
// choice shows that band's values with four decimals and its histogram.
void TestRecordPages::statisticsBands()
{
    QFETCH(int, source);
    QFETCH(QStringList, items);
    LAYER_OR_SKIP(pLayer, m_layers, PageTest::Source(source));
    const EngineStatistics expected(m_layers.path(PageTest::Source(source)));
    QVERIFY(expected.record());
    XRVJP2kLayerStatistics page;
    page.setLayer(pLayer);

    auto* combo = page.findChild<QComboBox*>("bandComboBox");
    QStringList listed;
    for (int i = 0; i < combo->count(); ++i) listed << combo->itemText(i);
    QCOMPARE(listed, items);
    auto* histogram = page.findChild<QPlainTextEdit*>("histogramText");
    for (int band = items.size() - 1; band >= 0; --band) {
        combo->setCurrentIndex(band);
        QCOMPARE(PageTest::fieldTexts(&page, kStatisticsFields), expected.fields(band));
        // The text ends in a carriage return, which the text edit keeps as a line break.
        QCOMPARE(histogram->toPlainText(), expected.histogram(band) + "\n");
    }
}

// Each layer's record replaces (and releases) the one before; a layer without statistics
// leaves nothing to copy.
void TestRecordPages::statisticsRecordReplaced()
{
    LAYER_OR_SKIP(sample, m_layers, PageTest::Sample);
    LAYER_OR_SKIP(grey, m_layers, PageTest::Grey);
    const EngineStatistics greyStatistics(m_layers.images().grey);
    QVERIFY(greyStatistics.record());
    XRVJP2kLayerStatistics page;
    page.setLayer(sample);
    page.setLayer(grey);
    QCOMPARE(PageTest::fieldTexts(&page, kStatisticsFields), greyStatistics.fields(0));
    page.setLayer(sample);

    page.setLayer(m_layers.noSource());
    QCOMPARE(page.findChild<QComboBox*>("bandComboBox")->count(), 0);
    PageTest::putSentinelOnClipboard();
    page.copyToClipboard();
    QCOMPARE(PageTest::clipboardText(), PageTest::clipboardSentinel());
}

XRV_PAGES_TEST_MAIN(TestRecordPages)
#include "tst_recordpages.moc"
