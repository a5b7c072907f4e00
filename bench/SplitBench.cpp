#include "FIRConvolver.h"
#include "LinearPhaseFIR.h"
#include "ResamplerHQ.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <numeric>
#include <random>
#include <vector>

// The counter perSample is for one channel and one sample at the base rate.

namespace sorvane::dsp {
namespace {

constexpr std::size_t kBlock = 64;

std::vector<double> noise(std::size_t length)
{
    std::mt19937 generator(1);
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);
    std::vector<double> samples(length);
    std::generate(samples.begin(), samples.end(), [&] { return uniform(generator); });
    return samples;
}

void reportPerSample(benchmark::State& state, std::size_t frames)
{
    state.counters["perSample"] =
        benchmark::Counter(static_cast<double>(state.iterations()) * static_cast<double>(frames),
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

// Arguments: taps, block.
void convolve(benchmark::State& state)
{
    const auto length = static_cast<int>(state.range(0));
    const auto frames = static_cast<std::size_t>(state.range(1));
    FIRConvolver convolver(length);
    convolver.load(noise(static_cast<std::size_t>(length)));
    const auto input = noise(frames);
    std::vector<double> samples(frames);
    while (state.KeepRunning()) {
        std::copy(input.begin(), input.end(), samples.begin());
        convolver.process(samples);
        benchmark::DoNotOptimize(samples.data());
    }
    reportPerSample(state, frames);
}
BENCHMARK(convolve)->ArgsProduct({{2048, 8192}, {1, 64, 512}});

// How a stereo block's work differs over the period of the largest partition. Each place in the period counts with the
// quickest of its runs, so that interruptions don't show. Argument: taps.
void slowestBlock(benchmark::State& state)
{
    using Clock = std::chrono::steady_clock;
    const auto length = static_cast<int>(state.range(0));
    std::array<FIRConvolver, 2> channels{FIRConvolver(length), FIRConvolver(length)};
    for (FIRConvolver& channel : channels)
        channel.load(noise(static_cast<std::size_t>(length)));
    std::vector<double> past = noise(1024); // no work is due before the first blocks are complete
    for (FIRConvolver& channel : channels)
        channel.process(past);
    const auto input = noise(kBlock);
    std::vector<double> samples(kBlock);
    std::vector<double> quickest(512 / kBlock, 1e9);
    std::size_t place = 0;
    while (state.KeepRunning()) {
        const auto start = Clock::now();
        for (FIRConvolver& channel : channels) {
            std::copy(input.begin(), input.end(), samples.begin());
            channel.process(samples);
            benchmark::DoNotOptimize(samples.data());
        }
        const std::chrono::duration<double, std::nano> taken = Clock::now() - start;
        quickest[place] = std::min(quickest[place], taken.count());
        place = (place + 1) % quickest.size();
    }
    state.counters["meanNs"] =
        std::accumulate(quickest.begin(), quickest.end(), 0.0) / static_cast<double>(quickest.size());
    state.counters["worstNs"] = *std::max_element(quickest.begin(), quickest.end());
}
BENCHMARK(slowestBlock)->Arg(2048)->Arg(8192);

// A design with the hand-over, and the change-over on the audio side. Argument: taps.
void load(benchmark::State& state)
{
    const auto length = static_cast<int>(state.range(0));
    const std::vector<double> magnitudes(static_cast<std::size_t>(length / 2 + 1), 0.5);
    LinearPhaseFIR fir;
    while (state.KeepRunning()) {
        benchmark::DoNotOptimize(fir.load(length, {magnitudes, magnitudes}));
        fir.acceptPending();
    }
}
BENCHMARK(load)->Arg(2048)->Arg(8192);

// The change-over alone, at a place where a part of the work of a block is put off. Argument: taps.
void changeOver(benchmark::State& state)
{
    using Clock = std::chrono::steady_clock;
    const auto length = static_cast<int>(state.range(0));
    const std::vector<double> magnitudes(static_cast<std::size_t>(length / 2 + 1), 0.5);
    LinearPhaseFIR fir;
    std::vector<double> samples(512 + kBlock, 0.5);
    while (state.KeepRunning()) {
        const bool loaded = fir.load(length, {magnitudes, magnitudes});
        const auto start = Clock::now();
        fir.acceptPending();
        const std::chrono::duration<double> taken = Clock::now() - start;
        state.SetIterationTime(taken.count());
        benchmark::DoNotOptimize(loaded);
        fir.process(0, samples);
        fir.process(1, samples);
    }
}
BENCHMARK(changeOver)->Arg(2048)->Arg(8192)->UseManualTime();

// Arguments: 1 for the long kernel, 1 for up.
void resample(benchmark::State& state)
{
    ResamplerHQ resampler;
    resampler.setHq(state.range(0) != 0);
    const bool up = state.range(1) != 0;
    const auto input = noise(up ? kBlock : 2 * kBlock);
    std::vector<double> output(up ? 2 * kBlock : kBlock);
    while (state.KeepRunning()) {
        resampler.process(up ? 2.0 : 0.5, input, output);
        benchmark::DoNotOptimize(output.data());
    }
    reportPerSample(state, kBlock);
}
BENCHMARK(resample)->ArgsProduct({{0, 1}, {1, 0}});

} // namespace
} // namespace sorvane::dsp
