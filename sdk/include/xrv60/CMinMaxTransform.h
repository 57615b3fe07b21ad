// Linear stretch of one band's values onto 0..255.
#pragma once

namespace PLK {
namespace API {

class CMinMaxTransform {
public:
    CMinMaxTransform() = default;
    CMinMaxTransform(double fMin, double fMax) : m_min(fMin), m_max(fMax) {}

    double GetMin() const { return m_min; }
    double GetMax() const { return m_max; }
    /// The 8-bit value of a cell: min maps to 0, max to 255, values outside are clamped.
    unsigned char Apply(double value) const
    {
        if (!(m_max > m_min)) return value >= m_max ? 255 : 0;
        double t = (value - m_min) * 255.0 / (m_max - m_min);
        if (t <= 0.0) return 0;
        if (t >= 255.0) return 255;
        return static_cast<unsigned char>(t + 0.5);
    }

private:
    double m_min = 0.0;
    double m_max = 255.0;
};

}  // namespace API
}  // namespace PLK
