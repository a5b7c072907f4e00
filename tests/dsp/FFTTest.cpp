#include "FFT.h"
#include "CpuDispatch.h"
#include "Signals.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace sorvane::dsp {
namespace {

// One bin of a split spectrum, by the plain sum. The sign is -1 for the forward kernel.
std::pair<double, double> plainDft(std::span<const double> time, std::size_t bin, double sign)
{
    const std::size_t n = time.size() / 2;
    std::pair<double, double> sum{0.0, 0.0};
    for (std::size_t j = 0; j < n; ++j) {
        const double angle = sign * 2.0 * std::numbers::pi * static_cast<double>(j * bin % n) / static_cast<double>(n);
        sum.first += time[j] * std::cos(angle) - time[n + j] * std::sin(angle);
        sum.second += time[n + j] * std::cos(angle) + time[j] * std::sin(angle);
    }
    return sum;
}

TEST(FFT, EqualsPlainDftInBothDirectionsOnEveryVectorUnit)
{
    for (const VectorUnit unit : {VectorUnit::sse2, VectorUnit::avx2, VectorUnit::avx512}) {
        useVectorUnit(unit);
        for (const std::size_t n : {32U, 128U, 512U, 8192U}) {
            const FFT fft(n);
            const auto signal = test::noise(2 * n, 1);
            std::vector<double> time = signal;
            std::vector<double> spectrum(2 * n);
            fft.forward(time, spectrum);
            for (std::size_t bin = 0; bin < n; bin += 1 + n / 70) {
                const auto [re, im] = plainDft(signal, bin, -1.0);
                const std::size_t place = fft.place(bin);
                EXPECT_NEAR(spectrum[place], re, 1e-11) << n << " bin " << bin;
                EXPECT_NEAR(spectrum[n + place], im, 1e-11) << n << " bin " << bin;
            }

            // The other direction from a spectrum that didn't come from the first.
            std::vector<double> placed(2 * n);
            for (std::size_t bin = 0; bin < n; ++bin) {
                const std::size_t place = fft.place(bin);
                placed[place] = signal[bin];
                placed[n + place] = signal[n + bin];
            }
            fft.inverse(placed, time);
            for (std::size_t j = 0; j < n; j += 1 + n / 70) {
                const auto [re, im] = plainDft(signal, j, 1.0);
                EXPECT_NEAR(time[j], re, 1e-11) << n << " sample " << j;
                EXPECT_NEAR(time[n + j], im, 1e-11) << n << " sample " << j;
            }
        }
    }
    useVectorUnit(widestVectorUnit());
}

} // namespace
} // namespace sorvane::dsp
