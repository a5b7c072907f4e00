#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <span>
#include <vector>

namespace sorvane::test {

using Signal = std::vector<double>;

/// White noise within \p peak.
inline Signal noise(std::size_t frames, std::uint32_t seed, double peak = 1.0)
{
    std::mt19937 generator(seed);
    std::uniform_real_distribution<double> distribution(-peak, peak);
    Signal signal(frames);
    for (double& sample : signal)
        sample = distribution(generator);
    return signal;
}

/// Noise whose level wanders between silence and \p peak, so that envelopes rise and fall.
inline Signal bursts(std::size_t frames, std::uint32_t seed, double peak = 1.0)
{
    Signal signal = noise(frames, seed, peak);
    for (std::size_t i = 0; i < frames; ++i) {
        const double phase = std::fmod(static_cast<double>(i) / 1731.0 + seed, 1.0);
        signal[i] *= phase < 0.2 ? 0.0 : phase * phase;
    }
    return signal;
}

inline double peakDifference(std::span<const double> a, std::span<const double> b)
{
    if (a.size() != b.size())
        return INFINITY;
    double peak = 0.0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        const double difference = std::abs(a[i] - b[i]);
        if (!(difference <= peak)) // a NaN is a difference
            peak = difference;
    }
    return peak;
}

inline double decibels(double gain)
{
    return 20.0 * std::log10(gain);
}

} // namespace sorvane::test
