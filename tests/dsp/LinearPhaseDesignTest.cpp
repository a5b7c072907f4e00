#include "LinearPhaseDesign.h"
#include "Kaiser.h"
#include "Signals.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace sorvane::dsp {
namespace {

std::vector<double> design(int length, const std::vector<double>& magnitudes)
{
    std::vector<double> taps(static_cast<std::size_t>(length));
    LinearPhaseDesign(length).design(magnitudes, taps);
    return taps;
}

// Magnitudes of an analog band: second-order high-pass at low, fourth-order low-pass at high, in bins.
std::vector<double> band(int length, double low, double high)
{
    std::vector<double> magnitudes(static_cast<std::size_t>(length / 2 + 1));
    for (std::size_t i = 0; i < magnitudes.size(); ++i) {
        const double f = static_cast<double>(i);
        magnitudes[i] =
            std::pow(f / low, 2) / std::hypot(1.0, std::pow(f / low, 2)) / std::hypot(1.0, std::pow(f / high, 4));
    }
    return magnitudes;
}

TEST(Kaiser, BesselPolynomialsHoldTheirPublishedError)
{
    for (int i = 0; i < 400; ++i) {
        const double x = 0.05 * i;
        EXPECT_NEAR(besselI0(x) / std::cyl_bessel_i(0.0, x), 1.0, 3e-7) << x;
    }
    EXPECT_DOUBLE_EQ(besselI0(-5.0), besselI0(5.0));
}

TEST(LinearPhaseDesign, ResponseIsTheWantedMagnitudeDelayedByHalfTheLength)
{
    for (const int length : {2048, 8192}) {
        const auto magnitudes = band(length, length / 16.0, length / 6.0);
        const auto taps = design(length, magnitudes);
        const int half = length / 2;
        for (int bin = 0; bin <= half; bin += 13) {
            double re = 0.0;
            double im = 0.0;
            for (int i = 0; i < length; ++i) {
                const double angle = 2.0 * std::numbers::pi * bin * (i - half) / length;
                re += taps[static_cast<std::size_t>(i)] * std::cos(angle);
                im -= taps[static_cast<std::size_t>(i)] * std::sin(angle);
            }
            EXPECT_NEAR(re, magnitudes[static_cast<std::size_t>(bin)], 3e-4) << length << " bin " << bin;
            EXPECT_NEAR(im, 0.0, 3e-5) << length << " bin " << bin;
        }
    }
}

TEST(LinearPhaseDesign, IsAWindowedImpulseForUnityAndAddsUpForComplements)
{
    constexpr int kLength = 2048;
    const auto flat = design(kLength, std::vector<double>(kLength / 2 + 1, 1.0));
    // The window is centred half a sample before the impulse.
    const double u = 0.5 / (0.5 * (kLength - 1));
    std::vector<double> impulse(kLength);
    impulse[kLength / 2] = std::cyl_bessel_i(0.0, 12.0 * std::sqrt(1.0 - u * u)) / std::cyl_bessel_i(0.0, 12.0);
    EXPECT_LT(test::peakDifference(flat, impulse), 1e-8);
    EXPECT_LT(flat[kLength / 2], 1.0);

    // What one band lets through and another one holds back adds up to the whole, tap by tap.
    auto magnitudes = band(kLength, 100.0, 400.0);
    auto sum = design(kLength, magnitudes);
    for (double& magnitude : magnitudes)
        magnitude = 1.0 - magnitude;
    const auto rest = design(kLength, magnitudes);
    for (std::size_t i = 0; i < sum.size(); ++i)
        sum[i] += rest[i];
    EXPECT_LT(test::peakDifference(sum, flat), 1e-15);
}

TEST(LinearPhaseDesign, IsSymmetricAboutHalfTheLengthButForTheWindow)
{
    constexpr int kLength = 2048;
    const auto taps = design(kLength, band(kLength, 90.0, 300.0));
    const auto window = [](int i) { // by an independent Bessel function
        const double u = (i - 0.5 * (kLength - 1)) / (0.5 * (kLength - 1));
        return std::cyl_bessel_i(0.0, 12.0 * std::sqrt(1.0 - u * u)) / std::cyl_bessel_i(0.0, 12.0);
    };
    for (int k = 1; k < kLength / 2; ++k) {
        const int right = kLength / 2 + k;
        const int left = kLength / 2 - k;
        EXPECT_NEAR(taps[static_cast<std::size_t>(right)] * window(left),
                    taps[static_cast<std::size_t>(left)] * window(right), 1e-8)
            << k;
    }
}

} // namespace
} // namespace sorvane::dsp
