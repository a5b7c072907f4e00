#include "DirectFIR.h"

#include "CpuDispatch.h"

namespace sorvane::dsp {

namespace {

// Vectors run across neighbouring outputs. Eight taps a pass spare most of the loads and stores of the output.
[[gnu::always_inline]] inline void addEightTaps(const double* taps, const double* __restrict x, double* __restrict y,
                                                int frames) noexcept
{
    const double h0 = taps[0], h1 = taps[1], h2 = taps[2], h3 = taps[3];
    const double h4 = taps[4], h5 = taps[5], h6 = taps[6], h7 = taps[7];
    for (int i = 0; i < frames; ++i)
        y[i] += ((h0 * x[i] + h1 * x[i + 1]) + (h2 * x[i + 2] + h3 * x[i + 3])) +
                ((h4 * x[i + 4] + h5 * x[i + 5]) + (h6 * x[i + 6] + h7 * x[i + 7]));
}

[[gnu::always_inline]] inline void addOneTap(double tap, const double* __restrict x, double* __restrict y,
                                             int frames) noexcept
{
    for (int i = 0; i < frames; ++i)
        y[i] += tap * x[i];
}

[[gnu::always_inline]] inline void addTaps(const double* taps, int count, const double* input, double* output,
                                           int frames) noexcept
{
    int j = 0;
    for (; j + 8 <= count; j += 8)
        addEightTaps(taps + j, input + j, output, frames);
    for (; j < count; ++j)
        addOneTap(taps[j], input + j, output, frames);
}

} // namespace

void addDirectFIR(std::span<const double> taps, const double* input, std::span<double> output) noexcept
{
    CpuDispatch<addTaps>::run(taps.data(), static_cast<int>(taps.size()), input, output.data(),
                              static_cast<int>(output.size()));
}

} // namespace sorvane::dsp
