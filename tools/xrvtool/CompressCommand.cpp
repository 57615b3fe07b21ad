#include "CompressCommand.h"

#include <QDateTime>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <map>
#include <thread>
#include <unistd.h>

#include <gdal_priv.h>
#include <ogr_spatialref.h>

#include "CompressJp2.h"
#include "GdalModule.h"
#include "georef/CrsDescriber.h"
#include "georef/GeoTransformConverter.h"
#include "xrv/HtBlockCodec.h"
#include "xrv/XrvWriter.h"

using PLK::Engine::HtBlockCodec;
using PLK::Engine::HtBlockParams;
using PLK::Engine::HtEncodedBlock;
using PLK::Engine::XrvWriteOptions;
using PLK::Engine::XrvWriter;
namespace Xrv = PLK::Engine::Xrv;

namespace {

struct Options {
    QString input, output;
    double rate = 0;     ///< target ratio N:1
    double quality = 0;  ///< target PSNR in dB
    bool lossless = false;
    uint32_t block = 512;
    std::vector<int> bands;  ///< 1-based GDAL band numbers
    bool hasNodata = false;
    double nodata = 0;
    std::map<std::string, std::string> metadata;
    unsigned threads = std::max(1u, std::thread::hardware_concurrency());
};

// --metadata keys, in the order of the file's authoring texts.
const char* const kAuthoringKeys[Xrv::kAuthoringTexts] = {"CLASSIFICATION", "ACQUISITION_DATE", "SENSOR",  "SOFTWARE",
                                                          "AUTHOR",         "COPYRIGHT",        "COMPANY", "EMAIL",
                                                          "ADDRESS",        "TELEPHONE"};

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
        const auto value = [&]() -> QString { return i + 1 < args.size() ? args[++i] : QString(); };
        bool ok = true;
        if (a == "--rate") {
            o.rate = value().toDouble(&ok);
            ok = ok && o.rate >= 1;
        } else if (a == "--quality") {
            o.quality = value().toDouble(&ok);
            ok = ok && o.quality > 10 && o.quality < 120;
        } else if (a == "--lossless") {
            o.lossless = true;
        } else if (a == "--block") {
            o.block = value().toUInt(&ok);
        } else if (a == "--threads") {
            o.threads = value().toUInt(&ok);
            ok = ok && o.threads >= 1 && o.threads <= 256;
        } else if (a == "--nodata") {
            o.nodata = value().toDouble(&ok);
            o.hasNodata = true;
        } else if (a == "--bands") {
            for (const QString& b : value().split(',')) {
                o.bands.push_back(b.toInt(&ok));
                if (!ok || o.bands.back() < 1) break;
            }
            ok = ok && !o.bands.empty();
        } else if (a == "--metadata") {
            const QString kv = value();
            const int eq = kv.indexOf('=');
            const std::string key = kv.left(eq).toUpper().toStdString();
            ok = eq > 0 && std::find_if(std::begin(kAuthoringKeys), std::end(kAuthoringKeys),
                                        [&](const char* k) { return key == k; }) != std::end(kAuthoringKeys);
            if (ok) o.metadata[key] = kv.mid(eq + 1).toStdString();
            if (!ok) {
                error =
                    "--metadata takes KEY=VALUE with KEY one of CLASSIFICATION, ACQUISITION_DATE, SENSOR, "
                    "SOFTWARE, AUTHOR, COPYRIGHT, COMPANY, EMAIL, ADDRESS, TELEPHONE";
                return false;
            }
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
        error = "give an input image and an output .xrv file";
        return false;
    }
    o.input = rest[0];
    o.output = rest[1];
    if (int(o.rate > 0) + int(o.quality > 0) + int(o.lossless) > 1) {
        error = "choose one of --rate, --quality and --lossless";
        return false;
    }
    if (!o.lossless && o.quality == 0 && o.rate == 0) o.rate = 10;
    return true;
}

// Band layout, colour space and metadata of the input, as the header will hold them.
bool describeInput(GDALDataset& ds, const Options& o, Xrv::Header& h, std::string& error)
{
    h.width = static_cast<uint32_t>(ds.GetRasterXSize());
    h.height = static_cast<uint32_t>(ds.GetRasterYSize());
    int red = -1, green = -1, blue = -1, grey = -1;
    bool isSigned = false;
    uint32_t cellBits = 0;
    for (size_t i = 0; i < o.bands.size(); ++i) {
        GDALRasterBand* band = ds.GetRasterBand(o.bands[i]);
        if (!band) {
            error = "the input has no band " + std::to_string(o.bands[i]);
            return false;
        }
        const GDALDataType type = band->GetRasterDataType();
        const char* pixelType = band->GetMetadataItem("PIXELTYPE", "IMAGE_STRUCTURE");
        Xrv::Band b;
        if (type == GDT_Byte) {
            b.bits = 8;
            b.isSigned = pixelType && std::string(pixelType) == "SIGNEDBYTE";
        } else if (type == GDT_UInt16 || type == GDT_Int16) {
            b.bits = 16;
            b.isSigned = type == GDT_Int16;
        } else {
            error = std::string("band ") + std::to_string(o.bands[i]) + " holds " + GDALGetDataTypeName(type) +
                    " cells; XRV stores 8- and 16-bit integer cells exactly and nothing wider. Convert the image "
                    "first (for example gdal_translate -ot UInt16 -scale)";
            return false;
        }
        cellBits = std::max<uint32_t>(cellBits, b.bits);
        if (const char* nbits = band->GetMetadataItem("NBITS", "IMAGE_STRUCTURE"))
            b.bits = static_cast<uint8_t>(std::max(1, std::min<int>(b.bits, std::atoi(nbits))));
        if (i > 0 && b.isSigned != isSigned) {
            error = "the bands mix signed and unsigned cells";
            return false;
        }
        isSigned = b.isSigned;
        if (band->GetDescription() && *band->GetDescription()) b.description = band->GetDescription();
        switch (band->GetColorInterpretation()) {
            case GCI_RedBand:
                red = int(i);
                break;
            case GCI_GreenBand:
                green = int(i);
                break;
            case GCI_BlueBand:
                blue = int(i);
                break;
            case GCI_GrayIndex:
                grey = int(i);
                break;
            case GCI_AlphaBand:
                h.alphaBand = int(i);
                break;
            default:
                break;
        }
        h.bands.push_back(b);
    }
    h.cellType =
        cellBits == 8 ? (isSigned ? PLK_CELL_INT8 : PLK_CELL_UINT8) : (isSigned ? PLK_CELL_INT16 : PLK_CELL_UINT16);
    const size_t colour = h.bands.size() - (h.alphaBand >= 0 ? 1 : 0);
    if (red == 0 && green == 1 && blue == 2)
        h.colourSpace = PLK_COLOR_SRGB;
    else if (colour == 1 && (grey == 0 || h.alphaBand != 0))
        h.colourSpace = PLK_COLOR_GREYSCALE;
    else
        h.colourSpace = PLK_COLOR_MULTIBAND;

    double gt[6];
    if (ds.GetGeoTransform(gt) == CE_None && PLK::Engine::GeoTransformConverter::isUsable(gt)) {
        PLK::Engine::Georeferencing g;
        PLK::Engine::GeoTransformConverter::apply(gt, g);
        PLK::Engine::CrsDescriber::describe(ds.GetSpatialRef(), PLK_PROJECTION_EPSG_NAMES, g);
        Xrv::Placement& p = h.placement;
        p.present = true;
        p.originX = g.originX;
        p.originY = g.originY;
        p.cellX = g.cellX;
        p.cellY = g.cellY;
        p.rotationDegrees = g.rotationDegrees;
        p.epsg = g.epsg;
        p.units = g.units;
        p.wkt = g.wkt;
    }
    GDALRPCInfoV2 rpc{};
    if (GDALExtractRPCInfoV2(ds.GetMetadata("RPC"), &rpc)) {
        PLKRPCData& r = h.rpc;
        const double head[12] = {rpc.dfERR_BIAS,   rpc.dfERR_RAND,  rpc.dfLINE_OFF,   rpc.dfSAMP_OFF,
                                 rpc.dfLAT_OFF,    rpc.dfLONG_OFF,  rpc.dfHEIGHT_OFF, rpc.dfLINE_SCALE,
                                 rpc.dfSAMP_SCALE, rpc.dfLAT_SCALE, rpc.dfLONG_SCALE, rpc.dfHEIGHT_SCALE};
        std::copy(head, head + 12, &r.ERR_BIAS);
        std::copy(rpc.adfLINE_NUM_COEFF, rpc.adfLINE_NUM_COEFF + 20, r.LINE_NUM_COEFF);
        std::copy(rpc.adfLINE_DEN_COEFF, rpc.adfLINE_DEN_COEFF + 20, r.LINE_DEN_COEFF);
        std::copy(rpc.adfSAMP_NUM_COEFF, rpc.adfSAMP_NUM_COEFF + 20, r.SAMP_NUM_COEFF);
        std::copy(rpc.adfSAMP_DEN_COEFF, rpc.adfSAMP_DEN_COEFF + 20, r.SAMP_DEN_COEFF);
        h.hasRpc = true;
    }
    if (char** domains = ds.GetMetadataDomainList()) {
        for (char** d = domains; *d; ++d)
            if (std::string(*d).rfind("xml:", 0) == 0) {
                char** content = ds.GetMetadata(*d);
                if (content && content[0]) h.xml.push_back(content[0]);
            }
        CSLDestroy(domains);
    }
    h.hasAuthoring = true;
    for (size_t i = 0; i < Xrv::kAuthoringTexts; ++i) {
        const auto it = o.metadata.find(kAuthoringKeys[i]);
        h.authoring[i] = it != o.metadata.end() ? it->second : std::string();
    }
    if (h.authoring[3].empty()) h.authoring[3] = "xrvtool compress (XRV version 1)";
    h.compressionDate = QDateTime::currentDateTimeUtc().toString("yyyy-MM-dd hh:mm:ss 'UTC'").toStdString();
    h.hasNodata = o.hasNodata;
    h.nodata = o.nodata;
    return true;
}

bool readCells(GDALDataset& ds, const std::vector<int>& bands, uint32_t x, uint32_t y, uint32_t w, uint32_t h,
               std::vector<int32_t>& cells)
{
    cells.resize(size_t(w) * h * bands.size());
    std::vector<int> map(bands);
    return ds.RasterIO(GF_Read, int(x), int(y), int(w), int(h), cells.data(), int(w), int(h), GDT_Int32,
                       int(map.size()), map.data(), 4, 4 * GSpacing(w), 4 * GSpacing(w) * h, nullptr) == CE_None;
}

// Chooses the quantisation step on up to nine blocks spread over the image: the step whose
// coded size meets the target ratio, or whose error meets the target PSNR.
float chooseStep(GDALDataset& ds, const Options& o, const Xrv::Header& h, double& predictedRatio)
{
    struct Sample {
        std::vector<int32_t> cells;
        uint32_t w, h;
    };
    std::vector<Sample> samples;
    for (int sy = 0; sy < 3; ++sy)
        for (int sx = 0; sx < 3; ++sx) {
            const uint32_t w = std::min(h.blockWidth, h.width), hh = std::min(h.blockHeight, h.height);
            const uint32_t x = uint32_t((uint64_t(h.width - w) * (1 + 2 * sx)) / 6) / 8 * 8;
            const uint32_t y = uint32_t((uint64_t(h.height - hh) * (1 + 2 * sy)) / 6) / 8 * 8;
            Sample s{{}, w, hh};
            if (readCells(ds, o.bands, x, y, w, hh, s.cells)) samples.push_back(std::move(s));
            if (h.width <= w && h.height <= hh) break;
        }
    uint32_t bits = 1;
    for (const Xrv::Band& b : h.bands) bits = std::max<uint32_t>(bits, b.bits);
    const double bytesPerCell = bits > 8 ? 2.0 : 1.0;
    const double peak = double((1u << bits) - 1);
    const auto trial = [&](float step, double& ratio, double& psnr) {
        uint64_t raw = 0, coded = 0;
        double se = 0;
        uint64_t n = 0;
        for (const Sample& s : samples) {
            HtBlockParams p;
            p.width = s.w;
            p.height = s.h;
            p.components = uint32_t(h.bands.size());
            p.bits = uint8_t(bits);
            p.isSigned = h.bands[0].isSigned;
            p.decompositions = XrvWriter::resolutionsFor(h.blockWidth, h.blockHeight) - 1;
            p.quantStep = step;
            p.colourTransform = h.colourSpace == PLK_COLOR_SRGB;
            std::vector<const int32_t*> planes;
            for (uint32_t b = 0; b < p.components; ++b) planes.push_back(s.cells.data() + size_t(b) * s.w * s.h);
            HtEncodedBlock e;
            std::string why;
            if (!HtBlockCodec::encode(p, planes, e, why)) continue;
            raw += uint64_t(s.w) * s.h * p.components * uint64_t(bytesPerCell);
            coded += e.bytes.size();
            if (o.quality > 0) {
                std::vector<std::vector<int32_t>> d;
                uint32_t dw, dh;
                if (!HtBlockCodec::decode(e.bytes.data(), e.bytes.size(), 0, false, {s.w, s.h, p.components}, d, dw, dh,
                                          why))
                    continue;
                for (uint32_t b = 0; b < p.components; ++b)
                    for (size_t i = 0; i < d[b].size(); ++i) {
                        const double diff = double(d[b][i]) - double(planes[b][i]);
                        se += diff * diff;
                    }
                n += uint64_t(s.w) * s.h * p.components;
            }
        }
        ratio = coded ? double(raw) / double(coded) : 1.0;
        psnr = n && se > 0 ? 10 * std::log10(peak * peak * double(n) / se) : 999;
    };
    // The coded size falls and the error grows as the step grows: bisect log2(step).
    double lo = -20, hi = 0;
    for (int i = 0; i < 14; ++i) {
        const double mid = (lo + hi) / 2;
        double ratio, psnr;
        trial(float(std::exp2(mid)), ratio, psnr);
        const bool stepTooSmall = o.quality > 0 ? psnr > o.quality : ratio < o.rate;
        (stepTooSmall ? lo : hi) = mid;
    }
    const float step = float(std::exp2(o.quality > 0 ? lo : hi));
    double psnr;
    trial(step, predictedRatio, psnr);
    return step;
}

void showProgress(uint32_t done, uint32_t total, double seconds)
{
    const int width = 40;
    const int filled = total ? int(double(done) / total * width) : width;
    std::fprintf(stderr, "\r[%.*s%*s] %3d%%  %.1f s", filled,
                 "========================================", width - filled, "",
                 total ? int(100.0 * done / total) : 100, seconds);
    std::fflush(stderr);
}

}  // namespace

int runCompress(const QStringList& args)
{
    QStringList names;  // the arguments that are not options or option values
    for (int i = 0; i < args.size(); ++i) {
        if (!args[i].startsWith("--"))
            names << args[i];
        else if (args[i] != "--lossless")
            ++i;
    }
    if (names.size() == 2 && names[1].endsWith(".jp2", Qt::CaseInsensitive)) return runCompressJp2(args);
    Options o;
    std::string error;
    if (!parse(args, o, error)) return fail(error);
    if (!o.output.endsWith(".xrv", Qt::CaseInsensitive)) return fail("the output name must end in .xrv or .jp2");
    GDALAllRegister();
    // Strips are read once, top to bottom: GDAL's block cache need not hold more than a strip
    // of the input, and memory stays bounded whatever the image size.
    CPLSetConfigOption("GDAL_CACHEMAX", "64");
    CPLPushErrorHandler(CPLQuietErrorHandler);
    GDALDatasetUniquePtr ds(GDALDataset::Open(o.input.toUtf8().constData(), GDAL_OF_RASTER | GDAL_OF_READONLY));
    CPLPopErrorHandler();
    if (!ds) return fail("'" + o.input.toStdString() + "' cannot be read as a raster image");
    if (o.bands.empty())
        for (int b = 1; b <= ds->GetRasterCount(); ++b) o.bands.push_back(b);
    if (o.bands.empty()) return fail("the input has no bands");

    Xrv::Header header;
    header.blockWidth = header.blockHeight = o.block;
    if (!describeInput(*ds, o, header, error)) return fail(error);
    const auto start = std::chrono::steady_clock::now();
    XrvWriteOptions options;
    options.threads = o.threads;
    options.reversible = o.lossless;
    double predicted = 1;
    if (!o.lossless) {
        options.quantStep = chooseStep(*ds, o, header, predicted);
        header.targetRate = uint16_t(std::min(65535.0, std::round(o.rate > 0 ? o.rate : predicted)));
    }
    XrvWriter writer(o.output.toStdString(), header, options);
    if (!writer.begin(error)) return fail(error);

    const bool terminal = isatty(fileno(stderr));
    const uint32_t strips = header.blocksDown();
    std::vector<int32_t> cells;
    for (uint32_t s = 0; s < strips; ++s) {
        const uint32_t y = s * header.blockHeight;
        const uint32_t rows = std::min(header.blockHeight, header.height - y);
        if (!readCells(*ds, o.bands, 0, y, header.width, rows, cells))
            return fail("rows " + std::to_string(y) + " to " + std::to_string(y + rows) +
                        " of the input cannot be read");
        std::vector<const int32_t*> planes;
        for (size_t b = 0; b < o.bands.size(); ++b) planes.push_back(cells.data() + b * size_t(header.width) * rows);
        if (!writer.addStrip(planes, rows, error)) return fail(error);
        if (terminal)
            showProgress(s + 1, strips,
                         std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    if (!writer.finish(error)) return fail(error);
    if (terminal) std::fprintf(stderr, "\n");
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    uint64_t raw = 0;
    for (const Xrv::Band& b : header.bands) raw += uint64_t(b.bits > 8 ? 2 : 1) * header.width * header.height;
    const double megapixels = double(header.width) * header.height / 1e6;
    std::printf("%s: %u x %u cells, %zu bands, blocks %u x %u, %llu bytes\n", o.output.toUtf8().constData(),
                header.width, header.height, header.bands.size(), header.blockWidth, header.blockHeight,
                static_cast<unsigned long long>(writer.bytesWritten()));
    std::printf("ratio %.2f:1, PSNR %s, %.2f s, %.1f megapixels/s (%u threads)\n",
                double(raw) / double(writer.bytesWritten()),
                o.lossless ? "lossless" : (QString::number(writer.psnr(), 'f', 2) + " dB").toUtf8().constData(),
                seconds, megapixels / seconds, o.threads);
    return 0;
}

extern "C" int xrvtoolCompress(const QStringList* args)
{
    return runCompress(*args);
}
