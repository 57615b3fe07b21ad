#include "TextureGenerator.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "FractalNoise.h"

namespace {

using Shape = FractalNoise::Shape;

// Horizontal size the texture pretends a pixel has, in metres; sets how steep the
// relief looks in the hill-shade (independent of the georeferencing written to the file).
constexpr float kTextureCell = 6.0f;
constexpr float kSnowLine = 2500.0f;

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

// Turquoise shallows along the coasts, darkening quickly to open-sea blue.
Rgb waterColour(float depth)
{
    const Rgb shallow{78, 160, 170}, mid{32, 96, 138}, deep{16, 48, 92};
    const Rgb c = lerp(shallow, mid, smoothstep(0.0f, 35.0f, depth));
    return lerp(c, deep, smoothstep(30.0f, 400.0f, depth));
}

struct LandCover {
    Rgb colour;
    float woods;  // 0 open land .. 1 forest
};

// Meadows follow moisture; woods grow in patches where it is wettest, up to the tree
// line; above it alpine browns, then rock (also on any steep face), then snow.
LandCover landCover(float h, float slope, float moisture, float patches, float snowNoise)
{
    const Rgb sand{210, 196, 148}, dry{162, 154, 98}, lush{82, 124, 58}, forest{40, 72, 38};
    const Rgb alpine{134, 116, 86}, rock{132, 127, 120}, snow{244, 246, 250};
    Rgb c = lerp(dry, lush, smoothstep(-0.5f, 0.2f, moisture));
    const float woods = smoothstep(0.30f, 0.42f, 0.8f * moisture + patches) * (1.0f - smoothstep(1300.0f, 1700.0f, h));
    c = lerp(c, forest, woods);
    c = lerp(c, alpine, smoothstep(1400.0f, 1800.0f, h));
    c = lerp(c, rock, std::max(smoothstep(1800.0f, 2300.0f, h), smoothstep(1.3f, 2.2f, slope)));
    const float snowLine = kSnowLine + 200.0f * snowNoise + 300.0f * slope;
    c = lerp(c, snow, smoothstep(snowLine - 60.0f, snowLine + 60.0f, h));
    return {lerp(sand, c, smoothstep(2.0f, 10.0f, h)), woods};
}

}  // namespace

// Heights carry a one-pixel border so the hill-shade can take central differences.
struct TextureGenerator::Terrain {
    int w = 0, h = 0;
    std::vector<float> height;    // (w + 2) x (h + 2), metres above sea level
    std::vector<float> moisture;  // w x h, about -1 .. 1, broad wet and dry regions
    std::vector<float> patches;   // w x h, about -1 .. 1, where woods and clearings alternate
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
    FractalNoise::addOctaves(relief.data(), x0 - 1, y0 - 1, bw, bh, 12, 3, 1.0f, 0.5f, m_seed);
    FractalNoise::addOctaves(ridges.data(), x0 - 1, y0 - 1, bw, bh, 10, 3, 0.6f, 0.45f, m_seed + 7u, Shape::Ridged);
    t.height.resize(relief.size());
    for (size_t i = 0; i < relief.size(); ++i) {
        // Mountains rise only well inland; the broad relief sets coasts and valleys.
        const float inland = smoothstep(0.05f, 0.55f, relief[i]);
        t.height[i] = 700.0f * relief[i] + 3200.0f * inland * ridges[i] * ridges[i] + 60.0f;
    }
    t.moisture.assign(static_cast<size_t>(w) * h, 0.0f);
    FractalNoise::addOctaves(t.moisture.data(), x0, y0, w, h, 9, 6, 0.7f, 0.5f, m_seed + 13u);
    t.patches.assign(t.moisture.size(), 0.0f);
    FractalNoise::addOctaves(t.patches.data(), x0, y0, w, h, 7, 3, 0.6f, 0.5f, m_seed + 17u);
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
    const float light = 0.45f + 0.75f * clamp01(lambert);
    const LandCover land = landCover(h, slope, t.moisture[i], t.patches[i], detail);
    const Rgb& c = land.colour;
    // Woods get a coarse canopy grain, open land a faint one.
    const float grain = light * (1.0f + (0.08f + 0.22f * land.woods) * detail);
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

// Writes one sample, clamped, at sample position `pos`: a byte at 8 bits, a native
// uint16 at 16 (copied bytewise, the buffer being bytes).
void TextureGenerator::putSample(std::vector<uint8_t>& out, size_t pos, float value, float max) const
{
    const float v = std::min(max, std::max(0.0f, value + 0.5f));
    if (m_format.bits <= 8) {
        out[pos] = static_cast<uint8_t>(v);
        return;
    }
    const uint16_t v16 = static_cast<uint16_t>(v);
    std::memcpy(&out[pos * 2], &v16, 2);
}

void TextureGenerator::storePixel(const Pixel& p, float opacity, size_t index, size_t bandStride,
                                  std::vector<uint8_t>& out) const
{
    float v[3] = {p.colour.r, p.colour.g, p.colour.b};
    if (m_format.bands == 1) v[0] = 0.299f * v[0] + 0.587f * v[1] + 0.114f * v[2];
    float max = 255.0f;
    if (m_format.bits > 8) {
        // 16-bit images carry 12 significant bits: an elevation field for one band,
        // the colours scaled up for three. Opacity still spans the full range.
        max = 4095.0f;
        if (m_format.bands == 1)
            v[0] = (p.elevation + 500.0f) * (4095.0f / 3800.0f);
        else
            for (float& c : v) c *= 4095.0f / 255.0f;
    }
    for (int b = 0; b < std::min(m_format.bands, 3); ++b) putSample(out, b * bandStride + index, v[b], max);
    if (m_format.bands == 4) {
        const float opaque = m_format.bits <= 8 ? 255.0f : 65535.0f;
        putSample(out, 3 * bandStride + index, opacity * opaque, opaque);
    }
}

void TextureGenerator::renderTile(int x0, int y0, int w, int h, std::vector<uint8_t>& out) const
{
    const Terrain terrain = computeTerrain(x0, y0, w, h);
    const size_t bandStride = static_cast<size_t>(w) * h;
    out.assign(bandStride * m_format.bands * m_format.bytesPerSample(), 0);
    const bool withOpacity = m_format.bands == 4;
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            const float alpha = withOpacity ? opacity(x0 + x, y0 + y) : 1.0f;
            storePixel(shade(terrain, x, y), alpha, static_cast<size_t>(y) * w + x, bandStride, out);
        }
    }
}
