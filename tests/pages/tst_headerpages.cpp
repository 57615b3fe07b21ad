// The file information and JPEG 2000 header pages: their forms, the fields they fill for
// real layers, and the exact texts they put on the clipboard.
#include <QtTest>

#include <QtWidgets/QLineEdit>

#include "PageTestSupport.h"
#include "QDGui/ILayerPropertiesWidget.h"
#include "XRVJP2kLayerFileInfo.h"
#include "XRVJP2kLayerJP2FileInfo.h"
#include "XRVJP2kLayerMetaDataBox.h"
#include "XRVJP2kLayerRPCInfo.h"
#include "XRVJP2kLayerStatistics.h"

namespace {

const QStringList kFileInfoFields{"xrvpVersion",
                                  "fileFormatVersion",
                                  "gdtDatum",
                                  "gdtProjection",
                                  "gdtUnits",
                                  "compressedSize",
                                  "uncompressedSize",
                                  "targetCompress",
                                  "actualCompress",
                                  "blockSize",
                                  "compressDate",
                                  "classification",
                                  "acquisitionDate",
                                  "acquisitionSensorName",
                                  "compressionSoftware",
                                  "author",
                                  "copyright",
                                  "company",
                                  "email",
                                  "address",
                                  "telephone"};

const QStringList kJp2Fields{
    "Comments",         "Profile",       "tileDimensions", "tileSizes",        "precinctSizesX",
    "precinctSizesY",   "codeBlockSize", "bitDepth",       "resolutionLevels", "qualityLayers",
    "progressionOrder", "DWTfilter",     "useSOP",         "useEPH",           "useGML"};

QWidget* makePage(const QString& className)
{
    if (className == "XRVJP2kLayerFileInfo") return new XRVJP2kLayerFileInfo;
    if (className == "XRVJP2kLayerJP2FileInfo") return new XRVJP2kLayerJP2FileInfo;
    if (className == "XRVJP2kLayerRPCInfo") return new XRVJP2kLayerRPCInfo;
    if (className == "XRVJP2kLayerStatistics") return new XRVJP2kLayerStatistics;
    if (className == "XRVJP2kLayerMetaDataBox") return new XRVJP2kLayerMetaDataBox;
    return nullptr;
}

}  // namespace

class TestHeaderPages : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void forms_data();
    void forms();
    void fileInfo_data();
    void fileInfo();
    void fileInfoWithoutFileInformation_data();
    void fileInfoWithoutFileInformation();
    void fileInfoKeepsLayerOnNullArgument();
    void fileInfoFileRemovedAfterOpening();
    void jp2Fields();
    void jp2Clipboard();
    void jp2WithoutHeader_data();
    void jp2WithoutHeader();

private:
    QTemporaryDir m_dir;
    PageTest::Layers m_layers;
};

void TestHeaderPages::initTestCase()
{
    QVERIFY(m_dir.isValid());
    m_layers.open(m_dir.path());
}

void TestHeaderPages::forms_data()
{
    QTest::addColumn<QString>("page");
    QTest::addColumn<QString>("formName");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QSize>("size");
    QTest::newRow("file information") << "XRVJP2kLayerFileInfo"
                                      << "XRVJP2kLayerFileInfo"
                                      << "XRV Info" << QSize(414, 453);
    QTest::newRow("JPEG 2000 header") << "XRVJP2kLayerJP2FileInfo"
                                      << "XRVJP2kLayerJP2FileInfo"
                                      << "JP2 Info" << QSize(439, 455);
    QTest::newRow("RPC") << "XRVJP2kLayerRPCInfo"
                         << "XRVJP2kLayerRPCInfo"
                         << "RPC Info" << QSize(353, 342);
    QTest::newRow("statistics") << "XRVJP2kLayerStatistics"
                                << "XRVJP2kLayerStatistics"
                                << "Statistics" << QSize(354, 279);
    QTest::newRow("metadata") << "XRVJP2kLayerMetaDataBox"
                              << "XRVJP2LayerMetaDataBox"
                              << "Metadata" << QSize(321, 298);
}

// The host finds the pages through the page interface and shows them at the form's size.
void TestHeaderPages::forms()
{
    QFETCH(QString, page);
    QFETCH(QString, formName);
    QFETCH(QString, title);
    QFETCH(QSize, size);
    std::unique_ptr<QWidget> widget(makePage(page));
    QVERIFY(widget);
    QCOMPARE(widget->metaObject()->className(), qPrintable(page));
    QVERIFY(qobject_cast<Korvane::ILayerPropertiesWidget*>(widget.get()));
    QCOMPARE(widget->objectName(), formName);
    QCOMPARE(widget->windowTitle(), title);
    QCOMPARE(widget->size(), size);
}

void TestHeaderPages::fileInfo_data()
{
    QTest::addColumn<int>("source");
    QTest::addColumn<QString>("datum");
    QTest::addColumn<QString>("projection");
    QTest::addColumn<QString>("units");
    QTest::addColumn<QString>("uncompressed");
    QTest::addColumn<int>("targetRate");
    QTest::newRow("georeferenced RGB sample") << int(PageTest::Sample) << "WGS_1984"
                                              << "WGS 84 / UTM zone 33N"
                                              << "Meters"
                                              << "192.00 MB" << 17;
    QTest::newRow("grey") << int(PageTest::Grey) << "RAW"
                          << "RAW"
                          << "Unknown"
                          << "4.50 KB" << 3;
}

// The fields, and the clipboard's ten lines (no authoring metadata in JPEG 2000 files), each
// ended by a carriage return alone. The field's actual ratio is computed from the file's
// size in whole numbers; the clipboard's comes from the engine's record with two decimals.
void TestHeaderPages::fileInfo()
{
    QFETCH(int, source);
    QFETCH(QString, datum);
    QFETCH(QString, projection);
    QFETCH(QString, units);
    QFETCH(QString, uncompressed);
    QFETCH(int, targetRate);
    LAYER_OR_SKIP(pLayer, m_layers, PageTest::Source(source));
    auto* xrvLayer = qobject_cast<Korvane::XRVJP2kLayer*>(pLayer);
    const PLKFileInfo* info = xrvLayer->getFileInfo();
    QVERIFY(!info->pFileMetaData);
    const quint64 cellBytes = quint64(info->nSizeX) * info->nSizeY * info->nBands;  // 8-bit cells
    const quint64 fileBytes = quint64(QFileInfo(xrvLayer->getDataSource()).size());
    const QString date = QString::fromUtf8(info->szCompressionDate);
    XRVJP2kLayerFileInfo page;
    page.setLayer(pLayer);

    QCOMPARE(PageTest::fieldTexts(&page, kFileInfoFields).mid(0, 11),
             QStringList(
                 {"xrvpVersion=Local file", "fileFormatVersion=1", "gdtDatum=" + datum, "gdtProjection=" + projection,
                  "gdtUnits=" + units, "compressedSize=" + xrvLayer->getSizeOnDisk(),
                  "uncompressedSize=" + uncompressed, QString("targetCompress=%1 : 1").arg(targetRate),
                  QString("actualCompress=%1 : 1").arg(cellBytes / fileBytes), "blockSize=", "compressDate=" + date}));
    // A JPEG 2000 file has no block size; the field says so in its placeholder.
    QCOMPARE(PageTest::field(&page, "blockSize")->placeholderText(), QString("Not valid for .jp2 files"));

    PageTest::putSentinelOnClipboard();
    QTest::mouseClick(page.findChild<QPushButton*>("copyToClipboard"), Qt::LeftButton);
    QCOMPARE(
        PageTest::clipboardText(),
        PageTest::joinedWithCarriageReturns(
            {"XRVP Version = Local file", "Format Version = 1", "GDT Datum = " + datum,
             "GDT Projection = " + projection, "GDT Units = " + units, "Compressed Size = " + xrvLayer->getSizeOnDisk(),
             "Uncompressed Size = " + uncompressed, QString("Target Compression Rate = %1:1").arg(targetRate),
             QString("Actual Compression Ratio = %1:1").arg(double(info->fActualCompressionRate), 0, 'f', 2),
             "Compression Date = " + date}));
}

void TestHeaderPages::fileInfoWithoutFileInformation_data()
{
    QTest::addColumn<int>("source");
    QTest::addColumn<QString>("clipboard");
    // A layer of this plug-in without an image still copies (an empty text); a layer of
    // another plug-in is not this page's business and leaves the clipboard alone.
    QTest::newRow("layer without a source") << int(PageTest::NoSource) << QString("");
    QTest::newRow("layer of another class") << int(PageTest::OtherClass) << PageTest::clipboardSentinel();
}

void TestHeaderPages::fileInfoWithoutFileInformation()
{
    QFETCH(int, source);
    QFETCH(QString, clipboard);
    XRVJP2kLayerFileInfo page;
    page.setLayer(m_layers.get(PageTest::Source(source)));
    QCOMPARE(PageTest::fieldTexts(&page, kFileInfoFields), PageTest::emptyFieldTexts(kFileInfoFields));
    PageTest::putSentinelOnClipboard();
    page.copyToClipboard();
    QCOMPARE(PageTest::clipboardText(), clipboard);
}

// A null layer is ignored: the page keeps the one it has. A layer of another class replaces
// it with none, and the fields keep what they show.
void TestHeaderPages::fileInfoKeepsLayerOnNullArgument()
{
    LAYER_OR_SKIP(pLayer, m_layers, PageTest::Grey);
    XRVJP2kLayerFileInfo page;
    page.setLayer(pLayer);
    page.setLayer(nullptr);
    PageTest::putSentinelOnClipboard();
    page.copyToClipboard();
    QVERIFY(PageTest::clipboardText().startsWith("XRVP Version = Local file\r"));

    page.setLayer(m_layers.get(PageTest::OtherClass));
    QCOMPARE(PageTest::field(&page, "gdtDatum")->text(), QString("RAW"));
    PageTest::putSentinelOnClipboard();
    page.copyToClipboard();
    QCOMPARE(PageTest::clipboardText(), PageTest::clipboardSentinel());
}

// A file that reads as empty on disk (here: removed after opening) has no ratio to show.
void TestHeaderPages::fileInfoFileRemovedAfterOpening()
{
    if (m_layers.images().grey.isEmpty()) QSKIP(qPrintable(m_layers.images().error));
    const QString copy = m_dir.filePath("removed.jp2");
    QVERIFY(QFile::copy(m_layers.images().grey, copy));
    auto removed = PageTest::openLayer(copy);
    QVERIFY(removed->isValid());
    QVERIFY(QFile::remove(copy));
    XRVJP2kLayerFileInfo page;
    page.setLayer(removed.get());
    QCOMPARE(PageTest::field(&page, "actualCompress")->text(), QString("Unknown"));
    QCOMPARE(PageTest::field(&page, "uncompressedSize")->text(), QString("4.50 KB"));
}

// Code-stream profile 0 (unrestricted) shows as 2. Sizes are written width first, the code
// block's too, whatever its label says.
void TestHeaderPages::jp2Fields()
{
    LAYER_OR_SKIP(grey, m_layers, PageTest::Grey);
    XRVJP2kLayerJP2FileInfo page;
    page.setLayer(grey);
    QCOMPARE(PageTest::fieldTexts(&page, kJp2Fields),
             QStringList({"Comments=grey test", "Profile=2", "tileDimensions=3 x 2", "tileSizes=32 x 24",
                          "precinctSizesX=16,32,64", "precinctSizesY=8,16,32", "codeBlockSize=16 x 8", "bitDepth=8",
                          "resolutionLevels=3", "qualityLayers=3", "progressionOrder=RLCP",
                          "DWTfilter=9x7 (Irreversible)", "useSOP=true", "useEPH=true", "useGML=false"}));
}

// Sixteen lines with carriage returns; the tile size is split into width and height here.
void TestHeaderPages::jp2Clipboard()
{
    LAYER_OR_SKIP(sample, m_layers, PageTest::Sample);
    XRVJP2kLayerJP2FileInfo page;
    page.setLayer(sample);
    PageTest::putSentinelOnClipboard();
    QTest::mouseClick(page.findChild<QPushButton*>("copyToClipboard"), Qt::LeftButton);
    const QString precincts = "32768,32768,32768,32768,32768,32768";
    QCOMPARE(PageTest::clipboardText(),
             PageTest::joinedWithCarriageReturns(
                 {"Comments = Made by mksample", "Profile = 2", "Tiles Dimensions (X,Y) = 16 x 16", "Tile Width = 512",
                  "Tile Height = 512", "Precinct Sizes on X axis = " + precincts,
                  "Precinct Sizes on Y axis = " + precincts, "Code Block Dimensions (X,Y) = 64 x 64",
                  "Band Bit Depths = 8,8,8", "Resolution Levels = 6", "Quality Layers = 4", "Progression Order = RPCL",
                  "Filter = 9x7 (Irreversible)", "SOP Markers = false", "EPH Markers = false", "GML in JP2 = true"}));
}

void TestHeaderPages::jp2WithoutHeader_data()
{
    QTest::addColumn<int>("source");
    QTest::addColumn<QString>("clipboard");
    QTest::newRow("layer without a source") << int(PageTest::NoSource) << QString("");
    QTest::newRow("layer of another class") << int(PageTest::OtherClass) << PageTest::clipboardSentinel();
}

void TestHeaderPages::jp2WithoutHeader()
{
    QFETCH(int, source);
    QFETCH(QString, clipboard);
    XRVJP2kLayerJP2FileInfo page;
    page.setLayer(m_layers.get(PageTest::Source(source)));
    QCOMPARE(PageTest::fieldTexts(&page, kJp2Fields), PageTest::emptyFieldTexts(kJp2Fields));
    PageTest::putSentinelOnClipboard();
    page.copyToClipboard();
    QCOMPARE(PageTest::clipboardText(), clipboard);
}

XRV_PAGES_TEST_MAIN(TestHeaderPages)
#include "tst_headerpages.moc"
