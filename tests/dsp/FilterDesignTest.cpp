#include "BLTEQ.h"
#include "BiquadFit.h"
#include "FilterSettings.h"
#include "LeastSquares.h"
#include "SectionSeeds.h"
#include "TrimoraEQ.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <numbers>
#include <random>

namespace sorvane::dsp {
namespace {

constexpr std::array kRates{44100.0F, 48000.0F, 88200.0F, 96000.0F, 192000.0F};

/// Largest difference in dB between the digital and the analog curve, where the analog one lies above -40 dB.
double deviationDb(const DF1Cascade& filter, double highestHz)
{
    const AnalogCascade analog = filter.design(false);
    double worst = 0.0;
    for (const double hertz : logarithmic(20.0, highestHz, 60)) {
        const double wanted = decibels(analog.magnitude(hertz));
        if (wanted > -40.0)
            worst = std::max(worst, std::abs(decibels(filter.magnitudeAt(hertz)) - wanted));
    }
    return worst;
}

/// A kind of filter and how far it may be off, in dB: fitted up to 0.45 of the rate with a corner of at most a quarter
/// of it, and by the bilinear transform up to an eighth of the rate.
struct Kind {
    FilterType type;
    FilterShape shape;
    int order;
    double fittedDb;
    double bilinearDb;
};

TEST(FilterDesign, FollowsTheAnalogCurveAtAnyRate)
{
    const std::array kinds{Kind{FilterType::lowPass, FilterShape::plain, 1, 0.35, 0.5},
                           Kind{FilterType::lowPass, FilterShape::plain, 2, 0.35, 1.0},
                           Kind{FilterType::lowPass, FilterShape::plain, 4, 0.65, 1.9},
                           Kind{FilterType::lowPass, FilterShape::butterworth, 32, 0.9, 3.5},
                           Kind{FilterType::lowPass, FilterShape::coincident, 32, 2.5, 3.5},
                           Kind{FilterType::highPass, FilterShape::plain, 1, 0.25, 0.5},
                           Kind{FilterType::highPass, FilterShape::plain, 2, 0.1, 0.8},
                           Kind{FilterType::highPass, FilterShape::plain, 4, 0.15, 1.6},
                           Kind{FilterType::highPass, FilterShape::butterworth, 32, 1.5, 3.5},
                           Kind{FilterType::lowShelf, FilterShape::plain, 2, 1.9, 5.6},
                           Kind{FilterType::highShelf, FilterShape::plain, 2, 0.05, 0.7},
                           Kind{FilterType::peak, FilterShape::plain, 2, 1.7, 0.8},
                           Kind{FilterType::notch, FilterShape::plain, 2, 4.5, 0.9},
                           Kind{FilterType::bandPass, FilterShape::plain, 2, HUGE_VAL, 0.8}};
    for (const Kind& kind : kinds) {
        const bool hasGain =
            kind.type == FilterType::lowShelf || kind.type == FilterType::highShelf || kind.type == FilterType::peak;
        const bool hasQ =
            kind.type == FilterType::peak || kind.type == FilterType::bandPass || kind.type == FilterType::notch;
        const std::vector<float> gains = hasGain ? std::vector{-24.0F, -6.0F, 1.0F, 12.0F, 24.0F} : std::vector{0.0F};
        const std::vector<float> qs = hasQ ? std::vector{0.1F, 0.3F, 0.8F, 3.0F, 20.0F} : std::vector{0.707F};
        for (const float rate : kRates) {
            TrimoraEQ fitted;
            BLTEQ bilinear;
            fitted.setSampleRate(rate);
            bilinear.setSampleRate(rate);
            for (const double hertz : logarithmic(20.0, std::min(20000.0, rate / 4.0), 9)) {
                for (const float gain : gains) {
                    for (const float q : qs) {
                        const FilterSettings settings{kind.type, kind.shape, kind.order, static_cast<float>(hertz),
                                                      gain,      q};
                        apply(settings, fitted);
                        EXPECT_LT(deviationDb(fitted, 0.45 * rate), kind.fittedDb) << settings << " fitted at " << rate;
                        if (hertz > rate / 8.0)
                            continue;
                        apply(settings, bilinear);
                        EXPECT_LT(deviationDb(bilinear, rate / 8.0), kind.bilinearDb)
                            << settings << " bilinear at " << rate;
                    }
                }
            }
        }
    }
}

TEST(BLTEQ, IsTheAnalogCurveOnAWarpedAxis)
{
    for (const auto type : {FilterType::lowPass, FilterType::highPass, FilterType::peak, FilterType::highShelf}) {
        for (const float corner : {50.0F, 5000.0F, 19000.0F, 60000.0F}) {
            const FilterSettings settings{type, FilterShape::plain, 2, corner, 9.0F, 3.0F};
            BLTEQ filter;
            filter.setSampleRate(48000.0F);
            apply(settings, filter);
            const AnalogStage stage = filter.design(false).stages()[0];
            const double matched = std::min(0.45 * 48000.0, std::sqrt(stage.a2 / stage.a0));
            for (const double hertz : logarithmic(10.0, 23900.0, 20)) {
                const double warped = matched * std::tan(std::numbers::pi * hertz / 48000.0) /
                                      std::tan(std::numbers::pi * matched / 48000.0);
                EXPECT_NEAR(filter.magnitudeAt(hertz) / filter.analogMagnitude(warped, false), 1.0, 1e-7)
                    << settings << " at " << hertz;
            }
        }
    }
}

/// Largest magnitude of the roots of z^2 + p z + r.
double rootRadius(double p, double r)
{
    const std::complex<double> root = std::sqrt(std::complex<double>(p * p / 4.0 - r));
    return std::max(std::abs(-p / 2.0 + root), std::abs(-p / 2.0 - root));
}

TEST(FilterDesign, AnySettingGivesFiniteStableSections)
{
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
    std::mt19937 random(1);
    const auto pick = [&](std::initializer_list<float> values) { return values.begin()[random() % values.size()]; };
    const auto spread = [&](double lowest, double highest) {
        return static_cast<float>(lowest * std::pow(highest / lowest, static_cast<double>(random()) / 4294967295.0));
    };
    TrimoraEQ fitted;
    BLTEQ bilinear;
    for (int i = 0; i < 4000; ++i) {
        const bool extreme = i % 2 == 1;
        const FilterSettings settings{
            static_cast<FilterType>(random() % 10),
            static_cast<FilterShape>(random() % 4),
            static_cast<int>(random() % 37) - 2,
            extreme && i % 10 == 1 ? pick({0.0F, -5.0F, kInfinity, kNaN, 24000.0F}) : spread(0.05, 1e6),
            extreme ? pick({-kInfinity, -90.0F, kNaN, 30.0F, 60.0F, kInfinity}) : pick({-24.0F, -0.005F, 0.0F, 7.0F}),
            extreme ? pick({0.0F, -1.0F, kInfinity, kNaN, 0.05F, 500.0F}) : spread(0.1, 50.0)};
        const float rate = extreme ? pick({0.0F, 1000.0F, kNaN, kInfinity, 384000.0F}) : kRates[random() % 5];
        for (DF1Cascade* filter : {static_cast<DF1Cascade*>(&fitted), static_cast<DF1Cascade*>(&bilinear)}) {
            filter->setSampleRate(rate);
            apply(settings, *filter);
            for (const auto& [b0, b1, b2, a1, a2] : filter->getCoefficients()) {
                ASSERT_TRUE(std::isfinite(b0 + b1 + b2)) << settings << " at " << rate;
                ASSERT_LT(rootRadius(a1, a2), 1.0) << settings << " at " << rate;
            }
        }
    }
}

TEST(TrimoraEQ, DoesNotRingWhereTheFitDoesNotLook)
{
    // Settings with which a free fit drives a pole to the unit circle between two points of its grid or below the
    // first.
    struct Case {
        float rate;
        float hertz;
        float gainDb;
        float q;
    };
    for (const Case& c : {Case{48000.0F, 21905.7F, 14.6F, 14.0868F}, Case{44100.0F, 20597.2F, 15.2F, 14.5902F},
                          Case{44100.0F, 28.7654F, -19.1F, 0.118967F}, Case{192000.0F, 281.104F, -23.4F, 0.104004F}}) {
        TrimoraEQ filter;
        filter.setSampleRate(c.rate);
        apply({FilterType::peak, FilterShape::plain, 2, c.hertz, c.gainDb, c.q}, filter);
        double loudest = filter.magnitudeAt(0.0);
        for (const double hertz : logarithmic(0.5, c.rate / 2.0, 20000))
            loudest = std::max(loudest, filter.magnitudeAt(hertz));
        EXPECT_LT(decibels(loudest), std::max(0.0F, c.gainDb) + 6.0) << c.hertz << " Hz at " << c.rate;
    }
}

TEST(TrimoraEQ, IsAnIdentityWithoutGain)
{
    for (const auto type : {FilterType::peak, FilterType::lowShelf, FilterType::highShelf}) {
        for (const float gain : {-0.01F, 0.0F, 0.01F, 0.02F}) {
            TrimoraEQ filter;
            apply({type, FilterShape::plain, 2, 3000.0F, gain}, filter);
            filter.beginBlock();
            EXPECT_EQ(filter.isIdentity(), gain < 0.02F) << static_cast<int>(type) << ' ' << gain;
        }
    }
}

TEST(SectionSeeds, MeetTheAnalogCurveAtBothEndsAndTheCorner)
{
    constexpr double kRate = 48000.0;
    const auto deviation = [](const BiquadSection& section, const AnalogStage& analog, double w, double hertz) {
        const auto [numerator, denominator] = respond(section, 2.0 * std::numbers::pi * hertz / kRate);
        return std::abs(decibels(std::abs(numerator / denominator)) -
                        decibels(std::sqrt(analog.squaredMagnitude(hertz / w))));
    };
    for (const double hertz : {60.0, 1000.0, 9000.0}) {
        for (const double q : {0.2, 0.707, 1.0, 6.0}) {
            const AnalogStage low{0.0, 0.0, 1.0, 1.0, 1.0 / q, 1.0};
            const AnalogStage high{1.0, 0.0, 0.0, 1.0, 1.0 / q, 1.0};
            const auto lowSeed = lowPassSeed(kRate, hertz, q);
            const auto highSeed = highPassSeed(kRate, hertz, q);
            for (const double at : {1.0, hertz, kRate / 2.0})
                EXPECT_LT(deviation(lowSeed, low, hertz, at), 0.06) << hertz << ' ' << q << ' ' << at;
            for (const double at : {hertz, kRate / 2.0})
                EXPECT_LT(deviation(highSeed, high, hertz, at), 0.5) << hertz << ' ' << q << ' ' << at;
            for (const double gain : {-24.0, -3.0, 12.0}) {
                const double a = std::pow(10.0, gain / 40.0);
                const AnalogStage peak{1.0, a / q, 1.0, 1.0, 1.0 / (a * q), 1.0};
                const auto seed = peakSeed(kRate, gain, hertz, q);
                for (const double at : {1.0, hertz, kRate / 2.0})
                    EXPECT_LT(deviation(seed, peak, hertz, at), 1e-4) << hertz << ' ' << q << ' ' << gain << ' ' << at;
            }
        }
        for (const double gain : {0.1, 0.5, 4.0, 16.0}) {
            for (const AnalogStage& shelf : {AnalogStage{1.0, std::sqrt(2.0 * gain), gain, 1.0, std::sqrt(2.0), 1.0},
                                             AnalogStage{gain, std::sqrt(2.0 * gain), 1.0, 1.0, std::sqrt(2.0), 1.0}}) {
                auto [seed, inverted] = generalSeed(kRate, shelf.scaled(2.0 * std::numbers::pi * hertz));
                if (inverted)
                    seed = reciprocal(seed);
                for (const double at : {1.0, hertz, kRate / 2.0})
                    EXPECT_LT(deviation(seed, shelf, hertz, at), 0.25) << hertz << ' ' << gain << ' ' << at;
            }
            const auto seed = firstOrderSeed(kRate, hertz, gain, 1.0);
            for (const double at : {1.0, hertz, kRate / 2.0})
                EXPECT_LT(deviation(seed, {gain, 1.0, 0.0, 1.0, 1.0, 0.0}, hertz, at), 0.25) << hertz << ' ' << gain;
        }
    }
}

/// Squared error over the grid with the best scale, from the complex response.
double squaredError(const BiquadSection& section, std::span<const float, 128> wanted)
{
    std::array<double, 128> magnitudes{};
    double match = 0.0;
    double energy = 0.0;
    for (std::size_t i = 0; i < magnitudes.size(); ++i) {
        const double w = std::numbers::pi * std::pow(20.0 / 22050.0, 1.0 - static_cast<double>(i) / 127.0);
        const auto [numerator, denominator] = respond(section, w);
        magnitudes[i] = std::abs(numerator / denominator);
        match += magnitudes[i] * static_cast<double>(wanted[i]);
        energy += magnitudes[i] * magnitudes[i];
    }
    double error = 0.0;
    for (std::size_t i = 0; i < magnitudes.size(); ++i)
        error += std::pow(magnitudes[i] * match / energy - static_cast<double>(wanted[i]), 2);
    return error;
}

TEST(BiquadFit, NeverEndsWorseThanItsSeedAndFindsAKnownSection)
{
    std::mt19937 random(2);
    const auto section = [&] {
        const auto root = [&] { return 0.95 * static_cast<double>(random()) / 4294967295.0; };
        const double zero = root();
        const double pole = root();
        return BiquadSection{1.0, -2.0 * zero * std::cos(3.0 * root()), zero * zero,
                             -2.0 * pole * std::cos(3.0 * root()), pole * pole};
    };
    BiquadFit fit;
    int found = 0;
    for (int i = 0; i < 200; ++i) {
        const auto sought = section();
        std::array<float, 128> wanted{};
        for (std::size_t n = 0; n < wanted.size(); ++n) {
            const auto [numerator, denominator] = respond(sought, fit.omega()[n]);
            wanted[n] = static_cast<float>(2.0 * std::abs(numerator / denominator));
        }
        auto seed = i % 2 == 0 ? section() : sought;
        seed.b1 *= 1.01;
        seed.a1 *= 0.99;
        const auto fitted = fit.improve(seed, wanted, {.skipError = 0.0, .maxSteps = 99});
        EXPECT_LE(squaredError(fitted, wanted), squaredError(seed, wanted) * (1.0 + 1e-9)) << i;
        EXPECT_LT(rootRadius(fitted.a1, fitted.a2), 1.0) << i;
        if (i % 2 == 1 && squaredError(fitted, wanted) < 1e-6 * squaredError(seed, wanted))
            ++found;
    }
    EXPECT_GT(found, 80) << "of 100 sections near the seed";
}

TEST(LeastSquares, SolvesTheNormalEquationsAndLeavesOutWhatIsNotDetermined)
{
    std::mt19937 random(3);
    const auto value = [&] { return static_cast<double>(random()) / 2147483648.0 - 1.0; };
    for (int i = 0; i < 100; ++i) {
        std::array<std::array<double, 3>, 4> rows{};
        for (auto& row : rows)
            row = {value(), 1e3 * value(), value()};
        const auto [x, y] = solveLeastSquares(rows);
        double byFirst = 0.0;
        double bySecond = 0.0;
        for (const auto& [a, b, right] : rows) {
            byFirst += a * (a * x + b * y - right);
            bySecond += b * (a * x + b * y - right);
        }
        EXPECT_NEAR(byFirst, 0.0, 1e-9);
        EXPECT_NEAR(bySecond, 0.0, 1e-6);
    }
    // Next to dependent: of all the solutions of x + 2 y = 5 the shortest, not (5, 0), which the last digits ask for.
    const std::array<std::array<double, 3>, 2> dependent{{{1.0, 2.0, 5.0}, {2.0, 4.0 + 1e-7, 10.0}}};
    const auto [x, y] = solveLeastSquares(dependent);
    EXPECT_NEAR(x, 1.0, 1e-6);
    EXPECT_NEAR(y, 2.0, 1e-6);
}

} // namespace
} // namespace sorvane::dsp
