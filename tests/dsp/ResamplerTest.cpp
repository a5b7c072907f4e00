#include "ResamplerHQ.h"
#include "Signals.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace sorvane::dsp {
namespace {

constexpr double kUp = 2.0;
constexpr double kDown = 0.5;

ResamplerHQ makeResampler(bool hq, double past = 0.0)
{
    ResamplerHQ resampler;
    resampler.setHq(hq);
    resampler.fill(past);
    return resampler;
}

std::vector<double> resample(Resampler& resampler, double ratio, std::span<const double> input)
{
    std::vector<double> output(ratio > 1.0 ? 2 * input.size() : input.size() / 2);
    resampler.process(ratio, input, output);
    return output;
}

// Level of a sine of 1 after the resampler, its frequency as a fraction of the input's rate, in dB of what the output
// holds at outputFrequency, a fraction of its own rate.
double levelDb(bool hq, double ratio, double frequency, double outputFrequency)
{
    constexpr std::size_t kFrames = 4096;
    std::vector<double> sine(kFrames);
    for (std::size_t n = 0; n < kFrames; ++n)
        sine[n] = std::sin(2.0 * std::numbers::pi * frequency * static_cast<double>(n));
    auto resampler = makeResampler(hq);
    const auto output = resample(resampler, ratio, sine);

    double re = 0.0;
    double im = 0.0;
    double weights = 0.0;
    constexpr std::size_t kSettled = 512;
    for (std::size_t n = kSettled; n < output.size(); ++n) {
        const double u = static_cast<double>(n - kSettled) / static_cast<double>(output.size() - kSettled);
        // Blackman-Nuttall, so that the pass-band's share of the sine doesn't leak into what is measured.
        const double w = 0.3635819 - 0.4891775 * std::cos(2.0 * std::numbers::pi * u) +
                         0.1365995 * std::cos(4.0 * std::numbers::pi * u) -
                         0.0106411 * std::cos(6.0 * std::numbers::pi * u);
        const double angle = 2.0 * std::numbers::pi * outputFrequency * static_cast<double>(n);
        re += w * output[n] * std::cos(angle);
        im += w * output[n] * std::sin(angle);
        weights += w;
    }
    return 20.0 * std::log10(2.0 * std::hypot(re, im) / weights);
}

TEST(Resampler, ImpulseResponseIsTheWindowedSincDelayedByTheKernel)
{
    for (const bool hq : {false, true}) {
        auto resampler = makeResampler(hq);
        const int n = resampler.taps();
        const double beta = hq ? 15.0 : 3.5;
        std::vector<double> impulse(static_cast<std::size_t>(n) + 5);
        impulse[0] = 1.0;
        const auto response = resample(resampler, kUp, impulse);
        for (int i = 0; i < static_cast<int>(response.size()); ++i) {
            const int lag = i - (n - 1); // at the doubled rate
            double expected = lag == 0 ? 1.0 : 0.0;
            if (lag % 2 != 0 && std::abs(lag) < n) {
                const double x = lag * std::numbers::pi / 2.0;
                const double u = static_cast<double>(lag) / (n - 1);
                expected = std::sin(x) / x * std::cyl_bessel_i(0.0, beta * std::sqrt(1.0 - u * u)) /
                           std::cyl_bessel_i(0.0, beta);
            }
            EXPECT_NEAR(response[static_cast<std::size_t>(i)], expected, 4e-7) << hq << " lag " << lag;
        }
    }
}

TEST(Resampler, KeepsThePassBandAndHoldsBackImagesAndAliases)
{
    struct Limits {
        bool hq;
        double edge; // of the base rate
        double rippleDb;
        double stopDb;
    };
    for (const Limits& limits : {Limits{false, 0.45, 0.06, -44.0}, Limits{true, 0.46, 1e-4, -120.0}})
        for (int i = 0; i <= 10; ++i) {
            const double f = 0.02 + (limits.edge - 0.02) * 0.1 * i;
            const double mirrored = 1.0 - f;
            EXPECT_NEAR(levelDb(limits.hq, kUp, f, f / 2.0), 0.0, limits.rippleDb) << f;
            EXPECT_NEAR(levelDb(limits.hq, kDown, f / 2.0, f), 0.0, limits.rippleDb) << f;
            EXPECT_LT(levelDb(limits.hq, kUp, f, mirrored / 2.0), limits.stopDb) << f;
            EXPECT_LT(levelDb(limits.hq, kDown, mirrored / 2.0, f), limits.stopDb) << f;
        }
}

TEST(Resampler, DelaysAChainOfUpAndDownByTheKernelLessOne)
{
    for (const bool hq : {false, true}) {
        auto up = makeResampler(hq);
        auto down = makeResampler(hq);
        const auto delay = static_cast<std::size_t>(up.taps()) - 1;
        std::vector<double> sine(1000);
        for (std::size_t n = 0; n < sine.size(); ++n)
            sine[n] = std::sin(0.7 * static_cast<double>(n));
        const auto output = resample(down, kDown, resample(up, kUp, sine));
        const auto settled = std::span(output).subspan(2 * delay);
        EXPECT_LT(test::peakDifference(settled, std::span(sine).subspan(delay, settled.size())), hq ? 1e-6 : 4e-3);
    }
}

TEST(Resampler, GivesTheSameForAnyCutOfTheStream)
{
    const auto input = test::noise(3000, 1);
    for (const bool hq : {false, true})
        for (const double ratio : {kUp, kDown, 1.0}) { // 1 goes down
            auto resampler = makeResampler(hq);
            const auto whole = resample(resampler, ratio, input);
            auto cutResampler = makeResampler(hq);
            std::vector<double> cut;
            std::span<const double> rest = input;
            for (std::size_t frames = 0; !rest.empty(); frames = (frames * 7 + 2) % 766) {
                const auto block = rest.first(std::min(ratio > 1.0 ? frames / 2 : frames, rest.size()));
                const auto output = resample(cutResampler, ratio, block);
                cut.insert(cut.end(), output.begin(), output.end());
                rest = rest.subspan(block.size());
            }
            EXPECT_EQ(cut, whole) << hq << ' ' << ratio;
        }
}

TEST(Resampler, GoesOnFromItsPast)
{
    // A gain of 1 stays 1 from the first sample.
    for (const bool hq : {false, true})
        for (const double ratio : {kUp, kDown}) {
            auto resampler = makeResampler(hq, 1.0);
            const auto output = resample(resampler, ratio, std::vector<double>(600, 1.0));
            EXPECT_LT(test::peakDifference(output, std::vector<double>(output.size(), 1.0)), hq ? 1e-6 : 4e-3);
        }

    // A change of kernel finds the same past as if the new kernel had run all along.
    const auto input = test::noise(1200, 2);
    for (const double ratio : {kUp, kDown}) {
        auto changed = makeResampler(false);
        auto steady = makeResampler(true);
        resample(changed, ratio, std::span(input).first(400));
        resample(steady, ratio, std::span(input).first(400));
        changed.setHq(true);
        EXPECT_EQ(changed.taps(), 128);
        EXPECT_EQ(resample(changed, ratio, std::span(input).subspan(400)),
                  resample(steady, ratio, std::span(input).subspan(400)));
    }
}

} // namespace
} // namespace sorvane::dsp
