#include "XrvSample.h"

#include <chrono>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <vector>

#include <gdal_priv.h>
#include <ogr_spatialref.h>

#include "RpcModel.h"
#include "TextureGenerator.h"
#include "xrv/XrvWriter.h"

namespace Xrv = PLK::Engine::Xrv;

namespace {

void placeAndDescribe(const Georeference& g, const RasterFormat& f, Xrv::Header& h)
{
    h.placement.present = true;
    h.placement.originX = g.originX;
    h.placement.originY = g.originY;
    h.placement.cellX = g.cell;
    h.placement.cellY = -g.cell;
    h.placement.epsg = g.epsg;
    h.placement.units = PLK_UNITS_METERS;
    OGRSpatialReference srs;
    if (srs.importFromEPSG(g.epsg) == OGRERR_NONE) {
        char* wkt = nullptr;
        if (srs.exportToWkt(&wkt) == OGRERR_NONE && wkt) h.placement.wkt = wkt;
        CPLFree(wkt);
        if (srs.IsGeographic()) h.placement.units = PLK_UNITS_DEGREES;
    }
    const GDALRPCInfoV2 rpc = RpcModel::forImage(g, f.width, f.height);
    const double head[12] = {rpc.dfERR_BIAS,   rpc.dfERR_RAND,  rpc.dfLINE_OFF,   rpc.dfSAMP_OFF,
                             rpc.dfLAT_OFF,    rpc.dfLONG_OFF,  rpc.dfHEIGHT_OFF, rpc.dfLINE_SCALE,
                             rpc.dfSAMP_SCALE, rpc.dfLAT_SCALE, rpc.dfLONG_SCALE, rpc.dfHEIGHT_SCALE};
    std::memcpy(&h.rpc.ERR_BIAS, head, sizeof head);
    std::memcpy(h.rpc.LINE_NUM_COEFF, rpc.adfLINE_NUM_COEFF, sizeof h.rpc.LINE_NUM_COEFF);
    std::memcpy(h.rpc.LINE_DEN_COEFF, rpc.adfLINE_DEN_COEFF, sizeof h.rpc.LINE_DEN_COEFF);
    std::memcpy(h.rpc.SAMP_NUM_COEFF, rpc.adfSAMP_NUM_COEFF, sizeof h.rpc.SAMP_NUM_COEFF);
    std::memcpy(h.rpc.SAMP_DEN_COEFF, rpc.adfSAMP_DEN_COEFF, sizeof h.rpc.SAMP_DEN_COEFF);
    h.hasRpc = true;
}

}  // namespace

std::string writeXrvSample(const std::string& path, const XrvSampleContent& c)
{
    const RasterFormat& f = c.format;
    Xrv::Header h;
    h.width = uint32_t(f.width);
    h.height = uint32_t(f.height);
    h.cellType = f.bits > 8 ? PLK_CELL_UINT16 : PLK_CELL_UINT8;
    h.colourSpace = f.bands >= 3 ? PLK_COLOR_SRGB : PLK_COLOR_GREYSCALE;
    h.alphaBand = f.bands == 4 ? 3 : -1;
    for (int b = 0; b < f.bands; ++b) h.bands.push_back({uint8_t(f.bits), false, ""});
    if (c.georeference) placeAndDescribe(*c.georeference, f, h);
    h.xml.push_back(c.xml);
    h.hasAuthoring = true;
    h.authoring = {"Unclassified", "", "Synthetic terrain", "mksample", "", "", "", "", "", ""};
    h.compressionDate = "made at build time";
    h.targetRate = 10;

    PLK::Engine::XrvWriteOptions options;
    options.threads = unsigned(std::max(1, c.threads));
    options.quantStep = f.bits > 8 ? 1.0f / 4096 : 1.0f / 160;  // about 10:1 on this landscape
    options.measureError = false;
    const std::string partial = path + ".part";
    PLK::Engine::XrvWriter writer(partial, h, options);
    std::string error;
    if (!writer.begin(error)) throw std::runtime_error(error);

    const auto start = std::chrono::steady_clock::now();
    const TextureGenerator texture(f);
    std::vector<uint8_t> bytes;
    std::vector<int32_t> cells;
    for (uint32_t y = 0; y < h.height; y += h.blockHeight) {
        const uint32_t rows = std::min(h.blockHeight, h.height - y);
        texture.renderTile(0, int(y), f.width, int(rows), bytes);
        const size_t n = size_t(f.width) * rows * size_t(f.bands);
        cells.resize(n);
        for (size_t i = 0; i < n; ++i) {
            if (f.bits > 8) {
                uint16_t v;
                std::memcpy(&v, bytes.data() + 2 * i, 2);
                cells[i] = v;
            } else {
                cells[i] = bytes[i];
            }
        }
        std::vector<const int32_t*> planes;
        for (int b = 0; b < f.bands; ++b) planes.push_back(cells.data() + size_t(b) * f.width * rows);
        if (!writer.addStrip(planes, rows, error)) throw std::runtime_error(error);
    }
    if (!writer.finish(error)) throw std::runtime_error(error);
    std::filesystem::rename(partial, path);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return "mksample: made " + path + ": " + std::to_string(writer.bytesWritten() / 1024) + " KiB in " +
           std::to_string(seconds).substr(0, 4) + " s";
}
