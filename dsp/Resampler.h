#pragma once

#include "HalfBandKernel.h"

#include <array>
#include <cstddef>
#include <span>

namespace sorvane::dsp {

/// Doubles or halves the sample rate with the standard half-band kernel.
///
/// One object serves one direction of one signal. Each direction delays by (n - 1) / 2 samples of the base rate, n
/// being taps(), a chain of up and down by n - 1. However the stream is cut into calls, the output is the same to the
/// last bit.
///
/// Construction: any but the audio thread, since the first one builds the kernels. All else: audio thread.
class Resampler {
public:
    /// The history starts at 0. Throws std::bad_alloc.
    Resampler();
    virtual ~Resampler() = default;

    /// \param ratio   above 1: up by 2, the output being twice as long as the input; else down by 2, half as long
    /// \param input   any length, 0 too; even when going down
    /// \param output  doesn't overlap the input
    virtual void process(double ratio, std::span<const double> input, std::span<double> output) noexcept;

    /// n, the number of taps of the kernel in use: 34.
    [[nodiscard]] virtual int taps() const noexcept { return static_cast<int>(kernels.standard.size()); }

    /// Makes the past of the signal a constant: 0 for a signal, 1 for a gain. Any thread while process doesn't run.
    void fill(double value) noexcept { buffer.fill(value); }

protected:
    void resample(const HalfBandKernel& kernel, double ratio, std::span<const double> input,
                  std::span<double> output) noexcept;

    const HalfBandKernels& kernels;

private:
    // The past that the longest kernel, of 128 taps, looks back on when going down. It is kept with any kernel, so that
    // a change of kernel goes on with the true past.
    static constexpr std::size_t kHistory = 254;
    static constexpr std::size_t kBuffer = 512;
    static_assert(kHistory % 2 == 0 && kBuffer % 2 == 0, "going down, a chunk begins with an even sample");

    std::array<double, kBuffer> buffer{};
    std::size_t end = kHistory; // of the samples in buffer, the last kHistory of which are the past
};

} // namespace sorvane::dsp
