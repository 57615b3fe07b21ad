#include "CompressJp2.h"

#include <QString>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <thread>
#include <unistd.h>

#include <gdal_priv.h>

#include "RasterFormat.h"
#include "TiledJ2kEncoder.h"

namespace {

struct Options {
    QString input, output;
    double rate = 10;
    int tile = 512;
    int levels = 6;
    std::vector<int> bands;
    int threads = int(std::max(1u, std::thread::hardware_concurrency()));
};

int fail(const std::string& text)
{
    std::fprintf(stderr, "xrvtool compress: %s\n", text.c_str());
    return 1;
}

bool parse(const QStringList& args, Options& o, std::string& error)
{
    QStringList rest;
    for (int i = 0; i < args.size(); ++i) {
        const QString a = args[i];
        const QString v = i + 1 < args.size() ? args[i + 1] : QString();
        bool ok = true;
        if (a == "--rate") {
            o.rate = v.toDouble(&ok), ++i;
            ok = ok && o.rate >= 1;
        } else if (a == "--block") {
            o.tile = v.toInt(&ok), ++i;
            ok = ok && o.tile >= 64;
        } else if (a == "--levels") {
            o.levels = v.toInt(&ok), ++i;
            ok = ok && o.levels >= 1 && o.levels <= 16;
        } else if (a == "--threads") {
            o.threads = v.toInt(&ok), ++i;
            ok = ok && o.threads >= 1;
        } else if (a == "--bands") {
            ++i;
            for (const QString& b : v.split(',')) {
                o.bands.push_back(b.toInt(&ok));
                if (!ok || o.bands.back() < 1) break;
            }
        } else if (a == "--quality" || a == "--lossless" || a == "--metadata" || a == "--nodata") {
            error = a.toStdString() + " is for XRV output; JPEG 2000 output takes --rate";
            return false;
        } else if (a.startsWith("--")) {
            error = "unknown option " + a.toStdString();
            return false;
        } else {
            rest << a;
        }
        if (!ok) {
            error = "the value of " + a.toStdString() + " is not valid";
            return false;
        }
    }
    if (rest.size() != 2) {
        error = "give an input image and an output file";
        return false;
    }
    o.input = rest[0];
    o.output = rest[1];
    return true;
}

using Dataset = GDALDatasetUniquePtr;

// Gives the code-stream the input's placement, colours, RPC and XML and lets GDAL write the
// JP2 boxes around it, copying the code-stream byte for byte.
void wrap(GDALDataset& input, const Options& o, const std::string& codestream, const std::string& jp2)
{
    const char* const j2k[] = {"JP2OpenJPEG", nullptr};
    Dataset source(GDALDataset::Open(codestream.c_str(), GDAL_OF_RASTER | GDAL_OF_READONLY, j2k));
    if (!source) throw std::runtime_error("the code-stream just written cannot be read back");
    GDALDriver* vrtDriver = GetGDALDriverManager()->GetDriverByName("VRT");
    Dataset vrt(vrtDriver->CreateCopy("", source.get(), FALSE, nullptr, nullptr, nullptr));
    if (!vrt) throw std::runtime_error("no virtual copy of the code-stream can be made");
    double gt[6];
    const bool placed = input.GetGeoTransform(gt) == CE_None;
    if (placed) vrt->SetGeoTransform(gt);
    if (const OGRSpatialReference* srs = input.GetSpatialRef()) vrt->SetSpatialRef(srs);
    if (char** rpc = input.GetMetadata("RPC")) vrt->SetMetadata(rpc, "RPC");
    if (char** domains = input.GetMetadataDomainList()) {
        for (char** d = domains; *d; ++d)
            if (std::string(*d).rfind("xml:", 0) == 0) vrt->SetMetadata(input.GetMetadata(*d), *d);
        CSLDestroy(domains);
    }
    for (size_t b = 0; b < o.bands.size(); ++b)
        vrt->GetRasterBand(int(b) + 1)
            ->SetColorInterpretation(input.GetRasterBand(o.bands[b])->GetColorInterpretation());
    const std::string geo = placed ? "YES" : "NO";
    const std::string geoJp2 = "GeoJP2=" + geo, gmlJp2 = "GMLJP2=" + geo;
    const char* const options[] = {"USE_SRC_CODESTREAM=YES", geoJp2.c_str(), gmlJp2.c_str(), "WRITE_METADATA=YES",
                                   nullptr};
    GDALDriver* jp2Driver = GetGDALDriverManager()->GetDriverByName("JP2OpenJPEG");
    if (!jp2Driver) throw std::runtime_error("GDAL has no JP2OpenJPEG driver");
    Dataset out(jp2Driver->CreateCopy(jp2.c_str(), vrt.get(), FALSE, const_cast<char**>(options), nullptr, nullptr));
    if (!out) throw std::runtime_error(std::string("cannot write the JP2 file: ") + CPLGetLastErrorMsg());
}

}  // namespace

int runCompressJp2(const QStringList& args)
{
    Options o;
    std::string error;
    if (!parse(args, o, error)) return fail(error);
    GDALAllRegister();
    CPLSetConfigOption("GDAL_PAM_ENABLED", "NO");
    Dataset input(GDALDataset::Open(o.input.toUtf8().constData(), GDAL_OF_RASTER | GDAL_OF_READONLY));
    if (!input) return fail("'" + o.input.toStdString() + "' cannot be read as a raster image");
    if (o.bands.empty())
        for (int b = 1; b <= input->GetRasterCount(); ++b) o.bands.push_back(b);
    RasterFormat format;
    format.width = input->GetRasterXSize();
    format.height = input->GetRasterYSize();
    format.bands = int(o.bands.size());
    for (int b : o.bands) {
        GDALRasterBand* band = input->GetRasterBand(b);
        if (!band) return fail("the input has no band " + std::to_string(b));
        const GDALDataType t = band->GetRasterDataType();
        if (t != GDT_Byte && t != GDT_UInt16)
            return fail(std::string("band ") + std::to_string(b) + " holds " + GDALGetDataTypeName(t) +
                        " cells; JPEG 2000 output takes 8- and 16-bit unsigned cells");
        format.bits = std::max(format.bits == 8 && b == o.bands.front() ? 0 : format.bits, t == GDT_Byte ? 8 : 16);
    }
    J2kCodingParameters coding;
    coding.tileSize = o.tile;
    coding.levels = o.levels;
    coding.layers = 1;
    coding.rate = o.rate;
    coding.threads = o.threads;
    coding.comment = "Made by xrvtool compress";

    const auto start = std::chrono::steady_clock::now();
    const std::string codestream = o.output.toStdString() + ".part.j2k";
    const bool terminal = isatty(fileno(stderr));
    const int tiles = ((format.width + o.tile - 1) / o.tile) * ((format.height + o.tile - 1) / o.tile);
    int done = 0;
    try {
        TiledJ2kEncoder encoder(format, coding);
        encoder.encode(codestream, [&](int x0, int y0, int w, int h, std::vector<uint8_t>& out) {
            const int bytes = format.bits > 8 ? 2 : 1;
            out.resize(size_t(w) * h * format.bands * bytes);
            std::vector<int> map(o.bands);
            if (input->RasterIO(GF_Read, x0, y0, w, h, out.data(), w, h, bytes == 2 ? GDT_UInt16 : GDT_Byte,
                                format.bands, map.data(), bytes, GSpacing(bytes) * w, GSpacing(bytes) * w * h,
                                nullptr) != CE_None)
                throw std::runtime_error("the input cannot be read at " + std::to_string(x0) + "," +
                                         std::to_string(y0));
            if (terminal) std::fprintf(stderr, "\rtile %d of %d", ++done, tiles);
        });
        if (terminal) std::fprintf(stderr, "\n");
        wrap(*input, o, codestream, o.output.toStdString());
    } catch (const std::exception& e) {
        std::remove(codestream.c_str());
        return fail(e.what());
    }
    std::remove(codestream.c_str());
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    FILE* f = std::fopen(o.output.toUtf8().constData(), "rb");
    long size = 0;
    if (f) {
        std::fseek(f, 0, SEEK_END);
        size = std::ftell(f);
        std::fclose(f);
    }
    const double raw = double(format.width) * format.height * format.bands * (format.bits > 8 ? 2 : 1);
    std::printf(
        "%s: %d x %d cells, %d bands, %d px tiles, %d levels, RPCL, tile-parts by resolution, TLM + PLT, "
        "%ld bytes\nratio %.2f:1, %.2f s, %.1f megapixels/s\n",
        o.output.toUtf8().constData(), format.width, format.height, format.bands, o.tile, o.levels, size,
        size ? raw / double(size) : 0.0, seconds, double(format.width) * format.height / 1e6 / seconds);
    return 0;
}
