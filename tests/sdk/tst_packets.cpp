// Coarse views of one-tile-part tiles read only the tile-parts' heads: where each resolution's
// packets end, read from the packet headers, against the packet lengths the encoder itself
// lists (PLT); and decodes from the heads against whole-tile decodes, pixel for pixel, with
// fewer bytes read.
#include <QtTest>

#include "TestImages.h"
#include "TestSupport.h"
#include "image/ContainerReader.h"
#include "io/FileByteSource.h"
#include "io/PrefetchedSource.h"
#include "jp2/CodestreamHeader.h"
#include "jp2/PacketHeaderWalker.h"
#include "jp2/TilePartIndex.h"

using namespace PLK::Engine;

namespace {

struct Codestream {
    std::shared_ptr<FileByteSource> source;
    CodestreamHeader header;
    TilePartIndex index;
};

bool openCodestream(const QString& path, Codestream& out)
{
    PLK::CError error;
    out.source = FileByteSource::open(path.toStdString(), error);
    if (!out.source || CodestreamHeader::read(*out.source, 0, out.source->size(), out.header)) return false;
    out.index.build(*out.source, out.header.mainHeaderLength, out.source->size(), out.header);
    return true;
}

// Every resolution's end, relative to the first packet, walking the whole tile-part at once.
std::vector<uint64_t> walkTile(Codestream& c, uint32_t tile, QString& why, uint64_t& packetBytes)
{
    const TilePart& part = c.index.parts(tile).front();
    std::vector<uint8_t> bytes(part.length);
    if (!c.source->readExact(part.offset, bytes.data(), bytes.size())) return {};
    PacketLayout layout;
    if (!layout.build(c.header, tile, part.length)) {
        why = QString::fromStdString(layout.why());
        return {};
    }
    PacketHeaderWalker walker(std::move(layout), part.length);
    // Small bites first, so resuming after a cut-short header is part of every walk.
    const uint32_t last = walker.layout().resolutions() - 1;
    PacketHeaderWalker::Status status = PacketHeaderWalker::Status::NeedMore;
    for (size_t bite = 7; status == PacketHeaderWalker::Status::NeedMore; bite *= 2) {
        const size_t from = walker.position(), n = std::min<size_t>(bite, bytes.size() - from);
        status = walker.walk(bytes.data() + from, n, last);
    }
    why = QString::fromStdString(walker.why());
    if (status != PacketHeaderWalker::Status::Reached) return {};
    packetBytes = part.length - walker.dataStart();
    std::vector<uint64_t> ends = walker.ends();
    for (uint64_t& end : ends) end -= walker.dataStart();
    return ends;
}

// Counts the bytes read through it.
class CountingSource : public ByteSource {
public:
    explicit CountingSource(std::shared_ptr<ByteSource> inner) : m_inner(std::move(inner)) {}
    uint64_t size() const override { return m_inner->size(); }
    int64_t readAt(uint64_t offset, void* buffer, size_t length) override
    {
        const int64_t n = m_inner->readAt(offset, buffer, length);
        if (n > 0) bytes += uint64_t(n);
        return n;
    }
    const std::string& name() const override { return m_inner->name(); }
    std::atomic<uint64_t> bytes{0};

private:
    std::shared_ptr<ByteSource> m_inner;
};

// An image opened on a source that counts the bytes read.
struct Opened {
    std::shared_ptr<CountingSource> counting;
    OpenedContainer container;

    bool open(const QString& file)
    {
        PLK::CError error;
        counting = std::make_shared<CountingSource>(FileByteSource::open(file.toStdString(), error));
        uint8_t head[ContainerReader::kHeadBytes] = {};
        counting->readAt(0, head, sizeof head);
        const ContainerReader* reader = ContainerRegistry::find(head, sizeof head);
        return reader && !reader->open(counting, OpenSettings(), container);
    }
    /// Every tile at `level`, and the bytes that read. With `heads`, as a view fetches: the
    /// heads learnt first, what that read kept, the rest in one request; without, each decode
    /// reads its tile for itself. False when a tile fails.
    bool decodeAll(uint32_t level, bool heads, std::vector<int32_t>& cells, uint64_t& bytes)
    {
        RegionDecoder& decoder = *container.decoder;
        if (level >= decoder.levels()) return false;
        const uint64_t before = counting->bytes;
        std::vector<uint32_t> tiles(decoder.tileCount());
        for (uint32_t t = 0; t < tiles.size(); ++t) tiles[t] = t;
        PrefetchedSource fetched(counting);
        if (heads) {
            decoder.learnRanges(tiles, level, nullptr,
                                [&](uint64_t offset, std::vector<uint8_t> b) { fetched.keep(offset, std::move(b)); });
            std::vector<ByteRange> ranges;
            for (uint32_t tile : tiles)
                for (const ByteRange& range : decoder.rangesFor(tile, level)) ranges.push_back(range);
            fetched.fetch(ranges, nullptr);
        }
        cells.clear();
        bool ok = true;
        for (uint32_t tile : tiles) {
            RegionBuffer out;
            ByteSource& source = heads ? static_cast<ByteSource&>(fetched) : *counting;
            ok = ok && !decoder.decodeFrom(source, tile, level, 0, decoder.tileRect(tile, level), out, nullptr, false);
            cells.insert(cells.end(), out.samples.begin(), out.samples.end());
        }
        bytes = counting->bytes - before;
        return ok;
    }
};

}  // namespace

class TestPackets : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void headersAgreeWithLengths_data();
    void headersAgreeWithLengths();
    void headsDecodeAsWholeTiles_data();
    void headsDecodeAsWholeTiles();
    void damagedHeadsFallBack_data();
    void damagedHeadsFallBack();

private:
    QTemporaryDir m_dir;
    QString m_input;
};

void TestPackets::initTestCase()
{
    if (TestSupport::findProgram("opj_compress").isEmpty()) QSKIP("opj_compress is not installed");
    m_input = m_dir.filePath("in.png");
    QVERIFY(TestImages::pattern(333, 270, QImage::Format_RGB888).save(m_input));
}

void TestPackets::headersAgreeWithLengths_data()
{
    QTest::addColumn<QStringList>("args");
    const QStringList tiles{"-t", "200,160", "-n", "5"};
    QTest::newRow("RPCL, one layer") << tiles + QStringList{"-p", "RPCL"};
    QTest::newRow("RPCL, three layers, precincts")
        << tiles + QStringList{"-p", "RPCL", "-r", "40,10,4", "-c", "[32,32],[32,32],[16,16]"};
    QTest::newRow("RLCP, three layers, SOP and EPH")
        << tiles + QStringList{"-p", "RLCP", "-r", "30,12,3", "-SOP", "-EPH", "-c", "[64,64],[32,16]"};
    QTest::newRow("LRCP, one layer, small code-blocks") << tiles + QStringList{"-b", "16,8", "-I"};
    QTest::newRow("bypass and every pass terminated")
        << tiles + QStringList{"-p", "RPCL", "-r", "20,5", "-M", "5", "-b", "32,32"};
    QTest::newRow("bypass, lossless, untiled") << QStringList{"-n", "6", "-p", "RPCL", "-M", "1"};
}

void TestPackets::headersAgreeWithLengths()
{
    QFETCH(QStringList, args);
    const QString plain = m_dir.filePath("plain.j2k"), listed = m_dir.filePath("listed.j2k");
    QString message;
    QVERIFY2(TestImages::compress(m_input, plain, args, &message), qPrintable(message));
    QVERIFY2(TestImages::compress(m_input, listed, args + QStringList{"-PLT"}, &message), qPrintable(message));
    Codestream a, b;
    QVERIFY(openCodestream(plain, a) && openCodestream(listed, b));
    QCOMPARE(a.header.tileCount(), b.header.tileCount());
    for (uint32_t tile = 0; tile < a.header.tileCount(); ++tile) {
        QString whyA, whyB;
        uint64_t packetBytes = 0, unused = 0;
        const std::vector<uint64_t> fromHeaders = walkTile(a, tile, whyA, packetBytes);
        const std::vector<uint64_t> fromLengths = walkTile(b, tile, whyB, unused);
        QVERIFY2(!fromHeaders.empty(), qPrintable(whyA));
        QVERIFY2(!fromLengths.empty(), qPrintable(whyB));
        QCOMPARE(fromHeaders, fromLengths);
        QCOMPARE(fromHeaders.back(), packetBytes);  // the last resolution ends with the tile-part
    }
}

void TestPackets::headsDecodeAsWholeTiles_data()
{
    QTest::addColumn<QString>("tool");
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<bool>("fewer");  // whether coarse levels read fewer bytes
    const QStringList tiles{"-t", "128,128", "-n", "5"};
    QTest::newRow("opj RPCL, one layer") << "opj_compress" << tiles + QStringList{"-p", "RPCL"} << true;
    QTest::newRow("opj RLCP, three layers, precincts, SOP, EPH")
        << "opj_compress" << tiles + QStringList{"-p", "RLCP", "-r", "30,10,3", "-c", "[32,32]", "-SOP", "-EPH"}
        << true;
    QTest::newRow("opj RPCL, packet lengths") << "opj_compress" << tiles + QStringList{"-p", "RPCL", "-PLT"} << true;
    QTest::newRow("opj LRCP, three layers: not resolution-major")
        << "opj_compress" << tiles + QStringList{"-r", "30,10,3"} << false;
    // The driver's defaults but for tiles and levels, which it sizes for far larger images.
    const QStringList gdal{"-q",  "-of",          "JP2OpenJPEG", "-co", "BLOCKXSIZE=128", "-co", "BLOCKYSIZE=128",
                           "-co", "RESOLUTIONS=5"};
    QTest::newRow("gdal defaults") << "gdal_translate" << gdal << true;
    QTest::newRow("gdal RPCL") << "gdal_translate" << gdal + QStringList{"-co", "PROGRESSION=RPCL"} << true;
    QTest::newRow("ojph, high-throughput blocks")
        << "ojph_compress" << QStringList{"-tile_size", "{128,128}", "-num_decomps", "4"} << false;
}

void TestPackets::headsDecodeAsWholeTiles()
{
    QFETCH(QString, tool);
    QFETCH(QStringList, args);
    QFETCH(bool, fewer);
    const QString program = TestSupport::findProgram(tool);
    if (program.isEmpty()) QSKIP("the encoder is not installed");
    const bool ojph = tool == "ojph_compress", gdal = tool == "gdal_translate";
    const QString input = m_dir.filePath(ojph ? "in.ppm" : "in.png");
    if (ojph) QVERIFY(TestImages::pattern(333, 270, QImage::Format_RGB888).save(input));
    const QString file = m_dir.filePath(ojph ? "made.j2c" : "made.jp2");
    QFile::remove(file);
    const QStringList io = gdal ? QStringList{input, file} : QStringList{"-i", input, "-o", file};
    QString output;
    QVERIFY2(TestSupport::run(program, args + io, &output), qPrintable(output));
    // Coarsest first, as a progressive view goes: each finer level's walk resumes the last.
    Opened plain, learning;
    QVERIFY(plain.open(file) && learning.open(file));
    for (uint32_t level = 3; level > 0; --level) {
        std::vector<int32_t> whole, heads;
        uint64_t wholeBytes = 0, headBytes = 0;
        QVERIFY(plain.decodeAll(level, false, whole, wholeBytes));
        QVERIFY(learning.decodeAll(level, true, heads, headBytes));
        QVERIFY2(whole == heads, qPrintable(QString("level %1").arg(level)));
        if (fewer)
            QVERIFY2(
                headBytes < wholeBytes,
                qPrintable(QString("level %1: %2 bytes, not fewer than %3").arg(level).arg(headBytes).arg(wholeBytes)));
        else
            QCOMPARE(headBytes, wholeBytes);
    }
}

// Damage the walk cannot follow leaves the tile whole: the same outcome, nothing read twice.
void TestPackets::damagedHeadsFallBack_data()
{
    QTest::addColumn<QString>("damage");
    QTest::newRow("0xFF bytes after the tile-part header") << "garbage";
    QTest::newRow("a tile claiming 2^30 precincts per resolution") << "huge";
}

void TestPackets::damagedHeadsFallBack()
{
    QFETCH(QString, damage);
    const QString file = m_dir.filePath("damaged.j2k");
    QString message;
    QVERIFY2(TestImages::compress(m_input, file, {"-n", "5", "-p", "RPCL"}, &message), qPrintable(message));
    QByteArray bytes = TestSupport::readAll(file);
    if (damage == "garbage") {
        const int sod = bytes.indexOf(QByteArray("\xFF\x93", 2));
        QVERIFY(sod > 0);
        bytes.replace(sod + 2, bytes.size() - sod - 2, QByteArray(bytes.size() - sod - 2, '\xFF'));
    } else {
        // Image and tile 2^30 cells wide and high: Xsiz, Ysiz, then past the offsets XTsiz, YTsiz.
        for (int field : {8, 12, 24, 28}) bytes.replace(field, 4, QByteArray("\x40\0\0\0", 4));
    }
    QVERIFY(TestSupport::writeAll(file, bytes));
    Opened plain, learning;
    if (!plain.open(file)) return;  // refused at open: nothing to walk
    QVERIFY(learning.open(file));
    std::vector<int32_t> whole, heads;
    uint64_t wholeBytes = 0, headBytes = 0;
    const bool wholeOk = plain.decodeAll(2, false, whole, wholeBytes);
    QCOMPARE(learning.decodeAll(2, true, heads, headBytes), wholeOk);
    QVERIFY(whole == heads);
    QVERIFY(headBytes <= uint64_t(bytes.size()));  // nothing read twice
}

QTEST_GUILESS_MAIN(TestPackets)
#include "tst_packets.moc"
