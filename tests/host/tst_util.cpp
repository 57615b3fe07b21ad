// Small host helpers the plug-in leans on: file size texts from caller-given formats, and the
// histogram record's ownership of its buckets.
#include "HostTestSupport.h"

#include "QDGui/HistogramT.h"
#include "QDGui/StringUtil.h"

#include <utility>

using Korvane::Map::HistogramT;
using Korvane::Util::String::formatFileSize;

class TestUtil : public QObject {
    Q_OBJECT

private slots:
    void fileSize_data()
    {
        QTest::addColumn<quint64>("bytes");
        QTest::addColumn<QByteArray>("format");
        QTest::addColumn<QString>("expected");
        QTest::newRow("below a kilobyte") << quint64(1023) << QByteArray("%2.2f") << "1023.00 B";
        QTest::newRow("leading blanks kept") << quint64(1572864) << QByteArray("  %2.2f") << "  1.50 MB";
        QTest::newRow("unit chosen before rounding") << quint64(1048575) << QByteArray("%2.2f") << "1024.00 KB";
        QTest::newRow("largest count") << ~quint64(0) << QByteArray("%.0f") << "16777216 TB";
        QTest::newRow("percent sign") << quint64(2048) << QByteArray("%.0f%%") << "2% KB";
        QTest::newRow("no format") << quint64(2048) << QByteArray() << "2.00 KB";
        QTest::newRow("string conversion refused") << quint64(2048) << QByteArray("%s") << "2.00 KB";
        QTest::newRow("two conversions refused") << quint64(2048) << QByteArray("%f %f") << "2.00 KB";
        QTest::newRow("huge width refused") << quint64(2048) << QByteArray("%999999f") << "2.00 KB";
    }

    void fileSize()
    {
        QFETCH(quint64, bytes);
        QFETCH(QByteArray, format);
        QFETCH(QString, expected);
        QCOMPARE(formatFileSize(bytes, format.isNull() ? nullptr : format.constData()), expected);
    }

    void histogramCopiesAreDeep()
    {
        HistogramT<quint64> a(4);
        a.counts[2] = 7;
        HistogramT<quint64> b(a);
        b.counts[2] = 9;
        QCOMPARE(a.counts[2], quint64(7));
        HistogramT<quint64> c;
        c = b;
        QVERIFY(c.counts != b.counts);
        quint64* buckets = c.counts;
        HistogramT<quint64> d(std::move(c));
        QCOMPARE(d.counts, buckets);  // moved, not copied
        QCOMPARE(c.counts, nullptr);
        QVector<HistogramT<quint64>> bands{a, b, d};
        bands.remove(0);
        QCOMPARE(bands.first().counts[2], quint64(9));
        HistogramT<quint64> empty(0);
        HistogramT<quint64> emptyCopy(empty);
        QCOMPARE(emptyCopy.counts, nullptr);
    }
};

QDGUI_TEST_MAIN(TestUtil)
#include "tst_util.moc"
