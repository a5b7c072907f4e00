#include "EQ.h"
#include "FilterSettings.h"

#include <gtest/gtest.h>

#include <complex>
#include <limits>
#include <numbers>

namespace sorvane::dsp {
namespace {

class AnalogOnly final : public EQ {
public:
    void update() noexcept override {}
};

AnalogCascade designed(const FilterSettings& settings)
{
    AnalogOnly filter;
    apply(settings, filter);
    return filter.design(false);
}

std::complex<double> response(const AnalogStage& stage, double hertz)
{
    const std::complex<double> s(0.0, hertz);
    return (stage.b0 * s * s + stage.b1 * s + stage.b2) / (stage.a0 * s * s + stage.a1 * s + stage.a2);
}

const std::vector<double> kRelative = logarithmic(0.05, 20.0, 25); // of the corner

TEST(EQ, ButterworthHasItsClosedForm)
{
    for (int order = 1; order <= 32; ++order) {
        const auto low = designed({FilterType::lowPass, FilterShape::butterworth, order, 400.0F});
        const auto high = designed({FilterType::highPass, FilterShape::butterworth, order, 400.0F});
        for (const double w : kRelative) {
            const double expected = 1.0 / std::sqrt(1.0 + std::pow(w, 2.0 * order));
            EXPECT_NEAR(low.magnitude(400.0 * w) / expected, 1.0, 1e-9) << order << ' ' << w;
            EXPECT_NEAR(high.magnitude(400.0 / w) / expected, 1.0, 1e-9) << order << ' ' << w;
        }
    }
}

TEST(EQ, CoincidentIsAPowerOfOneButterworthPairNearHalfPower)
{
    for (int order = 1; order <= 32; ++order) {
        const int pairs = order / 2;
        const bool single = order % 2 != 0;
        // The corner moves by 1/x, so that pairs x^4 + single x^2 = 1.
        double x = 1.0;
        for (int bit = 1; bit < 56; ++bit)
            x += std::ldexp(pairs * std::pow(x, 4) + (single ? x * x : 0.0) > 1.0 ? -1.0 : 1.0, -bit);
        const auto low = designed({FilterType::lowPass, FilterShape::coincident, order, 400.0F});
        const auto high = designed({FilterType::highPass, FilterShape::coincident, order, 400.0F});
        for (const double w : kRelative) {
            const double pair = 1.0 + std::pow(w * x, 4);
            const double power = std::pow(pair, -pairs) / (single ? 1.0 + w * w * x * x : 1.0);
            EXPECT_NEAR(low.magnitude(400.0 * w) / std::sqrt(power), 1.0, 1e-9) << order << ' ' << w;
            EXPECT_NEAR(high.magnitude(400.0 / w) / std::sqrt(power), 1.0, 1e-9) << order << ' ' << w;
        }
        EXPECT_NEAR(decibels(low.magnitude(400.0)), -3.6, 0.7) << order;
    }
}

TEST(EQ, GainOfAHighOrLowPassIsThatOfItsPassBand)
{
    for (const auto shape : {FilterShape::plain, FilterShape::coincident, FilterShape::butterworth}) {
        for (int order = 1; order <= 32; ++order) {
            EXPECT_NEAR(decibels(designed({FilterType::lowPass, shape, order, 1e3F, 6.0F}).magnitude(1e-3)), 6.0, 1e-6);
            EXPECT_NEAR(decibels(designed({FilterType::highPass, shape, order, 1e3F, -9.0F}).magnitude(1e9)), -9.0,
                        1e-6);
        }
    }
}

TEST(EQ, BandPassAndNotchAddUpToTheInput)
{
    for (const float q : {0.1F, 0.81F, 50.0F}) {
        const auto band = designed({FilterType::bandPass, FilterShape::plain, 2, 5270.0F, 0.0F, q});
        const auto rest = designed({FilterType::notch, FilterShape::plain, 2, 5270.0F, 0.0F, q});
        for (const double w : kRelative) {
            const auto sum = response(band.stages()[0], 5270.0 * w) + response(rest.stages()[0], 5270.0 * w);
            EXPECT_LT(std::abs(sum - 1.0), 1e-12) << q << ' ' << w;
        }
    }
}

TEST(EQ, ShelvesOfOppositeGainCancelAndMirrorEachOther)
{
    for (const float q : {0.3F, 0.707F, 4.0F}) {
        for (const float gain : {0.5F, 6.0F, 24.0F}) {
            const auto boost = designed({FilterType::lowShelf, FilterShape::plain, 2, 400.0F, gain, q});
            const auto cut = designed({FilterType::lowShelf, FilterShape::plain, 2, 400.0F, -gain, q});
            const auto high = designed({FilterType::highShelf, FilterShape::plain, 2, 400.0F, gain, q});
            const auto highCut = designed({FilterType::highShelf, FilterShape::plain, 2, 400.0F, -gain, q});
            for (const double w : kRelative) {
                EXPECT_NEAR(boost.magnitude(400.0 * w) * cut.magnitude(400.0 * w), 1.0, 1e-12);
                EXPECT_NEAR(high.magnitude(400.0 / w) / boost.magnitude(400.0 * w), 1.0, 1e-12);
                EXPECT_NEAR(high.magnitude(400.0 * w) * highCut.magnitude(400.0 * w), 1.0, 1e-12);
            }
            EXPECT_NEAR(decibels(boost.magnitude(1e-4)), gain, 1e-5);
            EXPECT_NEAR(decibels(boost.magnitude(1e9)), 0.0, 1e-5);
        }
    }
}

TEST(EQ, ShelfSectionsHaveTheSetQAt16dB)
{
    // There the exponent of the Q law is 1: the zeros have Q less, the poles Q more a two-hundredth of its excess.
    for (const float q : {0.3F, 4.0F, 20.0F}) {
        const double excess = std::max(0.0, (static_cast<double>(q) - std::sqrt(0.5)) / 200.0);
        const double l = std::pow(10.0, 0.8);
        const auto shelf = designed({FilterType::lowShelf, FilterShape::plain, 2, 400.0F, 16.0F, q});
        EXPECT_NEAR(shelf.magnitude(400.0), (q + excess) * std::hypot(l - 1.0, std::sqrt(l) / (q - excess)), 1e-6 * q);
    }
}

TEST(EQ, PeakQFollowsTheGainAndItsCentreIsTheGain)
{
    for (const float q : {0.1F, 0.8F, 20.0F}) {
        for (const float gain : {-24.0F, -3.0F, 1.0F, 12.0F, 24.0F}) {
            AnalogOnly filter;
            apply({FilterType::peak, FilterShape::plain, 2, 6000.0F, gain, q}, filter);
            // The law in its long form.
            const double b = std::pow(10.0, -std::abs(gain) / 40.0);
            const double e = std::pow(10.0, -0.5 * 0.12 / 20.0);
            const double u = (1.0 - 1.0 / (b * b)) / (static_cast<double>(q) * q) - 2.0;
            const double v = (-u - std::sqrt(u * u - 4.0)) / 2.0;
            const double expected = std::sqrt((1.0 - std::pow(b, -2.0 / e)) / (2.0 - (v * v + 1.0) / v));
            EXPECT_NEAR(filter.effectiveQ() / expected, 1.0, 1e-6) << q << ' ' << gain;
            EXPECT_NEAR(decibels(filter.analogMagnitude(6000.0, false)), gain, 1e-9);
            EXPECT_NEAR(decibels(filter.analogMagnitude(1e-3, false)), 0.0, 1e-9);
        }
    }
}

TEST(EQ, EdgesOfTheSettings)
{
    AnalogOnly filter;
    const float before = filter.getFrequency();
    EXPECT_FALSE(filter.setFrequency(std::numeric_limits<float>::quiet_NaN()));
    EXPECT_EQ(filter.getFrequency(), before);
    EXPECT_TRUE(filter.setFrequency(std::numeric_limits<float>::infinity()));
    EXPECT_TRUE(std::isfinite(filter.getFrequency()));
    EXPECT_TRUE(filter.setFrequency(0.0F));
    EXPECT_GT(filter.getFrequency(), 0.0F);
    EXPECT_FALSE(filter.setFrequency(filter.getFrequency()));

    filter.setType(FilterType::lowPass);
    EXPECT_EQ(filter.analogMagnitude(9e5, false), 1.0); // bypassed
    EXPECT_LT(filter.analogMagnitude(9e5, true), 1e-3);
    filter.setBypass(false);
    filter.setOrder(-4);
    EXPECT_TRUE(filter.design(false).stages().empty());
    EXPECT_EQ(filter.analogMagnitude(9e5, false), 1.0);
    filter.setOrder(1000);
    EXPECT_EQ(filter.design(false).stages().size(), 16U);
    filter.setType(static_cast<FilterType>(42));
    EXPECT_TRUE(filter.design(false).stages().empty());
}

TEST(EQ, MagnitudeStaysFiniteAtAnyFrequencyAndOrder)
{
    for (const auto type : {FilterType::lowPass, FilterType::highPass}) {
        for (const double hertz : {0.0, 1.0, 9.6e4, 1e6}) {
            const auto cascade = designed({type, FilterShape::coincident, 32, 22000.0F});
            EXPECT_TRUE(std::isfinite(cascade.magnitude(hertz))) << hertz;
        }
    }
    EXPECT_NEAR(designed({FilterType::highPass, FilterShape::butterworth, 32, 22000.0F}).magnitude(9.6e4), 1.0, 1e-9);
}

} // namespace
} // namespace sorvane::dsp
