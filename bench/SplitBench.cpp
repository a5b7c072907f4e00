#include "FIRConvolver.h"
#include "LinearPhaseFIR.h"
#include "Measure.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <numeric>
#include <vector>

namespace sorvane::dsp {
namespace {

using bench::noise;

constexpr std::size_t kBlock = 64;

// Arguments: taps, block.
void convolve(benchmark::State& state)
{
    const auto length = static_cast<int>(state.range(0));
    const auto frames = static_cast<std::size_t>(state.range(1));
    FIRConvolver convolver(length);
    convolver.load(noise(static_cast<std::size_t>(length)));
    bench::runBlocks(state, frames, [&](std::vector<double>& samples) { convolver.process(samples); });
}
BENCHMARK(convolve)->ArgsProduct({{2048, 8192}, {1, 64, 512}});

// How a stereo block's work differs over the period of the largest partition. Each place in the period counts with the
// quickest of its runs, so that interruptions don't show. Argument: taps.
void slowestBlock(benchmark::State& state)
{
    using Clock = std::chrono::steady_clock;
    const auto length = static_cast<int>(state.range(0));
    std::array<FIRConvolver, 2> channels{FIRConvolver(length), FIRConvolver(length)};
    channels[0].load(noise(static_cast<std::size_t>(length)));
    channels[1].shareTaps(channels[0]);
    const auto process = [&](std::vector<double>& left, std::vector<double>& right) {
        FIRConvolver::processTogether(
            std::array{FIRConvolver::Lane{channels[0], left}, FIRConvolver::Lane{channels[1], right}});
    };
    std::vector<double> left = noise(1024); // no work is due before the first blocks are complete
    std::vector<double> right = left;
    process(left, right);
    const auto input = noise(kBlock);
    std::vector<double> quickest(512 / kBlock, 1e9);
    std::size_t place = 0;
    while (state.KeepRunning()) {
        left = input;
        right = input;
        const auto start = Clock::now();
        process(left, right);
        benchmark::DoNotOptimize(left.data());
        benchmark::DoNotOptimize(right.data());
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
    std::vector<double> other = samples;
    while (state.KeepRunning()) {
        const bool loaded = fir.load(length, {magnitudes, magnitudes});
        const auto start = Clock::now();
        fir.acceptPending();
        const std::chrono::duration<double> taken = Clock::now() - start;
        state.SetIterationTime(taken.count());
        benchmark::DoNotOptimize(loaded);
        fir.process(std::array<std::span<double>, 2>{samples, other});
    }
}
BENCHMARK(changeOver)->Arg(2048)->Arg(8192)->UseManualTime();

} // namespace
} // namespace sorvane::dsp
