#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "RasterFormat.h"

// Paints a synthetic landscape, one tile at a time.
//
// A fractal height field (broad relief plus ridged mountain chains) is coloured by
// height - water, beach, meadows, forest, bare slopes, rock, snow - and lit by a
// hill-shade from the north-west, with finer noise for texture. Every sample depends
// only on its position and the seed, so tiles join seamlessly and a build always makes
// the same image, and the whole image is never held in memory.
class TextureGenerator {
public:
    explicit TextureGenerator(const RasterFormat& format, uint32_t seed = 20240611u);

    // Fills `out` with the tile at (x0, y0) of size w x h, band after band, rows top
    // down: one byte per sample at 8 bits, native-endian uint16 at 16 bits.
    void renderTile(int x0, int y0, int w, int h, std::vector<uint8_t>& out) const;

private:
    struct Terrain;
    struct Pixel;

    Terrain computeTerrain(int x0, int y0, int w, int h) const;
    Pixel shade(const Terrain& t, int x, int y) const;
    float opacity(int x, int y) const;
    void storePixel(const Pixel& p, float opacity, size_t index, size_t bandStride, std::vector<uint8_t>& out) const;
    void putSample(std::vector<uint8_t>& out, size_t pos, float value, float max) const;

    RasterFormat m_format;
    uint32_t m_seed;
};
