// Digital sections written out, from another implementation of the same definition: each closed form and each plan of
// the fit, where no guard has a say and a change of 3e-12 in the seed or the target stays below 2e-8.

#include "BLTEQ.h"
#include "FilterSettings.h"
#include "TrimoraEQ.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <span>
#include <vector>

namespace sorvane::dsp {
namespace {

constexpr double kTolerance = 1e-6; // relative to the coefficient, or to 1 below that

struct GoldenSection {
    FilterSettings settings;
    float rateHz;
    std::size_t index;                  ///< in the cascade
    std::array<double, 5> coefficients; ///< b0, b1, b2, a1, a2
};

// clang-format off
const std::vector<GoldenSection> kFitted = {
    {{FilterType::highPass, FilterShape::plain, 1, 637.0F, 0.0F, 0.707F}, 44100.0F, 0,
     {0.9560366549721, -0.9560659397096, 2.905076897361e-05, -0.9131822939182, -5.427513101424e-05}},
    {{FilterType::highPass, FilterShape::butterworth, 8, 76.5F, 0.0F, 0.707F}, 384000.0F, 0,
     {0.9997556146031, -1.999511229206, 0.9997556146031, -1.999510152721, 0.9995117191621}},
    {{FilterType::highPass, FilterShape::plain, 1, 26100.0F, 0.0F, 0.811F}, 44100.0F, 0,
     {0.2816172967883, -0.2683905100873, -0.01432714645911, 0.1124716625007, -0.03078789519503}},
    {{FilterType::highPass, FilterShape::plain, 3, 49.7F, 0.0F, 0.707F}, 44100.0F, 1,
     {0.9964694379404, -0.9964694379404, 0, -0.9929439383109, 0}},
    {{FilterType::highPass, FilterShape::plain, 2, 19300.0F, 0.0F, 5.94F}, 44100.0F, 0,
     {2.229681215494e-05, -0.4294152650025, 0.4728771972959, 1.450238537288, 0.6626097310207}},
    {{FilterType::highPass, FilterShape::butterworth, 8, 57700.0F, 0.0F, 0.707F}, 44100.0F, 2,
     {0.02015556336965, -0.04020392697969, 0.02018937127191, 0.2668886958418, -0.1137961755234}},
    {{FilterType::highPass, FilterShape::plain, 2, 13200.0F, 0.0F, 0.707F}, 384000.0F, 0,
     {0.8583506288778, -1.716701265284, 0.8583506316044, -1.696717089403, 0.7367583821579}},
    {{FilterType::lowPass, FilterShape::butterworth, 9, 19100.0F, 0.0F, 0.431F}, 44100.0F, 4,
     {0.8471834713895, 0.2768842799607, -0.02453606772318, 0.1427480159262, -0.04346577472193}},
    {{FilterType::lowPass, FilterShape::plain, 1, 45700.0F, 0.0F, 0.707F}, 44100.0F, 0,
     {0.9640756110791, 0.3159105860533, -0.03727360665081, 0.2841202540804, -0.04153430320985}},
    {{FilterType::lowPass, FilterShape::butterworth, 6, 15200.0F, 0.0F, 0.658F}, 22050.0F, 1,
     {0.9742743993433, -0.09496529789017, -0.3445372658945, -0.1385147550718, -0.3266983720426}},
    {{FilterType::lowPass, FilterShape::butterworth, 6, 16700.0F, 0.0F, 0.707F}, 44100.0F, 1,
     {0.8284583518088, 0.1196365045302, -0.1576966486447, -0.1337491186845, -0.07569860396829}},
    {{FilterType::lowShelf, FilterShape::plain, 1, 5150.0F, 23.0F, 0.707F}, 44100.0F, 0,
     {3.827169114218, 0.6436161721691, 0.005029377200127, -1.038838627064, 0.3557266801621}},
    {{FilterType::lowShelf, FilterShape::plain, 1, 18500.0F, -1.0F, 0.707F}, 192000.0F, 0,
     {0.9749840604863, -1.156912027119, 0.4150058821441, -1.143166021558, 0.404679222529}},
    {{FilterType::lowShelf, FilterShape::plain, 1, 33500.0F, -0.008F, 0.707F}, 22050.0F, 0,
     {1, 0, 0, 0, 0}},
    {{FilterType::lowShelf, FilterShape::plain, 4, 62800.0F, 10.0F, 0.707F}, 44100.0F, 0,
     {3.158033661555, 1.262510344825, 0.3013997468959, 0.3974883515018, 0.09578722069206}},
    {{FilterType::lowShelf, FilterShape::plain, 4, 7540.0F, -0.008F, 0.707F}, 96000.0F, 0,
     {1, 0, 0, 0, 0}},
    {{FilterType::lowShelf, FilterShape::plain, 3, 3620.0F, 0.008F, 0.707F}, 176400.0F, 0,
     {1, 0, 0, 0, 0}},
    {{FilterType::lowShelf, FilterShape::plain, 2, 63700.0F, -0.0F, 0.707F}, 44100.0F, 0,
     {1, 0, 0, 0, 0}},
    {{FilterType::lowShelf, FilterShape::plain, 2, 24600.0F, 21.5F, 0.707F}, 44100.0F, 0,
     {8.57540974583, 2.147558950848, 0, -0.09777462346015, 0}},
    {{FilterType::lowShelf, FilterShape::plain, 2, 14000.0F, -0.0F, 0.707F}, 44100.0F, 0,
     {1, 0, 0, 0, 0}},
    {{FilterType::lowShelf, FilterShape::plain, 3, 39.5F, 0.012F, 0.707F}, 96000.0F, 0,
     {1.000000068708, -1.999897257582, 0.9999038814049, -1.999897262202, 0.9999039454929}},
    {{FilterType::highShelf, FilterShape::plain, 4, 17700.0F, -3.5F, 0.707F}, 44100.0F, 0,
     {0.8934370512205, 0.5079692055376, 0.11301792283, 0.4213093395726, 0.09124086455593}},
    {{FilterType::highShelf, FilterShape::plain, 2, 14400.0F, 0.008F, 0.707F}, 44100.0F, 0,
     {1, 0, 0, 0, 0}},
    {{FilterType::highShelf, FilterShape::plain, 1, 12900.0F, 11.0F, 0.707F}, 44100.0F, 0,
     {1.962992834142, -1.535590527882, 0.4946534489382, -0.139994786785, 0.06198413690025}},
    {{FilterType::highShelf, FilterShape::plain, 3, 51400.0F, -16.5F, 0.707F}, 22050.0F, 0,
     {0.9899337779135, 0.2789213873554, -0.0795734672353, 0.2663324531919, -0.07744232937112}},
    {{FilterType::highShelf, FilterShape::plain, 2, 14300.0F, -0.008F, 0.707F}, 44100.0F, 0,
     {1, 0, 0, 0, 0}},
    {{FilterType::highShelf, FilterShape::plain, 4, 17200.0F, -0.0F, 0.707F}, 44100.0F, 0,
     {1, 0, 0, 0, 0}},
    {{FilterType::highShelf, FilterShape::plain, 4, 29600.0F, -0.008F, 0.707F}, 44100.0F, 0,
     {1, 0, 0, 0, 0}},
    {{FilterType::highShelf, FilterShape::plain, 1, 50200.0F, 22.0F, 0.707F}, 96000.0F, 0,
     {6.881926051425, -6.03913977353, 0, -0.1572137221051, 0}},
    {{FilterType::highShelf, FilterShape::plain, 2, 43600.0F, -0.0F, 0.707F}, 22050.0F, 0,
     {1, 0, 0, 0, 0}},
    {{FilterType::highShelf, FilterShape::plain, 2, 700.0F, 0.012F, 0.707F}, 96000.0F, 0,
     {1.001360104131, -1.937886844617, 0.93855952447, -1.935210000425, 0.9372427844097}},
    {{FilterType::peak, FilterShape::plain, 3, 149.0F, 0.008F, 4.85F}, 44100.0F, 0,
     {1, 0, 0, 0, 0}},
    {{FilterType::peak, FilterShape::plain, 4, 53300.0F, -8.0F, 19.1F}, 88200.0F, 0,
     {0.9974325071974, 0.8622524171747, 0.02994866269101, 0.8604457586283, 0.02909207952021}},
    {{FilterType::peak, FilterShape::plain, 1, 13400.0F, 0.0F, 8.38F}, 22050.0F, 0,
     {1, 0, 0, 0, 0}},
    {{FilterType::peak, FilterShape::plain, 3, 71700.0F, 0.012F, 15.6F}, 88200.0F, 0,
     {1.000000640114, 0.7670716709431, 0, 0.7670723110568, 0}},
    {{FilterType::peak, FilterShape::plain, 2, 10300.0F, 0.5F, 0.224F}, 44100.0F, 0,
     {1.050388082116, -0.486310403159, -0.1902320368452, -0.4526219718609, -0.1735266138982}},
    {{FilterType::notch, FilterShape::plain, 3, 15300.0F, 0.0F, 3.29F}, 44100.0F, 0,
     {0.7441068492576, 0.854320447374, 0.7441069600548, 0.8172347882457, 0.5232758734656}},
    {{FilterType::notch, FilterShape::plain, 4, 21600.0F, 0.0F, 1.54F}, 22050.0F, 0,
     {0.9751839506068, 0.6665526950971, 0.04624214966926, 0.6503715395238, 0.03747963767767}},
    {{FilterType::notch, FilterShape::plain, 4, 3810.0F, 0.0F, 9.42F}, 192000.0F, 0,
     {0.9934168255511, -1.971410382473, 0.9934168124023, -1.971428002862, 0.9868512583429}},
    {{FilterType::bandPass, FilterShape::plain, 1, 3660.0F, 0.0F, 5.54F}, 48000.0F, 0,
     {0.06046288154272, -0.03574077340331, -0.02443314777053, -1.695168859779, 0.9131642918816}},
    {{FilterType::bandPass, FilterShape::plain, 4, 31900.0F, 0.0F, 14.7F}, 44100.0F, 0,
     {0.0193546800176, -0.01916687462573, -0.002598509778621, 0.5913856811942, 0.03371027884443}},
    {{FilterType::bandPass, FilterShape::plain, 2, 36.9F, 0.0F, 19.6F}, 176400.0F, 0,
     {3.352863595718e-05, -1.366816215764e-09, -3.352726914108e-05, -1.999931216664, 0.9999329440949}},
};

const std::vector<GoldenSection> kBilinear = {
    {{FilterType::highPass, FilterShape::plain, 1, 300.0F, 0.0F, 0.707F}, 44100.0F, 0,
     {0.9790726808816, -0.9790726808816, 0, -0.9581453617631, 0}},
    {{FilterType::lowPass, FilterShape::plain, 3, 9000.0F, 0.0F, 0.707F}, 48000.0F, 1,
     {0.4005438163102, 0.4005438163102, 0, -0.1989123673797, 0}},
    {{FilterType::highPass, FilterShape::butterworth, 8, 5270.0F, 0.0F, 0.707F}, 96000.0F, 2,
     {0.7575694273892, -1.515138854778, 0.7575694273892, -1.469165884056, 0.5611118255007}},
    {{FilterType::lowPass, FilterShape::coincident, 6, 5270.0F, 0.0F, 0.707F}, 44100.0F, 1,
     {0.1414009906373, 0.2828019812747, 0.1414009906373, -0.6919024689028, 0.2575064314522}},
    {{FilterType::lowShelf, FilterShape::plain, 2, 850.0F, -7.5F, 0.707F}, 48000.0F, 0,
     {0.9584955583061, -1.766225251536, 0.8187504808786, -1.758668442337, 0.7848028483832}},
    {{FilterType::highShelf, FilterShape::plain, 2, 30000.0F, 9.0F, 0.707F}, 48000.0F, 0,
     {1.113369398206, 1.640733135207, 0.6522096916685, 1.681007604387, 0.7253046206947}},
    {{FilterType::peak, FilterShape::plain, 2, 6000.0F, -12.0F, 0.8F}, 192000.0F, 0,
     {0.8542240401545, -1.579698906897, 0.7564229979488, -1.579698906897, 0.6106470381033}},
    {{FilterType::bandPass, FilterShape::plain, 2, 5270.0F, 0.0F, 0.81F}, 44100.0F, 0,
     {0.2963432307594, 0, -0.2963432307594, -1.02890203476, 0.4073135384812}},
    {{FilterType::notch, FilterShape::plain, 2, 21500.0F, 0.0F, 3.0F}, 44100.0F, 0,
     {0.9544615459339, 1.829034514614, 0.9544615459339, 1.829034514614, 0.9089230918678}},
};
// clang-format on

void expectSections(DF1Cascade& filter, std::span<const GoldenSection> table)
{
    for (const GoldenSection& golden : table) {
        filter.setSampleRate(golden.rateHz);
        apply(golden.settings, filter);
        ASSERT_LT(golden.index, filter.getCoefficients().size()) << golden.settings;
        const auto [b0, b1, b2, a1, a2] = filter.getCoefficients()[golden.index];
        const std::array found = {b0, b1, b2, a1, a2};
        for (std::size_t i = 0; i < found.size(); ++i)
            EXPECT_NEAR(found[i], golden.coefficients[i], kTolerance * std::max(1.0, std::abs(golden.coefficients[i])))
                << golden.settings << " at " << golden.rateHz << ", section " << golden.index << ", coefficient " << i;
    }
}

TEST(SectionGolden, FittedSections)
{
    TrimoraEQ filter;
    expectSections(filter, kFitted);
}

TEST(SectionGolden, BilinearSections)
{
    BLTEQ filter;
    expectSections(filter, kBilinear);
}

} // namespace
} // namespace sorvane::dsp
