// Histogram and summary figures of one band, counted over a coarse resolution level.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace PLK {
namespace Engine {

class BandHistogram {
public:
    /// Buckets for a band of `bits` bits: one per value up to 16 bits (256 for 8-bit data),
    /// 65536 equal ranges for wider data.
    BandHistogram(uint8_t bits, bool isSigned);

    void add(const int32_t* values, size_t count);
    /// Adds counts given per bucket (as a file stores them); extra buckets are ignored.
    void addCounts(const std::vector<uint64_t>& counts);

    uint32_t bucketCount() const { return static_cast<uint32_t>(m_counts.size()); }
    const std::vector<uint64_t>& counts() const { return m_counts; }
    uint64_t total() const { return m_total; }
    double minimum() const { return m_total ? m_min : 0.0; }
    double maximum() const { return m_total ? m_max : 0.0; }
    double mean() const;
    double standardDeviation() const;
    /// The value of the fullest bucket.
    double mode() const;
    /// The value below which `percent` per cent of the cells lie (50 = median).
    double percentile(double percent) const;

private:
    double bucketValue(size_t bucket) const;

    std::vector<uint64_t> m_counts;
    int64_t m_typeMin;
    int m_shift;
    uint64_t m_total = 0;
    double m_sum = 0.0;
    double m_sumSquares = 0.0;
    double m_min = 0.0;
    double m_max = 0.0;
};

}  // namespace Engine
}  // namespace PLK
