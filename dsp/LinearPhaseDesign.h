#pragma once

#include "FFT.h"

#include <span>
#include <vector>

namespace sorvane::dsp {

/// Designs linear-phase FIR filters of one length from a wanted magnitude.
///
/// Frequency sampling: the zero-phase impulse response whose spectrum has the wanted magnitudes at its N bins, turned
/// by half so that its centre comes to N / 2, times a Kaiser window of N points and beta 12. The filter delays by N
/// / 2. Any but the audio thread, several at once too.
class LinearPhaseDesign {
public:
    /// \param length  N, number of taps: 8 times a power of four. Throws std::bad_alloc.
    explicit LinearPhaseDesign(int length);

    [[nodiscard]] int length() const noexcept { return static_cast<int>(fft.size()); }

    /// \param magnitudes  N / 2 + 1 linear gains, at i * rate / N Hz
    /// \param taps        N values to write
    /// Throws std::bad_alloc.
    void design(std::span<const double> magnitudes, std::span<double> taps) const;

private:
    FFT fft;
    std::vector<double> window;
};

} // namespace sorvane::dsp
