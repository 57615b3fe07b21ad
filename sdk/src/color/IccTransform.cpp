#include "color/IccTransform.h"

#include <lcms2.h>

#include <algorithm>
#include <cmath>

namespace PLK {
namespace Engine {

namespace {

struct ProfileCloser {
    void operator()(void* p) const
    {
        if (p) cmsCloseProfile(static_cast<cmsHPROFILE>(p));
    }
};
using Profile = std::unique_ptr<void, ProfileCloser>;

constexpr float k16To8 = 255.0f / 65535.0f;

}  // namespace

IccTransform::~IccTransform()
{
    if (m_transform) cmsDeleteTransform(static_cast<cmsHTRANSFORM>(m_transform));
}

std::shared_ptr<const IccTransform> IccTransform::fromProfile(const std::vector<uint8_t>& bytes, uint8_t bits,
                                                              std::string* why)
{
    if (bits == 0 || bits > 16) {
        *why = "colour profiles are applied to cells of at most 16 bits";
        return nullptr;
    }
    const Profile in(cmsOpenProfileFromMem(bytes.data(), static_cast<cmsUInt32Number>(bytes.size())));
    if (!in) {
        *why = "its colour profile is damaged";
        return nullptr;
    }
    std::shared_ptr<IccTransform> t(new IccTransform());
    t->m_max = (1u << bits) - 1;
    // Eight-bit cells go through an 8-bit transform, as other JPEG 2000 viewers do, so the
    // colours match theirs value for value; deeper cells keep their precision.
    t->m_sixteen = bits > 8;
    const cmsColorSpaceSignature space = cmsGetColorSpace(in.get());
    cmsUInt32Number inType = 0;
    if (space == cmsSigRgbData) {
        t->m_channels = 3;
        inType = t->m_sixteen ? TYPE_RGB_16 : TYPE_RGB_8;
    } else if (space == cmsSigGrayData) {
        t->m_channels = 1;
        inType = t->m_sixteen ? TYPE_GRAY_16 : TYPE_GRAY_8;
    } else {
        *why = "its colour profile describes neither RGB nor grey cells";
        return nullptr;
    }
    const Profile out(cmsCreate_sRGBProfile());
    t->m_transform = cmsCreateTransform(in.get(), inType, out.get(), t->m_sixteen ? TYPE_RGB_16 : TYPE_RGB_8,
                                        cmsGetHeaderRenderingIntent(in.get()), 0);
    if (!t->m_transform) {
        *why = "its colour profile cannot be applied";
        return nullptr;
    }
    if (t->m_channels == 1 && !t->makeGreyTable(why)) return nullptr;
    return t;
}

// A grey cell has at most 65536 values: convert them all once and look them up.
bool IccTransform::makeGreyTable(std::string* why)
{
    const size_t count = size_t(m_max) + 1;
    std::vector<uint16_t> in16(count), out16(count * 3);
    std::vector<uint8_t> in8(count), out8(count * 3);
    for (size_t v = 0; v < count; ++v) {
        in16[v] = static_cast<uint16_t>(std::lround(double(v) * 65535.0 / m_max));
        in8[v] = static_cast<uint8_t>(std::lround(double(v) * 255.0 / m_max));
    }
    auto* t = static_cast<cmsHTRANSFORM>(m_transform);
    m_greys.resize(count * 3);
    if (m_sixteen) {
        cmsDoTransform(t, in16.data(), out16.data(), static_cast<cmsUInt32Number>(count));
        for (size_t i = 0; i < m_greys.size(); ++i) m_greys[i] = out16[i] * k16To8;
    } else {
        cmsDoTransform(t, in8.data(), out8.data(), static_cast<cmsUInt32Number>(count));
        for (size_t i = 0; i < m_greys.size(); ++i) m_greys[i] = out8[i];
    }
    cmsDeleteTransform(t);
    m_transform = nullptr;
    if (m_greys.empty()) *why = "its colour profile cannot be applied";
    return !m_greys.empty();
}

std::shared_ptr<const IccTransform> IccTransform::fromLab(std::string* why)
{
    const Profile in(cmsCreateLab4Profile(nullptr));
    const Profile out(cmsCreate_sRGBProfile());
    std::shared_ptr<IccTransform> t(new IccTransform());
    if (in && out)
        t->m_transform = cmsCreateTransform(in.get(), TYPE_Lab_DBL, out.get(), TYPE_RGB_16, INTENT_PERCEPTUAL, 0);
    if (!t->m_transform) {
        *why = "LittleCMS cannot convert CIELab";
        return nullptr;
    }
    t->m_sixteen = true;
    return t;
}

void IccTransform::toRgb(const uint32_t* in, float* rgb) const
{
    if (m_channels == 1) {
        const float* g = m_greys.data() + size_t(std::min(in[0], m_max)) * 3;
        std::copy(g, g + 3, rgb);
        return;
    }
    auto* t = static_cast<cmsHTRANSFORM>(m_transform);
    if (m_sixteen) {
        uint16_t src[3], dst[3];
        for (int i = 0; i < 3; ++i)
            src[i] = static_cast<uint16_t>((uint64_t(std::min(in[i], m_max)) * 65535u + m_max / 2) / m_max);
        cmsDoTransform(t, src, dst, 1);
        for (int i = 0; i < 3; ++i) rgb[i] = dst[i] * k16To8;
    } else {
        uint8_t src[3], dst[3];
        for (int i = 0; i < 3; ++i) src[i] = static_cast<uint8_t>((std::min(in[i], m_max) * 255u + m_max / 2) / m_max);
        cmsDoTransform(t, src, dst, 1);
        for (int i = 0; i < 3; ++i) rgb[i] = dst[i];
    }
}

void IccTransform::toRgbRow(const uint32_t* in, float* rgb, uint32_t count) const
{
    if (m_channels == 1) {
        for (uint32_t i = 0; i < count; ++i) toRgb(in + i, rgb + 3 * i);
        return;
    }
    const size_t n = size_t(count) * 3;
    auto* t = static_cast<cmsHTRANSFORM>(m_transform);
    if (m_sixteen) {
        std::vector<uint16_t> src(n), dst(n);
        for (size_t i = 0; i < n; ++i)
            src[i] = static_cast<uint16_t>((uint64_t(std::min(in[i], m_max)) * 65535u + m_max / 2) / m_max);
        cmsDoTransform(t, src.data(), dst.data(), count);
        for (size_t i = 0; i < n; ++i) rgb[i] = dst[i] * k16To8;
    } else {
        std::vector<uint8_t> src(n), dst(n);
        for (size_t i = 0; i < n; ++i)
            src[i] = static_cast<uint8_t>((std::min(in[i], m_max) * 255u + m_max / 2) / m_max);
        cmsDoTransform(t, src.data(), dst.data(), count);
        for (size_t i = 0; i < n; ++i) rgb[i] = dst[i];
    }
}

void IccTransform::labToRgb(const double* lab, float* rgb) const
{
    cmsCIELab in{lab[0], lab[1], lab[2]};
    uint16_t out[3];
    cmsDoTransform(static_cast<cmsHTRANSFORM>(m_transform), &in, out, 1);
    for (int i = 0; i < 3; ++i) rgb[i] = out[i] * k16To8;
}

}  // namespace Engine
}  // namespace PLK
