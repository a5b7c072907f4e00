#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <vector>

namespace sorvane::bench {

inline std::vector<double> noise(std::size_t length)
{
    std::mt19937 generator(1);
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);
    std::vector<double> samples(length);
    std::generate(samples.begin(), samples.end(), [&] { return uniform(generator); });
    return samples;
}

/// The counter perSample: time for one channel and one sample at the base rate.
inline void reportPerSample(benchmark::State& state, std::size_t frames)
{
    state.counters["perSample"] =
        benchmark::Counter(static_cast<double>(state.iterations()) * static_cast<double>(frames),
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

/// Gives \p process a fresh copy of the same block of noise again and again. The copy's cost is in the figures: some
/// 0.1 ns a sample.
template <typename Process>
void runBlocks(benchmark::State& state, std::size_t frames, Process&& process)
{
    const auto input = noise(frames);
    std::vector<double> samples(frames);
    while (state.KeepRunning()) {
        std::copy(input.begin(), input.end(), samples.begin());
        process(samples);
        benchmark::DoNotOptimize(samples.data());
    }
    reportPerSample(state, frames);
}

} // namespace sorvane::bench
