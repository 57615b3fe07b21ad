// Views through the public interface, on real files: pixels against opj_decompress, the
// progressive passes and their cancellation, dynamic range, statistics, memory, and errors.
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
QImage readView(PLK::CView& view, PLKReadStatus* status = nullptr)
{
    const PLKSetViewInfo info = view.GetSetViewInfo();
    QImage image(int(info.nSizeX), int(info.nSizeY), QImage::Format_ARGB32);
    for (int y = 0; y < image.height(); ++y) {
        const PLKReadStatus s = view.ReadLineBGRA(image.scanLine(y));
        if (status) *status = s;
        if (s != PLK_READ_OK) return QImage();
    }
    return image;
}

PLK::CError setCells(PLK::CView& view, std::vector<int> bands, int c0, int r0, int c1, int r1, int w, int h)
{
    double x1, y1, x2, y2;
    view.ConvertDatasetToWorld(c0, r0, x1, y1);
    view.ConvertDatasetToWorld(c1, r1, x2, y2);
    return view.SetView(int(bands.size()), bands.data(), w, h, x1, y1, x2, y2);
}

// opj_decompress applies an embedded ICC profile to what it writes; the engine shows the
// stored values. Such files cannot be compared value for value.
bool hasIccProfile(const QString& path)
{
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly)) return false;
    const QByteArray head = f.read(4096);
    const int at = head.indexOf("colr");
    return at >= 0 && at + 4 < head.size() && head[at + 4] != 1;
}

int differingPixels(const QImage& a, const QImage& b)
{
    if (a.size() != b.size()) return -1;
    int n = 0;
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x)
            if ((a.pixel(x, y) & 0xFFFFFF) != (b.pixel(x, y) & 0xFFFFFF)) ++n;
    return n;
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
    void fullResolutionMatchesReference_data();
    void fullResolutionMatchesReference();
    void conformanceFiles_data();
    void conformanceFiles();
    void reducedViewMatchesReferenceLevel();
    void qualityLayersMatchReference();
    void progressivePassesRunCoarseToFine();
    void newViewCancelsPassInFlight();
    void closeDuringPassIsPrompt();
    void viewOffTheImageIsTransparent();
    void defaultBandsAndOpacity();
    void sixteenBitThroughTransforms();
    void statisticsOfKnownData();
    void memoryStaysWithinLimit();
    void badRequests_data();
    void badRequests();
    void openErrors_data();
    void openErrors();
    void closedViewAnswersSafely();

private:
    QTemporaryDir m_dir;
    QString m_rgb;     ///< 1000 x 700 RGB, 256 tiles, 5 levels, 3 layers, tile-parts per resolution
    QString m_grey;    ///< 640 x 480 grey, lossless, untiled
    QString m_rgba;    ///< 300 x 200 RGBA
    QString m_deep;    ///< 16-bit grey
    QString m_blocks;  ///< grey of constant 64 x 64 blocks, lossless
};

void TestView::initTestCase()
{
    QVERIFY(m_dir.isValid());
    if (TestSupport::findProgram("opj_compress").isEmpty()) QSKIP("opj_compress is not installed");
    QString message;
    const QString png = m_dir.filePath("rgb.png");
    QVERIFY(TestImages::pattern(1000, 700, QImage::Format_RGB888).save(png));
    m_rgb = m_dir.filePath("rgb.jp2");
    QVERIFY2(TestImages::compress(
                 png, m_rgb, {"-t", "256,256", "-n", "5", "-TP", "R", "-p", "RPCL", "-r", "40,20,8", "-I"}, &message),
             qPrintable(message));

    const QString greyPng = m_dir.filePath("grey.png");
    QVERIFY(TestImages::pattern(640, 480, QImage::Format_Grayscale8).save(greyPng));
    m_grey = m_dir.filePath("grey.j2k");
    QVERIFY2(TestImages::compress(greyPng, m_grey, {"-n", "4"}, &message), qPrintable(message));

    const QString rgbaPng = m_dir.filePath("rgba.png");
    QVERIFY(TestImages::pattern(300, 200, QImage::Format_ARGB32).save(rgbaPng));
    m_rgba = m_dir.filePath("rgba.jp2");
    QVERIFY2(TestImages::compress(rgbaPng, m_rgba, {"-n", "3"}, &message), qPrintable(message));

    const QString pgm = m_dir.filePath("deep.pgm");
    QVERIFY(TestImages::write16BitPgm(pgm, 200, 100, 1000, 10, 5));
    m_deep = m_dir.filePath("deep.jp2");
    QVERIFY2(TestImages::compress(pgm, m_deep, {"-n", "3"}, &message), qPrintable(message));

    QImage blocks(256, 256, QImage::Format_Grayscale8);
    for (int y = 0; y < 256; ++y)
        for (int x = 0; x < 256; ++x) blocks.scanLine(y)[x] = ((x / 64 + y / 64) % 4 == 0) ? 200 : 10;
    const QString blocksPng = m_dir.filePath("blocks.png");
    QVERIFY(blocks.save(blocksPng));
    m_blocks = m_dir.filePath("blocks.jp2");
    QVERIFY2(TestImages::compress(blocksPng, m_blocks, {"-n", "3"}, &message), qPrintable(message));
}

void TestView::fullResolutionMatchesReference_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QRect>("window");  // in cells; empty = the whole image
    QTest::newRow("tiled RGB, inside one tile") << QString("rgb") << QRect(10, 20, 200, 150);
    QTest::newRow("tiled RGB, across four tiles") << QString("rgb") << QRect(200, 180, 300, 200);
    QTest::newRow("tiled RGB, right and bottom edge tiles") << QString("rgb") << QRect(700, 500, 300, 200);
    QTest::newRow("grey, whole") << QString("grey") << QRect();
    QTest::newRow("bundled sample, across tiles") << QString("sample") << QRect(3000, 2900, 700, 300);
}

void TestView::fullResolutionMatchesReference()
{
    QFETCH(QString, file);
    QFETCH(QRect, window);
    QString path = file == "rgb" ? m_rgb : file == "grey" ? m_grey : QString();
    if (file.startsWith("conf:")) path = TestSupport::sharedTestData("jpeg2000-conformance/" + file.mid(5));
    if (file == "sample") path = TestSupport::bundledSample();
    if (path.isEmpty()) QSKIP("test file not available here");

    PLK::CView view;
    QVERIFY2(view.Open(PLK::CString(path.toStdString()), false).Success(), qPrintable(path));
    const PLKFileInfo* info = view.GetFileInfo();
    if (window.isNull()) window = QRect(0, 0, int(info->nSizeX), int(info->nSizeY));
    std::vector<uint32_t> bands;
    QVERIFY(view.GetDefaultRGBABandList(bands).Success());
    std::vector<int> list(bands.begin(), bands.end());
    QVERIFY(setCells(view, list, window.left(), window.top(), window.right() + 1, window.bottom() + 1, window.width(),
                     window.height())
                .Success());
    const QImage ours = readView(view);
    QVERIFY(!ours.isNull());
    const QString area = QStringLiteral("%1,%2,%3,%4")
                             .arg(window.left())
                             .arg(window.top())
                             .arg(window.right() + 1)
                             .arg(window.bottom() + 1);
    const QImage reference = TestImages::decodeReference(path, {"-d", area}, m_dir.path());
    if (reference.isNull()) QSKIP("opj_decompress could not make a reference");
    QCOMPARE(differingPixels(ours, reference.convertToFormat(QImage::Format_ARGB32)), 0);
}

void TestView::conformanceFiles_data()
{
    QTest::addColumn<QString>("path");
    const QString folder = TestSupport::sharedTestData("jpeg2000-conformance");
    if (folder.isEmpty()) {
        QTest::newRow("no conformance files here") << QString();
        return;
    }
    for (const QString& name : QDir(folder).entryList({"*.jp2", "*.j2k", "*.j2c"}, QDir::Files, QDir::Name))
        QTest::newRow(qPrintable(name)) << QDir(folder).filePath(name);
}

// Every conformance file opens and renders, or fails with a message; the 8-bit grey and
// colour ones match opj_decompress cell for cell at full resolution.
void TestView::conformanceFiles()
{
    QFETCH(QString, path);
    if (path.isEmpty()) QSKIP("the shared conformance files are not beside this checkout");
    PLK::CView view;
    const PLK::CError error = view.Open(PLK::CString(path.toStdString()), false);
    if (!error.Success()) {
        QVERIFY(!QString(error.GetErrorText()).isEmpty());
        return;
    }
    const PLKFileInfo* info = view.GetFileInfo();
    std::vector<uint32_t> bands;
    QVERIFY(view.GetDefaultRGBABandList(bands).Success());
    std::vector<int> list(bands.begin(), bands.end());
    const int w = int(info->nSizeX), h = int(info->nSizeY);
    QVERIFY(setCells(view, list, 0, 0, w, h, qMax(1, w / 4), qMax(1, h / 4)).Success());
    QVERIFY(!readView(view).isNull());

    bool eightBit = info->eColorSpace == PLK_COLOR_SRGB || info->eColorSpace == PLK_COLOR_GREYSCALE ||
                    info->eColorSpace == PLK_COLOR_YCBCR;
    for (int b = 0; b < info->nBands; ++b) eightBit &= info->pBands[b].nBits == 8 && !info->pBands[b].bSigned;
    if (!eightBit || hasIccProfile(path)) return;
    const QImage reference = TestImages::decodeReference(path, {}, m_dir.path());
    if (reference.size() != QSize(w, h)) return;  // sub-sampled components: the reference is not on the image grid
    QVERIFY(setCells(view, list, 0, 0, w, h, w, h).Success());
    QCOMPARE(differingPixels(readView(view), reference.convertToFormat(QImage::Format_ARGB32)), 0);
}

void TestView::reducedViewMatchesReferenceLevel()
{
    // The whole 1000 x 700 image on 250 x 175 pixels is level 2, cell for cell.
    PLK::CView view;
    QVERIFY(view.Open(PLK::CString(m_rgb.toStdString()), false).Success());
    QVERIFY(setCells(view, {0, 1, 2}, 0, 0, 1000, 700, 250, 175).Success());
    const QImage ours = readView(view);
    const QImage reference = TestImages::decodeReference(m_rgb, {"-r", "2"}, m_dir.path());
    QVERIFY(!reference.isNull());
    QCOMPARE(differingPixels(ours, reference.convertToFormat(QImage::Format_ARGB32)), 0);
}

void TestView::qualityLayersMatchReference()
{
    PLK::CView view;
    QVERIFY(view.Open(PLK::CString(m_rgb.toStdString()), false).Success());
    QCOMPARE(view.Jp2Metadata().Layers(), 3);
    view.Jp2Parameters().SetLayersToDecode(1);
    QVERIFY(setCells(view, {0, 1, 2}, 0, 0, 1000, 700, 1000, 700).Success());
    const QImage oneLayer = readView(view);
    const QImage reference = TestImages::decodeReference(m_rgb, {"-l", "1"}, m_dir.path());
    QCOMPARE(differingPixels(oneLayer, reference.convertToFormat(QImage::Format_ARGB32)), 0);
    view.Jp2Parameters().SetLayersToDecode(0);
    QVERIFY(differingPixels(readView(view), oneLayer) > 1000);  // all layers: a different, better picture
}

void TestView::progressivePassesRunCoarseToFine()
{
    RecordingView view;
    QVERIFY(view.Open(PLK::CString(m_rgb.toStdString()), true).Success());
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
    QVERIFY(blocking.Open(PLK::CString(m_rgb.toStdString()), false).Success());
    QVERIFY(setCells(blocking, {0, 1, 2}, 0, 0, 1000, 700, 1000, 700).Success());
    QCOMPARE(differingPixels(passes.back().picture, readView(blocking)), 0);

    // A view over ground already decoded goes straight to the final picture.
    QVERIFY(setCells(view, {0, 1, 2}, 0, 0, 1000, 700, 1000, 700).Success());
    QVERIFY(view.waitForFinal(20000));
    QCOMPARE(int(view.takePasses().size()), 1);
}

void TestView::newViewCancelsPassInFlight()
{
    RecordingView view;
    QVERIFY(view.Open(PLK::CString(m_rgb.toStdString()), true).Success());
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
        if (p.topX == secondX)
            seenSecond = true;
        else
            QVERIFY(!seenSecond);
    }
}

void TestView::closeDuringPassIsPrompt()
{
    auto view = std::make_unique<RecordingView>();
    QVERIFY(view->Open(PLK::CString(m_rgb.toStdString()), true).Success());
    view->delay = 100;
    QVERIFY(setCells(*view, {0, 1, 2}, 0, 0, 1000, 700, 1000, 700).Success());
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    const auto start = std::chrono::steady_clock::now();
    view.reset();  // closes while a pass or its callback runs
    const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
    QVERIFY2(ms.count() < 2000, qPrintable(QString::number(ms.count())));
}

void TestView::viewOffTheImageIsTransparent()
{
    PLK::CView view;
    QVERIFY(view.Open(PLK::CString(m_grey.toStdString()), false).Success());
    // Half of the view lies left of the image.
    QVERIFY(setCells(view, {0, 0, 0}, -320, 0, 320, 480, 640, 480).Success());
    const QImage image = readView(view);
    QCOMPARE(qAlpha(image.pixel(10, 10)), 0);
    QCOMPARE(qAlpha(image.pixel(400, 10)), 255);
    // Entirely outside: every pixel transparent, and the view counts as complete.
    QVERIFY(setCells(view, {0, 0, 0}, 2000, 0, 2100, 100, 100, 100).Success());
    const QImage outside = readView(view);
    QCOMPARE(qAlpha(outside.pixel(50, 50)), 0);
    QCOMPARE(int(view.GetPercentComplete()), 100);
}

void TestView::defaultBandsAndOpacity()
{
    PLK::CView rgba;
    QVERIFY(rgba.Open(PLK::CString(m_rgba.toStdString()), false).Success());
    const PLKFileInfo* info = rgba.GetFileInfo();
    QCOMPARE(int(info->nBands), 4);
    QCOMPARE(QString(info->pBands[3].szDesc), QString("AllOpacity"));
    std::vector<uint32_t> bands;
    QVERIFY(rgba.GetDefaultRGBABandList(bands).Success());
    QCOMPARE(bands, (std::vector<uint32_t>{0, 1, 2, 3}));
    QVERIFY(setCells(rgba, {0, 1, 2, 3}, 0, 0, 300, 200, 300, 200).Success());
    const QImage image = readView(rgba);
    const QImage source = TestImages::pattern(300, 200, QImage::Format_ARGB32);
    QCOMPARE(qAlpha(image.pixel(0, 0)), qAlpha(source.pixel(0, 0)));
    QCOMPARE(qAlpha(image.pixel(290, 190)), qAlpha(source.pixel(290, 190)));

    PLK::CView grey;
    QVERIFY(grey.Open(PLK::CString(m_grey.toStdString()), false).Success());
    QVERIFY(grey.GetDefaultRGBABandList(bands).Success());
    QCOMPARE(bands, (std::vector<uint32_t>{0, 0, 0}));
    QCOMPARE(QString(grey.GetFileInfo()->pBands[0].szDesc), QString("Grayscale"));
}

void TestView::sixteenBitThroughTransforms()
{
    // Values 1000 + 10x + 5y over 200 x 100 cells: 1000 .. 3485.
    PLK::CView view;
    QVERIFY(view.Open(PLK::CString(m_deep.toStdString()), false).Success());
    QCOMPARE(view.GetFileInfo()->eCellType, PLK_CELL_UINT16);
    QVERIFY(setCells(view, {0, 0, 0}, 0, 0, 200, 100, 200, 100).Success());
    // Without a transform the top 8 bits show: 3485 >> 8 = 13.6.
    QVERIFY(qRed(readView(view).pixel(199, 99)) <= 14);

    const uint32_t band = 0;
    std::vector<PLK::API::CMinMaxTransform*> transforms;
    QVERIFY(view.CalculateMinMaxTransforms(1, &band, transforms, 100.0, 100).Success());
    QCOMPARE(int(transforms.size()), 1);
    QVERIFY(qAbs(transforms[0]->GetMin() - 1000) <= 40);  // the statistics level is coarser
    QVERIFY(qAbs(transforms[0]->GetMax() - 3485) <= 40);
    QVERIFY(view.SetTransform(0, transforms[0]).Success());
    const QImage stretched = readView(view);
    QVERIFY(qRed(stretched.pixel(0, 0)) <= 8);
    QVERIFY(qRed(stretched.pixel(199, 99)) >= 247);

    const double fullMin = transforms[0]->GetMin(), fullMax = transforms[0]->GetMax();
    std::vector<PLK::API::CMinMaxTransform*> clipped;
    QVERIFY(view.CalculateMinMaxTransforms(1, &band, clipped, 90.0, 100).Success());
    QVERIFY(clipped[0]->GetMin() > fullMin);
    QVERIFY(clipped[0]->GetMax() < fullMax);
    QVERIFY(view.ClearTransforms().Success());
    QVERIFY(qRed(readView(view).pixel(199, 99)) <= 14);
}

void TestView::statisticsOfKnownData()
{
    PLK::CView view;
    QVERIFY(view.Open(PLK::CString(m_blocks.toStdString()), false).Success());
    PLKFileStatistics* stats = nullptr;
    QVERIFY(view.GetClientStatistics(stats).Success());
    QVERIFY(stats);
    QCOMPARE(stats->nNumberOfBands, 1u);
    const PLKBandStatistics& s = stats->BandsStats[0];
    QCOMPARE(s.nHistBucketCount, 256u);
    QCOMPARE(s.fMinVal, 10.0f);
    QCOMPARE(s.fMaxVal, 200.0f);
    QCOMPARE(s.fMode, 10.0f);  // a quarter of the blocks are 200
    QVERIFY(qAbs(s.fMeanVal - (0.25f * 200 + 0.75f * 10)) < 0.5f);
    QCOMPARE(s.Histogram[200] * 3, s.Histogram[10]);
    PLKFreeStatistics(stats);
}

void TestView::memoryStaysWithinLimit()
{
    auto& config = PLK::SDK::CFileBase::sFilesHelper().Get()->m_Config;
    const uint64_t before = config.GetCacheMaxmem();
    config.SetCacheMaxmem(1u << 20);
    {
        PLK::CView view;
        QVERIFY(view.Open(PLK::CString(m_rgb.toStdString()), false).Success());
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
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::addColumn<double>("x2");
    QTest::addColumn<int>("code");
    QTest::newRow("band beyond the image")
        << QVector<int>{0, 1, 7} << 100 << 100 << 100.0 << int(PLK::PLK_ERROR_INVALID_BAND);
    QTest::newRow("negative band") << QVector<int>{0, -1, 2} << 100 << 100 << 100.0 << int(PLK::PLK_ERROR_INVALID_BAND);
    QTest::newRow("five bands") << QVector<int>{0, 1, 2, 0, 1} << 100 << 100 << 100.0
                                << int(PLK::PLK_ERROR_INVALID_BAND);
    QTest::newRow("zero width") << QVector<int>{0, 1, 2} << 0 << 100 << 100.0 << int(PLK::PLK_ERROR_INVALID_ARGUMENT);
    QTest::newRow("gigantic view") << QVector<int>{0, 1, 2} << 100000 << 100000 << 100.0
                                   << int(PLK::PLK_ERROR_INVALID_ARGUMENT);
    QTest::newRow("empty rectangle") << QVector<int>{0, 1, 2} << 100 << 100 << 0.0
                                     << int(PLK::PLK_ERROR_INVALID_ARGUMENT);
    QTest::newRow("not a number") << QVector<int>{0, 1, 2} << 100 << 100 << qQNaN()
                                  << int(PLK::PLK_ERROR_INVALID_ARGUMENT);
}

void TestView::badRequests()
{
    QFETCH(QVector<int>, bands);
    QFETCH(int, width);
    QFETCH(int, height);
    QFETCH(double, x2);
    QFETCH(int, code);
    PLK::CView view;
    QVERIFY(view.Open(PLK::CString(m_rgb.toStdString()), false).Success());
    std::vector<int> list(bands.begin(), bands.end());
    const PLK::CError error = view.SetView(int(list.size()), list.data(), width, height, 0, 0, x2, -100);
    QCOMPARE(error.GetErrorNumber(), code);
    QVERIFY(!QString(error.GetErrorText()).isEmpty());
    QVERIFY(!view.IsViewSet());
    uint8_t line[400];
    QCOMPARE(view.ReadLineBGRA(line), PLK_READ_FAILED);
}

void TestView::openErrors_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("words");
    QTest::newRow("missing file") << "missing" << int(PLK::PLK_ERROR_FILE_NOT_FOUND) << "does not exist";
    QTest::newRow("text file") << "text" << int(PLK::PLK_ERROR_NOT_SUPPORTED_FORMAT) << "not a JPEG 2000 file";
    QTest::newRow("empty file") << "empty" << int(PLK::PLK_ERROR_NOT_SUPPORTED_FORMAT) << "not a JPEG 2000 file";
    QTest::newRow("folder") << "folder" << int(PLK::PLK_ERROR_FILE_OPEN) << "folder";
    QTest::newRow("stream address") << "stream" << int(PLK::PLK_ERROR_NOT_SUPPORTED_FORMAT) << "stream";
    QTest::newRow("header cut short") << "cut" << int(PLK::PLK_ERROR_CORRUPT_CODESTREAM) << "damaged";
}

void TestView::openErrors()
{
    QFETCH(QString, kind);
    QFETCH(int, code);
    QFETCH(QString, words);
    QString path = m_dir.filePath("bad-" + kind + ".jp2");
    if (kind == "text") {
        QFile f(path);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("This is not an image at all, just some words.\n");
    } else if (kind == "empty") {
        QFile f(path);
        QVERIFY(f.open(QIODevice::WriteOnly));
    } else if (kind == "folder") {
        path = m_dir.path();
    } else if (kind == "stream") {
        path = "xrvp://server.example/images/site.xrv";
    } else if (kind == "cut") {
        QFile in(m_grey);
        QVERIFY(in.open(QIODevice::ReadOnly));
        QFile out(path);
        QVERIFY(out.open(QIODevice::WriteOnly));
        out.write(in.read(30));  // SOC and part of SIZ
    }
    PLK::CView view;
    const PLK::CError error = view.Open(PLK::CString(path.toStdString()), true);
    QCOMPARE(error.GetErrorNumber(), code);
    QVERIFY2(QString(error.GetErrorText()).contains(words), error.GetErrorText());
    QVERIFY(!view.IsOpen());
}

void TestView::closedViewAnswersSafely()
{
    PLK::CView view;
    QVERIFY(!view.GetFileInfo());
    QCOMPARE(view.GetFileType(), PLK_FILE_UNKNOWN);
    QCOMPARE(view.GetEPSGCode(), 0);
    QVERIFY(!view.GetXMLBox(nullptr));
    QVERIFY(!view.GetStream());
    QCOMPARE(QString(view.GetFileName()), QString());
    PLKRPCData* rpc = nullptr;
    QVERIFY(!view.GetRPCData(rpc).Success());
    QVERIFY(!rpc);
    PLKFileStatistics* stats = nullptr;
    QVERIFY(!view.GetClientStatistics(stats).Success());
    int bands[3] = {0, 1, 2};
    QCOMPARE(view.SetView(3, bands, 10, 10, 0, 0, 10, -10).GetErrorNumber(), int(PLK::PLK_ERROR_NO_FILE_OPEN));
    QVERIFY(view.Close(true).Success());
}

QTEST_GUILESS_MAIN(TestView)
#include "tst_view.moc"
