#include "LinearPhaseDesign.h"

#include "AlignedBuffer.h"
#include "Kaiser.h"

#include <cassert>
#include <cstddef>

namespace sorvane::dsp {

namespace {

constexpr double kBeta = 12.0;

} // namespace

LinearPhaseDesign::LinearPhaseDesign(int length)
    : fft(static_cast<std::size_t>(length)), window(kaiserWindow(length, kBeta))
{}

void LinearPhaseDesign::design(std::span<const double> magnitudes, std::span<double> taps) const
{
    AlignedBuffer spectrum(2 * fft.size());
    AlignedBuffer impulse(2 * fft.size());
    const std::size_t n = fft.size();
    const std::size_t half = n / 2;
    assert(magnitudes.size() == half + 1 && taps.size() == n);

    const auto bins = spectrum.all(); // the imaginary parts stay 0
    for (std::size_t bin = 0; bin <= half; ++bin) {
        const double value = magnitudes[bin] / static_cast<double>(n);
        bins[fft.place(bin)] = value;
        bins[fft.place((n - bin) % n)] = value;
    }
    fft.inverse(spectrum.all(), impulse.all());

    const auto zeroPhase = impulse.all();
    for (std::size_t i = 0; i < n; ++i)
        taps[i] = zeroPhase[(i + half) % n] * window[i];
}

} // namespace sorvane::dsp
