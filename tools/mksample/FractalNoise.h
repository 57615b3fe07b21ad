#pragma once

#include <cstdint>

// Gradient noise on power-of-two lattices, evaluated a whole block at a time.
//
// The sample image is generated tile by tile, so every value must depend only on its
// world position, never on which tile asked for it. Wavelengths are powers of two so
// that the lattice cell and the position inside it come from shifts and masks of the
// integer pixel position, exactly and cheaply; each octave gets its own seeded offset
// so the lattices of different octaves do not line up.
class FractalNoise {
public:
    enum class Shape {
        Plain,   // the noise value itself, roughly in [-1, 1]
        Ridged,  // about (1 - |n|)^2: crests where the noise crosses zero, for mountain chains
    };

    struct Octave {
        int log2Wavelength;  // 1 (2 pixels) .. 16 (65536 pixels)
        float amplitude;
        uint32_t seed;
    };

    // Adds amplitude * shape(noise) of one octave to a w x h block of floats (row stride w)
    // whose first value belongs to world pixel (x0, y0).
    static void addOctave(float* block, int x0, int y0, int w, int h, const Octave& octave, Shape shape = Shape::Plain);

    // Adds the octaves log2Wavelength = top, top - 1, ..., bottom: the first with
    // `amplitude`, each next one with the previous amplitude times `persistence`.
    static void addOctaves(float* block, int x0, int y0, int w, int h, int top, int bottom, float amplitude,
                           float persistence, uint32_t seed, Shape shape = Shape::Plain);
};
