#include "FractalNoise.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

// Keeps shifted world coordinates positive, so >> and & give floor and remainder.
constexpr int64_t kPositiveShift = int64_t(1) << 28;

uint32_t mix(uint32_t h)
{
    h ^= h >> 16;
    h *= 0x7feb352du;
    h ^= h >> 15;
    h *= 0x846ca68bu;
    h ^= h >> 16;
    return h;
}

uint32_t latticeHash(int64_t i, int64_t j, uint32_t seed)
{
    return mix(seed ^ mix(static_cast<uint32_t>(i) * 0x9e3779b1u + static_cast<uint32_t>(j) * 0x85ebca77u));
}

struct Gradients {
    float x[256];
    float y[256];
    Gradients()
    {
        for (int k = 0; k < 256; ++k) {
            const double a = (k + 0.5) * 2.0 * M_PI / 256.0;
            x[k] = static_cast<float>(std::cos(a));
            y[k] = static_cast<float>(std::sin(a));
        }
    }
};

const Gradients& gradients()
{
    static const Gradients table;
    return table;
}

float fade(float t)
{
    return t * t * t * (t * (t * 6.0f - 15.0f) + 10.0f);
}

// Per-octave tables indexed by the position inside a lattice cell.
struct CellTables {
    std::vector<float> frac;  // position in the cell, 0 .. 1
    std::vector<float> fade;  // its smoothed weight
    explicit CellTables(int log2Wavelength)
    {
        const int n = 1 << log2Wavelength;
        frac.resize(n);
        fade.resize(n);
        for (int m = 0; m < n; ++m) {
            frac[m] = static_cast<float>(m) / n;
            fade[m] = ::fade(frac[m]);
        }
    }
};

// Perlin's 2-D gradient noise peaks near +-0.7; this brings it to about +-1.
constexpr float kNormalise = 1.41f;

template <FractalNoise::Shape S>
float shaped(float n)
{
    if (S == FractalNoise::Shape::Plain) return n * kNormalise;
    // A softened |n| rounds the crests a little, so big ridges do not end in knife edges.
    const float v = n * kNormalise;
    const float r = 1.0f - std::sqrt(v * v + 0.004f);
    return r * r;
}

// Along one row the vertical interpolation is fixed, so each lattice column's
// contribution is linear in the horizontal offset: alpha + beta * dx. Computing these
// once per column leaves a few multiply-adds per pixel.
class RowEvaluator {
public:
    RowEvaluator(uint32_t seed, int64_t firstColumn, int columns)
        : m_seed(seed), m_firstColumn(firstColumn), m_alpha(columns), m_beta(columns)
    {}

    void prepare(int64_t latticeRow, float fy, float v)
    {
        const Gradients& g = gradients();
        const float w0 = 1.0f - v;
        for (size_t c = 0; c < m_alpha.size(); ++c) {
            const int64_t i = m_firstColumn + static_cast<int64_t>(c);
            const uint32_t k0 = latticeHash(i, latticeRow, m_seed) & 255u;
            const uint32_t k1 = latticeHash(i, latticeRow + 1, m_seed) & 255u;
            m_alpha[c] = w0 * g.y[k0] * fy + v * g.y[k1] * (fy - 1.0f);
            m_beta[c] = w0 * g.x[k0] + v * g.x[k1];
        }
    }

    // Adds the octave along one row, one lattice cell at a time: inside a cell the
    // coefficients are fixed and the tables are read in order, which vectorises.
    template <FractalNoise::Shape S>
    void addRow(float* out, int w, int firstInCell, int log2Wavelength, const CellTables& cell, float amplitude) const
    {
        const int wavelength = 1 << log2Wavelength;
        int m = firstInCell;
        for (int x = 0, c = 0; x < w; ++c, m = 0) {
            const int n = std::min(wavelength - m, w - x);
            const float a0 = m_alpha[c], b0 = m_beta[c], a1 = m_alpha[c + 1], b1 = m_beta[c + 1];
            const float* frac = cell.frac.data() + m;
            const float* fade = cell.fade.data() + m;
            float* dst = out + x;
            for (int j = 0; j < n; ++j) {
                const float left = a0 + b0 * frac[j];
                const float right = a1 + b1 * (frac[j] - 1.0f);
                dst[j] += amplitude * shaped<S>(left + fade[j] * (right - left));
            }
            x += n;
        }
    }

private:
    uint32_t m_seed;
    int64_t m_firstColumn;
    std::vector<float> m_alpha;
    std::vector<float> m_beta;
};

}  // namespace

void FractalNoise::addOctave(float* block, int x0, int y0, int w, int h, const Octave& octave, Shape shape)
{
    const int k = octave.log2Wavelength;
    const int64_t mask = (int64_t(1) << k) - 1;
    // Each octave is shifted by its own offset so no two lattices share grid lines.
    const int64_t offX = kPositiveShift + (mix(octave.seed * 3u + 1u) & 0xfffff);
    const int64_t offY = kPositiveShift + (mix(octave.seed * 3u + 2u) & 0xfffff);
    const int64_t wx0 = x0 + offX;
    const int64_t firstColumn = wx0 >> k;
    const int columns = static_cast<int>(((wx0 + w - 1) >> k) - firstColumn + 2);

    const CellTables cell(k);
    RowEvaluator row(octave.seed, firstColumn, columns);
    const int firstInCell = static_cast<int>(wx0 & mask);
    for (int y = 0; y < h; ++y) {
        const int64_t wy = y0 + y + offY;
        const int m = static_cast<int>(wy & mask);
        row.prepare(wy >> k, cell.frac[m], cell.fade[m]);
        float* out = block + static_cast<size_t>(y) * w;
        if (shape == Shape::Plain)
            row.addRow<Shape::Plain>(out, w, firstInCell, k, cell, octave.amplitude);
        else
            row.addRow<Shape::Ridged>(out, w, firstInCell, k, cell, octave.amplitude);
    }
}

void FractalNoise::addOctaves(float* block, int x0, int y0, int w, int h, int top, int bottom, float amplitude,
                              float persistence, uint32_t seed, Shape shape)
{
    float a = amplitude;
    for (int k = top; k >= bottom; --k) {
        addOctave(block, x0, y0, w, h, Octave{k, a, seed + 0x1000u * static_cast<uint32_t>(k)}, shape);
        a *= persistence;
    }
}
