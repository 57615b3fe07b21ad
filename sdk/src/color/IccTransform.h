// A LittleCMS transform from a file's colours to the screen's sRGB: from the file's own ICC
// profile (red, green and blue, or grey), or from CIELab. Made once per image; any number of
// threads may convert through it at once.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace PLK {
namespace Engine {

class IccTransform {
public:
    /// A transform for cells of `bits` bits through `profile`; null, with the reason in `why`,
    /// when the profile is damaged or describes neither RGB nor grey cells.
    static std::shared_ptr<const IccTransform> fromProfile(const std::vector<uint8_t>& profile, uint8_t bits,
                                                           std::string* why);
    /// CIELab under the D50 white point to sRGB.
    static std::shared_ptr<const IccTransform> fromLab(std::string* why);
    ~IccTransform();
    IccTransform(const IccTransform&) = delete;
    IccTransform& operator=(const IccTransform&) = delete;

    /// Colour channels the transform takes: 3 (RGB, Lab) or 1 (grey).
    uint32_t channels() const { return m_channels; }
    /// `in` holds the channels' cell values (whole numbers of the cells' bits); `rgb` gets red,
    /// green and blue on the 0-255 scale (with fractions where the transform is finer).
    void toRgb(const uint32_t* in, float* rgb) const;
    /// The same for `count` cells at once, channels interleaved (one LittleCMS call).
    void toRgbRow(const uint32_t* in, float* rgb, uint32_t count) const;
    /// L* (0-100), a* and b*, to red, green and blue on the 0-255 scale.
    void labToRgb(const double* lab, float* rgb) const;

private:
    IccTransform() = default;
    bool makeGreyTable(std::string* why);

    void* m_transform = nullptr;  ///< cmsHTRANSFORM
    uint32_t m_channels = 3;
    uint32_t m_max = 255;        ///< largest cell value
    bool m_sixteen = false;      ///< the transform works on 16-bit samples
    std::vector<float> m_greys;  ///< grey profiles: R, G, B of every cell value
};

}  // namespace Engine
}  // namespace PLK
