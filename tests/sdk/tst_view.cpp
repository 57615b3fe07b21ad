// Views through the public interface, on real files: pixels against opj_decompress (the
// conformance files are compared in tst_compat), the progressive passes and their
// cancellation, dynamic range, statistics, memory, and errors.
#include <QtTest>

#include <QTemporaryDir>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "TestImages.h"
#include "TestSupport.h"
#include "cache/BlockCache.h"
#include "xrv60.h"

namespace {

// Reads every line of the current view into an image, as the map layer does.
QImage readView(PLK::CView& view)
{
    const PLKSetViewInfo info = view.GetSetViewInfo();
    QImage image(int(info.nSizeX), int(info.nSizeY), QImage::Format_ARGB32);
    for (int y = 0; y < image.height(); ++y)
        if (view.ReadLineBGRA(image.scanLine(y)) != PLK_READ_OK) return QImage();
    return image;
}

PLK::CError setCells(PLK::CView& view, std::vector<int> bands, int c0, int r0, int c1, int r1, int w, int h)
{
    double x1, y1, x2, y2;
    view.ConvertDatasetToWorld(c0, r0, x1, y1);
    view.ConvertDatasetToWorld(c1, r1, x2, y2);
    return view.SetView(int(bands.size()), bands.data(), w, h, x1, y1, x2, y2);
}

// A progressive view that keeps what its passes deliver.
class RecordingView : public PLK::CView {
public:
    ~RecordingView() override { Close(true); }

    struct Pass {
        QImage picture;
        double topX;
        uint8_t percent;
        std::thread::id thread;
    };

    bool waitForFinal(int timeoutMs)
    {
        std::unique_lock<std::mutex> lock(mutex);
        return arrived.wait_for(lock, std::chrono::milliseconds(timeoutMs), [this] { return final; });
    }
    std::vector<Pass> takePasses()
    {
        std::lock_guard<std::mutex> lock(mutex);
        final = false;
        return std::move(passes);
    }

    std::atomic<int> delay{0};  ///< milliseconds each callback takes

protected:
    PLKReadStatus RefreshUpdateEx(PLKSetViewInfo* info) override
    {
        if (IsReadCancelPending()) return PLK_READ_CANCELLED;
        std::this_thread::sleep_for(std::chrono::milliseconds(delay.load()));
        QImage image(int(info->nSizeX), int(info->nSizeY), QImage::Format_ARGB32);
        for (int y = 0; y < image.height(); ++y)
            if (ReadLineBGRA(image.scanLine(y)) != PLK_READ_OK) return PLK_READ_FAILED;
        const uint8_t percent = GetPercentComplete();
        std::lock_guard<std::mutex> lock(mutex);
        passes.push_back(Pass{image, info->fTopX, percent, std::this_thread::get_id()});
        if (percent == 100) final = true;
        arrived.notify_all();
        return PLK_READ_OK;
    }

private:
    std::mutex mutex;
    std::condition_variable arrived;
    std::vector<Pass> passes;
    bool final = false;
};

}  // namespace

class TestView : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void matchesReference_data();
    void matchesReference();
    void progressivePassesRunCoarseToFine();
    void newViewCancelsPassInFlight();
    void closeDuringPassIsPrompt();
    void bandsOpacityAndOffImagePixels();
    void sixteenBitThroughTransforms();
    void statisticsOfKnownData();
    void memoryStaysWithinLimit();
    void badRequests_data();
    void badRequests();
    void openErrors_data();
    void openErrors();
    void closedViewAnswersSafely();

private:
    bool open(PLK::CView& view, const QString& file, bool progressive)
    {
        return view.Open(PLK::CString(m_files.value(file).toStdString()), progressive).Success();
    }

    QTemporaryDir m_dir;
    /// rgb: 1000 x 700, 256 tiles, 5 levels, 3 layers, tile-parts per resolution; grey: 640 x 480 lossless, untiled;
    /// rgba: 300 x 200; deep: 16-bit grey 1000 + 10x + 5y; blocks: grey 64 x 64 blocks of 200 and 10, lossless.
    QMap<QString, QString> m_files;
};

void TestView::initTestCase()
{
    QVERIFY(m_dir.isValid());
    if (TestSupport::findProgram("opj_compress").isEmpty()) QSKIP("opj_compress is not installed");
    QImage blocks(256, 256, QImage::Format_Grayscale8);
    for (int y = 0; y < 256; ++y)
        for (int x = 0; x < 256; ++x) blocks.scanLine(y)[x] = ((x / 64 + y / 64) % 4 == 0) ? 200 : 10;
    const QStringList tiled{"-t", "256,256", "-n", "5", "-TP", "R", "-p", "RPCL", "-r", "40,20,8", "-I"};
    const struct {
        const char* name;
        QImage image;
        QStringList args;
    } made[] = {{"rgb.jp2", TestImages::pattern(1000, 700, QImage::Format_RGB888), tiled},
                {"grey.j2k", TestImages::pattern(640, 480, QImage::Format_Grayscale8), {"-n", "4"}},
                {"rgba.jp2", TestImages::pattern(300, 200, QImage::Format_ARGB32), {"-n", "3"}},
                {"deep.jp2", QImage(), {"-n", "3"}},
                {"blocks.jp2", blocks, {"-n", "3"}}};
    for (const auto& m : made) {
        const QString name = QFileInfo(m.name).baseName();
        const QString input = m_dir.filePath(name + (m.image.isNull() ? ".pgm" : ".png"));
        QVERIFY(m.image.isNull() ? TestImages::write16BitPgm(input, 200, 100, 1000, 10, 5) : m.image.save(input));
        QString message;
        m_files[name] = m_dir.filePath(m.name);
        QVERIFY2(TestImages::compress(input, m_files[name], m.args, &message), qPrintable(message));
    }
}

// Pixel for pixel against opj_decompress: windows at full resolution, a whole image on a
// quarter of its size (level 2) and the first quality layer only.
void TestView::matchesReference_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QRect>("window");  // in cells; empty = the whole image
    QTest::addColumn<QSize>("size");    // in pixels; empty = the window's
    QTest::addColumn<int>("layers");    // 0 = all
    QTest::newRow("tiled RGB, inside one tile") << "rgb" << QRect(10, 20, 200, 150) << QSize() << 0;
    QTest::newRow("tiled RGB, across four tiles") << "rgb" << QRect(200, 180, 300, 200) << QSize() << 0;
    QTest::newRow("tiled RGB, right and bottom edge tiles") << "rgb" << QRect(700, 500, 300, 200) << QSize() << 0;
    QTest::newRow("tiled RGB, whole at level 2") << "rgb" << QRect() << QSize(250, 175) << 0;
    QTest::newRow("tiled RGB, one quality layer") << "rgb" << QRect() << QSize() << 1;
    QTest::newRow("grey, whole") << "grey" << QRect() << QSize() << 0;
    QTest::newRow("bundled sample, across tiles") << "sample" << QRect(3000, 2900, 700, 300) << QSize() << 0;
}

void TestView::matchesReference()
{
    QFETCH(QString, file);
    QFETCH(QRect, window);
    QFETCH(QSize, size);
    QFETCH(int, layers);
    const QString path = file == "sample" ? TestSupport::bundledSample() : m_files.value(file);
    if (path.isEmpty()) QSKIP("test file not available here");
    PLK::CView view;
    QVERIFY2(view.Open(PLK::CString(path.toStdString()), false).Success(), qPrintable(path));
    const PLKFileInfo* info = view.GetFileInfo();
    if (window.isNull()) window = QRect(0, 0, int(info->nSizeX), int(info->nSizeY));
    if (size.isEmpty()) size = window.size();
    std::vector<uint32_t> bands;
    QVERIFY(view.GetDefaultRGBABandList(bands).Success());
    view.Jp2Parameters().SetLayersToDecode(layers);
    QVERIFY(setCells(view, std::vector<int>(bands.begin(), bands.end()), window.left(), window.top(),
                     window.right() + 1, window.bottom() + 1, size.width(), size.height())
                .Success());
    QStringList args{"-d", QStringLiteral("%1,%2,%3,%4")
                               .arg(window.left())
                               .arg(window.top())
                               .arg(window.right() + 1)
                               .arg(window.bottom() + 1)};
    if (size != window.size())
        args = QStringList{"-r", QString::number(qRound(std::log2(window.width() / size.width())))};
    if (layers) args << "-l" << QString::number(layers);
    const QImage reference = TestImages::decodeReference(path, args, m_dir.path());
    if (reference.isNull()) QSKIP("opj_decompress could not make a reference");
    QCOMPARE(TestImages::maxDifference(readView(view), reference), 0);
}

void TestView::progressivePassesRunCoarseToFine()
{
    RecordingView view;
    QVERIFY(open(view, "rgb", true));
    QVERIFY(view.IsProgressive());
    QVERIFY(setCells(view, {0, 1, 2}, 0, 0, 1000, 700, 1000, 700).Success());
    QVERIFY(view.waitForFinal(20000));
    const auto passes = view.takePasses();
    QVERIFY(passes.size() >= 2);
    for (const auto& p : passes) QVERIFY(p.thread != std::this_thread::get_id());
    QCOMPARE(int(passes.back().percent), 100);
    QVERIFY(passes.front().percent < 100);

    // The final pass equals a blocking read of the same view.
    PLK::CView blocking;
    QVERIFY(open(blocking, "rgb", false));
    QVERIFY(setCells(blocking, {0, 1, 2}, 0, 0, 1000, 700, 1000, 700).Success());
    QCOMPARE(TestImages::maxDifference(passes.back().picture, readView(blocking)), 0);

    // A view over ground already decoded goes straight to the final picture.
    QVERIFY(setCells(view, {0, 1, 2}, 0, 0, 1000, 700, 1000, 700).Success());
    QVERIFY(view.waitForFinal(20000));
    QCOMPARE(int(view.takePasses().size()), 1);
}

void TestView::newViewCancelsPassInFlight()
{
    RecordingView view;
    QVERIFY(open(view, "rgb", true));
    view.delay = 50;
    // Two views in a row: the first one's passes go stale at once.
    QVERIFY(setCells(view, {0, 1, 2}, 0, 0, 500, 350, 500, 350).Success());
    QVERIFY(setCells(view, {0, 1, 2}, 500, 350, 1000, 700, 500, 350).Success());
    QVERIFY(view.waitForFinal(20000));
    double secondX = 0, dummy = 0;
    view.ConvertDatasetToWorld(500, 350, secondX, dummy);
    const auto passes = view.takePasses();
    QCOMPARE(passes.back().topX, secondX);
    // Nothing of the first view arrives after a pass of the second.
    bool seenSecond = false;
    for (const auto& p : passes) {
        seenSecond |= p.topX == secondX;
        QVERIFY(p.topX == secondX || !seenSecond);
    }
}

void TestView::closeDuringPassIsPrompt()
{
    auto view = std::make_unique<RecordingView>();
    QVERIFY(open(*view, "rgb", true));
    view->delay = 100;
    QVERIFY(setCells(*view, {0, 1, 2}, 0, 0, 1000, 700, 1000, 700).Success());
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    view.reset();  // closes while a pass or its callback runs, and must not wait for all passes
}

void TestView::bandsOpacityAndOffImagePixels()
{
    PLK::CView rgba;
    QVERIFY(open(rgba, "rgba", false));
    QCOMPARE(QString(rgba.GetFileInfo()->pBands[3].szDesc), QString("AllOpacity"));
    std::vector<uint32_t> bands;
    QVERIFY(rgba.GetDefaultRGBABandList(bands).Success());
    QCOMPARE(bands, (std::vector<uint32_t>{0, 1, 2, 3}));
    QVERIFY(setCells(rgba, {0, 1, 2, 3}, 0, 0, 300, 200, 300, 200).Success());
    const QImage image = readView(rgba);
    const QImage source = TestImages::pattern(300, 200, QImage::Format_ARGB32);
    for (const QPoint p : {QPoint(0, 0), QPoint(290, 190), QPoint(120, 150)})
        QCOMPARE(qAlpha(image.pixel(p)), qAlpha(source.pixel(p)));

    PLK::CView grey;
    QVERIFY(open(grey, "grey", false));
    QCOMPARE(int(grey.GetPercentComplete()), 100);  // no view set: nothing is being decoded
    QVERIFY(grey.GetDefaultRGBABandList(bands).Success());
    QCOMPARE(bands, (std::vector<uint32_t>{0, 0, 0}));
    QCOMPARE(QString(grey.GetFileInfo()->pBands[0].szDesc), QString("Grayscale"));
    // Half of the view lies left of the image: transparent there.
    QVERIFY(setCells(grey, {0, 0, 0}, -320, 0, 320, 480, 640, 480).Success());
    const QImage half = readView(grey);
    QCOMPARE(qAlpha(half.pixel(10, 10)), 0);
    QCOMPARE(qAlpha(half.pixel(400, 10)), 255);
    // Entirely outside: every pixel transparent, and the view counts as complete.
    QVERIFY(setCells(grey, {0, 0, 0}, 2000, 0, 2100, 100, 100, 100).Success());
    QCOMPARE(qAlpha(readView(grey).pixel(50, 50)), 0);
    QCOMPARE(int(grey.GetPercentComplete()), 100);
}

void TestView::sixteenBitThroughTransforms()
{
    // Values 1000 + 10x + 5y over 200 x 100 cells: 1000 .. 3485.
    PLK::CView view;
    QVERIFY(open(view, "deep", false));
    QCOMPARE(view.GetFileInfo()->eCellType, PLK_CELL_UINT16);
    QVERIFY(setCells(view, {0, 0, 0}, 0, 0, 200, 100, 200, 100).Success());
    QVERIFY(qRed(readView(view).pixel(199, 99)) <= 14);  // the top 8 bits: 3485 >> 8 = 13.6

    const uint32_t band = 0;
    std::vector<PLK::API::CMinMaxTransform*> full, clipped;
    QVERIFY(view.CalculateMinMaxTransforms(1, &band, full, 100.0, 100).Success());
    QCOMPARE(int(full.size()), 1);
    QVERIFY(qAbs(full[0]->GetMin() - 1000) <= 40);  // the statistics level is coarser
    QVERIFY(qAbs(full[0]->GetMax() - 3485) <= 40);
    QVERIFY(view.SetTransform(0, full[0]).Success());
    const QImage stretched = readView(view);
    QVERIFY(qRed(stretched.pixel(0, 0)) <= 8);
    QVERIFY(qRed(stretched.pixel(199, 99)) >= 247);

    const double fullMin = full[0]->GetMin(), fullMax = full[0]->GetMax();
    QVERIFY(view.CalculateMinMaxTransforms(1, &band, clipped, 90.0, 100).Success());
    QVERIFY(clipped[0]->GetMin() > fullMin);
    QVERIFY(clipped[0]->GetMax() < fullMax);
    QVERIFY(view.ClearTransforms().Success());
    QVERIFY(qRed(readView(view).pixel(199, 99)) <= 14);
}

void TestView::statisticsOfKnownData()
{
    PLK::CView view;
    QVERIFY(open(view, "blocks", false));
    PLKFileStatistics* stats = nullptr;
    QVERIFY(view.GetClientStatistics(stats).Success());
    QCOMPARE(stats->nNumberOfBands, 1u);
    const PLKBandStatistics& s = stats->BandsStats[0];
    QCOMPARE(s.nHistBucketCount, 256u);
    QCOMPARE(s.fMinVal, 10.0f);
    QCOMPARE(s.fMaxVal, 200.0f);
    QCOMPARE(s.fMode, 10.0f);  // a quarter of the blocks are 200
    QVERIFY(qAbs(s.fMeanVal - (0.25f * 200 + 0.75f * 10)) < 0.5f);
    QCOMPARE(s.Histogram[200] * 3, s.Histogram[10]);
    QCOMPARE(s.fMedianVal, 10.0f);
    QVERIFY(qAbs(s.fStandardDev - 190 * std::sqrt(0.25f * 0.75f)) < 0.5f);
    PLKFreeStatistics(stats);
}

void TestView::memoryStaysWithinLimit()
{
    auto& config = PLK::SDK::CFileBase::sFilesHelper().Get()->m_Config;
    const uint64_t before = config.GetCacheMaxmem();
    config.SetCacheMaxmem(1u << 20);
    {
        PLK::CView view;
        QVERIFY(open(view, "rgb", false));
        for (int i = 0; i < 8; ++i) {
            QVERIFY(setCells(view, {0, 1, 2}, i * 90, i * 60, i * 90 + 300, i * 60 + 300, 300, 300).Success());
            QVERIFY(!readView(view).isNull());
            QVERIFY(PLK::Engine::BlockCache::shared().bytesInUse() <= (1u << 20));
        }
    }
    config.SetCacheMaxmem(before);
    QCOMPARE(PLK::Engine::BlockCache::shared().limit(), before);
}

void TestView::badRequests_data()
{
    QTest::addColumn<QVector<int>>("bands");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<double>("x2");
    QTest::addColumn<int>("code");
    const int band = PLK::PLK_ERROR_INVALID_BAND, argument = PLK::PLK_ERROR_INVALID_ARGUMENT;
    QTest::newRow("band beyond the image") << QVector<int>{0, 1, 7} << QSize(100, 100) << 100.0 << band;
    QTest::newRow("negative band") << QVector<int>{0, -1, 2} << QSize(100, 100) << 100.0 << band;
    QTest::newRow("five bands") << QVector<int>{0, 1, 2, 0, 1} << QSize(100, 100) << 100.0 << band;
    QTest::newRow("zero width") << QVector<int>{0, 1, 2} << QSize(0, 100) << 100.0 << argument;
    QTest::newRow("gigantic view") << QVector<int>{0, 1, 2} << QSize(100000, 100000) << 100.0 << argument;
    QTest::newRow("empty rectangle") << QVector<int>{0, 1, 2} << QSize(100, 100) << 0.0 << argument;
    QTest::newRow("not a number") << QVector<int>{0, 1, 2} << QSize(100, 100) << qQNaN() << argument;
}

void TestView::badRequests()
{
    QFETCH(QVector<int>, bands);
    QFETCH(QSize, size);
    QFETCH(double, x2);
    PLK::CView view;
    QVERIFY(open(view, "rgb", false));
    std::vector<int> list(bands.begin(), bands.end());
    const PLK::CError error = view.SetView(int(list.size()), list.data(), size.width(), size.height(), 0, 0, x2, -100);
    QTEST(error.GetErrorNumber(), "code");
    QVERIFY(!QString(error.GetErrorText()).isEmpty());
    QVERIFY(!view.IsViewSet());
    uint8_t line[400];
    QCOMPARE(view.ReadLineBGRA(line), PLK_READ_FAILED);
}

void TestView::openErrors_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("bytes");  // the file's contents
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("words");
    const QByteArray none;
    QTest::newRow("missing file") << "missing.jp2" << none << int(PLK::PLK_ERROR_FILE_NOT_FOUND) << "does not exist";
    QTest::newRow("text file") << "text.jp2" << QByteArray("This is not an image at all, just some words.\n")
                               << int(PLK::PLK_ERROR_NOT_SUPPORTED_FORMAT) << "not a JPEG 2000 or XRV file";
    QTest::newRow("empty file") << "empty.jp2" << QByteArray("") << int(PLK::PLK_ERROR_NOT_SUPPORTED_FORMAT)
                                << "not a JPEG 2000 or XRV file";
    QTest::newRow("XRV signature cut short")
        << "short.xrv" << QByteArray::fromHex("895852560D0A") << int(PLK::PLK_ERROR_NOT_SUPPORTED_FORMAT)
        << "not a JPEG 2000 or XRV file";
    QTest::newRow("folder") << "." << none << int(PLK::PLK_ERROR_FILE_OPEN) << "folder";
    QTest::newRow("no name") << "|only a suffix" << none << int(PLK::PLK_ERROR_INVALID_ARGUMENT) << "No file name";
    QTest::newRow("unknown protocol") << "gopher://server.invalid/site.jp2" << none
                                      << int(PLK::PLK_ERROR_NOT_SUPPORTED_FORMAT) << "gopher";
    QTest::newRow("header cut short") << "cut.jp2" << QByteArray::fromHex("FF4FFF51002F0000000002800000")
                                      << int(PLK::PLK_ERROR_CORRUPT_CODESTREAM) << "damaged";
}

void TestView::openErrors()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, bytes);
    QString path = name.contains(':') || name.startsWith('|') ? name : m_dir.filePath(name);
    if (!bytes.isNull()) QVERIFY(TestSupport::writeAll(path, bytes));
    PLK::CView view;
    const PLK::CError error = view.Open(PLK::CString(path.toStdString()), true);
    QTEST(error.GetErrorNumber(), "code");
    QFETCH(QString, words);
    QVERIFY2(QString(error.GetErrorText()).contains(words), error.GetErrorText());
    QVERIFY(!view.IsOpen());
}

void TestView::closedViewAnswersSafely()
{
    PLK::CView view;
    QVERIFY(!view.GetFileInfo() && !view.GetFile() && !view.GetStream() && !view.GetXMLBox(nullptr));
    PLKRPCData* rpc = nullptr;
    QVERIFY(!view.GetRPCData(rpc).Success() && !rpc);
    PLKFileStatistics* stats = nullptr;
    QVERIFY(!view.GetClientStatistics(stats).Success());
    int bands[3] = {0, 1, 2};
    QCOMPARE(view.SetView(3, bands, 10, 10, 0, 0, 10, -10).GetErrorNumber(), int(PLK::PLK_ERROR_NO_FILE_OPEN));
    QVERIFY(view.Close(true).Success());
}

QTEST_GUILESS_MAIN(TestView)
#include "tst_view.moc"
