#include "TextureGenerator.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "FractalNoise.h"

namespace {

using Shape = FractalNoise::Shape;

// Horizontal size the texture pretends a pixel has, in metres; sets how steep the
// relief looks in the hill-shade (independent of the georeferencing written to the file).
constexpr float kTextureCell = 4.0f;
constexpr float kSnowLine = 2300.0f;

struct Rgb {
    float r, g, b;
};

Rgb lerp(const Rgb& a, const Rgb& b, float t)
{
    return {a.r + (b.r - a.r) * t, a.g + (b.g - a.g) * t, a.b + (b.b - a.b) * t};
}

float clamp01(float v)
{
    return std::min(1.0f, std::max(0.0f, v));
}

float smoothstep(float e0, float e1, float x)
{
    const float t = clamp01((x - e0) / (e1 - e0));
    return t * t * (3.0f - 2.0f * t);
}

Rgb waterColour(float depth)
{
    const Rgb shallow{64, 138, 158};
    const Rgb deep{14, 44, 84};
    return lerp(shallow, deep, smoothstep(0.0f, 180.0f, depth));
}

// Vegetation follows moisture in the lowlands and thins out with height.
Rgb landColour(float h, float slope, float moisture, float snowNoise)
{
    const Rgb sand{206, 192, 142}, dry{158, 152, 88}, lush{72, 122, 52}, forest{40, 78, 38};
    const Rgb bare{128, 108, 80}, rock{122, 118, 112}, snow{244, 246, 250};
    Rgb c = lerp(dry, lush, smoothstep(-0.4f, 0.5f, moisture));
    c = lerp(c, forest, smoothstep(250.0f, 700.0f, h) * smoothstep(-0.2f, 0.3f, moisture));
    c = lerp(c, bare, smoothstep(1000.0f, 1500.0f, h));
    c = lerp(c, rock, std::max(smoothstep(1500.0f, 2000.0f, h), smoothstep(0.9f, 1.6f, slope)));
    const float snowLine = kSnowLine + 250.0f * snowNoise + 400.0f * slope;
    c = lerp(c, snow, smoothstep(snowLine - 80.0f, snowLine + 80.0f, h));
    return lerp(sand, c, smoothstep(2.0f, 12.0f, h));
}

}  // namespace

// Heights carry a one-pixel border so the hill-shade can take central differences.
struct TextureGenerator::Terrain {
    int w = 0, h = 0;
    std::vector<float> height;    // (w + 2) x (h + 2), metres above sea level
    std::vector<float> moisture;  // w x h, about -1 .. 1
    std::vector<float> detail;    // w x h, fine texture, about -1 .. 1

    float heightAt(int x, int y) const { return height[static_cast<size_t>(y + 1) * (w + 2) + (x + 1)]; }
};

struct TextureGenerator::Pixel {
    Rgb colour;
    float elevation;
};

TextureGenerator::TextureGenerator(const RasterFormat& format, uint32_t seed) : m_format(format), m_seed(seed) {}

TextureGenerator::Terrain TextureGenerator::computeTerrain(int x0, int y0, int w, int h) const
{
    Terrain t;
    t.w = w;
    t.h = h;
    const int bw = w + 2, bh = h + 2;
    std::vector<float> relief(static_cast<size_t>(bw) * bh, 0.0f);
    std::vector<float> ridges(relief.size(), 0.0f);
    FractalNoise::addOctaves(relief.data(), x0 - 1, y0 - 1, bw, bh, 12, 1, 1.0f, 0.5f, m_seed);
    FractalNoise::addOctaves(ridges.data(), x0 - 1, y0 - 1, bw, bh, 10, 3, 0.6f, 0.5f, m_seed + 7u, Shape::Ridged);
    t.height.resize(relief.size());
    for (size_t i = 0; i < relief.size(); ++i) {
        // Mountains rise only well inland; the broad relief sets coasts and valleys.
        const float inland = smoothstep(0.05f, 0.55f, relief[i]);
        t.height[i] = 700.0f * relief[i] + 2600.0f * inland * ridges[i] * ridges[i] + 60.0f;
    }
    t.moisture.assign(static_cast<size_t>(w) * h, 0.0f);
    FractalNoise::addOctaves(t.moisture.data(), x0, y0, w, h, 9, 5, 0.7f, 0.5f, m_seed + 13u);
    t.detail.assign(static_cast<size_t>(w) * h, 0.0f);
    FractalNoise::addOctaves(t.detail.data(), x0, y0, w, h, 3, 1, 0.6f, 0.6f, m_seed + 29u);
    return t;
}

TextureGenerator::Pixel TextureGenerator::shade(const Terrain& t, int x, int y) const
{
    const float h = t.heightAt(x, y);
    const size_t i = static_cast<size_t>(y) * t.w + x;
    const float detail = t.detail[i];
    if (h <= 0.0f) {
        // Water is flat: no hill-shade, only a faint ripple.
        Rgb c = waterColour(-h);
        const float ripple = 1.0f + 0.03f * detail;
        return {{c.r * ripple, c.g * ripple, c.b * ripple}, h};
    }
    const float dzdx = (t.heightAt(x + 1, y) - t.heightAt(x - 1, y)) / (2.0f * kTextureCell);
    const float dzdy = (t.heightAt(x, y + 1) - t.heightAt(x, y - 1)) / (2.0f * kTextureCell);
    const float slope = std::sqrt(dzdx * dzdx + dzdy * dzdy);
    // Light from the north-west, 45 degrees up; x runs east, y runs south.
    const float lambert = (dzdx * 0.5f + dzdy * 0.5f + 0.7071f) / std::sqrt(1.0f + slope * slope);
    const float light = 0.30f + 0.95f * clamp01(lambert);
    Rgb c = landColour(h, slope, t.moisture[i], detail);
    const float grain = light * (1.0f + 0.08f * detail);
    return {{c.r * grain, c.g * grain, c.b * grain}, h};
}

// Opaque inside a rounded rectangle inset from the image border, with a soft edge.
float TextureGenerator::opacity(int x, int y) const
{
    const float w = static_cast<float>(m_format.width), h = static_cast<float>(m_format.height);
    const float inset = 0.04f * std::min(w, h), radius = 0.15f * std::min(w, h);
    const float hx = 0.5f * w - inset - radius, hy = 0.5f * h - inset - radius;
    const float dx = std::max(0.0f, std::fabs(x + 0.5f - 0.5f * w) - hx);
    const float dy = std::max(0.0f, std::fabs(y + 0.5f - 0.5f * h) - hy);
    const float outside = std::sqrt(dx * dx + dy * dy) - radius;
    return clamp01(0.5f - outside / 2.0f);
}

void TextureGenerator::storePixel(const Pixel& p, size_t index, size_t bandStride, std::vector<uint8_t>& out) const
{
    float v[3] = {p.colour.r, p.colour.g, p.colour.b};
    if (m_format.bands == 1) v[0] = 0.299f * v[0] + 0.587f * v[1] + 0.114f * v[2];
    const int colourBands = std::min(m_format.bands, 3);
    if (m_format.bits <= 8) {
        for (int b = 0; b < colourBands; ++b)
            out[b * bandStride + index] = static_cast<uint8_t>(std::min(255.0f, std::max(0.0f, v[b] + 0.5f)));
        return;
    }
    // 16-bit images carry 12 significant bits: an elevation field for one band, the
    // colours scaled up for three.
    if (m_format.bands == 1) v[0] = (p.elevation + 500.0f) * (4095.0f / 3800.0f);
    else
        for (float& c : v) c *= 4095.0f / 255.0f;
    uint16_t* out16 = reinterpret_cast<uint16_t*>(out.data());
    for (int b = 0; b < colourBands; ++b)
        out16[b * bandStride + index] = static_cast<uint16_t>(std::min(4095.0f, std::max(0.0f, v[b] + 0.5f)));
}

void TextureGenerator::renderTile(int x0, int y0, int w, int h, std::vector<uint8_t>& out) const
{
    const Terrain terrain = computeTerrain(x0, y0, w, h);
    const size_t bandStride = static_cast<size_t>(w) * h;
    out.assign(bandStride * m_format.bands * m_format.bytesPerSample(), 0);
    const bool withOpacity = m_format.bands == 4;
    const float opaque = m_format.bits <= 8 ? 255.0f : 65535.0f;
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            const size_t index = static_cast<size_t>(y) * w + x;
            storePixel(shade(terrain, x, y), index, bandStride, out);
            if (!withOpacity) continue;
            const float a = opacity(x0 + x, y0 + y) * opaque + 0.5f;
            if (m_format.bits <= 8) out[3 * bandStride + index] = static_cast<uint8_t>(a);
            else reinterpret_cast<uint16_t*>(out.data())[3 * bandStride + index] = static_cast<uint16_t>(a);
        }
    }
}
