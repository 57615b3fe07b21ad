#pragma once
#include <QtCore/QString>
#include <QtCore/QtGlobal>

#include <algorithm>
#include <utility>

namespace Korvane {
namespace Map {

// One band's histogram with its summary statistics. The bucket array is owned: copies are
// deep, moves hand the array over, so histograms can live in QVector like plain values.
template <typename T>
struct HistogramT {
    T* counts = nullptr;  // bucketCount entries
    quint32 bucketCount = 0;
    T maxValue = 0;       // largest cell value of the band
    T minValue = 0;       // smallest cell value of the band
    T largestCount = 0;   // largest bucket count
    T smallestCount = 0;  // smallest bucket count
    double mean = 0.0;
    double median = 0.0;
    double stddev = 0.0;
    double mode = 0.0;
    QString name;  // band name

    HistogramT() = default;

    // Makes bucketCount buckets, all zero.
    explicit HistogramT(quint32 buckets) : counts(buckets ? new T[buckets]() : nullptr), bucketCount(buckets) {}

    HistogramT(const HistogramT& other)
        : counts(other.bucketCount ? new T[other.bucketCount] : nullptr),
          bucketCount(other.bucketCount),
          maxValue(other.maxValue),
          minValue(other.minValue),
          largestCount(other.largestCount),
          smallestCount(other.smallestCount),
          mean(other.mean),
          median(other.median),
          stddev(other.stddev),
          mode(other.mode),
          name(other.name)
    {
        if (counts) std::copy(other.counts, other.counts + bucketCount, counts);
    }

    HistogramT(HistogramT&& other) noexcept { swap(other); }

    HistogramT& operator=(HistogramT other) noexcept
    {
        swap(other);
        return *this;
    }

    ~HistogramT() { delete[] counts; }

    void swap(HistogramT& other) noexcept
    {
        using std::swap;
        swap(counts, other.counts);
        swap(bucketCount, other.bucketCount);
        swap(maxValue, other.maxValue);
        swap(minValue, other.minValue);
        swap(largestCount, other.largestCount);
        swap(smallestCount, other.smallestCount);
        swap(mean, other.mean);
        swap(median, other.median);
        swap(stddev, other.stddev);
        swap(mode, other.mode);
        name.swap(other.name);
    }
};

}  // namespace Map
}  // namespace Korvane
