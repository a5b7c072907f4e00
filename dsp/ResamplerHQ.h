#pragma once

#include "Relaxed.h"
#include "Resampler.h"

namespace sorvane::dsp {

/// A Resampler that may use the long kernel. A change of kernel keeps the signal's past and changes the delay.
class ResamplerHQ : public Resampler {
public:
    void process(double ratio, std::span<const double> input, std::span<double> output) noexcept override
    {
        resample(kernel(), ratio, input, output);
    }

    /// n, the number of taps of the kernel in use: 34, or 128 at high quality. Any thread.
    [[nodiscard]] int taps() const noexcept override { return static_cast<int>(kernel().size()); }

    /// Chooses the long kernel from the next call of process on. Any thread.
    void setHq(bool on) noexcept { hq = on; }

private:
    [[nodiscard]] const HalfBandKernel& kernel() const noexcept { return hq ? kernels.hq : kernels.standard; }

    Relaxed<bool> hq{false};
};

} // namespace sorvane::dsp
