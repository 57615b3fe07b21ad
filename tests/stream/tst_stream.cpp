// Streams against real servers on 127.0.0.1: nginx over http and https, and the scripted
// fault server. A stream must show exactly the local file's pixels or fail with a clear
// error; the disk cache must stay within its bound and spare the network on a second open.
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

#include "CConfig.h"
#include "CFileBase.h"
#include "CView.h"
#include "StreamServers.h"
#include "TestImages.h"
#include "TestSupport.h"
#include "io/ByteSourceFactory.h"
#include "io/DiskCacheFolder.h"
#include "io/FileByteSource.h"
#include "io/HttpByteSource.h"
#include "jp2/CodestreamHeader.h"
#include "jp2/Jp2BoxReader.h"
#include "jp2/TilePartIndex.h"
#include "xrv60.h"

using namespace PLK::Engine;
using StreamTest::FaultServer;
using StreamTest::Nginx;

namespace {

/// A local file read the way a stream is (it says it is remote).
class AsIfRemote : public ByteSource {
public:
    explicit AsIfRemote(std::shared_ptr<ByteSource> file) : m_file(std::move(file)) {}
    uint64_t size() const override { return m_file->size(); }
    int64_t readAt(uint64_t offset, void* buffer, size_t length) override
    {
        return m_file->readAt(offset, buffer, length);
    }
    const std::string& name() const override { return m_file->name(); }
    SourceProtocol protocol() const override { return SourceProtocol::Xrvp; }

private:
    std::shared_ptr<ByteSource> m_file;
};

/// The tile-part index of the JPEG 2000 image `source` holds, as an open builds it.
bool indexOf(ByteSource& source, TilePartIndex& index)
{
    Jp2Boxes boxes;
    CodestreamHeader header;
    if (Jp2BoxReader::read(source, boxes) ||
        CodestreamHeader::read(source, boxes.codestreamOffset, boxes.codestreamLength, header))
        return false;
    index.build(source, boxes.codestreamOffset + header.mainHeaderLength,
                boxes.codestreamOffset + boxes.codestreamLength, header);
    return true;
}

/// Every field of every tile-part alike; the parts in all.
int compareIndexes(const TilePartIndex& a, const TilePartIndex& b)
{
    if (a.tileCount() != b.tileCount() || a.damage() != b.damage()) return -1;
    int parts = 0;
    for (uint32_t t = 0; t < a.tileCount(); ++t) {
        if (a.parts(t).size() != b.parts(t).size()) return -1;
        for (size_t i = 0; i < a.parts(t).size(); ++i, ++parts) {
            const TilePart &x = a.parts(t)[i], &y = b.parts(t)[i];
            if (x.offset != y.offset || x.length != y.length || x.psot != y.psot || x.index != y.index ||
                x.count != y.count || x.sequence != y.sequence || x.truncated != y.truncated)
                return -1;
        }
    }
    return parts;
}

void useDiskCache(const QString& folder, int megabytes)
{
    PLK::SDK::CConfig& config = PLK::SDK::CFileBase::sFilesHelper().Get()->m_Config;
    config.SetXrvpCacheEnabled(!folder.isEmpty());
    config.SetXrvpCacheLocation(folder.toLocal8Bit().constData());
    config.SetXrvpCacheSizeMb(megabytes);
}

QImage readView(PLK::CView& view)
{
    const PLKSetViewInfo info = view.GetSetViewInfo();
    QImage image(int(info.nSizeX), int(info.nSizeY), QImage::Format_ARGB32);
    for (int y = 0; y < image.height(); ++y)
        if (view.ReadLineBGRA(image.scanLine(y)) != PLK_READ_OK) return QImage();
    return image;
}

/// The two views every stream is checked on: the whole image zoomed out, and a window at
/// full resolution. An error from SetView ends the list.
struct Pictures {
    PLK::CError error;
    QVector<QImage> images;
};

Pictures render(PLK::CView& view)
{
    Pictures out;
    int bands[3] = {0, 1, 2};
    const PLKFileInfo* info = view.GetFileInfo();
    const int w = int(info->nSizeX), h = int(info->nSizeY);
    const QVector<QRect> cells = {QRect(0, 0, w, h), QRect(w / 2 - 128, h / 2 - 96, 256, 192)};
    const QVector<QSize> sizes = {QSize(256, 256), QSize(256, 192)};
    for (int i = 0; i < cells.size(); ++i) {
        double x1, y1, x2, y2;
        view.ConvertDatasetToWorld(cells[i].left(), cells[i].top(), x1, y1);
        view.ConvertDatasetToWorld(cells[i].left() + cells[i].width(), cells[i].top() + cells[i].height(), x2, y2);
        out.error = view.SetView(3, bands, sizes[i].width(), sizes[i].height(), x1, y1, x2, y2);
        if (out.error) return out;
        out.images.push_back(readView(view));
    }
    return out;
}

}  // namespace

class TestStream : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void matchesLocalFile_data();
    void matchesLocalFile();
    void untrustedCertificateRefused();
    void faults_data();
    void faults();
    void reconnectAfterLostConnection();
    void cancelStopsWaiting();
    void diskCacheStaysWithinBound();
    void diskCacheServesSecondOpen();
    void indexWithoutWalking_data();
    void indexWithoutWalking();
    void scatteredReadsFewRequests_data();
    void scatteredReadsFewRequests();
    void multipartAnswers_data();
    void multipartAnswers();

private:
    QString address(const QString& scheme, int port, const QString& path) const
    {
        return QString("%1://127.0.0.1:%2/%3").arg(scheme).arg(port).arg(path);
    }
    Pictures openAndRender(const QString& name, PLK::CError* openError = nullptr);

    QTemporaryDir m_www;
    QString m_sample;
    std::unique_ptr<Nginx> m_nginx;
    std::unique_ptr<FaultServer> m_faults;
    std::unique_ptr<FaultServer> m_slow;
    QVector<QImage> m_reference;
};

void TestStream::initTestCase()
{
    for (const char* tool : {"openssl", "python3"})
        if (TestSupport::findProgram(tool).isEmpty()) QSKIP(qPrintable(QString("%1 is not installed").arg(tool)));
    if (!QFileInfo::exists("/usr/sbin/nginx")) QSKIP("nginx is not installed (scripts/install-deps.sh)");
    const QString bundled = TestSupport::bundledSample();
    if (bundled.isEmpty()) QSKIP("the bundled sample was not made");
    for (const char* proxy : {"http_proxy", "https_proxy", "HTTP_PROXY", "HTTPS_PROXY", "ALL_PROXY", "all_proxy"})
        qunsetenv(proxy);  // loopback only, whatever the machine's proxy
    PLKInit();
    useDiskCache(QString(), 0);

    m_sample = m_www.filePath("sample.jp2");
    QVERIFY(QFile::copy(bundled, m_sample));
    m_nginx.reset(new Nginx);
    QString error;
    QVERIFY2(m_nginx->start(m_www.path(), &error), qPrintable(error));
    qputenv("XRV60_TEST_CA_FILE", m_nginx->caFile().toLocal8Bit());
    m_faults.reset(new FaultServer);
    QVERIFY2(m_faults->start({"--file", m_sample, "--lifetime", "600", "--max-requests", "5000"}, &error),
             qPrintable(error));

    // Tiled images with tile-parts by resolution, with and without their length index, and
    // with one tile-part per tile.
    const QString ppm = m_www.filePath("pattern.ppm");
    QVERIFY(TestImages::pattern(1500, 1100, QImage::Format_RGB32).save(ppm, "PPM"));
    const QStringList common{"-t", "256,256", "-n", "5", "-p", "RPCL", "-r", "20,10,1"};
    for (const auto& image : {qMakePair(QString("by-resolution.jp2"), QStringList{"-TP", "R"}),
                              qMakePair(QString("with-lengths.jp2"), QStringList{"-TP", "R", "-TLM"}),
                              qMakePair(QString("per-tile.jp2"), QStringList()),
                              qMakePair(QString("small-tiles.jp2"), QStringList{"-t", "64,64", "-n", "3"})})
        QVERIFY2(TestImages::compress(ppm, m_www.filePath(image.first), common + image.second, &error),
                 qPrintable(error));
    // nginx behind 15 ms per request: slow enough for the index to read wide windows first.
    m_slow.reset(new FaultServer);
    QVERIFY2(m_slow->start({"--upstream", QString("http://127.0.0.1:%1").arg(m_nginx->httpPort()), "--delay-ms", "15",
                            "--lifetime", "600", "--max-requests", "5000"},
                           &error),
             qPrintable(error));

    PLK::CView local;
    QVERIFY(local.Open(PLK::CString(m_sample.toStdString()), false).Success());
    const Pictures reference = render(local);
    QVERIFY(reference.error.Success());
    m_reference = reference.images;
    local.Close(true);
}

void TestStream::cleanupTestCase()
{
    m_faults.reset();
    m_slow.reset();
    m_nginx.reset();
    PLKShutdown();
}

Pictures TestStream::openAndRender(const QString& name, PLK::CError* openError)
{
    PLK::CView view;
    const PLK::CError opened = view.Open(PLK::CString(name.toStdString()), false);
    if (openError) *openError = opened;
    if (opened) return Pictures{opened, {}};
    const Pictures out = render(view);
    view.Close(true);
    return out;
}

void TestStream::matchesLocalFile_data()
{
    QTest::addColumn<QString>("scheme");
    QTest::newRow("xrvp over http") << "xrvp";
    QTest::newRow("xrvps over https") << "xrvps";
}

void TestStream::matchesLocalFile()
{
    QFETCH(QString, scheme);
    const int port = scheme == "xrvps" ? m_nginx->httpsPort() : m_nginx->httpPort();
    PLK::CView view;
    QVERIFY(view.Open(PLK::CString(address(scheme, port, "sample.jp2").toStdString()), false).Success());
    QVERIFY(view.GetFile()->IsXrvpConnection());
    QVERIFY(view.GetStream()->IsNetworkStream());
    const Pictures pictures = render(view);
    QVERIFY2(pictures.error.Success(), pictures.error.GetErrorText());
    QCOMPARE(pictures.images.size(), m_reference.size());
    for (int i = 0; i < m_reference.size(); ++i) QVERIFY(pictures.images[i] == m_reference[i]);
    QVERIFY(view.Reconnect().Success());  // nothing was lost: nothing to do
}

void TestStream::untrustedCertificateRefused()
{
    const QByteArray ca = qgetenv("XRV60_TEST_CA_FILE");
    qunsetenv("XRV60_TEST_CA_FILE");  // only the system's authorities now
    PLK::CError error;
    openAndRender(address("xrvps", m_nginx->httpsPort(), "sample.jp2"), &error);
    qputenv("XRV60_TEST_CA_FILE", ca);
    QCOMPARE(error.GetErrorNumber(), int(PLK::PLK_ERROR_FILE_OPEN));
    QVERIFY2(QString(error.GetErrorText()).contains("certificate"), error.GetErrorText());
}

void TestStream::faults_data()
{
    QTest::addColumn<QString>("mode");
    QTest::addColumn<int>("code");  // 0: the right picture
    QTest::addColumn<QString>("text");
    const int open = PLK::PLK_ERROR_FILE_OPEN, lost = PLK::PLK_ERROR_CONNECTION_LOST, read = PLK::PLK_ERROR_FILE_READ;
    QTest::newRow("not reachable") << "" << open << "Could not connect to the image server";
    QTest::newRow("404") << "notfound" << int(PLK::PLK_ERROR_FILE_NOT_FOUND) << "has no image at";
    QTest::newRow("403") << "forbidden" << open << "refused access";
    QTest::newRow("500 always") << "error" << open << "reported an error (HTTP 500";
    QTest::newRow("500 once") << "error-once" << 0 << "";
    QTest::newRow("429 always") << "busy" << open << "too busy (HTTP 429";
    QTest::newRow("429 once, Retry-After") << "busy-once" << 0 << "";
    QTest::newRow("dropped mid-body") << "drop" << lost << "was lost";
    QTest::newRow("dropped once") << "drop-once" << 0 << "";
    QTest::newRow("truncated body") << "short" << lost << "was lost";
    QTest::newRow("over-long body") << "long" << read << "more bytes than were asked for";
    QTest::newRow("ranges ignored") << "noranges" << open << "does not answer byte-range requests";
    QTest::newRow("changed while open") << "changed" << read << "changed on the server";
    QTest::newRow("redirect") << "redirect" << 0 << "";
    QTest::newRow("one range per request") << "nomulti" << 0 << "";
    QTest::newRow("multipart part not asked for") << "badmulti" << 0 << "";
}

void TestStream::faults()
{
    QFETCH(QString, mode);
    QFETCH(int, code);
    QFETCH(QString, text);
    const QString name = mode.isEmpty() ? address("xrvp", StreamTest::freePort(), "sample.jp2")
                                        : address("xrvp", m_faults->port(), mode + "/sample.jp2");
    const Pictures got = openAndRender(name);
    // Whatever fails, no picture may be other than the file's own: a failed read gives none.
    for (int i = 0; i < got.images.size(); ++i)
        if (!got.images[i].isNull()) QVERIFY2(got.images[i] == m_reference[i], "a wrong picture");
    if (code == 0) {
        QVERIFY2(got.error.Success(), got.error.GetErrorText());
        QCOMPARE(got.images.size(), m_reference.size());
        for (const QImage& image : got.images) QVERIFY(!image.isNull());
        return;
    }
    QVERIFY2(!got.error.Success() || got.images.contains(QImage()), "the fault went unnoticed");
    // A read that failed inside a view shows at the next SetView; render() tried both views.
    QCOMPARE(got.error.GetErrorNumber(), code);
    QVERIFY2(QString(got.error.GetErrorText()).contains(text), got.error.GetErrorText());
}

void TestStream::reconnectAfterLostConnection()
{
    const auto control = [this](const char* state) {
        return QProcess::execute("python3", {"-c", QString("import urllib.request as u;u.urlopen('http://127.0.0.1:%1/"
                                                           "control/%2').read()")
                                                       .arg(m_faults->port())
                                                       .arg(state)});
    };
    QCOMPARE(control("up"), 0);
    PLK::CView view;
    QVERIFY(
        view.Open(PLK::CString(address("xrvp", m_faults->port(), "switch/sample.jp2").toStdString()), false).Success());
    QCOMPARE(control("down"), 0);
    Pictures down = render(view);
    QCOMPARE(down.error.GetErrorNumber(), int(PLK::PLK_ERROR_CONNECTION_LOST));
    QCOMPARE(view.Reconnect().GetErrorNumber(), int(PLK::PLK_ERROR_CONNECTION_LOST));  // still down
    QCOMPARE(control("up"), 0);
    QVERIFY(view.Reconnect().Success());
    const Pictures up = render(view);
    QVERIFY2(up.error.Success(), up.error.GetErrorText());
    QVERIFY(up.images == m_reference);
}

void TestStream::cancelStopsWaiting()
{
    PLK::CError error;
    auto source = PLK::Engine::ByteSourceFactory::open(
        address("xrvp", m_faults->port(), "stall/sample.jp2").toStdString(), PLK::Engine::StreamSettings(), error);
    QVERIFY2(source, error.GetErrorText());
    std::vector<uint8_t> bytes(100000);
    std::vector<PLK::Engine::RangeRead> reads(1, PLK::Engine::RangeRead{5000000, bytes.size(), bytes.data()});
    std::atomic<bool> cancel{false};
    std::thread raiser([&cancel] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        cancel = true;  // the view moved on while the server sat on the request
    });
    const PLK::Engine::ReadStatus status = source->readRanges(reads, &cancel);
    raiser.join();
    QVERIFY(status == PLK::Engine::ReadStatus::Cancelled);
    QVERIFY(!source->fault());  // a cancelled read is no fault of the stream
}

void TestStream::diskCacheStaysWithinBound()
{
    QTemporaryDir cache;
    const int boundMb = 2;
    PLK::Engine::StreamSettings settings;
    settings.diskCacheEnabled = true;
    settings.diskCacheFolder = cache.path().toStdString();
    settings.diskCacheSizeMb = boundMb;
    PLK::CError error;
    auto source = PLK::Engine::ByteSourceFactory::open(address("xrvp", m_nginx->httpPort(), "sample.jp2").toStdString(),
                                                       settings, error);
    QVERIFY2(source, error.GetErrorText());
    const QByteArray local = TestSupport::readAll(m_sample);
    const uint64_t size = source->size();
    QCOMPARE(qint64(size), qint64(local.size()));
    QVERIFY(size > uint64_t(2 * boundMb) << 20);  // more than twice the bound goes through
    std::vector<uint8_t> bytes(700000);
    for (uint64_t at = 0; at < size; at += bytes.size()) {
        const int64_t got = source->readAt(at, bytes.data(), bytes.size());
        QVERIFY(got > 0);
        QVERIFY(local.mid(int(at), int(got)) == QByteArray(reinterpret_cast<const char*>(bytes.data()), int(got)));
        QVERIFY(PLK::Engine::DiskCacheFolder::usedBytes(settings.diskCacheFolder) <= uint64_t(boundMb) << 20);
    }
}

void TestStream::diskCacheServesSecondOpen()
{
    QTemporaryDir cache;
    useDiskCache(cache.path(), 64);
    const QString name = address("xrvp", m_nginx->httpPort(), "sample.jp2");
    QVERIFY(openAndRender(name).images == m_reference);

    // Second open: the one request that checks the server's version, nothing else.
    m_nginx->clearAccessLog();
    QVERIFY(openAndRender(name).images == m_reference);
    QCOMPARE(m_nginx->accessLog().size(), 1);

    // Damaged segments are never served: they are read again.
    const QStringList segments = QDir(cache.path()).entryList({"*.data"}, QDir::Files);
    QVERIFY(!segments.isEmpty());
    for (const QString& segment : segments) {
        QFile f(cache.filePath(segment));
        QVERIFY(f.open(QIODevice::ReadWrite));
        QVERIFY(f.seek(f.size() / 2));
        f.write(QByteArray(64, '\x5a'));
    }
    m_nginx->clearAccessLog();
    QVERIFY(openAndRender(name).images == m_reference);
    QVERIFY(m_nginx->accessLog().size() > 1);

    // A new version on the server (here: a new modification time, so a new ETag) is never
    // mixed with the stored bytes of the old one.
    QFile served(m_sample);
    QVERIFY(served.open(QIODevice::ReadWrite));
    QVERIFY(served.setFileTime(QDateTime::currentDateTimeUtc().addSecs(-3600), QFileDevice::FileModificationTime));
    served.close();
    m_nginx->clearAccessLog();
    QVERIFY(openAndRender(name).images == m_reference);
    QVERIFY(m_nginx->accessLog().size() > 1);
    useDiskCache(QString(), 0);
}

void TestStream::indexWithoutWalking_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("via");  // "local" (a file that says it is remote), "nginx", "slow" (nginx + 15 ms)
    for (const char* file : {"by-resolution.jp2", "with-lengths.jp2", "per-tile.jp2", "small-tiles.jp2"})
        for (const char* via : {"local", "nginx", "slow"})
            QTest::newRow(qPrintable(QString("%1 %2").arg(file, via))) << file << via;
}

// Over a network the index must be the one a walk over the local file gives, found in batches
// of reads (one request each), not by reading the tile data.
void TestStream::indexWithoutWalking()
{
    QFETCH(QString, file);
    QFETCH(QString, via);
    PLK::CError error;
    const auto local = FileByteSource::open(m_www.filePath(file).toStdString(), error);
    TilePartIndex walked, probed;
    QVERIFY(local && indexOf(*local, walked));
    uint64_t requests = 0, bytes = 0;
    if (via != "local") {
        StreamSettings settings;
        settings.diskCacheEnabled = false;
        const int port = via == "slow" ? m_slow->port() : m_nginx->httpPort();
        const auto stream = HttpByteSource::open(address("xrvp", port, file).toStdString(), settings, error);
        QVERIFY2(stream, error.GetErrorText());
        QVERIFY(indexOf(*stream, probed));
        requests = stream->requestCount();
        bytes = stream->bytesReceived();
    } else {
        AsIfRemote remote(local);
        QVERIFY(indexOf(remote, probed));
    }
    const int parts = compareIndexes(walked, probed);
    QVERIFY2(parts > 0, "the index differs from the walk's");
    // Tile-parts longer than the stream's pages are not read, only their headers.
    const bool longParts = local->size() / uint64_t(parts) > HttpByteSource::kPage;
    QVERIFY2(requests <= uint64_t(parts) + 1 && (!longParts || bytes < local->size() / 4),
             qPrintable(QString("%1 requests, %2 bytes for %3 tile-parts").arg(requests).arg(bytes).arg(parts)));
}

void TestStream::scatteredReadsFewRequests_data()
{
    QTest::addColumn<QString>("mode");  // empty: nginx, which answers several ranges at once
    QTest::addColumn<int>("length");
    QTest::addColumn<int>("maxRequests");
    QTest::newRow("small, nginx") << "" << 200 << 2;
    QTest::newRow("pages, nginx") << "" << 40000 << 2;
    QTest::newRow("small, one range per request") << "nomulti" << 200 << 200;
    QTest::newRow("pages, one range per request") << "nomulti" << 40000 << 200;
}

// Scattered ranges read in one call are the file's bytes, in few requests where the server
// answers several ranges at once, and still right where it does not.
void TestStream::scatteredReadsFewRequests()
{
    QFETCH(QString, mode);
    QFETCH(int, length);
    QFETCH(int, maxRequests);
    const int port = mode.isEmpty() ? m_nginx->httpPort() : m_faults->port();
    PLK::CError error;
    StreamSettings settings;
    settings.diskCacheEnabled = false;
    const auto stream = HttpByteSource::open(
        address("xrvp", port, mode.isEmpty() ? "sample.jp2" : mode + "/sample.jp2").toStdString(), settings, error);
    QVERIFY2(stream, error.GetErrorText());
    const QByteArray file = TestSupport::readAll(m_sample);
    std::vector<QByteArray> buffers(60, QByteArray(length, 0));
    std::vector<RangeRead> reads;
    for (int i = 0; i < 60; ++i)
        reads.push_back(RangeRead{uint64_t(100000 + i * 70001), size_t(length), buffers[size_t(i)].data()});
    QVERIFY(stream->readRanges(reads) == ReadStatus::Ok);
    for (int i = 0; i < 60; ++i) QVERIFY(buffers[size_t(i)] == file.mid(int(reads[size_t(i)].offset), length));
    QVERIFY2(int(stream->requestCount()) <= 1 + maxRequests, qPrintable(QString::number(stream->requestCount())));
}

void TestStream::multipartAnswers_data()
{
    QTest::addColumn<QByteArray>("contentType");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<int>("parts");  // -1: refused
    const QByteArray type = "multipart/byteranges; boundary=B";
    const QByteArray a = "\r\n--B\r\nContent-Range: bytes 0-3/100\r\n\r\nabcd";
    const QByteArray b = "\r\n--B\r\nContent-Type: image/jp2\r\nContent-Range: bytes 50-51/100\r\n\r\nxy";
    const QByteArray end = "\r\n--B--\r\n";
    QTest::newRow("two parts") << type << a + b + end << 2;
    QTest::newRow("quoted boundary") << QByteArray("multipart/byteranges; boundary=\"B\"") << a + end << 1;
    QTest::newRow("no boundary") << QByteArray("multipart/byteranges") << a + end << -1;
    QTest::newRow("not multipart") << QByteArray("image/jp2; boundary=B") << a + end << -1;
    QTest::newRow("part longer than its range") << type << a + "e" + end << -1;
    QTest::newRow("part cut short") << type << a.left(a.size() - 1) << -1;
    QTest::newRow("no closing boundary") << type << a << -1;
    QTest::newRow("another file size") << type << QByteArray(a).replace("/100", "/101") + end << -1;
    QTest::newRow("no Content-Range") << type << QByteArray(a).replace("Content-Range", "X-Range") + end << -1;
    QTest::newRow("endless header line") << type << "\r\n--B\r\n" + QByteArray(5000, 'h') + end << -1;
    QTest::newRow("more parts than asked") << type << a + a + a + end << -1;
}

// What a hostile or broken server sends as several ranges is taken only when every part is
// well formed and for this file.
void TestStream::multipartAnswers()
{
    QFETCH(QByteArray, contentType);
    QFETCH(QByteArray, body);
    QFETCH(int, parts);
    std::vector<ByteRangePart> got;
    std::string error;
    const bool ok =
        splitByteRanges(contentType.toStdString(), std::vector<uint8_t>(body.begin(), body.end()), 100, 2, got, error);
    QCOMPARE(ok ? int(got.size()) : -1, parts);
    if (parts == 2) {
        QCOMPARE(body.mid(int(got[0].bodyOffset), 4), QByteArray("abcd"));
        QCOMPARE(int(got[1].first), 50);
        QCOMPARE(body.mid(int(got[1].bodyOffset), 2), QByteArray("xy"));
    }
}

QTEST_GUILESS_MAIN(TestStream)
#include "tst_stream.moc"
