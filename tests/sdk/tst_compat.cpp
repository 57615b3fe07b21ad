// Compatibility with OpenJPEG's own tools: what opj_decompress reads, the engine shows with the
// same pixels at full resolution; encoder slips in the tile-part layout cost no picture and
// raise no damage warning; colours a file encodes otherwise (CMYK, e-sYCC, CIELab, a palette
// without component mapping, ICC profiles) come out as opj_decompress and LittleCMS make them.
#include <QtTest>

#include <QTemporaryDir>
#include <lcms2.h>
#include <mutex>

#include "TestImages.h"
#include "TestSupport.h"
#include "WarningLog.h"
#include "xrv60.h"

using TestSupport::box;
using TestSupport::readAll;
using TestSupport::writeAll;

namespace {

// The whole image at full resolution through the default bands, as the map shows it.
QImage renderFull(const QString& path, QString* error)
{
    PLK::CView view;
    const PLK::CError opened = view.Open(PLK::CString(path.toStdString()), false);
    if (!opened.Success()) {
        *error = QString::fromUtf8(opened.GetErrorText());
        return QImage();
    }
    const PLKFileInfo* info = view.GetFileInfo();
    std::vector<uint32_t> bands;
    if (!view.GetDefaultRGBABandList(bands).Success()) return QImage();
    std::vector<int> list(bands.begin(), bands.end());
    const int w = int(info->nSizeX), h = int(info->nSizeY);
    double x1, y1, x2, y2;
    view.ConvertDatasetToWorld(0, 0, x1, y1);
    view.ConvertDatasetToWorld(w, h, x2, y2);
    if (!view.SetView(int(list.size()), list.data(), w, h, x1, y1, x2, y2).Success()) return QImage();
    QImage image(w, h, QImage::Format_ARGB32);
    for (int y = 0; y < h; ++y)
        if (view.ReadLineBGRA(image.scanLine(y)) != PLK_READ_OK) return QImage();
    return image;
}

quint32 be32(const QByteArray& b, int at)
{
    return quint32(quint8(b[at])) << 24 | quint32(quint8(b[at + 1])) << 16 | quint32(quint8(b[at + 2])) << 8 |
           quint8(b[at + 3]);
}

void put32(QByteArray& b, int at, quint32 v)
{
    for (int i = 0; i < 4; ++i) b[at + i] = char(v >> (24 - 8 * i));
}

// A JP2 written by opj_compress: signature, file type, header, code-stream (the last box).
// The header's boxes are replaced by `headerBoxes`; the code-stream box is fitted to the file.
QByteArray withHeader(const QByteArray& file, const QByteArray& headerBoxes)
{
    const int at = file.indexOf("jp2h") - 4;
    const int length = int(be32(file, at));
    const QByteArray ihdr = file.mid(at + 8, 22);
    return file.left(at) + box("jp2h", ihdr + headerBoxes) + file.mid(at + length);
}

QByteArray enumeratedColour(quint32 space, const QByteArray& extra = QByteArray())
{
    QByteArray c(7, 0);
    c[0] = 1;
    put32(c, 3, space);
    return box("colr", c + extra);
}

// Tile-parts of a code-stream, in file order, found by their lengths.
struct TilePart {
    int offset;
    int length;
    int tile;
    int index;
};

int codestreamStart(const QByteArray& file)
{
    return file.startsWith("\xFF\x4F\xFF\x51") ? 0 : file.indexOf("jp2c") + 4;
}

QList<TilePart> tileParts(const QByteArray& f)
{
    int pos = codestreamStart(f) + 2;
    while (pos + 4 <= f.size() && !(quint8(f[pos]) == 0xFF && quint8(f[pos + 1]) == 0x90))
        pos += 2 + (quint8(f[pos + 2]) << 8 | quint8(f[pos + 3]));
    QList<TilePart> parts;
    while (pos + 12 <= f.size() && quint8(f[pos]) == 0xFF && quint8(f[pos + 1]) == 0x90) {
        const int psot = int(be32(f, pos + 6));
        parts << TilePart{pos, psot ? psot : int(f.size()) - pos, quint8(f[pos + 4]) << 8 | quint8(f[pos + 5]),
                          quint8(f[pos + 10])};
        pos += parts.last().length;
    }
    return parts;
}

// The code-stream box is the file's last: fit its length to the bytes after it.
void fitCodestreamBox(QByteArray& f)
{
    if (const int start = codestreamStart(f)) put32(f, start - 8, quint32(f.size() - start + 8));
}

enum Slip {
    FewerPartsDeclared,
    PartCountUnsaid,
    LastPartToTheEnd,
    NoEndMarker,
    BytesAfterEnd,
    TilesInterleaved,
    TilesReversed,
    PartsOfATileSwapped,
    SlipsTogether,
};

QByteArray withSlip(QByteArray f, Slip slip)
{
    const QList<TilePart> parts = tileParts(f);
    const int first = parts.first().offset, end = parts.last().offset + parts.last().length;
    auto reordered = [&](std::function<bool(const TilePart&, const TilePart&)> before) {
        QList<TilePart> order = parts;
        std::stable_sort(order.begin(), order.end(), before);
        QByteArray body;
        for (const TilePart& p : order) body += f.mid(p.offset, p.length);
        return f.left(first) + body + f.mid(end);
    };
    switch (slip) {
        case FewerPartsDeclared:
        case PartCountUnsaid:
            for (const TilePart& p : parts) f[p.offset + 11] = slip == PartCountUnsaid ? 0 : char(f[p.offset + 11] - 1);
            break;
        case LastPartToTheEnd:
            put32(f, parts.last().offset + 6, 0);
            break;
        case NoEndMarker:
            f.chop(2);
            break;
        case BytesAfterEnd:
            f += QByteArray(100, '\x5A');
            break;
        case TilesInterleaved:
            f = reordered([](const TilePart& a, const TilePart& b) { return a.index < b.index; });
            break;
        case TilesReversed:
            f = reordered([](const TilePart& a, const TilePart& b) { return a.tile > b.tile; });
            break;
        case PartsOfATileSwapped:
            f = reordered([](const TilePart& a, const TilePart& b) {
                return a.tile < b.tile || (a.tile == b.tile && (a.index ^ 1) < (b.index ^ 1));
            });
            break;
        case SlipsTogether:
            f = withSlip(withSlip(withSlip(f, FewerPartsDeclared), LastPartToTheEnd), NoEndMarker);
            break;
    }
    fitCodestreamBox(f);
    return f;
}

}  // namespace

class TestCompat : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanupTestCase();
    void matchesOpenJpeg_data();
    void matchesOpenJpeg();
    void iccProfilesThroughLittleCms_data();
    void iccProfilesThroughLittleCms();

private:
    QString makeColourFile(const QString& name, const QByteArray& headerBoxes, int components);

    QTemporaryDir m_dir;
    WarningLog m_sink;
    QString m_tiled;     ///< RGB, 12 tiles of 12 tile-parts each
    QByteArray m_table;  ///< the palette the palette file carries, R G B per entry
};

void TestCompat::initTestCase()
{
    QVERIFY(m_dir.isValid());
    if (TestSupport::findProgram("opj_compress").isEmpty() || TestSupport::findProgram("opj_decompress").isEmpty())
        QSKIP("OpenJPEG's tools are not installed");
    PLK::CLog::RegisterLogger(&m_sink);
    const QString png = m_dir.filePath("pattern.png");
    QVERIFY(TestImages::pattern(200, 150, QImage::Format_RGB888).save(png));
    m_tiled = m_dir.filePath("tiled.jp2");
    QString message;
    QVERIFY2(TestImages::compress(png, m_tiled, {"-t", "64,64", "-n", "4", "-TP", "R", "-r", "20,5,1"}, &message),
             qPrintable(message));
}

void TestCompat::cleanupTestCase()
{
    PLK::CLog::RegisterLogger(static_cast<PLK::ILogger<char>*>(nullptr));
}

// A JP2 of `components` 8-bit components of smooth, different ramps, whose header carries
// `headerBoxes` in place of opj_compress's colour box.
QString TestCompat::makeColourFile(const QString& name, const QByteArray& headerBoxes, int components)
{
    const int w = 96, h = 64;
    QByteArray raw;
    for (int c = 0; c < components; ++c)
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) raw += char((x * (2 + c) + y * (3 - c) * 2 + c * 60) & 255);
    const QString rawPath = m_dir.filePath(name + ".raw"), plain = m_dir.filePath(name + "-plain.jp2");
    if (!writeAll(rawPath, raw)) return QString();
    QString message;
    if (!TestImages::compress(rawPath, plain, {"-F", QString("%1,%2,%3,8,u").arg(w).arg(h).arg(components)}, &message))
        return QString();
    const QString path = m_dir.filePath(name + ".jp2");
    return writeAll(path, withHeader(readAll(plain), headerBoxes)) ? path : QString();
}

void TestCompat::matchesOpenJpeg_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("pristine");  ///< the same picture without the slip, when there is one
    QTest::addColumn<int>("tolerance");     ///< levels per channel

    const QByteArray tiled = readAll(m_tiled);
    const struct {
        const char* name;
        Slip slip;
    } slips[] = {
        {"TNsot one fewer than the tile-parts", FewerPartsDeclared},
        {"TNsot 0", PartCountUnsaid},
        {"Psot 0 on the last tile-part", LastPartToTheEnd},
        {"no EOC", NoEndMarker},
        {"bytes after EOC", BytesAfterEnd},
        {"tile-parts of all tiles interleaved", TilesInterleaved},
        {"tiles in reverse order", TilesReversed},
        {"tile-parts of a tile out of order", PartsOfATileSwapped},
        {"TNsot short, Psot 0 and no EOC", SlipsTogether},
    };
    for (const auto& s : slips) {
        const QString path = m_dir.filePath(QString("slip%1.jp2").arg(int(s.slip)));
        QVERIFY(writeAll(path, withSlip(tiled, s.slip)));
        QTest::newRow(s.name) << path << m_tiled << 0;
    }

    QTest::newRow("CMYK") << makeColourFile("cmyk", enumeratedColour(12), 4) << QString() << 0;
    QTest::newRow("e-sYCC") << makeColourFile("esycc", enumeratedColour(24), 3) << QString() << 0;
    QTest::newRow("CIELab, default ranges") << makeColourFile("lab", enumeratedColour(14), 3) << QString() << 1;
    QByteArray ranges(28, 0);
    const quint32 lab[] = {100, 0, 255, 128, 255, 96, 0x00443530};
    for (int i = 0; i < 7; ++i) put32(ranges, 4 * i, lab[i]);
    QTest::newRow("CIELab, ranges given")
        << makeColourFile("labranges", enumeratedColour(14, ranges), 3) << QString() << 1;
    // A palette without component mapping: opj_decompress 2.5 leaves the indices as grey, so
    // the test looks them up in the palette itself (see below).
    QByteArray pclr("\x01\x00\x03\x07\x07\x07", 6);
    m_table.clear();
    for (int i = 0; i < 256; ++i) m_table += char(255 - i) + QByteArray(1, char((i * 7) & 255)) + char(i / 2);
    QTest::newRow("palette without component mapping")
        << makeColourFile("palette", enumeratedColour(16) + box("pclr", pclr + m_table), 1) << QString("palette") << 0;

    const QString folder = TestSupport::sharedTestData("jpeg2000-conformance");
    for (const QString& name : QDir(folder).entryList({"*.jp2", "*.j2k", "*.j2c"}, QDir::Files, QDir::Name))
        QTest::newRow(qPrintable(name)) << QDir(folder).filePath(name) << QString() << -1;
}

// opj_decompress's picture when it reads the file; else the engine still shows the picture
// the file holds (the pristine file's) or fails with a message, and raises no damage warning.
void TestCompat::matchesOpenJpeg()
{
    QFETCH(QString, path);
    QFETCH(QString, pristine);
    QFETCH(int, tolerance);
    QVERIFY(!path.isEmpty());
    m_sink.take();
    QString error;
    const QImage ours = renderFull(path, &error);
    const QStringList warnings = m_sink.take();
    QVERIFY2(!warnings.join('\n').contains("damaged"), qPrintable(warnings.join('\n')));

    QImage reference = TestImages::decodeReference(path, {}, m_dir.path());
    if (reference.isNull() && !pristine.isEmpty() && pristine != "palette")
        reference = TestImages::decodeReference(pristine, {}, m_dir.path());
    if (reference.isNull()) {
        QVERIFY2(!ours.isNull() || !error.isEmpty(), "neither a picture nor a message");
        return;
    }
    QVERIFY2(!ours.isNull(), qPrintable(error));
    if (pristine == "palette") {
        QImage coloured(reference.size(), QImage::Format_RGB32);
        for (int y = 0; y < reference.height(); ++y)
            for (int x = 0; x < reference.width(); ++x) {
                const int i = qGray(reference.pixel(x, y)) * 3;
                coloured.setPixel(x, y, qRgb(quint8(m_table[i]), quint8(m_table[i + 1]), quint8(m_table[i + 2])));
            }
        reference = coloured;
    }
    // Sub-sampled components that OpenJPEG cannot bring to the image's grid: nothing to compare.
    if (reference.size() != ours.size()) return;
    if (tolerance < 0) tolerance = reference.depth() > 32 || reference.format() == QImage::Format_Grayscale16;
    QPoint at;
    const int difference = TestImages::maxDifference(ours, reference, &at);
    QVERIFY2(difference <= tolerance, qPrintable(QString("%1 levels at (%2, %3): ours %4, opj_decompress %5")
                                                     .arg(difference)
                                                     .arg(at.x())
                                                     .arg(at.y())
                                                     .arg(ours.pixel(at), 8, 16)
                                                     .arg(reference.pixel(at), 8, 16)));
}

void TestCompat::iccProfilesThroughLittleCms_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("RGB profile") << "file5.jp2";
    QTest::newRow("restricted grey profile") << "file8.jp2";
}

// The stored values (opj_decompress on the bare code-stream) converted here by LittleCMS in
// full precision: the engine's picture lies within two levels of it.
void TestCompat::iccProfilesThroughLittleCms()
{
    QFETCH(QString, name);
    const QString path = TestSupport::sharedTestData("jpeg2000-conformance/" + name);
    if (path.isEmpty()) QSKIP("the shared conformance files are not beside this checkout");
    const QByteArray file = readAll(path);
    const int colr = file.indexOf("colr");
    QVERIFY(colr > 0 && file[colr + 4] == 2);
    const QByteArray profile = file.mid(colr + 7, int(be32(file, colr - 4)) - 11);
    const QString bare = m_dir.filePath(name + ".j2k");
    QVERIFY(writeAll(bare, file.mid(codestreamStart(file), int(be32(file, codestreamStart(file) - 8)) - 8)));
    const QImage stored = TestImages::decodeReference(bare, {}, m_dir.path()).convertToFormat(QImage::Format_RGB888);
    QVERIFY(!stored.isNull());

    cmsHPROFILE in = cmsOpenProfileFromMem(profile.constData(), cmsUInt32Number(profile.size()));
    QVERIFY(in);
    const bool grey = cmsGetColorSpace(in) == cmsSigGrayData;
    cmsHPROFILE out = cmsCreate_sRGBProfile();
    cmsHTRANSFORM t = cmsCreateTransform(in, grey ? TYPE_GRAY_DBL : TYPE_RGB_DBL, out, TYPE_RGB_DBL,
                                         cmsGetHeaderRenderingIntent(in), cmsFLAGS_NOOPTIMIZE);
    QVERIFY(t);
    QImage reference(stored.size(), QImage::Format_RGB32);
    for (int y = 0; y < stored.height(); ++y)
        for (int x = 0; x < stored.width(); ++x) {
            const QRgb s = stored.pixel(x, y);
            const double rgb[3] = {qRed(s) / 255.0, qGreen(s) / 255.0, qBlue(s) / 255.0};
            double result[3];
            cmsDoTransform(t, rgb, result, 1);  // a grey cell is read from the first channel
            reference.setPixel(x, y,
                               qRgb(qBound(0, qRound(result[0] * 255), 255), qBound(0, qRound(result[1] * 255), 255),
                                    qBound(0, qRound(result[2] * 255), 255)));
        }
    cmsDeleteTransform(t);
    cmsCloseProfile(in);
    cmsCloseProfile(out);

    QString error;
    const QImage ours = renderFull(path, &error);
    QVERIFY2(!ours.isNull(), qPrintable(error));
    QPoint at;
    const int difference = TestImages::maxDifference(ours, reference, &at);
    QVERIFY2(difference >= 0 && difference <= 2,
             qPrintable(QString("%1 levels at (%2, %3)").arg(difference).arg(at.x()).arg(at.y())));
}

QTEST_GUILESS_MAIN(TestCompat)
#include "tst_compat.moc"
