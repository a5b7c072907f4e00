#include "Resampler.h"

#include "DirectFIR.h"

#include <algorithm>
#include <cassert>

namespace sorvane::dsp {

namespace {

// In both directions newest points to the first new sample, with the kernel's history before it.

template <std::size_t capacity>
void up(const HalfBandKernel& kernel, const double* newest, std::span<double> output) noexcept
{
    const std::size_t n = kernel.size();
    const std::size_t frames = output.size() / 2;
    const double* history = newest - (n - 1);

    std::array<double, capacity> between;
    std::fill_n(between.begin(), frames, 0.0);
    addDirectFIR(kernel, history, std::span(between).first(frames));
    for (std::size_t i = 0; i < frames; ++i) {
        output[2 * i] = between[i];
        output[2 * i + 1] = history[i + n / 2];
    }
}

template <std::size_t capacity>
void down(const HalfBandKernel& kernel, const double* newest, std::span<double> output) noexcept
{
    const std::size_t n = kernel.size();
    const double* history = newest - 2 * (n - 1);

    std::array<double, capacity> even;
    for (std::size_t i = 0; i < output.size() + n - 1; ++i)
        even[i] = history[2 * i];
    for (std::size_t i = 0; i < output.size(); ++i)
        output[i] = history[2 * i + n - 1];
    addDirectFIR(kernel, even.data(), output);
    for (double& sample : output)
        sample *= 0.5;
}

} // namespace

Resampler::Resampler() : kernels(HalfBandKernels::shared()) {}

void Resampler::process(double ratio, std::span<const double> input, std::span<double> output) noexcept
{
    resample(kernels.standard, ratio, input, output);
}

void Resampler::resample(const HalfBandKernel& kernel, double ratio, std::span<const double> input,
                         std::span<double> output) noexcept
{
    assert(2 * (kernel.size() - 1) <= kHistory);
    const bool goingUp = ratio > 1.0;
    assert(goingUp ? output.size() == 2 * input.size() : 2 * output.size() == input.size());
    while (!input.empty()) {
        if (end == kBuffer) {
            std::copy_n(buffer.end() - kHistory, kHistory, buffer.begin());
            end = kHistory;
        }
        const std::size_t frames = std::min(kBuffer - end, input.size());
        double* newest = buffer.data() + end;
        std::copy_n(input.begin(), frames, newest);
        if (goingUp)
            up<kBuffer - kHistory>(kernel, newest, output.first(2 * frames));
        else
            down<kBuffer / 2>(kernel, newest, output.first(frames / 2));
        output = output.subspan(goingUp ? 2 * frames : frames / 2);
        input = input.subspan(frames);
        end += frames;
    }
}

} // namespace sorvane::dsp
