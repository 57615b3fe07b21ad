// Where each resolution's packets end in a one-tile-part tile, read from the packet headers,
// against the packet lengths the encoder itself lists (PLT) for the same packets.
#include <QtTest>

#include "TestImages.h"
#include "TestSupport.h"
#include "io/FileByteSource.h"
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

}  // namespace

class TestPackets : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void headersAgreeWithLengths_data();
    void headersAgreeWithLengths();

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

QTEST_GUILESS_MAIN(TestPackets)
#include "tst_packets.moc"
