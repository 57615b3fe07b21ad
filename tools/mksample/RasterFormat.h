#pragma once

// Shape and sample type of the image being made; shared by the texture and the encoder.
struct RasterFormat {
    int width = 8192;
    int height = 8192;
    int bands = 3;  // 1 grey (or elevation at 16 bits), 3 RGB, 4 RGB + opacity
    int bits = 8;   // 8 or 16, unsigned

    int bytesPerSample() const { return bits > 8 ? 2 : 1; }
};
