// A rendered picture: rows of 32-bit pixels, bytes blue, green, red, alpha, as the engine's
// ReadLineBGRA writes them. Plain memory rather than a QImage, so xrvtool needs no Qt GUI library
// (and its dozen display libraries) to start.
#pragma once

#include <cstdint>
#include <vector>

struct Picture {
    int width = 0;
    int height = 0;
    std::vector<uint8_t> bgra;

    Picture() = default;
    Picture(int w, int h) : width(w), height(h), bgra(size_t(w) * size_t(h) * 4) {}
    int bytesPerLine() const { return width * 4; }
    uint8_t* line(int y) { return bgra.data() + size_t(y) * bytesPerLine(); }
    const uint8_t* line(int y) const { return bgra.data() + size_t(y) * bytesPerLine(); }
    bool opaque() const
    {
        for (size_t i = 3; i < bgra.size(); i += 4)
            if (bgra[i] != 255) return false;
        return true;
    }
};
