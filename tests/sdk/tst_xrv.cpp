// XRV files written by our writer and read back through the engine: cells and every stored
// fact, damaged and truncated files, and the bytes a zoomed-out view reads.
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <cmath>
#include <mutex>

#include "TestImages.h"
#include "TestSupport.h"
#include "io/FileByteSource.h"
#include "xrv/XrvContainerReader.h"
#include "xrv/XrvWriter.h"
#include "xrv60.h"

using namespace PLK;
using namespace PLK::Engine;

Q_DECLARE_METATYPE(PLKColorSpace)

namespace {

struct ImageCase {
    uint32_t width = 700, height = 500, block = 256;
    int bands = 3;
    int bits = 8;
    bool isSigned = false;
    PLKColorSpace colour = PLK_COLOR_SRGB;
    int alpha = -1;
    bool reversible = true;
    float step = 1.0f / 128;
};

// Cells of a deterministic pattern: Qt's test pattern for 8-bit data, a ramp with ripples for
// 16-bit data.
std::vector<std::vector<int32_t>> cellsFor(const ImageCase& s)
{
    std::vector<std::vector<int32_t>> planes(s.bands, std::vector<int32_t>(size_t(s.width) * s.height));
    const QImage image = TestImages::pattern(int(s.width), int(s.height), QImage::Format_RGBA8888);
    for (uint32_t y = 0; y < s.height; ++y)
        for (uint32_t x = 0; x < s.width; ++x)
            for (int b = 0; b < s.bands; ++b) {
                int32_t v;
                if (s.bits == 8) {
                    v = image.constScanLine(int(y))[4 * x + (b % 3)];
                    if (b == s.alpha) v = (x / 50 + y / 50) % 2 ? 255 : 90;
                } else {
                    v = int32_t(x * 37 + y * 23 + 900 * std::sin(x * 0.02) * std::cos(y * 0.03)) + 1200;
                }
                if (s.isSigned) v -= 1 << (s.bits - 1);
                planes[b][size_t(y) * s.width + x] = v;
            }
    return planes;
}

Xrv::Header headerFor(const ImageCase& s)
{
    Xrv::Header h;
    h.width = s.width;
    h.height = s.height;
    h.blockWidth = h.blockHeight = s.block;
    h.cellType =
        s.bits == 8 ? (s.isSigned ? PLK_CELL_INT8 : PLK_CELL_UINT8) : (s.isSigned ? PLK_CELL_INT16 : PLK_CELL_UINT16);
    h.colourSpace = s.colour;
    h.alphaBand = s.alpha;
    for (int b = 0; b < s.bands; ++b) h.bands.push_back({uint8_t(s.bits), s.isSigned, ""});
    h.placement.present = true;
    h.placement.originX = 500000;
    h.placement.originY = 5300000;
    h.placement.cellX = 2.5;
    h.placement.cellY = -2.5;
    h.placement.epsg = 32633;
    h.placement.units = PLK_UNITS_METERS;
    h.hasRpc = true;
    h.rpc.LINE_OFF = 1234.5;
    h.rpc.SAMP_DEN_COEFF[19] = -0.25;
    h.xml = {"<a>first</a>", "<b>second \xC3\xA9</b>"};
    h.hasAuthoring = true;
    h.authoring = {"Unclassified", "2026-05-01", "Sensor 9", "tst_xrv",  "A. Author",
                   "(c) Us",       "Company",    "a@b.c",    "Street 1", "+1 555"};
    h.compressionDate = "2026-11-22 10:00:00 UTC";
    h.targetRate = s.reversible ? 0 : 12;
    return h;
}

bool writeXrv(const QString& path, const ImageCase& s, const std::vector<std::vector<int32_t>>& planes,
              std::string& error)
{
    XrvWriteOptions options;
    options.reversible = s.reversible;
    options.quantStep = s.step;
    options.threads = 2;
    XrvWriter writer(path.toStdString(), headerFor(s), options);
    if (!writer.begin(error)) return false;
    for (uint32_t y = 0; y < s.height; y += s.block) {
        const uint32_t rows = std::min(s.block, s.height - y);
        std::vector<const int32_t*> strip;
        for (const auto& p : planes) strip.push_back(p.data() + size_t(y) * s.width);
        if (!writer.addStrip(strip, rows, error)) return false;
    }
    return writer.finish(error);
}

// Every read of a file source, remembered.
class CountingSource : public ByteSource {
public:
    explicit CountingSource(std::shared_ptr<ByteSource> inner) : m_inner(std::move(inner)) {}
    uint64_t size() const override { return m_inner->size(); }
    const std::string& name() const override { return m_inner->name(); }
    int64_t readAt(uint64_t offset, void* buffer, size_t length) override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        reads.push_back({offset, length});
        return m_inner->readAt(offset, buffer, length);
    }
    ReadStatus readRanges(std::vector<RangeRead>& batch, const std::atomic<bool>* cancel) override
    {
        ++batches;
        return ByteSource::readRanges(batch, cancel);
    }
    std::vector<ByteRange> reads;
    int batches = 0;

private:
    std::shared_ptr<ByteSource> m_inner;
    std::mutex m_mutex;
};

struct Opened {
    CError error;
    OpenedContainer container;
};

Opened openXrv(std::shared_ptr<ByteSource> source, const OpenSettings& settings = OpenSettings())
{
    Opened o;
    o.error = XrvContainerReader().open(source, settings, o.container);
    return o;
}

Opened openXrv(const QString& path, const OpenSettings& settings = OpenSettings())
{
    CError error;
    return openXrv(FileByteSource::open(path.toStdString(), error), settings);
}

/// The whole image at `level`, block by block.
CError decodeAll(RegionDecoder& d, uint32_t level, RegionBuffer& out, bool resilient)
{
    const LevelRect all = d.levelRect(level);
    RegionBuffer piece;
    for (uint32_t t : d.tilesIntersecting(all, level)) {
        const LevelRect r = d.tileRect(t, level);
        if (const CError e = d.decode(t, level, 0, r, piece, nullptr, resilient)) return e;
        if (out.samples.empty()) out.allocate(uint32_t(all.width()), uint32_t(all.height()), piece.bands);
        for (const LevelRect& m : piece.missing)
            out.missing.push_back({m.x0 + r.x0, m.y0 + r.y0, m.x1 + r.x0, m.y1 + r.y0});
        for (uint32_t b = 0; b < piece.bands; ++b)
            for (uint32_t y = 0; y < piece.height; ++y)
                std::copy_n(piece.plane(b) + size_t(y) * piece.width, piece.width,
                            out.plane(b) + size_t(y + r.y0) * out.width + r.x0);
    }
    return {};
}

QString fromWide(const wchar_t* s)
{
    return s ? QString::fromWCharArray(s) : QString();
}

}  // namespace

class TestXrv : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void roundTrip_data();
    void roundTrip();
    void damaged_data();
    void damaged();
    void coarseViewReadsOnlyCoarseBytes();
    void textureDither();

private:
    QTemporaryDir m_dir;
    QString m_grey;  ///< 512 x 512 8-bit grey, lossless, blocks of 256
};

void TestXrv::initTestCase()
{
    QVERIFY(m_dir.isValid());
    ImageCase s;
    s.width = s.height = 512;
    s.bands = 1;
    s.colour = PLK_COLOR_GREYSCALE;
    m_grey = m_dir.filePath("grey.xrv");
    std::string error;
    QVERIFY2(writeXrv(m_grey, s, cellsFor(s), error), error.c_str());
}

void TestXrv::roundTrip_data()
{
    QTest::addColumn<int>("bands");
    QTest::addColumn<int>("bits");
    QTest::addColumn<bool>("isSigned");
    QTest::addColumn<PLKColorSpace>("colour");
    QTest::addColumn<int>("alpha");
    QTest::addColumn<bool>("reversible");
    QTest::addColumn<double>("minPsnr");  // 0: cells must come back identical

    QTest::newRow("RGB 8-bit lossless") << 3 << 8 << false << PLK_COLOR_SRGB << -1 << true << 0.0;
    QTest::newRow("RGBA 8-bit lossless") << 4 << 8 << false << PLK_COLOR_SRGB << 3 << true << 0.0;
    QTest::newRow("grey 16-bit lossless") << 1 << 16 << false << PLK_COLOR_GREYSCALE << -1 << true << 0.0;
    QTest::newRow("signed 16-bit lossless") << 1 << 16 << true << PLK_COLOR_GREYSCALE << -1 << true << 0.0;
    QTest::newRow("RGB 8-bit lossy") << 3 << 8 << false << PLK_COLOR_SRGB << -1 << false << 38.0;
    QTest::newRow("grey 16-bit lossy") << 1 << 16 << false << PLK_COLOR_GREYSCALE << -1 << false << 60.0;
}

void TestXrv::roundTrip()
{
    QFETCH(int, bands);
    QFETCH(int, bits);
    QFETCH(bool, isSigned);
    QFETCH(PLKColorSpace, colour);
    QFETCH(int, alpha);
    QFETCH(bool, reversible);
    QFETCH(double, minPsnr);
    ImageCase s;
    s.bands = bands;
    s.bits = bits;
    s.isSigned = isSigned;
    s.colour = colour;
    s.alpha = alpha;
    s.reversible = reversible;
    s.step = bits == 8 ? 1.0f / 256 : 1.0f / 8192;
    const auto planes = cellsFor(s);
    const QString path = m_dir.filePath(QString("%1.xrv").arg(QTest::currentDataTag()).replace(' ', '_'));
    std::string error;
    QVERIFY2(writeXrv(path, s, planes, error), error.c_str());

    // Cells, through the decoder.
    Opened o = openXrv(path);
    QVERIFY2(!o.error, o.error.GetErrorText());
    RegionBuffer cells;
    QVERIFY(!decodeAll(*o.container.decoder, 0, cells, false));
    QCOMPARE(cells.bands, uint32_t(bands));
    double se = 0;
    for (int b = 0; b < bands; ++b)
        for (size_t i = 0; i < planes[b].size(); ++i) {
            const double d = double(cells.plane(b)[i]) - planes[b][i];
            se += d * d;
        }
    if (minPsnr == 0) {
        QCOMPARE(se, 0.0);
    } else {
        const double peak = double((1 << bits) - 1);
        const double psnr = 10 * std::log10(peak * peak * double(planes[0].size() * bands) / se);
        QVERIFY2(psnr >= minPsnr, qPrintable(QString("PSNR %1 dB").arg(psnr)));
    }

    // Every stored fact, through the public view.
    CView view;
    QVERIFY(view.Open(CString(path.toStdString()), false).Success());
    QCOMPARE(view.GetFileType(), PLK_FILE_XRV);
    const PLKFileInfo* info = view.GetFileInfo();
    QVERIFY(info);
    QCOMPARE(int(info->nBands), bands);
    QCOMPARE(info->eColorSpace, colour);
    QCOMPARE(int(info->nCompressionRate), reversible ? 0 : 12);
    QCOMPARE(info->fOriginX, 500000.0);
    QCOMPARE(view.GetEPSGCode(), 32633);
    QVERIFY(info->pFileMetaData);
    QCOMPARE(fromWide(info->pFileMetaData->sAcquisitionSensorName), QString("Sensor 9"));
    if (alpha >= 0) QCOMPARE(QString(info->pBands[alpha].szDesc), QString("AllOpacity"));
    PLKRPCData* rpc = nullptr;
    QVERIFY(view.GetRPCData(rpc).Success());
    QCOMPARE(rpc->SAMP_DEN_COEFF[19], -0.25);
    PLKFreeRPCData(rpc);
    QStringList xml;
    const QByteArray file = TestSupport::readAll(path);
    for (const PLKJP2Box* box = view.GetXMLBox(nullptr); box; box = view.GetXMLBox(box))
        xml << QString::fromUtf8(file.mid(int(box->nContentOffset), int(box->nContentLength)));
    QCOMPARE(xml, QStringList({"<a>first</a>", QString::fromUtf8("<b>second \xC3\xA9</b>")}));
    // Statistics are those of the input cells, counted exactly when written.
    PLKFileStatistics* stats = nullptr;
    QVERIFY(view.GetClientStatistics(stats).Success());
    double sum = 0;
    int32_t lo = INT32_MAX, hi = INT32_MIN;
    for (int32_t v : planes[0]) {
        sum += v;
        lo = std::min(lo, v);
        hi = std::max(hi, v);
    }
    QCOMPARE(double(stats->BandsStats[0].fMinVal), double(lo));
    QCOMPARE(double(stats->BandsStats[0].fMaxVal), double(hi));
    QVERIFY(std::abs(stats->BandsStats[0].fMeanVal - sum / double(planes[0].size())) <
            1e-3 * std::max(1.0, std::abs(sum / double(planes[0].size()))));
    PLKFreeStatistics(stats);
    view.Close(true);
}

void TestXrv::damaged_data()
{
    QTest::addColumn<QString>("change");  // "flip OFFSET", "cut LENGTH" or "flip-index" / "flip-block"
    QTest::addColumn<QString>("openError");
    QTest::addColumn<bool>("fullResolutionIsNoData");

    const struct {
        const char *name, *change, *openError;
        bool noData;
    } rows[] = {{"signature", "flip 1", "signature", false},
                {"header field", "flip 20", "header is damaged", false},
                {"metadata", "flip 70", "metadata are damaged", false},
                {"cut in header", "cut 40", "shorter than its header", false},
                {"cut in metadata", "cut 100", "truncated", false},
                {"cut in data", "cut -100", "truncated", false},
                {"finest index", "flip-index", "", true},
                {"block data", "flip-block", "", false}};
    for (const auto& r : rows) QTest::newRow(r.name) << QString(r.change) << QString(r.openError) << r.noData;
}

void TestXrv::damaged()
{
    QFETCH(QString, change);
    QFETCH(QString, openError);
    QFETCH(bool, fullResolutionIsNoData);
    QByteArray bytes = TestSupport::readAll(m_grey);

    Opened good = openXrv(m_grey);
    QVERIFY(!good.error);
    auto* decoder = dynamic_cast<XrvRegionDecoder*>(good.container.decoder.get());
    std::vector<ByteRange> ranges;
    QVERIFY(!decoder->rangesFor(0, 0, ranges));

    const QStringList words = change.split(' ');
    if (words[0] == "flip") bytes[words[1].toInt()] = char(bytes[words[1].toInt()] ^ 0x5A);
    if (words[0] == "cut") bytes.truncate(words[1].toInt() > 0 ? words[1].toInt() : bytes.size() + words[1].toInt());
    // The finest resolution's index lies just before the data; its first entry is block 0's.
    const auto flip = [&bytes](uint64_t at, char mask) { bytes[int(at)] = char(bytes[int(at)] ^ mask); };
    if (words[0] == "flip-index") flip(ranges.front().offset - 4 * 8, 0x01);
    if (words[0] == "flip-block")
        for (uint64_t i = 0; i < ranges.back().length; i += 7) flip(ranges.back().offset + i, char(0xA5));
    const QString path = m_dir.filePath("damaged.xrv");
    QVERIFY(TestSupport::writeAll(path, bytes));

    Opened o = openXrv(path);
    if (!openError.isEmpty()) {
        QVERIFY(o.error);
        QVERIFY2(QString(o.error.GetErrorText()).contains(openError), o.error.GetErrorText());
        return;
    }
    QVERIFY2(!o.error, o.error.GetErrorText());
    RegionBuffer coarse, fine;
    QVERIFY(!decodeAll(*o.container.decoder, 2, coarse, false));  // coarse levels never need the fine bytes
    QVERIFY(!decodeAll(*o.container.decoder, 0, fine, true));     // resilient: damage never fails a view
    if (fullResolutionIsNoData) {
        QVERIFY(std::all_of(fine.samples.begin(), fine.samples.end(), [](int32_t v) { return v == 0; }));
        QCOMPARE(fine.missing.size(), size_t(o.container.decoder->tileCount()));
        RegionBuffer strict;
        const CError e = decodeAll(*o.container.decoder, 0, strict, false);
        QVERIFY(QString(e.GetErrorText()).contains("index is damaged"));
    }
}

void TestXrv::coarseViewReadsOnlyCoarseBytes()
{
    ImageCase s;
    s.width = s.height = 1024;
    s.reversible = false;
    const QString path = m_dir.filePath("coarse.xrv");
    std::string error;
    QVERIFY2(writeXrv(path, s, cellsFor(s), error), error.c_str());
    CError e;
    auto counting = std::make_shared<CountingSource>(FileByteSource::open(path.toStdString(), e));
    Opened o = openXrv(counting);
    QVERIFY(!o.error);
    QVERIFY(counting->reads.size() <= 2);  // header, metadata and directory
    auto* d = dynamic_cast<XrvRegionDecoder*>(o.container.decoder.get());
    const uint32_t level = 3, resolutions = d->levels();

    // What the file holds for the resolutions a level-3 view needs: their indexes and data.
    std::vector<ByteRange> allowed, fine;
    for (uint32_t t = 0; t < d->tileCount(); ++t) {
        std::vector<ByteRange> need, all;
        QVERIFY(!d->rangesFor(t, level, need));
        QVERIFY(!d->rangesFor(t, 0, all));
        allowed.insert(allowed.end(), need.begin(), need.end());
        fine.insert(fine.end(), all.begin() + need.size(), all.end());
    }
    counting->reads.clear();
    counting->batches = 0;
    RegionBuffer cells;
    QVERIFY(!decodeAll(*d, level, cells, false));
    QCOMPARE(cells.width, 128u);
    QCOMPARE(counting->batches, int(d->tileCount()));  // one batch of ranges per block
    uint64_t read = 0;
    for (const ByteRange& r : counting->reads) {
        read += r.length;
        for (const ByteRange& f : fine) QVERIFY2(r.end() <= f.offset || r.offset >= f.end(), "a fine byte was read");
    }
    uint64_t needed = 0;
    for (const ByteRange& r : allowed) needed += r.length;
    // Index reads (8 bytes per block and resolution) aside, exactly the needed bytes were read.
    QVERIFY(read >= needed && read <= needed + 8 * d->tileCount() * (resolutions - level));
    QVERIFY2(read * 8 < counting->size(), qPrintable(QString("%1 of %2 bytes").arg(read).arg(counting->size())));
}

void TestXrv::textureDither()
{
    ImageCase s;
    s.bands = 4;
    s.alpha = 3;
    s.reversible = false;
    s.step = 1.0f / 64;
    const auto planes = cellsFor(s);
    const QString path = m_dir.filePath("dither.xrv");
    std::string error;
    QVERIFY2(writeXrv(path, s, planes, error), error.c_str());
    OpenSettings on;
    on.textureDither = true;
    RegionBuffer plain, dithered;
    QVERIFY(!decodeAll(*openXrv(path).container.decoder, 0, plain, false));
    QVERIFY(!decodeAll(*openXrv(path, on).container.decoder, 0, dithered, false));
    // Colour cells move by less than the coding error; the opacity band never moves.
    double moved = 0, error2 = 0;
    for (int b = 0; b < 3; ++b)
        for (size_t i = 0; i < planes[b].size(); ++i) {
            moved += std::abs(dithered.plane(b)[i] - plain.plane(b)[i]);
            error2 += std::pow(double(plain.plane(b)[i] - planes[b][i]), 2);
        }
    const double cells = 3.0 * planes[0].size();
    QVERIFY(moved > 0.1 * cells);
    QVERIFY(moved / cells <= std::sqrt(error2 / cells) + 0.5);
    QVERIFY(std::equal(plain.plane(3), plain.plane(3) + planes[3].size(), dithered.plane(3)));
}

QTEST_GUILESS_MAIN(TestXrv)
#include "tst_xrv.moc"
