#include "AlignedBuffer.h"
#include "BLTEQ.h"
#include "FFT.h"
#include "LinearPhaseDesign.h"
#include "Measure.h"
#include "ResamplerHQ.h"
#include "TrimoraEQ.h"

#include <algorithm>

namespace sorvane::dsp {
namespace {

using bench::noise;

constexpr std::size_t kBlock = 256;

void setLowPass(EQ& filter, std::int32_t order, float hertz)
{
    filter.setBypass(false);
    filter.setType(FilterType::lowPass);
    filter.setShape(FilterShape::butterworth);
    filter.setOrder(order);
    filter.setFrequency(hertz);
}

// Arguments: sections, 1 for coefficients that slide all the time.
void cascade(benchmark::State& state)
{
    const auto order = static_cast<std::int32_t>(2 * state.range(0));
    const bool slides = state.range(1) != 0;
    BLTEQ filter;
    setLowPass(filter, order, 5000.0F);
    filter.update();
    filter.beginBlock();
    std::vector<double> past(1100, 0.0); // beyond the slide that follows
    filter.processDouble(past);
    float hertz = 5000.0F;
    bench::runBlocks(state, kBlock, [&](std::vector<double>& samples) {
        if (slides) {
            hertz = hertz == 5000.0F ? 5500.0F : 5000.0F;
            filter.setFrequency(hertz);
            filter.update();
        }
        filter.beginBlock();
        filter.processDouble(samples);
    });
}
BENCHMARK(cascade)->ArgsProduct({{1, 2, 3, 4, 8, 16}, {0, 1}});

// Forward and back. Argument: complex points.
void transform(benchmark::State& state)
{
    const auto points = static_cast<std::size_t>(state.range(0));
    const FFT fft(points);
    AlignedBuffer time(2 * points);
    AlignedBuffer spectrum(2 * points);
    const auto input = noise(2 * points);
    while (state.KeepRunning()) {
        std::copy(input.begin(), input.end(), time.data()); // which is work space
        fft.forward(time.all(), spectrum.all());
        fft.inverse(spectrum.all(), time.all());
        benchmark::DoNotOptimize(time.data());
    }
}
BENCHMARK(transform)->Arg(32)->Arg(128)->Arg(512)->Arg(2048)->Arg(8192);

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
    bench::reportPerSample(state, kBlock);
}
BENCHMARK(resample)->ArgsProduct({{0, 1}, {1, 0}});

// Arguments: FilterType, order.
void designFilter(benchmark::State& state)
{
    TrimoraEQ filter;
    setLowPass(filter, static_cast<std::int32_t>(state.range(1)), 5000.0F);
    filter.setType(static_cast<FilterType>(state.range(0)));
    filter.setGain(6.0F);
    float hertz = 5000.0F;
    while (state.KeepRunning()) {
        hertz = hertz == 5000.0F ? 5500.0F : 5000.0F;
        filter.setFrequency(hertz);
        filter.update();
    }
}
BENCHMARK(designFilter)
    ->Args({1, 4})
    ->Args({6, 4})
    ->Args({1, 32})
    ->Args({6, 32})
    ->Args({3, 2})
    ->Args({2, 2})
    ->Args({5, 2});

// Argument: taps.
void designTaps(benchmark::State& state)
{
    const auto length = static_cast<int>(state.range(0));
    LinearPhaseDesign design(length);
    const std::vector<double> magnitudes(static_cast<std::size_t>(length / 2 + 1), 0.5);
    std::vector<double> taps(static_cast<std::size_t>(length));
    while (state.KeepRunning()) {
        design.design(magnitudes, taps);
        benchmark::DoNotOptimize(taps.data());
    }
}
BENCHMARK(designTaps)->Arg(2048)->Arg(8192);

} // namespace
} // namespace sorvane::dsp
