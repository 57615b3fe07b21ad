// Small host helpers the plug-in leans on: file size texts from caller-given formats.
#include "HostTestSupport.h"

#include "QDGui/StringUtil.h"

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
};

QDGUI_TEST_MAIN(TestUtil)
#include "tst_util.moc"
