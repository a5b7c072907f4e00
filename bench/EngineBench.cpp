#include "DelayRing.h"
#include "DetectorChannel.h"
#include "DisplayFeeds.h"
#include "Measure.h"
#include "Plug.h"

#include <array>
#include <memory>
#include <utility>

namespace sorvane::core {
namespace {

using bench::noise;

constexpr std::size_t kBlock = 256;
constexpr double kRateHz = 48000.0;

void detect(benchmark::State& state, const DetectorParameters& parameters)
{
    const auto detector = std::make_unique<DetectorChannel>();
    detector->set(makeDetectorSettings(parameters, kRateHz));
    std::vector<std::int32_t> codes(kBlock);
    bench::runBlocks(state, kBlock, [&](std::vector<double>& samples) { detector->process(samples, codes); });
}

// No look-ahead, no release times and a slope of 0: what is left is the least that the detector does. What the others
// add to it is the cost of a piece.
constexpr DetectorParameters kLeast{.thresholdDb = 12.0F, .ceilingDb = 48.0F};

DetectorParameters compressing()
{
    DetectorParameters parameters = kLeast;
    parameters.thresholdDb = -30.0F;
    parameters.ratio = 0.7F;
    parameters.kneePercent = 40.0F;
    return parameters;
}

DetectorParameters releasing(bool dual)
{
    DetectorParameters parameters = kLeast;
    parameters.attackMs = 3.0F;
    parameters.releaseMs = 200.0F;
    parameters.fastReleaseMs = 20.0F;
    parameters.rmsMs = 50.0F;
    parameters.holdMs = 0.8F;
    parameters.dualRelease = dual;
    return parameters;
}

void detectorLeast(benchmark::State& state)
{
    detect(state, kLeast);
}
BENCHMARK(detectorLeast);

void gainComputer(benchmark::State& state)
{
    detect(state, compressing());
}
BENCHMARK(gainComputer);

// Argument: 1 for dual release.
void envelope(benchmark::State& state)
{
    detect(state, releasing(state.range(0) != 0));
}
BENCHMARK(envelope)->Arg(0)->Arg(1);

// Argument: look-ahead in ms.
void slidingMaximum(benchmark::State& state)
{
    DetectorParameters parameters = kLeast;
    parameters.lookaheadMs = static_cast<float>(state.range(0));
    detect(state, parameters);
}
BENCHMARK(slidingMaximum)->Arg(1)->Arg(10)->Arg(100);

void smoothing(benchmark::State& state)
{
    DetectorParameters parameters = compressing();
    parameters.lookaheadMs = 10.0F;
    parameters.smoothing = true;
    detect(state, parameters);
}
BENCHMARK(smoothing);

// Argument: samples.
void delay(benchmark::State& state)
{
    using Ring = DelayRing<kMostLookahead>;
    const auto ring = std::make_unique<Ring>();
    RingPlace place{kMostLookahead};
    bench::runBlocks(state, kBlock, [&](std::vector<double>& samples) {
        ring->process(samples, static_cast<std::int32_t>(state.range(0)), place);
        place.advance(kBlock);
    });
}
BENCHMARK(delay)->Arg(0)->Arg(480)->Arg(4800);

void feeds(benchmark::State& state)
{
    constexpr std::size_t kStep = 5;
    const auto displayFeeds = std::make_unique<DisplayFeeds>();
    const auto signal = noise(kBlock);
    const std::vector<std::int32_t> codes(kBlock, stateAttack);
    while (state.KeepRunning()) {
        displayFeeds->feedSideChain(signal, signal, kStep);
        displayFeeds->feedOutput(signal, signal, kStep);
        displayFeeds->feedGain(0, signal, codes, kStep);
        displayFeeds->feedGain(1, signal, codes, kStep);
    }
    bench::reportPerSample(state, 2 * kBlock);
}
BENCHMARK(feeds);

std::unique_ptr<Plug> makePlug(std::initializer_list<std::pair<std::int32_t, float>> values)
{
    auto plug = std::make_unique<Plug>(nullptr, Plug::Start::factoryValues);
    for (const auto& [tag, value] : values)
        plug->setParameter(tag, plug->toNormalised(tag, value));
    plug->setSampleRate(static_cast<float>(kRateHz));
    plug->resume();
    return plug;
}

// Factory settings, stereo. `sorvane bench` tells more of it. Argument: block.
void wholeEffect(benchmark::State& state)
{
    const auto plug = makePlug({});
    const auto frames = static_cast<std::size_t>(state.range(0));
    std::array<std::vector<double>, 2> input{noise(frames), noise(frames)};
    std::array<std::vector<double>, 2> output{input[0], input[1]};
    std::array<double*, 4> inputs{input[0].data(), input[1].data(), nullptr, nullptr};
    std::array<double*, 2> outputs{output[0].data(), output[1].data()};
    while (state.KeepRunning())
        plug->processDoubleReplacing(inputs.data(), outputs.data(), static_cast<std::int32_t>(frames));
    bench::reportPerSample(state, 2 * frames);
}
BENCHMARK(wholeEffect)->Arg(32)->Arg(256)->Arg(1024);

// Makes an instance with all that a host asks of it, and ends it.
void startInstance(benchmark::State& state)
{
    const auto other = makePlug({}); // what comes with the first stays
    while (state.KeepRunning())
        benchmark::DoNotOptimize(makePlug({}));
}
BENCHMARK(startInstance)->Unit(benchmark::kMillisecond);

// A gain, whose change needs no design; one in 100 ms makes one all the same.
void updateGain(benchmark::State& state)
{
    const auto plug = makePlug({});
    float normal = 0.5F;
    while (state.KeepRunning()) {
        normal = normal == 0.5F ? 0.6F : 0.5F;
        plug->setParameter(kMakeup, normal);
    }
}
BENCHMARK(updateGain)->Unit(benchmark::kMicrosecond);

// All filters anew, as steep as they get and of each channel's own. Argument: 1 for linear phase with 8192 taps.
void designAll(benchmark::State& state)
{
    const bool linear = state.range(0) != 0;
    const auto plug = std::make_unique<Plug>(nullptr, Plug::Start::factoryValues);
    const auto set = [&](std::int32_t tag, float value) { plug->setParameter(tag, plug->toNormalised(tag, value)); };
    set(kLinked, 0.0F);
    set(kLinearPhase, linear ? 1.0F : 0.0F);
    set(kHQSplit, 1.0F);
    for (const std::int32_t twin : {0, kTwinOffset}) {
        for (const std::int32_t tag : {kSplitHPFSlope, kSplitLPFSlope})
            set(tag + twin, 192.0F);
        for (const std::int32_t tag : {kSCHPF, kSCPeak, kSCLPF})
            set(tag + twin, 1.0F);
        for (const std::int32_t tag : {kSCHPFSlope, kSCLPFSlope})
            set(tag + twin, 24.0F);
        set(kSCPeakGain + twin, 6.0F);
    }
    set(kSplitBPFFreqB, 7000.0F);
    // Another rate asks every filter for a new design, and resume makes it.
    float rateHz = 48000.0F;
    while (state.KeepRunning()) {
        rateHz = rateHz == 48000.0F ? 44100.0F : 48000.0F;
        plug->setSampleRate(rateHz);
        plug->resume();
    }
}
BENCHMARK(designAll)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace sorvane::core
