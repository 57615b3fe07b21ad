#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "RasterFormat.h"

// How the code-stream is laid out; the defaults are those of the bundled sample.
struct J2kCodingParameters {
    int tileSize = 512;
    int levels = 6;    // resolution levels, i.e. levels - 1 wavelet decompositions
    int layers = 4;    // quality layers; each one halves the compression ratio of the one before
    double rate = 10;  // compression ratio of the last (best) layer, n:1
    std::string progression = "RPCL";
    int threads = 1;  // worker threads inside OpenJPEG
    std::string comment = "Made by mksample";
};

// Writes a raw, tiled JPEG 2000 code-stream, compressing one tile at a time as a
// caller-supplied source renders it, so the whole image never sits in memory.
//
// Tiles are split into one tile-part per resolution level, so a viewer can fetch a
// low-resolution overview of every tile without reading the detail behind it.
class TiledJ2kEncoder {
public:
    // Renders tile (x0, y0, w, h) in the planar layout TextureGenerator::renderTile uses.
    using TileSource = std::function<void(int x0, int y0, int w, int h, std::vector<uint8_t>& out)>;

    TiledJ2kEncoder(const RasterFormat& format, const J2kCodingParameters& coding);

    // Throws std::runtime_error with OpenJPEG's own message when anything fails.
    void encode(const std::string& path, const TileSource& source) const;

    // The compression ratios of all layers, coarsest first.
    std::vector<float> layerRates() const;

    static bool isProgressionName(const std::string& name);

private:
    struct Session;

    void configure(Session& s) const;
    void writeTiles(Session& s, const TileSource& source) const;

    RasterFormat m_format;
    J2kCodingParameters m_coding;
};
