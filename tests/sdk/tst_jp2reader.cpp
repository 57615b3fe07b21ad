// The JPEG 2000 reader against the conformance code-streams and against opj_decompress: header
// fields, region decodes cell for cell, tile geometry, damaged files, and concurrent decodes.
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <thread>

#include "TestImages.h"
#include "TestSupport.h"
#include "image/ContainerReader.h"
#include "io/FileByteSource.h"
#include "io/PrefetchedSource.h"
#include "jp2/Jp2ContainerReader.h"
#include "jp2/Jp2RegionDecoder.h"
#include "jp2/TileCodestream.h"

using namespace PLK;
using namespace PLK::Engine;

using TestSupport::box;
using TestSupport::readAll;
using TestSupport::writeAll;

namespace {

struct Opened {
    CError error;
    OpenedContainer container;
    Jp2RegionDecoder* decoder() const { return dynamic_cast<Jp2RegionDecoder*>(container.decoder.get()); }
};

Opened openImage(const QString& path)
{
    Opened o;
    auto source = FileByteSource::open(path.toStdString(), o.error);
    if (source) o.error = Jp2ContainerReader().open(source, OpenSettings(), o.container);
    return o;
}

/// Decodes `rect` of `level` tile by tile and puts the pieces together, as a view does.
CError decodeRect(RegionDecoder& decoder, uint32_t level, const LevelRect& rect, RegionBuffer& out, uint32_t layers)
{
    RegionBuffer piece;
    bool first = true;
    for (uint32_t tile : decoder.tilesIntersecting(rect, level)) {
        const LevelRect part = decoder.tileRect(tile, level).intersected(rect);
        if (const CError error = decoder.decode(tile, level, layers, part, piece, nullptr, false)) return error;
        if (first) out.allocate(uint32_t(rect.width()), uint32_t(rect.height()), piece.bands);
        first = false;
        for (uint32_t b = 0; b < piece.bands; ++b)
            for (uint32_t y = 0; y < piece.height; ++y)
                std::copy_n(piece.plane(b) + size_t(y) * piece.width, piece.width,
                            out.plane(b) + size_t(y + part.y0 - rect.y0) * out.width + (part.x0 - rect.x0));
    }
    return {};
}

/// A PGM or PPM written by opj_decompress, as planes.
bool readPnm(const QString& path, RegionBuffer& out)
{
    const QByteArray all = readAll(path);
    // "P5" or "P6", a comment line or not, width, height, maximum value and one white-space.
    static const QRegularExpression header("^P([56])\\s+(?:#[^\\n]*\\n\\s*)*(\\d+)\\s+(\\d+)\\s+(\\d+)\\s");
    const QRegularExpressionMatch m = header.match(QString::fromLatin1(all.left(200)));
    if (!m.hasMatch()) return false;
    const int type = m.captured(1).toInt(), max = m.captured(4).toInt(), pos = m.capturedEnd();
    const uint32_t width = m.captured(2).toUInt(), height = m.captured(3).toUInt();
    const uint32_t bands = type == 6 ? 3 : 1;
    const int bytes = max > 255 ? 2 : 1;
    out.allocate(width, height, bands);
    if (all.size() - pos < qint64(out.samples.size()) * bytes) return false;
    const auto* p = reinterpret_cast<const uchar*>(all.constData() + pos);
    for (size_t i = 0; i < size_t(out.width) * out.height; ++i)
        for (uint32_t b = 0; b < bands; ++b, p += bytes) out.plane(b)[i] = bytes == 2 ? (p[0] << 8 | p[1]) : p[0];
    return true;
}

/// The planes of an opj_decompress output: one PGM/PPM, or one PGM per component (split).
bool readReferenceOutput(const QString& work, RegionBuffer& out)
{
    std::vector<RegionBuffer> planes;
    for (uint32_t b = 0;; ++b) {
        const QString path = QDir(work).filePath(QStringLiteral("ref_%1.pgm").arg(b));
        if (!QFile::exists(path)) break;
        planes.emplace_back();
        if (!readPnm(path, planes.back())) return false;
        QFile::remove(path);
    }
    if (planes.empty()) return readPnm(QDir(work).filePath("ref.pnm"), out);
    out.allocate(planes[0].width, planes[0].height, uint32_t(planes.size()));
    for (uint32_t b = 0; b < planes.size(); ++b) {
        if (planes[b].samples.size() != planes[0].samples.size()) return false;
        std::copy(planes[b].samples.begin(), planes[b].samples.end(), out.plane(b));
    }
    return true;
}

/// opj_decompress's decode of the whole level, cut to `rect`. (Its own windowed decode fails
/// on some conformance files, so the window is cut here.)
bool referenceDecode(const QString& file, uint32_t level, const LevelRect& rect, int layers, bool upsample,
                     const QString& work, RegionBuffer& out)
{
    const QString output = QDir(work).filePath("ref.pnm");
    QFile::remove(output);
    QStringList args{"-i", file, "-o", output, "-r", QString::number(level)};
    if (layers) args << "-l" << QString::number(layers);
    if (upsample)
        args << "-upsample"
             << "-split-pnm";
    QString message;
    RegionBuffer whole;
    if (!TestSupport::run(TestSupport::findProgram("opj_decompress"), args, &message) ||
        !readReferenceOutput(work, whole)) {
        qWarning() << message;
        return false;
    }
    if (rect.x1 > whole.width || rect.y1 > whole.height) return false;
    out.allocate(uint32_t(rect.width()), uint32_t(rect.height()), whole.bands);
    for (uint32_t b = 0; b < whole.bands; ++b)
        for (int64_t y = rect.y0; y < rect.y1; ++y)
            std::copy_n(whole.plane(b) + y * whole.width + rect.x0, rect.width(),
                        out.plane(b) + (y - rect.y0) * out.width);
    return true;
}

/// Index of the first differing sample, -1 when equal.
qint64 firstDifference(const RegionBuffer& a, const RegionBuffer& b)
{
    if (a.width != b.width || a.height != b.height || a.bands != b.bands) return 0;
    const auto m = std::mismatch(a.samples.begin(), a.samples.end(), b.samples.begin());
    return m.first == a.samples.end() ? -1 : m.first - a.samples.begin();
}

/// Writes the colours by hand: QImage's own conversions run on Qt's thread pool, which the
/// thread sanitizer cannot see into.
bool writePpm(const QImage& argb, const QString& path)
{
    QByteArray bytes = QStringLiteral("P6\n%1 %2\n255\n").arg(argb.width()).arg(argb.height()).toLatin1();
    for (int y = 0; y < argb.height(); ++y) {
        const QRgb* line = reinterpret_cast<const QRgb*>(argb.constScanLine(y));
        for (int x = 0; x < argb.width(); ++x)
            bytes.append(char(qRed(line[x]))).append(char(qGreen(line[x]))).append(char(qBlue(line[x])));
    }
    return writeAll(path, bytes);
}

}  // namespace

class tst_Jp2Reader : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void matchesReferenceDecoder_data();
    void matchesReferenceDecoder();
    void headerFields_data();
    void headerFields();
    void metadataBoxes();
    void tilePartLayoutsDecodeAlike();
    void tilesIntersecting_data();
    void tilesIntersecting();
    void headerDamage_data();
    void headerDamage();
    void damagedFiles_data();
    void damagedFiles();
    void concurrentDecodes();
    void rangesReadTogether();

private:
    QString conformance(const QString& name);
    QString fileFor(const QString& name);

    QTemporaryDir m_work;
    QString m_tiledByResolution;  // 1500x1100 RGB, 256x256 tiles, RPCL, one tile-part per resolution
    QString m_tiledPlain;         // the same without tile-part splitting
    QString m_tiledTlm;           // m_tiledByResolution with TLM markers
};

QString tst_Jp2Reader::conformance(const QString& name)
{
    return TestSupport::sharedTestData("jpeg2000-conformance/" + name);
}

QString tst_Jp2Reader::fileFor(const QString& name)
{
    if (name == "@tiled") return m_tiledByResolution;
    return conformance(name);
}

void tst_Jp2Reader::initTestCase()
{
    QVERIFY(m_work.isValid());
    const QString ppm = m_work.filePath("pattern.ppm");
    QVERIFY(writePpm(TestImages::pattern(1500, 1100, QImage::Format_ARGB32), ppm));
    const QStringList common{"-t", "256,256", "-n", "5", "-p", "RPCL", "-r", "20,10,1"};
    m_tiledByResolution = m_work.filePath("tiled.jp2");
    m_tiledPlain = m_work.filePath("tiled-plain.j2k");
    m_tiledTlm = m_work.filePath("tiled-tlm.j2k");
    QString message;
    if (!TestImages::compress(ppm, m_tiledByResolution, common + QStringList{"-TP", "R"}, &message) ||
        !TestImages::compress(ppm, m_tiledPlain, common, &message) ||
        !TestImages::compress(ppm, m_tiledTlm, common + QStringList{"-TP", "R", "-TLM"}, &message)) {
        qWarning() << "no tiled test image:" << message;
        m_tiledByResolution.clear();
        m_tiledPlain.clear();
    }
}

// Cell for cell against opj_decompress, which decodes the whole code-stream its own way.
void tst_Jp2Reader::matchesReferenceDecoder_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<int>("level");
    QTest::addColumn<QRect>("rect");  // on the level; empty = the whole level
    QTest::addColumn<int>("layers");
    QTest::addColumn<bool>("upsample");
    QTest::newRow("file1 rgb level 2 window") << "file1.jp2" << 2 << QRect(10, 7, 140, 94) << 0 << false;
    QTest::newRow("file1 rgb coarsest") << "file1.jp2" << 5 << QRect() << 0 << false;
    QTest::newRow("file4 grey level 1 window") << "file4.jp2" << 1 << QRect(33, 17, 267, 183) << 0 << false;
    QTest::newRow("file9 palette") << "file9.jp2" << 0 << QRect() << 0 << false;
    QTest::newRow("file9 palette level 3") << "file9.jp2" << 3 << QRect() << 0 << false;
    QTest::newRow("a3 six tiles window") << "a3_mono.j2c" << 0 << QRect(100, 50, 150, 120) << 0 << false;
    QTest::newRow("a3 six tiles level 2") << "a3_mono.j2c" << 2 << QRect() << 0 << false;
    QTest::newRow("b1 offsets level 1 window") << "b1_mono.j2c" << 1 << QRect(5, 5, 135, 75) << 0 << false;
    QTest::newRow("e1 level 3") << "e1_colr.j2c" << 3 << QRect() << 0 << false;
    QTest::newRow("p1_05 level 2 window") << "p1_05.j2k" << 2 << QRect(20, 30, 80, 60) << 0 << false;
    QTest::newRow("p1_04 12 bits window") << "p1_04.j2k" << 0 << QRect(100, 100, 600, 300) << 0 << false;
    QTest::newRow("p1_04 12 bits level 3") << "p1_04.j2k" << 3 << QRect() << 0 << false;
    QTest::newRow("p1_06 tiny tiles") << "p1_06.j2k" << 1 << QRect() << 0 << false;
    QTest::newRow("p0_02 two layers") << "p0_02.j2k" << 0 << QRect() << 2 << true;
    QTest::newRow("p1_07 sub-sampled") << "p1_07.j2k" << 0 << QRect() << 0 << true;
    QTest::newRow("p0_10 sub-sampled tiles") << "p0_10.j2k" << 0 << QRect() << 0 << true;
    QTest::newRow("tiled level 2 window") << "@tiled" << 2 << QRect(33, 44, 267, 206) << 0 << false;
    QTest::newRow("tiled level 4") << "@tiled" << 4 << QRect() << 0 << false;
    QTest::newRow("tiled level 2 one layer") << "@tiled" << 2 << QRect() << 1 << false;
}

void tst_Jp2Reader::matchesReferenceDecoder()
{
    QFETCH(QString, file);
    QFETCH(int, level);
    QFETCH(QRect, rect);
    QFETCH(int, layers);
    QFETCH(bool, upsample);
    const QString path = fileFor(file);
    if (path.isEmpty()) QSKIP("test image missing");
    if (TestSupport::findProgram("opj_decompress").isEmpty()) QSKIP("opj_decompress missing");
    const Opened o = openImage(path);
    QVERIFY2(!o.error, o.error.GetErrorText());
    Jp2RegionDecoder& decoder = *o.decoder();
    const LevelRect wanted = rect.isEmpty() ? decoder.levelRect(level)
                                            : LevelRect{rect.left(), rect.top(), rect.right() + 1, rect.bottom() + 1};
    RegionBuffer ours, reference;
    const CError error = decodeRect(decoder, level, wanted, ours, layers);
    QVERIFY2(!error, error.GetErrorText());
    QVERIFY(referenceDecode(path, level, wanted, layers, upsample, m_work.path(), reference));
    QCOMPARE(ours.width, reference.width);
    QCOMPARE(ours.height, reference.height);
    QCOMPARE(firstDifference(ours, reference), qint64(-1));
}

// Size | bands | colour space | cell type | opacity band | tiles | levels | layers |
// progression | wavelet | rate (0: work it out from the file size).
void tst_Jp2Reader::headerFields_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("expected");
    const char* rows[][3] = {
        {"file1 sRGB", "file1.jp2", "768x512|Red,Green,Blue|4|0|-1|1x1|6|1|0|1|2"},
        // Its channel definitions put blue first and red last.
        {"file2 sYCC reordered", "file2.jp2", "480x640|Blue,Green,Red|5|0|-1|1x1|6|1|0|1|2"},
        {"file4 grey", "file4.jp2", "768x512|Grayscale|1|0|-1|1x1|6|1|0|1|2"},
        {"file6 12-bit grey", "file6.jp2", "768x512|Grayscale|1|1|-1|1x1|6|1|0|1|2"},
        {"file9 palette", "file9.jp2", "768x512|Red,Green,Blue|4|0|-1|1x1|6|1|0|1|1"},
        {"p1_05 offsets", "p1_05.j2k", "512x512|Red,Green,Blue|4|0|-1|15x15|8|2|3|0|3"},
        {"p0_05 fewer levels in one component", "p0_05.j2k", "1024x1024|Red,Green,Blue,Band 4|4|0|-1|1x1|4|7|3|0|2"},
        {"tiled", "@tiled", "1500x1100|Red,Green,Blue|4|0|-1|6x5|5|3|2|1|0"}};
    for (const auto& r : rows) QTest::newRow(r[0]) << QString(r[1]) << QString(r[2]);
}

void tst_Jp2Reader::headerFields()
{
    QFETCH(QString, file);
    QFETCH(QString, expected);
    const QString path = fileFor(file);
    if (path.isEmpty()) QSKIP("test image missing");
    const Opened o = openImage(path);
    QVERIFY2(!o.error, o.error.GetErrorText());
    const ImageDescription& d = o.container.description;
    QStringList names;
    for (const BandLayout& band : d.bands) names << QString::fromStdString(band.description);
    int rate = d.targetCompressionRate;
    if (expected.endsWith("|0"))  // made here: the rate follows from the file's size
        rate -= qRound(double(d.width) * d.height * d.bands.size() / QFileInfo(path).size());
    const auto n = [](qint64 v) { return QString::number(v); };
    QStringList fields{n(d.width) + 'x' + n(d.height), names.join(','), n(int(d.colorSpace)), n(int(d.cellType))};
    fields << n(d.alphaBand) << n(d.jp2.NumberOfTiles().width) + 'x' + n(d.jp2.NumberOfTiles().height);
    fields << n(d.jp2.Levels()) << n(d.jp2.Layers()) << n(d.jp2.PrecinctProgressionOrder());
    const QString actual = (fields << n(d.jp2.TransformationType()) << n(rate)).join('|');
    QCOMPARE(actual, expected);
    QCOMPARE(int(o.container.decoder->levels()), d.jp2.Levels());
    QCOMPARE(d.fileType, PLK_FILE_JPEG2000);
}

// XML boxes in file order wherever they lie, the GeoJP2 uuid, a GML association and the
// precinct sizes the main header gives.
void tst_Jp2Reader::metadataBoxes()
{
    const QString file1 = conformance("file1.jp2"), file8 = conformance("file8.jp2"), zoo = conformance("zoo2.jp2");
    if (file1.isEmpty() || file8.isEmpty() || zoo.isEmpty()) QSKIP("no conformance files");
    const auto xml = [](const Opened& o) {
        QList<QPair<quint64, quint64>> list;
        for (const PLKJP2Box& b : o.container.description.xmlBoxes) {
            if (b.nTBox != 0x786D6C20) return QList<QPair<quint64, quint64>>();
            list << qMakePair(quint64(b.nContentOffset), quint64(b.nContentLength));
        }
        return list;
    };
    // Offsets and lengths as a box dump of the files shows them.
    QCOMPARE(xml(openImage(file1)), (QList<QPair<quint64, quint64>>{{44, 431}, {528, 741}}));
    QCOMPARE(xml(openImage(file8)), (QList<QPair<quint64, quint64>>{{499, 377}, {149717, 902}}));
    // zoo2's uuid box is not a GeoJP2 one.
    QVERIFY(!openImage(zoo).container.description.hasGeoJp2);

    // file4 with a GeoJP2 box and a GMLJP2 association holding an XML box.
    const QByteArray original = readAll(conformance("file4.jp2"));
    const int codestreamBox = original.indexOf("jp2c") - 4;
    const QByteArray geoUuid = QByteArray::fromHex("B14BF8BD083D4B43A5AE8CD7D5A6CE03");
    const QByteArray gml =
        box("asoc", box("lbl ", "gml.data") + box("asoc", box("lbl ", "gml.root-instance") + box("xml ", "<gml/>")));
    const QByteArray extra = box("uuid", geoUuid + QByteArray(20, 'g')) + gml;
    const QString geo = m_work.filePath("geo.jp2");
    QVERIFY(writeAll(geo, original.left(codestreamBox) + extra + original.mid(codestreamBox)));
    const Opened o = openImage(geo);
    QVERIFY2(!o.error, o.error.GetErrorText());
    const ImageDescription& d = o.container.description;
    QVERIFY(d.hasGeoJp2);
    QVERIFY(d.hasGml);
    QVERIFY(d.jp2.GMLJP2BoxExists());
    QCOMPARE(d.xmlBoxes.size(), size_t(1));
    QCOMPARE(readAll(geo).mid(int(d.xmlBoxes[0].nContentOffset), int(d.xmlBoxes[0].nContentLength)),
             QByteArray("<gml/>"));

    // Precinct exponents 7 to 13 from the coarsest level up (OpenJPEG's own report garbles them).
    const Opened p2 = openImage(conformance("p1_02.j2k"));
    std::vector<uint32_t> widths;
    for (const auto& size : p2.container.description.jp2.PrecinctSize()) widths.push_back(size.width);
    QCOMPARE(widths, (std::vector<uint32_t>{128, 256, 512, 1024, 2048, 4096, 8192}));
    QCOMPARE(p2.container.description.jp2.CodeBlock().height, 64u);
    QCOMPARE(openImage(file1).container.description.jp2.PrecinctSize().back().width, 32768u);
}

// One tile-part per tile, one per resolution, and one per resolution with a TLM length index
// decode alike on every level. The TLM index equals the walked one; a length index that does
// not add up is ignored in favour of the walk, which reads many headers at once. Split by
// resolution, a zoomed-out decode reads only the coarse tile-parts.
void tst_Jp2Reader::tilePartLayoutsDecodeAlike()
{
    if (m_tiledByResolution.isEmpty()) QSKIP("no tiled test image");
    QByteArray broken = readAll(m_tiledTlm);
    const int tlm = broken.indexOf("\xFF\x55");
    QVERIFY(tlm > 0);
    broken[tlm + 8] = char(broken[tlm + 8] ^ 0x10);  // the first tile-part's length
    QVERIFY(writeAll(m_work.filePath("broken-tlm.j2k"), broken));
    const Opened split = openImage(m_tiledByResolution), plain = openImage(m_tiledPlain),
                 indexed = openImage(m_tiledTlm), fallback = openImage(m_work.filePath("broken-tlm.j2k"));
    for (const Opened* o : {&split, &plain, &indexed, &fallback}) QVERIFY2(!o->error, o->error.GetErrorText());
    const Jp2RegionDecoder& s = *split.decoder();
    QCOMPARE(s.index().parts(7).size(), size_t(5));
    QCOMPARE(plain.decoder()->index().parts(7).size(), size_t(1));
    const TilePartIndex &a = indexed.decoder()->index(), &b = fallback.decoder()->index();
    QVERIFY(a.fromLengthIndex() && !b.fromLengthIndex() && !s.index().fromLengthIndex());
    QCOMPARE(a.reads(), 1u);  // the first header, checked against the index
    QVERIFY(s.index().reads() < 20);
    for (uint32_t t = 0; t < a.tileCount(); ++t) {
        QCOMPARE(a.parts(t).size(), b.parts(t).size());
        for (size_t i = 0; i < a.parts(t).size(); ++i) {
            QCOMPARE(a.parts(t)[i].offset, b.parts(t)[i].offset);
            QCOMPARE(a.parts(t)[i].length, b.parts(t)[i].length);
        }
    }
    for (uint32_t level = 0; level < s.levels(); ++level) {
        for (uint32_t tile : {0u, 7u, 29u}) {
            const LevelRect rect = s.tileRect(tile, level);
            RegionBuffer x, y, z;
            QVERIFY(!split.container.decoder->decode(tile, level, 0, rect, x, nullptr, false));
            QVERIFY(!plain.container.decoder->decode(tile, level, 0, rect, y, nullptr, false));
            QVERIFY(!indexed.container.decoder->decode(tile, level, 0, rect, z, nullptr, false));
            QCOMPARE(firstDifference(x, y), qint64(-1));
            QCOMPARE(firstDifference(x, z), qint64(-1));
        }
    }
    CError error;
    auto source = FileByteSource::open(m_tiledByResolution.toStdString(), error);
    CodestreamHeader header;
    uint64_t offset = readAll(m_tiledByResolution).indexOf("jp2c") + 4;
    QVERIFY(!CodestreamHeader::read(*source, offset, source->size() - offset, header));
    const TileCodestream builder(*source, header, s.index());
    size_t previous = SIZE_MAX;
    for (uint32_t level = 0; level < s.levels(); ++level) {
        std::vector<uint8_t> bytes;
        QVERIFY(!builder.build(7, level, false, bytes));
        QVERIFY2(bytes.size() < previous, qPrintable(QString::number(level)));
        previous = bytes.size();
    }
}

// The arithmetic answer against asking every tile, on grids with offsets and tiles that
// vanish on coarse levels.
void tst_Jp2Reader::tilesIntersecting_data()
{
    QTest::addColumn<QString>("file");
    QTest::newRow("p1_05 offsets 15x15") << "p1_05.j2k";
    QTest::newRow("b1 offsets") << "b1_mono.j2c";
    QTest::newRow("p1_06 3x3 tiles") << "p1_06.j2k";
    QTest::newRow("a4 sub-sampled") << "a4_colr.j2c";
    QTest::newRow("tiled") << "@tiled";
}

void tst_Jp2Reader::tilesIntersecting()
{
    QFETCH(QString, file);
    const QString path = fileFor(file);
    if (path.isEmpty()) QSKIP("test image missing");
    const Opened o = openImage(path);
    QVERIFY2(!o.error, o.error.GetErrorText());
    const RegionDecoder& d = *o.container.decoder;
    quint32 seed = 12345;
    const auto next = [&seed](int64_t n) {
        seed = seed * 1664525u + 1013904223u;
        return int64_t(seed >> 8) % n;
    };
    for (uint32_t level = 0; level < d.levels(); ++level) {
        const LevelRect all = d.levelRect(level);
        int64_t covered = 0;
        for (uint32_t t = 0; t < d.tileCount(); ++t) {
            QVERIFY(all.contains(d.tileRect(t, level)));
            covered += d.tileRect(t, level).width() * d.tileRect(t, level).height();
        }
        QCOMPARE(covered, all.width() * all.height());
        for (int i = 0; i < 40; ++i) {
            const int64_t x0 = next(all.x1), y0 = next(all.y1);
            const LevelRect r{x0, y0, x0 + 1 + next(all.x1 - x0), y0 + 1 + next(all.y1 - y0)};
            std::vector<uint32_t> expected;
            for (uint32_t t = 0; t < d.tileCount(); ++t)
                if (!d.tileRect(t, level).intersected(r).empty()) expected.push_back(t);
            QCOMPARE(d.tilesIntersecting(r, level), expected);
        }
    }
}

// Damaged headers fail with the right code and a text that says what is wrong.
void tst_Jp2Reader::headerDamage_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("text");
    const QByteArray good = readAll(conformance("p0_01.j2k"));
    if (good.isEmpty()) QSKIP("no conformance files");
    const auto patched = [&good](int offset, const QByteArray& with) {
        QByteArray b = good;
        b.replace(offset, with.size(), with);
        return b;
    };
    const auto u32 = [](quint32 v) {
        QByteArray b(4, 0);
        qToBigEndian(v, b.data());
        return b;
    };
    const int cod = good.indexOf("\xFF\x52");  // SGcod progression at +5, decompositions at +9
    const QByteArray notJpeg2000 = "This is a text file that happens to be read as an image.";
    const QByteArray signature = QByteArray::fromHex("0000000C6A5020200D0A870A");
    const QByteArray fileType = box("ftyp", "jp2 " + QByteArray(4, 0) + "jp2 ");
    const int corrupt = PLK_ERROR_CORRUPT_CODESTREAM;
    QTest::newRow("zero width") << patched(8, u32(0)) << corrupt << "the image is empty";
    QTest::newRow("zero tile") << patched(24, u32(0)) << corrupt << "the tile size is zero";
    QTest::newRow("tile count overflow") << patched(8, u32(100000) + u32(100000)).replace(24, 8, u32(1) + u32(1))
                                         << corrupt << "10000000000 tiles";
    QTest::newRow("too many components") << patched(40, QByteArray::fromHex("4E20")) << corrupt << "20000 components";
    QTest::newRow("bit depth") << patched(42, QByteArray::fromHex("7F")) << corrupt << "128 bits";
    QTest::newRow("sub-sampling zero") << patched(43, QByteArray(1, 0)) << corrupt << "sub-sampling factor of zero";
    QTest::newRow("decomposition levels")
        << patched(cod + 9, QByteArray(1, 40)) << corrupt << "40 decomposition levels";
    QTest::newRow("progression") << patched(cod + 5, QByteArray(1, 9)) << corrupt << "progression order 9";
    QTest::newRow("cut in main header") << good.left(30) << corrupt << "cut short";
    QTest::newRow("not JPEG 2000") << notJpeg2000 << int(PLK_ERROR_NOT_SUPPORTED_FORMAT) << "is not a JPEG 2000 file";
    QTest::newRow("box too short") << signature + fileType + QByteArray::fromHex("000000046A703268") << corrupt
                                   << "impossible length";
    QTest::newRow("no code-stream") << signature + fileType + box("jp2h", box("ihdr", QByteArray(14, 0))) << corrupt
                                    << "no code-stream";
    QTest::newRow("motion file type") << signature + box("ftyp", "mjp2" + QByteArray(4, 0) + "mjp2")
                                      << int(PLK_ERROR_UNSUPPORTED_FEATURE) << "file type 'mjp2'";
}

void tst_Jp2Reader::headerDamage()
{
    QFETCH(QByteArray, bytes);
    const QString path = m_work.filePath("damaged.j2k");
    QVERIFY(writeAll(path, bytes));
    const Opened o = openImage(path);
    QTEST(o.error.GetErrorNumber(), "code");
    QFETCH(QString, text);
    QVERIFY2(QString(o.error.GetErrorText()).contains(text), o.error.GetErrorText());
    QVERIFY(QString(o.error.GetErrorText()).contains("damaged.j2k"));
}

// Garbage over the middle of a file (a cut file is covered by the hostile-file tests): a strict
// decode of a hit tile fails with a message, tiles before the damage decode as in the original.
void tst_Jp2Reader::damagedFiles_data()
{
    QTest::addColumn<QString>("file");
    for (const char* file : {"file1.jp2", "p1_05.j2k", "a3_mono.j2c", "@tiled"}) QTest::newRow(file) << file;
}

void tst_Jp2Reader::damagedFiles()
{
    QFETCH(QString, file);
    const QString path = fileFor(file);
    if (path.isEmpty()) QSKIP("test image missing");
    QByteArray bytes = readAll(path);
    const int damageFrom = bytes.size() / 2;
    quint32 seed = 99;
    for (int i = 0; i < 2000; ++i) bytes[damageFrom + i] = char((seed = seed * 1664525u + 1013904223u) >> 24);
    const QString copy = m_work.filePath("damaged-" + QFileInfo(path).fileName());
    QVERIFY(writeAll(copy, bytes));
    const Opened original = openImage(path);
    const Opened o = openImage(copy);
    if (o.error) {
        QVERIFY(QString(o.error.GetErrorText()).contains("damaged"));
        return;
    }
    const RegionDecoder& d = *o.container.decoder;
    for (uint32_t tile = 0; tile < d.tileCount(); ++tile) {
        const auto& parts = original.decoder()->index().parts(tile);
        const bool untouched = parts.back().offset + parts.back().length <= uint64_t(damageFrom);
        for (uint32_t level : {0u, d.levels() - 1}) {
            const LevelRect rect = d.tileRect(tile, level);
            RegionBuffer strict, before;
            const CError error = o.container.decoder->decode(tile, level, 0, rect, strict, nullptr, false);
            QVERIFY(!error || strlen(error.GetErrorText()) > 0);
            if (!untouched) continue;
            QVERIFY2(!error, error.GetErrorText());
            QVERIFY(!original.container.decoder->decode(tile, level, 0, rect, before, nullptr, false));
            QCOMPARE(firstDifference(strict, before), qint64(-1));
        }
    }
}

// Several threads decoding the same and different tiles get what one thread gets.
void tst_Jp2Reader::concurrentDecodes()
{
    if (m_tiledByResolution.isEmpty()) QSKIP("no tiled test image");
    const Opened o = openImage(m_tiledByResolution);
    QVERIFY2(!o.error, o.error.GetErrorText());
    RegionDecoder& d = *o.container.decoder;
    const uint32_t tiles = d.tileCount();
    std::vector<RegionBuffer> expected(tiles);
    for (uint32_t t = 0; t < tiles; ++t) QVERIFY(!d.decode(t, 1, 0, d.tileRect(t, 1), expected[t], nullptr, false));
    std::atomic<int> mismatches{0};
    std::vector<std::thread> threads;
    for (uint32_t w = 0; w < 4; ++w) {
        threads.emplace_back([&, w] {
            for (uint32_t i = 0; i < tiles; ++i) {
                const uint32_t t = (i * 7 + w * 3) % tiles;
                RegionBuffer out;
                if (d.decode(t, 1, 0, d.tileRect(t, 1), out, nullptr, false) || firstDifference(out, expected[t]) != -1)
                    ++mismatches;
            }
        });
    }
    for (std::thread& t : threads) t.join();
    QCOMPARE(mismatches.load(), 0);
    std::atomic<bool> cancel{true};
    RegionBuffer out;
    QCOMPARE(d.decode(0, 0, 0, {0, 0, 64, 64}, out, &cancel, false).GetErrorNumber(), int(PLK_ERROR_CANCELLED));
}

// Several ranges in one call, short at the end of the file; a raised cancel flag stops the call;
// fetched ranges serve reads from memory and other reads still reach the file.
void tst_Jp2Reader::rangesReadTogether()
{
    const QByteArray bytes = QByteArray("0123456789").repeated(100);
    QVERIFY(writeAll(m_work.filePath("bytes.bin"), bytes));
    CError error;
    auto source = FileByteSource::open(m_work.filePath("bytes.bin").toStdString(), error);
    QVERIFY(source);
    char a[10], b[20], c[5];
    std::vector<RangeRead> reads{{5, 10, a}, {990, 20, b}, {2000, 5, c}};
    QCOMPARE(int(source->readRanges(reads)), int(ReadStatus::Ok));
    QCOMPARE(QByteArray(a, 10), QByteArray("5678901234"));
    QCOMPARE(reads[1].read, int64_t(10));
    QCOMPARE(QByteArray(b, 10), QByteArray("0123456789"));
    QCOMPARE(reads[2].read, int64_t(0));
    std::atomic<bool> cancel{true};
    QCOMPARE(int(source->readRanges(reads, &cancel)), int(ReadStatus::Cancelled));

    PrefetchedSource fetched(source);
    QCOMPARE(int(fetched.fetch({{100, 10}, {110, 10}, {500, 3}}, nullptr)), int(ReadStatus::Ok));
    QCOMPARE(fetched.bytesHeld(), uint64_t(23));  // the first two merged
    QVERIFY(fetched.readExact(105, a, 10));
    QCOMPARE(QByteArray(a, 10), QByteArray("5678901234"));
    QVERIFY(fetched.readExact(700, c, 5));  // not fetched: from the file
    QCOMPARE(QByteArray(c, 5), QByteArray("01234"));
}

QTEST_GUILESS_MAIN(tst_Jp2Reader)
#include "tst_jp2reader.moc"
