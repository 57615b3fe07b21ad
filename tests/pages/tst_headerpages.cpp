// The file information and JPEG 2000 header pages: the fields they fill for
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

// The fields a JPEG 2000 file fills.
const QStringList kFileInfoFields{"xrvpVersion",    "fileFormatVersion", "gdtDatum",         "gdtProjection",
                                  "gdtUnits",       "compressedSize",    "uncompressedSize", "targetCompress",
                                  "actualCompress", "blockSize",         "compressDate"};

const QStringList kJp2Fields{
    "Comments",         "Profile",       "tileDimensions", "tileSizes",        "precinctSizesX",
    "precinctSizesY",   "codeBlockSize", "bitDepth",       "resolutionLevels", "qualityLayers",
    "progressionOrder", "DWTfilter",     "useSOP",         "useEPH",           "useGML"};

}  // namespace

class TestHeaderPages : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void fileInfo_data();
    void fileInfo();
    void fileInfoKeepsLayerOnNullArgument();
    void jp2Fields();
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

    QCOMPARE(PageTest::fieldTexts(&page, kFileInfoFields),
             QStringList(
                 {"xrvpVersion=Local file", "fileFormatVersion=1", "gdtDatum=" + datum, "gdtProjection=" + projection,
                  "gdtUnits=" + units, "compressedSize=" + xrvLayer->getSizeOnDisk(),
                  "uncompressedSize=" + uncompressed, QString("targetCompress=%1 : 1").arg(targetRate),
                  QString("actualCompress=%1 : 1").arg(cellBytes / fileBytes), "blockSize=", "compressDate=" + date}));

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

// A null layer is ignored: the page keeps the one it has.
void TestHeaderPages::fileInfoKeepsLayerOnNullArgument()
{
    LAYER_OR_SKIP(pLayer, m_layers, PageTest::Grey);
    XRVJP2kLayerFileInfo page;
    page.setLayer(pLayer);
    page.setLayer(nullptr);
    PageTest::putSentinelOnClipboard();
    page.copyToClipboard();
    QVERIFY(PageTest::clipboardText().startsWith("XRVP Version = Local file\r"));
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
