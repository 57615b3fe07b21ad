// Georeferencing read with GDAL through the engine's byte source, checked against gdalinfo on
// images made here with GDAL's and OpenJPEG's own tools.
#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtTest>

#include <atomic>
#include <cstring>
#include <thread>

#include <cpl_vsi.h>

#include "TestSupport.h"
#include "georef/GdalByteSourceFilesystem.h"
#include "georef/GdalSourceRegistration.h"
#include "georef/GeoTransformConverter.h"
#include "georef/GeoreferenceReader.h"
#include "image/OpenImage.h"
#include "io/FileByteSource.h"

using namespace PLK::Engine;

namespace {

// Bytes in memory under any name: a stand-in for a stream, and a counter of what was read.
class MemoryByteSource : public ByteSource {
public:
    MemoryByteSource(QByteArray bytes, std::string name) : m_bytes(std::move(bytes)), m_name(std::move(name)) {}
    uint64_t size() const override { return static_cast<uint64_t>(m_bytes.size()); }
    int64_t readAt(uint64_t offset, void* buffer, size_t length) override
    {
        if (offset >= size()) return 0;
        const size_t n = std::min<uint64_t>(length, size() - offset);
        std::memcpy(buffer, m_bytes.constData() + offset, n);
        m_bytesRead += n;
        return static_cast<int64_t>(n);
    }
    const std::string& name() const override { return m_name; }
    uint64_t bytesRead() const { return m_bytesRead; }

private:
    QByteArray m_bytes;
    std::string m_name;
    std::atomic<uint64_t> m_bytesRead{0};
};

std::shared_ptr<MemoryByteSource> memorySource(const QString& path, const std::string& name = std::string())
{
    return std::make_shared<MemoryByteSource>(TestSupport::readAll(path), name.empty() ? path.toStdString() : name);
}

std::shared_ptr<ByteSource> fileSource(const QString& path)
{
    PLK::CError error;
    return FileByteSource::open(path.toStdString(), error);
}

Georeferencing readFile(const QString& path, PLKProjectionFormat format = PLK_PROJECTION_GDT)
{
    return GeoreferenceReader::read(fileSource(path), path.toStdString(), format);
}

const char* const kRpcVrt = R"(<VRTDataset rasterXSize="64" rasterYSize="48">
  <Metadata domain="RPC">
    <MDI key="ERR_BIAS">0.5</MDI><MDI key="ERR_RAND">0.25</MDI>
    <MDI key="LINE_OFF">24</MDI><MDI key="SAMP_OFF">32</MDI><MDI key="LAT_OFF">45.1</MDI>
    <MDI key="LONG_OFF">15.2</MDI><MDI key="HEIGHT_OFF">100</MDI><MDI key="LINE_SCALE">25</MDI>
    <MDI key="SAMP_SCALE">33</MDI><MDI key="LAT_SCALE">0.01</MDI><MDI key="LONG_SCALE">0.015</MDI>
    <MDI key="HEIGHT_SCALE">500</MDI>
    <MDI key="LINE_NUM_COEFF">%1</MDI><MDI key="LINE_DEN_COEFF">%2</MDI>
    <MDI key="SAMP_NUM_COEFF">%3</MDI><MDI key="SAMP_DEN_COEFF">%4</MDI>
  </Metadata>
  <VRTRasterBand dataType="Byte" band="1">
    <SimpleSource><SourceFilename relativeToVRT="1">small.png</SourceFilename><SourceBand>1</SourceBand></SimpleSource>
  </VRTRasterBand>
</VRTDataset>)";

// Rotated 30 degrees clockwise, 2 m cells, as GDAL writes it into a GeoJP2 box.
const char* const kRotatedVrt = R"(<VRTDataset rasterXSize="64" rasterYSize="48">
  <SRS>EPSG:32633</SRS>
  <GeoTransform>500000, 1.7320508075688772, -1, 5000000, -1, -1.7320508075688772</GeoTransform>
  <VRTRasterBand dataType="Byte" band="1">
    <SimpleSource><SourceFilename relativeToVRT="1">small.png</SourceFilename><SourceBand>1</SourceBand></SimpleSource>
  </VRTRasterBand>
</VRTDataset>)";

const char* const kUtm33Wkt = R"(PROJCS["WGS 84 / UTM zone 33N",GEOGCS["WGS 84",DATUM["WGS_1984",
SPHEROID["WGS 84",6378137,298.257223563]],PRIMEM["Greenwich",0],UNIT["degree",0.0174532925199433]],
PROJECTION["Transverse_Mercator"],PARAMETER["latitude_of_origin",0],PARAMETER["central_meridian",15],
PARAMETER["scale_factor",0.9996],PARAMETER["false_easting",500000],PARAMETER["false_northing",0],
UNIT["metre",1],AUTHORITY["EPSG","32633"]])";

// Coefficient k of term t of an RPC polynomial, distinct for every (term, k).
double coefficient(int term, int k)
{
    return (term + 1) * 0.1 + k * 0.001;
}

QString coefficientList(int term)
{
    QStringList values;
    for (int k = 0; k < 20; ++k) values << QString::number(coefficient(term, k), 'g', 17);
    return values.join(' ');
}

}  // namespace

class tst_Georeference : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void concurrentReads();
    void readsLikeGdalinfo_data();
    void readsLikeGdalinfo();
    void readsRpcInRpc00bOrder();
    void readsOnlyHeadersThroughTheSource();
    void virtualFileIsReadOnlyWithoutSiblings();  // and a stream needs no file
    void worldFileOnlyBesideLocalFiles();
    void damagedAndUnusualImages();

private:
    QString path(const QString& name) const { return m_dir.filePath(name); }
    bool gdalTranslate(const QString& from, const QString& to, const QStringList& options);
    QJsonObject gdalinfo(const QString& file);

    QTemporaryDir m_dir;
    QString m_gdalTranslate;
};

bool tst_Georeference::gdalTranslate(const QString& from, const QString& to, const QStringList& options)
{
    QString output;
    const bool ok = TestSupport::run(
        m_gdalTranslate, QStringList{"-q", "-of", "JP2OpenJPEG"} + options + QStringList{from, to}, &output);
    if (!ok) qWarning("gdal_translate %s: %s", qPrintable(to), qPrintable(output));
    return ok;
}

QJsonObject tst_Georeference::gdalinfo(const QString& file)
{
    QString output;
    const QStringList args{"--config", "GDAL_PAM_ENABLED", "NO", "-json", file};
    if (!TestSupport::run(TestSupport::findProgram("gdalinfo"), args, &output)) return QJsonObject();
    return QJsonDocument::fromJson(output.toUtf8()).object();
}

void tst_Georeference::initTestCase()
{
    QVERIFY(m_dir.isValid());
    m_gdalTranslate = TestSupport::findProgram("gdal_translate");
    const QString opjCompress = TestSupport::findProgram("opj_compress");
    if (m_gdalTranslate.isEmpty() || opjCompress.isEmpty() || TestSupport::findProgram("gdalinfo").isEmpty())
        QSKIP("gdal_translate, gdalinfo and opj_compress are needed to make the test images");

    QImage small(64, 48, QImage::Format_RGB32);
    for (int y = 0; y < small.height(); ++y)
        for (int x = 0; x < small.width(); ++x) small.setPixel(x, y, qRgb(x * 4, y * 5, (x ^ y) * 3));
    QVERIFY(small.save(path("small.png")));
    QImage noise(1024, 1024, QImage::Format_RGB32);
    for (int y = 0; y < noise.height(); ++y)
        for (int x = 0; x < noise.width(); ++x) noise.setPixel(x, y, QRandomGenerator::global()->generate());
    QVERIFY(noise.save(path("noise.png")));

    const QStringList utm{"-a_srs", "EPSG:32633", "-a_ullr", "500000", "5000000", "500640", "4999520"};
    const QList<QPair<QString, QStringList>> made{
        {"geojp2", utm + QStringList{"-co", "GMLJP2=NO"}},
        {"gmljp2", utm + QStringList{"-co", "GeoJP2=NO"}},
        {"both", utm},
        {"wgs84", {"-a_srs", "EPSG:4326", "-a_ullr", "10", "50", "10.64", "49.52"}},
        {"south", {"-a_srs", "EPSG:32733", "-a_ullr", "300000", "7000000", "300064", "6999952"}},
        {"feet", {"-a_srs", "EPSG:2263", "-a_ullr", "980000", "200000", "980640", "199520"}}};
    for (const auto& m : made) QVERIFY(gdalTranslate(path("small.png"), path(m.first + ".jp2"), m.second));
    QVERIFY(gdalTranslate(path("noise.png"), path("large.jp2"),
                          {"-a_srs", "EPSG:32633", "-a_ullr", "0", "1024", "1024", "0", "-co", "REVERSIBLE=YES", "-co",
                           "QUALITY=100", "-co", "BLOCKXSIZE=256", "-co", "BLOCKYSIZE=256"}));
    QVERIFY(TestSupport::writeAll(path("rotated.vrt"), kRotatedVrt));
    QVERIFY(gdalTranslate(path("rotated.vrt"), path("rotated.jp2"), {}));
    const QString rpc =
        QString(kRpcVrt).arg(coefficientList(0), coefficientList(1), coefficientList(2), coefficientList(3));
    QVERIFY(TestSupport::writeAll(path("rpc.vrt"), rpc.toUtf8()));
    QVERIFY(gdalTranslate(path("rpc.vrt"), path("rpc.jp2"), {}));

    for (const QString name : {"plain", "world", "worldprj", "upper"})
        QVERIFY(TestSupport::run(opjCompress, {"-i", path("small.png"), "-o", path(name + ".jp2")}));
    QVERIFY(TestSupport::writeAll(path("world.j2w"), "0.5\n0\n0\n-0.25\n1000.25\n2000.125\n"));
    QVERIFY(TestSupport::writeAll(path("upper.J2W"), "2\n0\n0\n-2\n7\n9\n"));
    QVERIFY(TestSupport::writeAll(path("worldprj.wld"), "10\n0\n0\n-10\n500005\n4999995\n"));
    QVERIFY(TestSupport::writeAll(path("worldprj.prj"), kUtm33Wkt));
}

void tst_Georeference::concurrentReads()
{
    // The first reads of the process: GDAL and the virtual file system are set up lazily by
    // whichever thread comes first, while the others wait.
    std::atomic<int> mismatches{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 10; ++i) {
                const bool utm = (t + i) % 2 == 0;
                const Georeferencing g = readFile(path(utm ? "both.jp2" : "wgs84.jp2"));
                const bool right = utm ? g.epsg == 32633 && g.originX == 500000.0 && g.projection == "NUTM33"
                                       : g.epsg == 4326 && g.originX == 10.0 && g.projection == "GEODETIC";
                if (!right) ++mismatches;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    QCOMPARE(mismatches.load(), 0);
    QCOMPARE(GdalByteSourceFilesystem::registeredCount(), size_t(0));
}

void tst_Georeference::readsLikeGdalinfo_data()
{
    QTest::addColumn<QString>("file");
    // Where the placement comes from | EPSG | units | rotation | GDT datum | GDT projection |
    // datum and CRS names.
    QTest::addColumn<QString>("expected");
    const QString utm33 = "|32633|1|0|WGS84|NUTM33|WGS_1984|WGS 84 / UTM zone 33N";
    const QString raw = "|0|4|0|RAW|RAW|RAW|RAW";
    const QString rows[][3] = {
        {"GeoJP2 only", "geojp2.jp2", "GeoJP2" + utm33},
        {"GMLJP2 only", "gmljp2.jp2", "GMLJP2" + utm33},
        {"both boxes", "both.jp2", "GeoJP2" + utm33},
        {"geographic", "wgs84.jp2", "GeoJP2|4326|2|0|WGS84|GEODETIC|WGS_1984|WGS 84"},
        {"UTM south", "south.jp2", "GeoJP2|32733|1|0|WGS84|SUTM33|WGS_1984|WGS 84 / UTM zone 33S"},
        {"US survey feet", "feet.jp2",
         "GeoJP2|2263|3|0|NAD83|NAD83 / New York Long Island (ftUS)|North_American_Datum_1983|NAD83 / New York "
         "Long Island (ftUS)"},
        {"rotated 30 cw", "rotated.jp2", "GeoJP2|32633|1|30|WGS84|NUTM33|WGS_1984|WGS 84 / UTM zone 33N"},
        {"world file", "world.jp2", "world file" + raw},
        {"world file, upper case", "upper.jp2", "world file" + raw},
        {"world file + prj", "worldprj.jp2", "world file" + utm33},
        {"no georeferencing", "plain.jp2", "none" + raw},
        {"RPC, no geotransform", "rpc.jp2", "none" + raw}};
    for (const auto& r : rows) QTest::newRow(qPrintable(r[0])) << r[1] << r[2];
}

void tst_Georeference::readsLikeGdalinfo()
{
    QFETCH(QString, file);
    QFETCH(QString, expected);
    const QJsonObject info = gdalinfo(path(file));
    QVERIFY(!info.isEmpty());
    const QJsonArray gdalGt = info.value("geoTransform").toArray();
    const int gdalEpsg = info.value("stac").toObject().value("proj:epsg").toInt(0);

    const Georeferencing gdt = readFile(path(file), PLK_PROJECTION_GDT);
    const Georeferencing named = readFile(path(file), PLK_PROJECTION_EPSG_NAMES);
    const QString actual =
        QStringList{QString::fromStdString(gdt.source),  QString::number(gdt.epsg),
                    QString::number(int(gdt.units)),     QString::number(qRound(gdt.rotationDegrees)),
                    QString::fromStdString(gdt.datum),   QString::fromStdString(gdt.projection),
                    QString::fromStdString(named.datum), QString::fromStdString(named.projection)}
            .join('|');
    QCOMPARE(actual, expected);
    QVERIFY(qAbs(gdt.rotationDegrees - qRound(gdt.rotationDegrees)) < 1e-9);
    QCOMPARE(gdt.georeferenced, !gdalGt.isEmpty());
    if (gdalEpsg != 0) QCOMPARE(gdt.epsg, gdalEpsg);  // GDAL's JP2 reader does not look at .prj files
    QCOMPARE(gdt.wkt.empty(), gdt.datum == "RAW");
    double gt[6];
    GeoTransformConverter::toGeoTransform(gdt, gt);
    const double identity[6] = {0, 1, 0, 0, 0, -1};
    for (int i = 0; i < 6; ++i) {
        const double want = gdalGt.isEmpty() ? identity[i] : gdalGt.at(i).toDouble();
        QVERIFY2(qAbs(gt[i] - want) <= 1e-9 * qMax(1.0, qAbs(gt[i])),
                 qPrintable(QString("gt[%1] %2 vs gdalinfo %3").arg(i).arg(gt[i]).arg(want)));
    }
    QVERIFY(gdt.cellY < 0);  // every image here is north-up

    // An opened image reads the same, also where it knows without GDAL that nothing places it.
    PLK::CError error;
    const auto image = OpenImage::open(path(file).toStdString(), OpenSettings(), error);
    QVERIFY2(image, error.GetErrorText());
    const Georeferencing& opened = image->georef();
    QCOMPARE(opened.source, gdt.source);
    QCOMPARE(opened.originY, gdt.originY);
    QCOMPARE(opened.cellX, gdt.cellX);
    QCOMPARE(opened.datum, gdt.datum);
    QCOMPARE(opened.hasRpc, gdt.hasRpc);
}

void tst_Georeference::readsRpcInRpc00bOrder()
{
    const Georeferencing g = readFile(path("rpc.jp2"));
    QVERIFY2(g.hasRpc, "GDAL's JP2 writer should have kept the RPC in the GeoJP2 box");
    const double expected[12] = {0.5, 0.25, 24, 32, 45.1, 15.2, 100, 25, 33, 0.01, 0.015, 500};
    const double* actual = &g.rpc.ERR_BIAS;  // the record is 92 doubles in order
    for (int i = 0; i < 12; ++i) QCOMPARE(actual[i], expected[i]);
    const double* polynomials[4] = {g.rpc.LINE_NUM_COEFF, g.rpc.LINE_DEN_COEFF, g.rpc.SAMP_NUM_COEFF,
                                    g.rpc.SAMP_DEN_COEFF};
    for (int term = 0; term < 4; ++term)
        for (int k = 0; k < 20; ++k) QCOMPARE(polynomials[term][k], coefficient(term, k));
    QVERIFY(!readFile(path("geojp2.jp2")).hasRpc);
}

void tst_Georeference::readsOnlyHeadersThroughTheSource()
{
    auto source = memorySource(path("large.jp2"));
    QVERIFY(source && source->size() > 1000000);
    const Georeferencing g = GeoreferenceReader::read(source, std::string(), PLK_PROJECTION_GDT);
    QVERIFY(g.georeferenced);
    qInfo("read %llu of %llu bytes", static_cast<unsigned long long>(source->bytesRead()),
          static_cast<unsigned long long>(source->size()));
    QVERIFY(source->bytesRead() < source->size() / 50);
    // Nothing of GDAL's holds the source any more: the registration and every file are gone.
    QCOMPARE(source.use_count(), 1L);
    QCOMPARE(GdalByteSourceFilesystem::registeredCount(), size_t(0));
}

void tst_Georeference::virtualFileIsReadOnlyWithoutSiblings()
{
    // A stream's georeferencing needs no file: GDAL reads the source under a virtual name.
    const Georeferencing streamed = GeoreferenceReader::read(
        memorySource(path("gmljp2.jp2"), "https://maps.example.com/tiles/gml.jp2?token=abc#frag"), std::string(),
        PLK_PROJECTION_GDT);
    QCOMPARE(streamed.source, std::string("GMLJP2"));
    QCOMPARE(streamed.epsg, 32633);
    QCOMPARE(streamed.cellX, 10.0);

    auto source = memorySource(path("geojp2.jp2"), "https://host/a/image.jp2?x=1");
    std::string virtualPath;
    {
        GdalSourceRegistration first(source), second(source);
        virtualPath = first.path();
        QVERIFY(virtualPath.rfind(GdalByteSourceFilesystem::kPrefix, 0) == 0);
        QVERIFY(QString::fromStdString(virtualPath).endsWith("/image.jp2"));
        QVERIFY(first.path() != second.path());

        VSIStatBufL stat;
        QCOMPARE(VSIStatL(virtualPath.c_str(), &stat), 0);
        QCOMPARE(uint64_t(stat.st_size), source->size());
        for (const char* sibling : {".aux.xml", ".j2w", ".wld"})
            QVERIFY(VSIStatL((virtualPath + sibling).c_str(), &stat) != 0);
        QVERIFY(VSIFOpenL(virtualPath.c_str(), "wb") == nullptr);
        QVERIFY(VSIFOpenL((virtualPath + ".aux.xml").c_str(), "wb") == nullptr);

        VSILFILE* file = VSIFOpenL(virtualPath.c_str(), "rb");
        QVERIFY(file);
        char tail[8] = {};
        QCOMPARE(VSIFSeekL(file, source->size() - 4, SEEK_SET), 0);
        QCOMPARE(VSIFReadL(tail, 1, sizeof tail, file), size_t(4));  // short read at the end
        QVERIFY(VSIFEofL(file));
        QCOMPARE(QByteArray(tail, 4), TestSupport::readAll(path("geojp2.jp2")).right(4));
        VSIFCloseL(file);
    }
    VSIStatBufL stat;
    QVERIFY(VSIStatL(virtualPath.c_str(), &stat) != 0);  // unregistered when the scope ended
    QCOMPARE(GdalByteSourceFilesystem::registeredCount(), size_t(0));
}

void tst_Georeference::worldFileOnlyBesideLocalFiles()
{
    // The same world file in GDAL's memory file system is not "beside" a local image: names
    // starting with /vsi could lead GDAL anywhere, so they are never looked beside.
    const QByteArray worldFile = "1\n0\n0\n-1\n10\n20\n";
    VSILFILE* memory = VSIFileFromMemBuffer("/vsimem/georef/plain.j2w",
                                            reinterpret_cast<GByte*>(const_cast<char*>(worldFile.constData())),
                                            worldFile.size(), FALSE);
    QVERIFY(memory);
    VSIFCloseL(memory);
    const Georeferencing g =
        GeoreferenceReader::read(fileSource(path("plain.jp2")), "/vsimem/georef/plain.jp2", PLK_PROJECTION_GDT);
    VSIUnlink("/vsimem/georef/plain.j2w");
    QVERIFY(!g.georeferenced);
    // A local path without a source still finds its world file.
    QVERIFY(GeoreferenceReader::read(nullptr, path("world.jp2").toStdString(), PLK_PROJECTION_GDT).georeferenced);
}

// Damaged copies and every conformance file read as not georeferenced or as something GDAL
// agrees with, never a crash; nothing is left beside the images.
void tst_Georeference::damagedAndUnusualImages()
{
    const QByteArray image = TestSupport::readAll(path("both.jp2"));
    QByteArray scrambled = image;
    for (int i = 40; i < scrambled.size(); i += 7) scrambled[i] = char(scrambled[i] ^ 0x5a);
    QList<QByteArray> damaged{scrambled, QByteArray(), QByteArray(5000, '\xff')};
    for (int length = 0; length < image.size(); length += 37) damaged << image.left(length);
    for (const QByteArray& bytes : damaged) {
        const auto source = std::make_shared<MemoryByteSource>(bytes, "damaged.jp2");
        const Georeferencing g = GeoreferenceReader::read(source, std::string(), PLK_PROJECTION_EPSG_NAMES);
        if (!g.georeferenced) QCOMPARE(g.datum, std::string("RAW"));
    }
    const QString folder = TestSupport::sharedTestData("jpeg2000-conformance");
    for (const QString& name : QDir(folder).entryList({"*.jp2", "*.j2k", "*.j2c"}, QDir::Files)) {
        const Georeferencing g = readFile(QDir(folder).filePath(name));
        if (!g.georeferenced) QCOMPARE(g.projection, std::string("RAW"));
    }
    QCOMPARE(QDir(m_dir.path()).entryList({"*.aux.xml"}, QDir::Files), QStringList());
}

QTEST_GUILESS_MAIN(tst_Georeference)
#include "tst_georeference.moc"
