#include "image/BandHistogram.h"

#include <algorithm>
#include <cmath>

namespace PLK {
namespace Engine {

BandHistogram::BandHistogram(uint8_t bits, bool isSigned)
{
    bits = std::max<uint8_t>(1, std::min<uint8_t>(bits, 32));
    const int bucketBits = std::min<int>(bits, 16);
    m_shift = bits - bucketBits;
    m_typeMin = isSigned ? -(int64_t(1) << (bits - 1)) : 0;
    m_counts.assign(size_t(1) << bucketBits, 0);
}

void BandHistogram::add(const int32_t* values, size_t count)
{
    const int64_t last = static_cast<int64_t>(m_counts.size()) - 1;
    for (size_t i = 0; i < count; ++i) {
        const int32_t v = values[i];
        const int64_t bucket = std::min<int64_t>(std::max<int64_t>((int64_t(v) - m_typeMin) >> m_shift, 0), last);
        ++m_counts[static_cast<size_t>(bucket)];
        if (m_total == 0) {
            m_min = m_max = v;
        } else {
            m_min = std::min<double>(m_min, v);
            m_max = std::max<double>(m_max, v);
        }
        ++m_total;
        m_sum += v;
        m_sumSquares += double(v) * double(v);
    }
}

void BandHistogram::addCounts(const std::vector<uint64_t>& counts)
{
    for (size_t i = 0; i < counts.size() && i < m_counts.size(); ++i) {
        const uint64_t n = counts[i];
        if (!n) continue;
        const double v = bucketValue(i);
        m_counts[i] += n;
        m_min = m_total ? std::min(m_min, v) : v;
        m_max = m_total ? std::max(m_max, v) : v;
        m_total += n;
        m_sum += v * static_cast<double>(n);
        m_sumSquares += v * v * static_cast<double>(n);
    }
}

double BandHistogram::bucketValue(size_t bucket) const
{
    return static_cast<double>(m_typeMin + (static_cast<int64_t>(bucket) << m_shift));
}

double BandHistogram::mean() const
{
    return m_total ? m_sum / static_cast<double>(m_total) : 0.0;
}

double BandHistogram::standardDeviation() const
{
    if (!m_total) return 0.0;
    const double m = mean();
    return std::sqrt(std::max(0.0, m_sumSquares / static_cast<double>(m_total) - m * m));
}

double BandHistogram::mode() const
{
    if (!m_total) return 0.0;
    const auto it = std::max_element(m_counts.begin(), m_counts.end());
    return bucketValue(static_cast<size_t>(it - m_counts.begin()));
}

double BandHistogram::percentile(double percent) const
{
    if (!m_total) return 0.0;
    const double target = std::max(0.0, std::min(100.0, percent)) / 100.0 * static_cast<double>(m_total);
    uint64_t running = 0;
    for (size_t i = 0; i < m_counts.size(); ++i) {
        running += m_counts[i];
        if (static_cast<double>(running) >= target && running > 0) return bucketValue(i);
    }
    return bucketValue(m_counts.size() - 1);
}

}  // namespace Engine
}  // namespace PLK
