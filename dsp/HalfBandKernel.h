#pragma once

#include <vector>

namespace sorvane::dsp {

/// A half-band low-pass for a change of rate by 2: sinc(t / 2) under a Kaiser window, by its n taps at odd lags. Of the
/// taps at even lags the middle one is 1, all others are 0. At the doubled rate it spans 2 n - 1 taps and delays by n
/// - 1.
///
/// Tap j, at the lag k = 1 - n + 2 j, is sin(k pi / 2) / (k pi / 2) * I0(beta sqrt(1 - (k / (n - 1))^2)) / I0(beta).
using HalfBandKernel = std::vector<double>;

/// The two kernels of the program, built at the first call and only read from then on. Any thread; let the first call
/// not come from the audio thread.
struct HalfBandKernels {
    HalfBandKernel standard; ///< 34 taps, beta 3.5
    HalfBandKernel hq;       ///< 128 taps, beta 15

    [[nodiscard]] static const HalfBandKernels& shared();
};

} // namespace sorvane::dsp
