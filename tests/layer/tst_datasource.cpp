// Opening a data source and asking about it: ".url" files and rejected protocols, streams
// from nginx on loopback, failed opens, the description and size texts, default bands,
// georeferencing, the format and protocol names, the JPEG 2000 header, histograms, and the
// answers without a source.
#include <QtTest>

#include "LayerTestSupport.h"
#include "QDGui/Application.h"
#include "QDGui/StringUtil.h"
#include "StreamServers.h"
#include "XRVJP2kSizeText.h"
#include "XRVJP2kUrlFile.h"

#include <memory>

using Korvane::XRVJP2kLayer;

class TestDataSource : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanupTestCase();
    void urlFiles_data();
    void urlFiles();
    void streamMatchesLocalFile_data();
    void streamMatchesLocalFile();
    void jpipGivenDirectly();
    void failedOpenDropsRenderer();
    void namesAndSizes();
    void nonAsciiPathSurvivesReopen();
    void gigaPixels_data();
    void gigaPixels();
    void describesImage_data();
    void describesImage();
    void formatAndProtocol_data();
    void formatAndProtocol();
    void answersWithoutSource();
    void jp2Header();
    void histogramsAreCached();

private:
    std::unique_ptr<XRVJP2kLayer> openLayer(const QString& file);
    QString fileNamed(const QString& name);
    QTemporaryDir folder;
    QString rgb;
    std::unique_ptr<StreamTest::Nginx> nginx;  // serves folder, started by the first stream row
};

void TestDataSource::initTestCase()
{
    QVERIFY(folder.isValid());
    rgb = LayerTest::makeImage(folder.path(), "rgb.jp2", {"--levels", "4", "--layers", "2", "--progression", "LRCP"});
    QVERIFY(!rgb.isEmpty());
    PLKInit();
}

void TestDataSource::init()
{
    LayerTest::useSettingsFile(folder.path());
}

void TestDataSource::cleanupTestCase()
{
    PLKShutdown();
}

std::unique_ptr<XRVJP2kLayer> TestDataSource::openLayer(const QString& file)
{
    std::unique_ptr<XRVJP2kLayer> layer(new XRVJP2kLayer(nullptr));
    if (!layer->setDataSource(file)) qWarning("%s", qPrintable(layer->getLastError()));
    return layer;
}

// A copy of the test image under another name (the engine recognises files by content).
QString TestDataSource::fileNamed(const QString& name)
{
    const QString path = folder.path() + "/" + name;
    QFile::remove(path);
    return QFile::copy(rgb, path) ? path : QString();
}

void TestDataSource::urlFiles_data()
{
    QTest::addColumn<QString>("content");
    QTest::addColumn<bool>("rejected");   // by the layer itself, before anything is closed
    QTest::addColumn<QString>("result");  // the error when rejected, else the address read
    QTest::newRow("stream address") << "[InternetShortcut]\r\nURL=xrvp://127.0.0.1:9/images/site.xrv\r\n"
                                    << false << "xrvp://127.0.0.1:9/images/site.xrv";
    QTest::newRow("Url= is not an address line") << "Url=xrvp://127.0.0.1:9/x.xrv\n" << false << "unchanged";
    QTest::newRow("text after a second = dropped") << "URL=xrvp://127.0.0.1:9/a.xrv?x=1\n"
                                                   << false << "xrvp://127.0.0.1:9/a.xrv?x";
    QTest::newRow("the last address wins") << "URL=xrvp://127.0.0.1:9/1.xrv\nurl=xrvps://127.0.0.1:9/2.xrv\n"
                                           << false << "xrvps://127.0.0.1:9/2.xrv";
    QTest::newRow("jpip goes on to the engine") << "URL=jpip://127.0.0.1:9/image.jp2\n"
                                                << false << "jpip://127.0.0.1:9/image.jp2";
    QTest::newRow("other protocol") << "URL=http://127.0.0.1:9/a.jp2\n"
                                    << true << "URL file contains non supported protocol type.";
    QTest::newRow("no such file") << QString() << true << "Could not open URL file.";
}

void TestDataSource::urlFiles()
{
    QFETCH(QString, content);
    QFETCH(bool, rejected);
    QFETCH(QString, result);
    const QString urlFile = folder.path() + "/Site.URL";
    QFile::remove(urlFile);
    if (!content.isNull()) {
        QFile file(urlFile);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content.toUtf8());
    }
    auto layer = openLayer(rgb);
    QVERIFY(!layer->setDataSource(urlFile));
    if (rejected) {
        QCOMPARE(layer->getLastError(), result);
        QVERIFY(layer->isValid());  // the image shown before stays
        QCOMPARE(layer->getDataSource(), rgb);
        return;
    }
    // The engine was handed the address (nothing listens there) and the old image is gone.
    QVERIFY(!layer->isValid());
    QVERIFY(!layer->getFile());
    QString address = "unchanged";
    QCOMPARE(XRVJP2kUrlFile::readAddress(urlFile, address), XRVJP2kUrlFile::Read);
    QCOMPARE(address, result);
}

void TestDataSource::streamMatchesLocalFile_data()
{
    QTest::addColumn<bool>("throughUrlFile");
    QTest::newRow("xrvp address") << false;
    QTest::newRow("[InternetShortcut] file") << true;
}

void TestDataSource::streamMatchesLocalFile()
{
    QFETCH(bool, throughUrlFile);
    if (!nginx) {
        nginx.reset(new StreamTest::Nginx);
        QString error;
        QVERIFY2(nginx->start(folder.path(), &error), qPrintable(error));
    }
    const QString address = QString("xrvp://127.0.0.1:%1/rgb.jp2").arg(nginx->httpPort());
    QString source = address;
    if (throughUrlFile) {
        source = folder.path() + "/Stream.url";
        QFile file(source);
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(QString("[InternetShortcut]\r\nURL=%1\r\nIconIndex=0\r\n").arg(address).toUtf8());
    }
    Korvane::Application::settings()->setValue("XRVJP2kLayer/OpenProgressive", false);
    auto local = openLayer(rgb);
    auto stream = openLayer(source);
    QVERIFY2(stream->isValid(), qPrintable(stream->getLastError()));
    QCOMPARE(stream->getDataSource(), address);
    QCOMPARE(stream->getSizeOnDisk(), QString("Unknown"));
    const QRectF b = local->getBounds();
    QCOMPARE(stream->getBounds(), b);
    // The whole image, and a corner at full resolution.
    for (const QRectF& w : {b, QRectF(b.topLeft(), b.size() / 2)}) {
        QImage pictures[2];
        int i = 0;
        for (XRVJP2kLayer* layer : {local.get(), stream.get()}) {
            layer->setView(256, 256, w.left(), w.top(), w.right(), w.bottom());
            pictures[i++] = LayerTest::paintLayer(*layer, QSize(256, 256), w.left(), w.top(), w.right(), w.bottom());
        }
        QCOMPARE(qAlpha(pictures[0].pixel(128, 128)), 255);
        QCOMPARE(LayerTest::differingPixels(pictures[0], pictures[1]), 0);
    }
}

void TestDataSource::jpipGivenDirectly()
{
    auto layer = openLayer(rgb);
    const int logged = Korvane::Application::logEntries().size();
    QVERIFY(!layer->setDataSource("JPIP://server/image.jp2"));
    QCOMPARE(layer->getLastError(), QString("JPIP protocol not supported."));
    QCOMPARE(Korvane::Application::logEntries().size(), logged + 1);
    QCOMPARE(Korvane::Application::logEntries().last().text, QString("JPIP protocol not supported."));
    QCOMPARE(Korvane::Application::logEntries().last().level, 1);
    QVERIFY(layer->isValid());
}

void TestDataSource::failedOpenDropsRenderer()
{
    Korvane::Application::settings()->setValue("XRVJP2kLayer/UseBackingstore", true);
    auto layer = openLayer(rgb);
    QVERIFY(layer->isValid());
    const QString missing = folder.path() + "/missing.jp2";
    QVERIFY(!layer->setDataSource(missing));
    QVERIFY(!layer->isValid());
    QVERIFY(!layer->getFile());
    QVERIFY(layer->getBandList().isEmpty());
    QVERIFY2(layer->getLastError().contains(missing), qPrintable(layer->getLastError()));
    // Painting and setting views without a renderer do nothing; opening again works.
    layer->setView(10, 10, 0, 10, 10, 0);
    LayerTest::paintLayer(*layer, QSize(10, 10), 0, 10, 10, 0);
    QVERIFY(layer->setDataSource(rgb));
}

void TestDataSource::namesAndSizes()
{
    auto layer = openLayer(rgb);
    QCOMPARE(layer->getDescription(), QString("rgb.jp2"));
    QCOMPARE(layer->getSizeOnDisk(), Korvane::Util::String::formatFileSize(QFileInfo(rgb).size(), "%2.2f"));
    QCOMPARE(layer->getSizeGigaPixel(), QString("< 1 GP"));
    // A name with a "|" part: the engine opens what comes before it, and so the layer shows.
    QVERIFY(layer->setDataSource(rgb + "|extra"));
    QCOMPARE(layer->getDescription(), QString("rgb.jp2"));
    QCOMPARE(layer->getDataSource(), rgb);
    QCOMPARE(layer->getProtocol(), QString("Local JPEG 2000 file"));
}

void TestDataSource::nonAsciiPathSurvivesReopen()
{
    const QString path = fileNamed(QString::fromUtf8("Größe ümlaut.jp2"));
    auto layer = openLayer(path);
    QVERIFY(layer->isValid());
    QCOMPARE(layer->getDataSource(), path);
    layer->setProgressive(false);  // re-opens by the name the engine holds
    QVERIFY2(layer->isValid(), qPrintable(layer->getLastError()));
    QCOMPARE(layer->getDataSource(), path);
}

void TestDataSource::gigaPixels_data()
{
    QTest::addColumn<quint32>("width");
    QTest::addColumn<quint32>("height");
    QTest::addColumn<QString>("text");
    QTest::newRow("40000 square") << 40000u << 40000u << "1.60 GP";
    QTest::newRow("just a gigapixel") << 31623u << 31623u << "1.00 GP";
    QTest::newRow("999 whole megapixels") << 31622u << 31622u << "< 1 GP";
    QTest::newRow("beyond 32 bits") << 100000u << 100000u << "10.00 GP";
}

void TestDataSource::gigaPixels()
{
    QFETCH(quint32, width);
    QFETCH(quint32, height);
    QFETCH(QString, text);
    QCOMPARE(XRVJP2kSizeText::gigaPixels(width, height), text);
}

void TestDataSource::describesImage_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QVector<int>>("bands");
    QTest::addColumn<QStringList>("descriptions");
    QTest::addColumn<QString>("cellType");
    QTest::addColumn<int>("colourSpace");
    QTest::addColumn<QString>("crs");
    QTest::newRow("rgb") << QStringList() << QVector<int>{0, 1, 2} << QStringList{"Red", "Green", "Blue"} << "UInt8"
                         << 0 << "epsg:32633";
    QTest::newRow("rgb with opacity") << QStringList{"--bands", "4"} << QVector<int>{0, 1, 2, 3}
                                      << QStringList{"Red", "Green", "Blue", "AllOpacity"} << "UInt8" << 0
                                      << "epsg:32633";
    QTest::newRow("16-bit grey") << QStringList{"--bands", "1", "--bits", "16"} << QVector<int>{0, 0, 0}
                                 << QStringList{"Grayscale"} << "UInt16" << 1 << "epsg:32633";
    QTest::newRow("no georeference") << QStringList{"--no-georef"} << QVector<int>{0, 1, 2}
                                     << QStringList{"Red", "Green", "Blue"} << "UInt8" << 0 << "Unknown";
}

void TestDataSource::describesImage()
{
    QFETCH(QStringList, options);
    QFETCH(QVector<int>, bands);
    QFETCH(QStringList, descriptions);
    QFETCH(QString, cellType);
    QFETCH(int, colourSpace);
    QFETCH(QString, crs);
    const QString file = LayerTest::makeImage(folder.path(), "described.jp2", options);
    auto layer = openLayer(file);
    QCOMPARE(layer->getBandList(), bands);
    QCOMPARE(layer->getBandDescriptions(), descriptions);
    QCOMPARE(layer->getNumberOfBands(), descriptions.size());
    QCOMPARE(layer->getCellType(), cellType);
    QCOMPARE(int(layer->getColorSpace()), colourSpace);
    QCOMPARE(layer->getCoordSysName(), crs);
    QCOMPARE(layer->crs().epsg(), crs == "Unknown" ? 0 : 32633);
    QCOMPARE(layer->getSize(), QSize(512, 512));
    if (crs != "Unknown") {
        QCOMPARE(layer->getBounds(), QRectF(500000, 5300000, 1024, -1024));
        QCOMPARE(layer->getCellSizeY(), -2.0);
    }
}

void TestDataSource::formatAndProtocol_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("format");
    QTest::addColumn<QString>("protocol");
    // The extension is compared lower-cased for the format but as written for the protocol.
    QTest::newRow("A.XRV") << "A.XRV"
                           << "MILTO XRV"
                           << "Local file";
    QTest::newRow("b.xrv") << "b.xrv"
                           << "MILTO XRV"
                           << "Local XRV file";
    QTest::newRow("c.JP2") << "c.JP2"
                           << "JPEG 2000"
                           << "Local file";
    QTest::newRow("d.jp2") << "d.jp2"
                           << "JPEG 2000"
                           << "Local JPEG 2000 file";
    QTest::newRow("e.jpx") << "e.jpx"
                           << "JPEG 2000"
                           << "Local file";
    QTest::newRow("f.jpc") << "f.jpc"
                           << "JPEG 2000"
                           << "Local file";
    QTest::newRow("g.j2k") << "g.j2k"
                           << "Unknown"
                           << "Local file";
}

void TestDataSource::formatAndProtocol()
{
    QFETCH(QString, name);
    QFETCH(QString, format);
    QFETCH(QString, protocol);
    auto layer = openLayer(fileNamed(name));
    QVERIFY(layer->isValid());
    QCOMPARE(layer->getFormat(), format);
    QCOMPARE(layer->getProtocol(), protocol);
    QCOMPARE(layer->getXRVPVersion(), 0);
    QCOMPARE(layer->getFileFormatVersion(), 1);
}

void TestDataSource::answersWithoutSource()
{
    XRVJP2kLayer layer(nullptr);
    layer.setProgressive(false);  // nothing to re-open: not even stored
    layer.setTransparency(0.5);
    QVERIFY(layer.getProgressive());
    QCOMPARE(layer.getTransparency(), 0.0);
    QCOMPARE(layer.getTransformClip(), 100);
    QCOMPARE(layer.getJp2QualityLayers(), -1);
    QCOMPARE(layer.getOpacityBandNumber(), -1);
    QCOMPARE(layer.getSizeOnDisk(), QString("Unknown"));
    QCOMPARE(layer.getSize(), QSize());
    QCOMPARE(layer.getBounds(), QRectF(-180, 90, 360, -180));
    QCOMPARE(layer.getCellSizeY(), 1.0);
    QCOMPARE(int(layer.getColorSpace()), 3);
    QCOMPARE(layer.getCellType(), QString("Unknown"));
    QCOMPARE(layer.getCoordSysName(), QString("Unknown"));
    QCOMPARE(layer.getProtocol(), QString("Local file"));
    QCOMPARE(int(layer.getPercentComplete()), -1);
    QVERIFY(!layer.getFile() && !layer.getStatistics() && !layer.getRPCInfo());
    QVERIFY(layer.getHistograms(false, false, QSize(), 0, 0, 0, 0).isEmpty());
    XRVJP2kLayer::Jp2FileInfo info;
    info.comments = "untouched";
    QVERIFY(!layer.getJp2FileInfo(info));
    QCOMPARE(info.comments, QString("untouched"));
}

void TestDataSource::jp2Header()
{
    auto layer = openLayer(rgb);
    XRVJP2kLayer::Jp2FileInfo info;
    QVERIFY(layer->getJp2FileInfo(info));
    QCOMPARE(info.profile, 2);  // the engine's "unrestricted"
    QCOMPARE(info.numberOfTiles, QSize(2, 2));
    QCOMPARE(info.precinctSizesX, QString("32768,32768,32768,32768"));
    QCOMPARE(info.bitDepths, QString("8,8,8"));
    QCOMPARE(info.qualityLayers, 2);
    QCOMPARE(info.progressionOrder, QString("LRCP"));
    QCOMPARE(info.filter, QString("9x7 (Irreversible)"));
    QVERIFY(info.hasGML);
}

void TestDataSource::histogramsAreCached()
{
    auto layer = openLayer(rgb);
    const auto first = layer->getHistograms(false, true, QSize(10, 10), 1, 2, 3, 4);
    QCOMPARE(first.size(), 3);
    PLKFileStatistics* stats = layer->getStatistics();
    QVERIFY(stats);
    const PLKBandStatistics& green = stats->BandsStats[1];
    QCOMPARE(first[1].name, QString("Green"));
    QCOMPARE(first[1].minValue, quint64(green.fMinVal));
    QCOMPARE(first[1].largestCount, *std::max_element(green.Histogram, green.Histogram + green.nHistBucketCount));
    QCOMPARE(first[1].smallestCount, *std::min_element(green.Histogram, green.Histogram + green.nHistBucketCount));
    QVERIFY(std::equal(first[1].counts, first[1].counts + first[1].bucketCount, green.Histogram));
    PLKFreeStatistics(stats);
    QCOMPARE(layer->getHistograms(false, false, QSize(), 0, 0, 0, 0).size(), 3);
    QVERIFY(layer->getHistograms(true, false, QSize(), 0, 0, 0, 0).isEmpty());
    // A new source starts without a cache.
    QVERIFY(layer->setDataSource(LayerTest::makeImage(folder.path(), "grey.jp2", {"--bands", "1"})));
    QCOMPARE(layer->getHistograms(false, false, QSize(), 0, 0, 0, 0).size(), 1);
}

int main(int argc, char** argv)
{
    Korvane::Application app(argc, argv);
    TestDataSource test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_datasource.moc"
