#include "color/ColourConverter.h"

#include <algorithm>
#include <cmath>

#include "color/IccTransform.h"
#include "view/YCbCrConverter.h"

namespace PLK {
namespace Engine {

namespace {

using Kind = ColourEncoding::Kind;

constexpr size_t kMemoSize = 4096;

int whole(float v)
{
    return static_cast<int>(std::lround(v));
}

float maxOf(const BandLayout& band)
{
    return std::ldexp(1.0f, band.bits == 0 ? 8 : band.bits) - 1.0f;
}

}  // namespace

ColourConverter::ColourConverter(const ImageDescription& d, const std::vector<uint32_t>& view)
{
    const ColourEncoding& e = d.colour;
    if (e.kind == Kind::None || view.size() < 3) return;
    const bool grey = e.kind == Kind::Icc && e.icc && e.icc->channels() == 1;
    if (e.kind == Kind::Icc && !e.icc) return;
    const size_t needed = e.kind == Kind::CMYK ? 4 : grey ? 1 : 3;
    if (e.bands.size() < needed) return;
    for (size_t i = 0; i < 3; ++i)
        if (view[i] != e.bands[grey ? 0 : i]) return;
    for (size_t i = 0; i < needed; ++i) m_in[i] = d.bands[e.bands[i]];
    for (size_t i = 0; i < 3; ++i) m_out[i] = unitsOf(d.bands[view[i]]);
    if (e.kind == Kind::CMYK) {
        m_blackAt = static_cast<uint32_t>(view.size());
        m_extra.push_back(e.bands[3]);
    }
    if (e.kind == Kind::CIELab) {
        if (!e.icc) return;
        // The encoder's ranges and offsets, or the defaults it may leave unsaid.
        const double p0 = maxOf(m_in[0]), p1 = maxOf(m_in[1]), p2 = maxOf(m_in[2]);
        double rl = 100, ol = 0, ra = 170, oa = (p1 + 1) / 2, rb = 200, ob = (p2 + 1) / 4 + (p2 + 1) / 8;
        if (e.labRanges.size() == 6) {
            rl = e.labRanges[0], ol = e.labRanges[1], ra = e.labRanges[2];
            oa = e.labRanges[3], rb = e.labRanges[4], ob = e.labRanges[5];
        }
        m_lab = {-(rl * ol) / p0, rl / p0, -(ra * oa) / p1, ra / p1, -(rb * ob) / p2, rb / p2};
    }
    if (e.kind == Kind::CIELab || (e.kind == Kind::Icc && !grey)) m_memo.resize(kMemoSize);
    m_inputs = static_cast<uint32_t>(view.size() + m_extra.size());
    m_encoding = &e;
    m_kind = e.kind;
}

ColourConverter::Units ColourConverter::unitsOf(const BandLayout& band)
{
    // The inverse of how a colour band is brought to 8 bits on screen: top bits of wider
    // cells, narrower cells stretched to the full range.
    Units u;
    const int bits = band.bits == 0 ? 8 : band.bits;
    u.offset = band.isSigned ? -std::ldexp(1.0f, bits - 1) : 0.0f;
    if (bits > 8) u.scale = std::ldexp(1.0f, 8 - bits);
    if (bits < 8) u.scale = 255.0f / (std::ldexp(1.0f, bits) - 1.0f);
    return u;
}

void ColourConverter::toRgb(float* values)
{
    float rgb[3];
    computeRgb(values, rgb);
    for (int i = 0; i < 3; ++i) values[i] = rgb[i] / m_out[i].scale + m_out[i].offset;
}

void ColourConverter::toRgbRow(float* const* bands, uint32_t width)
{
    if (m_kind == Kind::Icc && m_encoding->icc->channels() == 3) {
        m_rowIn.resize(size_t(width) * 3);
        m_rowOut.resize(size_t(width) * 3);
        for (uint32_t x = 0; x < width; ++x)
            for (int i = 0; i < 3; ++i)
                m_rowIn[3 * x + i] = static_cast<uint32_t>(std::clamp(whole(bands[i][x]), 0, 0x1FFFFF));
        m_encoding->icc->toRgbRow(m_rowIn.data(), m_rowOut.data(), width);
        for (uint32_t x = 0; x < width; ++x)
            for (int i = 0; i < 3; ++i) bands[i][x] = m_rowOut[3 * x + i] / m_out[i].scale + m_out[i].offset;
        return;
    }
    float values[8];
    const uint32_t inputs = std::min<uint32_t>(m_inputs, 8);
    for (uint32_t x = 0; x < width; ++x) {
        for (uint32_t b = 0; b < inputs; ++b) values[b] = bands[b][x];
        toRgb(values);
        for (int i = 0; i < 3; ++i) bands[i][x] = values[i];
    }
}

void ColourConverter::computeRgb(const float* values, float* rgb)
{
    switch (m_kind) {
        case Kind::SYCC: {
            float v[3] = {values[0], values[1], values[2]};
            YCbCrConverter(m_in[0].bits).toRgb(v);
            const Units y = unitsOf(m_in[0]);
            for (int i = 0; i < 3; ++i) rgb[i] = (v[i] - y.offset) * y.scale;
            return;
        }
        case Kind::ESYCC:
            return esyccToRgb(values, rgb);
        case Kind::CMYK:
            return cmykToRgb(values, rgb);
        case Kind::CIELab:
            return throughMemo(values, rgb);
        case Kind::Icc:
            if (m_encoding->icc->channels() == 1) {
                const uint32_t grey = static_cast<uint32_t>(std::max(0, whole(values[0])));
                return m_encoding->icc->toRgb(&grey, rgb);
            }
            return throughMemo(values, rgb);
        case Kind::None:
            break;
    }
    std::copy(values, values + 3, rgb);
}

// Neighbouring cells often share a colour; a LittleCMS call per cell costs more than a look-up.
void ColourConverter::throughMemo(const float* values, float* rgb)
{
    uint32_t in[3];
    for (int i = 0; i < 3; ++i) in[i] = static_cast<uint32_t>(std::clamp(whole(values[i]), 0, 0x1FFFFF));
    const uint64_t key = uint64_t(in[0]) << 42 | uint64_t(in[1]) << 21 | in[2];
    MemoEntry& entry = m_memo[(key * 0x9E3779B97F4A7C15ull) >> 52];
    if (entry.key != key) {
        entry.key = key;
        if (m_kind == Kind::CIELab) {
            const float whole3[3] = {float(in[0]), float(in[1]), float(in[2])};
            labToRgb(whole3, entry.rgb);
        } else {
            m_encoding->icc->toRgb(in, entry.rgb);
        }
    }
    std::copy(entry.rgb, entry.rgb + 3, rgb);
}

void ColourConverter::labToRgb(const float* values, float* rgb) const
{
    const double lab[3] = {m_lab[0] + values[0] * m_lab[1], m_lab[2] + values[1] * m_lab[3],
                           m_lab[4] + values[2] * m_lab[5]};
    m_encoding->icc->labToRgb(lab, rgb);
}

// Inks to light in single precision and truncated, as OpenJPEG's tools do.
void ColourConverter::cmykToRgb(const float* values, float* rgb) const
{
    const float k = 1.0f - values[m_blackAt] * (1.0f / maxOf(m_in[3]));
    for (int i = 0; i < 3; ++i) {
        const float ink = 1.0f - values[i] * (1.0f / maxOf(m_in[i]));
        rgb[i] = static_cast<float>(static_cast<int>(255.0f * ink * k));
    }
}

// Extended-gamut luma and chroma, with the coefficients and rounding of OpenJPEG's tools.
void ColourConverter::esyccToRgb(const float* values, float* rgb) const
{
    const int bits = m_in[0].bits == 0 ? 8 : m_in[0].bits;
    const int flip = 1 << (bits - 1), top = (1 << bits) - 1;
    const float y = static_cast<float>(whole(values[0]));
    const float cb = static_cast<float>(whole(values[1]) - (m_in[1].isSigned ? 0 : flip));
    const float cr = static_cast<float>(whole(values[2]) - (m_in[2].isSigned ? 0 : flip));
    const float out[3] = {y - 0.0000368f * cb + 1.40199f * cr + 0.5f,
                          1.0003f * y - 0.344125f * cb - 0.7141128f * cr + 0.5f,
                          0.999823f * y + 1.77204f * cb - 0.000008f * cr + 0.5f};
    const Units units = unitsOf(m_in[0]);
    for (int i = 0; i < 3; ++i)
        rgb[i] = (static_cast<float>(std::clamp(static_cast<int>(out[i]), 0, top)) - units.offset) * units.scale;
}

}  // namespace Engine
}  // namespace PLK
