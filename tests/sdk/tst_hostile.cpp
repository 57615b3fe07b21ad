// Hostile and damaged files: hand-made code-streams that claim huge images, tiles, layer
// counts and boxes, the fuzzers' findings, and JP2 files cut short. None may abort, stall or
// take memory the file's bytes and the view do not justify; damaged tiles are no data.
#include <sys/resource.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include "TestImages.h"
#include "TestSupport.h"
#include "WarningLog.h"
#include "jp2/OpjCodestreamDecoder.h"
#include "xrv60.h"

namespace {

void put16(QByteArray& b, int v)
{
    b.append(char(v >> 8)).append(char(v));
}
void put32(QByteArray& b, quint32 v)
{
    put16(b, int(v >> 16));
    put16(b, int(v & 0xFFFF));
}

struct Claim {
    quint32 width, height, tile;
    int components, levels, layers, precinctExp;
    QList<int> tilesWithData;
};

// A reversible code-stream whose tiles with data hold only empty packets: valid to the
// decoder, a flat grey picture, a few bytes for any size the header claims.
QByteArray codestream(const Claim& c)
{
    QByteArray b;
    put16(b, 0xFF4F);
    put16(b, 0xFF51);  // SIZ
    put16(b, 38 + 3 * c.components);
    put16(b, 0);
    for (quint32 v : {c.width, c.height, 0u, 0u, c.tile, c.tile, 0u, 0u}) put32(b, v);
    put16(b, c.components);
    for (int i = 0; i < c.components; ++i) b.append(char(7)).append(char(1)).append(char(1));
    const bool precincts = c.precinctExp < 15;
    put16(b, 0xFF52);  // COD
    put16(b, 12 + (precincts ? c.levels + 1 : 0));
    b.append(char(precincts ? 1 : 0)).append(char(0));
    put16(b, c.layers);
    b.append(char(0)).append(char(c.levels)).append(char(4)).append(char(4)).append(char(0)).append(char(1));
    for (int r = 0; precincts && r <= c.levels; ++r) b.append(char(std::max(r ? 1 : 0, c.precinctExp) * 0x11));
    put16(b, 0xFF5C);  // QCD: no quantisation, two guard bits
    put16(b, 3 + 3 * c.levels + 1);
    b.append(char(0x40));
    for (int i = 0; i < 3 * c.levels + 1; ++i) b.append(char(9 << 3));
    for (int tile : c.tilesWithData) {
        const QByteArray packets(c.layers * (c.levels + 1) * c.components, '\0');
        put16(b, 0xFF90);
        put16(b, 10);
        put16(b, tile);
        put32(b, quint32(14 + packets.size()));
        b.append(char(0)).append(char(1));
        put16(b, 0xFF93);
        b.append(packets);
    }
    put16(b, 0xFFD9);
    return b;
}

QByteArray jp2WithBox(const char* type, quint64 claimedLength)
{
    QByteArray b("\0\0\0\x0CjP  \r\n\x87\n", 12);
    put32(b, 20);
    b.append("ftypjp2 ").append(QByteArray(4, '\0')).append("jp2 ");
    put32(b, 1);  // an XL box claiming `claimedLength` bytes
    b.append(type);
    put32(b, quint32(claimedLength >> 32));
    put32(b, quint32(claimedLength));
    b.append(QByteArray(64, '\x11'));
    return b;
}

long peakKilobytes()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

struct Picture {
    QImage image;
    int percent = -1;
};

// Renders the whole image into `size` x `size` pixels through a blocking view.
Picture render(PLK::CView& view, int size)
{
    Picture p;
    const PLKFileInfo* info = view.GetFileInfo();
    double x1, y1, x2, y2;
    view.ConvertDatasetToWorld(0, 0, x1, y1);
    view.ConvertDatasetToWorld(info->nSizeX, info->nSizeY, x2, y2);
    std::vector<uint32_t> bands;
    if (!view.GetDefaultRGBABandList(bands).Success()) bands = {0};
    if (!view.SetView(int(bands.size()), bands.data(), size, size, x1, y1, x2, y2).Success()) return p;
    p.image = QImage(size, size, QImage::Format_ARGB32);
    for (int y = 0; y < size; ++y)
        if (view.ReadLineBGRA(p.image.scanLine(y)) != PLK_READ_OK) return Picture();
    p.percent = view.GetPercentComplete();
    return p;
}

}  // namespace

class TestHostile : public QObject {
    Q_OBJECT

private slots:
    void initTestCase()
    {
        PLKInit();
        PLK::CLog::RegisterLogger(&logger);
    }
    void cleanupTestCase()
    {
        PLK::CLog::RegisterLogger(static_cast<PLK::ILogger<char>*>(nullptr));
        PLKShutdown();
    }

    void hostileFiles_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("opens");
        QTest::newRow("huge image, one resolution level")
            << codestream({60000, 60000, 60000, 1, 0, 1, 15, {0}}) << true;
        QTest::newRow("huge tile, smallest precincts") << codestream({40000, 40000, 40000, 3, 5, 1, 0, {0}}) << true;
        QTest::newRow("65535 layers") << codestream({8192, 8192, 8192, 1, 3, 65535, 2, {0}}) << true;
        QTest::newRow("65025 tiles, three present")
            << codestream({65280, 65280, 256, 1, 5, 1, 15, {0, 1000, 65024}}) << true;
        QTest::newRow("16384 components") << codestream({3000, 3000, 3000, 16384, 2, 1, 15, {0}}) << true;
        QList<int> tinyParts;
        for (int i = 0; i < 100000; ++i) tinyParts << 0;
        QTest::newRow("one tile in 100000 tile-parts") << codestream({512, 512, 512, 1, 0, 1, 15, tinyParts}) << true;
        QTest::newRow("header box of 2^62 bytes") << jp2WithBox("jp2h", quint64(1) << 62) << false;
        QTest::newRow("code-stream box of 2^62 bytes") << jp2WithBox("jp2c", quint64(1) << 62) << false;
        // Every file the fuzzers found a fault with, kept as it was found.
        const QDir findings(QFileInfo(QStringLiteral(__FILE__)).absolutePath() + "/../data");
        for (const QFileInfo& f : findings.entryInfoList({"fuzz-*"}, QDir::Files)) {
            QTest::newRow(qPrintable(f.fileName()))
                << TestSupport::readAll(f.filePath()) << f.fileName().contains("-opens");
        }
    }
    // Opening, describing, counting statistics and rendering a small view all end normally,
    // and the process never holds much more memory than the block cache and one decode budget.
    void hostileFiles()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, opens);
        QTemporaryDir dir;
        const QString path = dir.filePath("hostile.jp2");
        QVERIFY(TestSupport::writeAll(path, bytes));
        const long before = peakKilobytes();
        PLK::CView view;
        const PLK::CError error = view.Open(PLK::CString(path.toStdString()), false);
        QCOMPARE(error.Success(), opens);
        if (!opens) {
            QVERIFY(QByteArray(error.GetErrorText()).size() > 10);
            return;
        }
        PLKFileStatistics* stats = nullptr;
        if (view.GetClientStatistics(stats).Success()) PLKFreeStatistics(stats);
        const Picture p = render(view, 256);
        QVERIFY(!p.image.isNull());
        QCOMPARE(p.percent, 100);
        view.Close(true);
        QVERIFY2(peakKilobytes() - before < 400 * 1024, qPrintable(QString::number(peakKilobytes() - before)));
    }

    void decodeBudget()
    {
        using namespace PLK::Engine;
        const QByteArray huge = codestream({40000, 40000, 40000, 3, 5, 1, 0, {0}});
        const std::vector<uint8_t> bytes(huge.begin(), huge.end());
        OpjCodestreamDecoder::Request request;
        request.reduce = 5;
        OpjImage image;
        const PLK::CError error = OpjCodestreamDecoder::decode(bytes, request, image);
        QCOMPARE(error.GetErrorNumber(), PLK::PLK_ERROR_OUT_OF_MEMORY);
        QVERIFY(QByteArray(error.GetErrorText()).contains("MB"));
        const QByteArray small = codestream({512, 512, 512, 3, 5, 1, 15, {0}});
        QVERIFY(!OpjCodestreamDecoder::decode(std::vector<uint8_t>(small.begin(), small.end()), request, image));
    }

    void truncated_data()
    {
        QTest::addColumn<int>("percent");
        QTest::newRow("25 %") << 25;
        QTest::newRow("50 %") << 50;
        QTest::newRow("75 %") << 75;
    }
    // The intact tiles of a file cut short look exactly as in the whole file, the rest is
    // transparent, the view completes, and each damaged tile is reported once per open image.
    void truncated()
    {
        QFETCH(int, percent);
        QTemporaryDir dir;
        const QString png = dir.filePath("in.png"), whole = dir.filePath("whole.jp2");
        QVERIFY(TestImages::pattern(512, 512, QImage::Format_RGB888).save(png));
        QString message;
        QVERIFY2(TestImages::compress(png, whole, {"-t", "128,128", "-n", "4", "-r", "8"}, &message),
                 qPrintable(message));
        const QByteArray all = TestSupport::readAll(whole);
        const QString cut = dir.filePath("cut.jp2");
        QVERIFY(TestSupport::writeAll(cut, all.left(all.size() * percent / 100)));

        PLK::CView reference;
        QVERIFY(reference.Open(PLK::CString(whole.toStdString()), false).Success());
        const Picture expected = render(reference, 256);
        PLK::CView view;
        QVERIFY(view.Open(PLK::CString(cut.toStdString()), false).Success());
        logger.take();
        const Picture got = render(view, 256);
        QCOMPARE(got.percent, 100);
        int same = 0, clear = 0;
        for (int y = 0; y < 256; ++y) {
            for (int x = 0; x < 256; ++x) {
                const QRgb g = got.image.pixel(x, y);
                if (qAlpha(g) == 0)
                    ++clear;
                else if (g == expected.image.pixel(x, y))
                    ++same;
            }
        }
        QCOMPARE(same + clear, 256 * 256);
        QVERIFY(clear > 0 && same > 0);
        // Redraws report nothing new.
        logger.take();
        render(view, 256);
        render(view, 128);
        QCOMPARE(logger.take(), QStringList());
    }

private:
    WarningLog logger;
};

QTEST_GUILESS_MAIN(TestHostile)
#include "tst_hostile.moc"
