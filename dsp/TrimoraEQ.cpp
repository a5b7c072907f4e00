#include "TrimoraEQ.h"

#include "BilinearTransform.h"
#include "SectionSeeds.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>

namespace sorvane::dsp {

namespace {

constexpr double kTwoPi = 2.0 * std::numbers::pi;

// Below this many dB a filter is taken as flat.
constexpr double kFlatDb = 0.01;

// Few steps where the seed leaves little to gain, many for the steep curves.
constexpr BiquadFit::Plan kShortPlan{.skipError = 1e-8, .maxSteps = 9, .errorLimit = 1.0};
constexpr BiquadFit::Plan kLowPassPlan{.skipError = 0.0, .maxSteps = 99};
constexpr BiquadFit::Plan kPeakPlan{.skipError = 1e-18, .maxSteps = 49, .errorLimit = 1.0};
constexpr BiquadFit::Plan kShelfPlan{.skipError = 1e-18, .maxSteps = 9, .errorLimit = 1.0};
constexpr BiquadFit::Plan kHighPassPlan{.skipError = 1e-10, .maxSteps = 99, .errorLimit = 1.0};

/// What the fit of a section starts from.
struct SectionStart {
    BiquadSection seed;
    BiquadFit::Plan plan;
    bool inverted = false; ///< seed and fit are of the reciprocal
    bool flat = false;     ///< the analog section is a unity pass to the ear
};

BiquadSection amplified(const BiquadSection& section, double gain) noexcept
{
    return {section.b0 * gain, section.b1 * gain, section.b2 * gain, section.a1, section.a2};
}

BiquadSection minusUnity(const BiquadSection& section) noexcept
{
    return {section.b0 - 1.0, section.b1 - section.a1, section.b2 - section.a2, section.a1, section.a2};
}

double toDecibels(double gain) noexcept
{
    return 20.0 * std::log10(gain);
}

/// The closed form and the plan for the kind of section that it is. The kinds are told by which coefficients are 0.
/// \param stage      in rad/s, with a0 = 1
/// \param flatShelf  the section is a shelf of next to no gain
SectionStart startOf(const AnalogStage& stage, double rateHz, bool flatShelf) noexcept
{
    const auto& [b0, b1, b2, a0, a1, a2] = stage;
    if (b2 == 0.0 && a2 == 0.0 && a1 != 0.0)
        return {firstOrderSeed(rateHz, std::abs(a1) / kTwoPi, b0, b1 / a1), kShortPlan};

    const double corner = std::sqrt(a2);
    const double hertz = corner / kTwoPi;
    if (std::abs(b2 - a2 * b0) < 1e-5 && a1 * b1 > 0.0 && std::abs(b0) > 1e-5) {
        const double gainDb = toDecibels(b1 / b0 / a1);
        const BiquadSection seed = peakSeed(rateHz, gainDb, hertz, corner / std::sqrt(a1 * b1 / b0));
        return {amplified(seed, b0), hertz > rateHz / 2.0 ? kShortPlan : kPeakPlan, false, std::abs(gainDb) <= kFlatDb};
    }
    if (b2 == 0.0 && b0 == 0.0) {
        // A band-pass is a peak less its input.
        const double sum = a1 + b1;
        return {minusUnity(peakSeed(rateHz, toDecibels(sum / a1), hertz, corner / std::sqrt(sum * a1))), kShortPlan};
    }
    if (b1 == 0.0 && b0 != 0.0 && b2 != 0.0)
        return {peakSeed(rateHz, -120.0, hertz, corner / (a1 * 0.001)), kShortPlan};

    const double q = std::abs(corner / a1);
    if (b0 == 0.0 && b1 == 0.0)
        return {amplified(lowPassSeed(rateHz, hertz, q), b2 / a2), kLowPassPlan};
    if (b2 == 0.0 && b1 == 0.0)
        return {amplified(highPassSeed(rateHz, hertz, q), b0), kHighPassPlan};

    const auto [seed, inverted] = generalSeed(rateHz, stage);
    return {seed, kShelfPlan, inverted, flatShelf};
}

bool isFinite(const BiquadSection& section) noexcept
{
    return std::isfinite(section.b0) && std::isfinite(section.b1) && std::isfinite(section.b2) &&
           std::isfinite(section.a1) && std::isfinite(section.a2);
}

/// Whether the section that comes of it in the end is stable: its poles, or those of its reciprocal.
bool isStable(const BiquadSection& section, bool inverted) noexcept
{
    return inverted ? rootsInsideUnitCircle(section.b1 / section.b0, section.b2 / section.b0)
                    : rootsInsideUnitCircle(section.a1, section.a2);
}

/// Whether a pole of a fitted section has strayed to the unit circle where the fit doesn't look: between two points of
/// the grid, or below its first. There the section would be far louder than the loudest point of the analog curve.
bool ringsOffGrid(const BiquadSection& section, double loudest) noexcept
{
    const double discriminant = section.a1 * section.a1 / 4.0 - section.a2;
    const double resonance = discriminant < 0.0 ? std::acos(-section.a1 / 2.0 / std::sqrt(section.a2)) : 0.0;
    for (const double w : {0.0, resonance}) {
        const auto [numerator, denominator] = respond(section, w);
        if (std::abs(numerator) > 2.0 * loudest * std::abs(denominator))
            return true;
    }
    return false;
}

/// \param stage     in rad/s, with a0 = 1
/// \param cornerHz  the frequency set for the whole filter
BiquadSection designSection(const AnalogStage& stage, const SectionStart& start, double cornerHz, double rateHz,
                            BiquadFit& fit) noexcept
{
    double loudest = std::sqrt(stage.squaredMagnitude(std::sqrt(stage.a2)));
    std::array<float, BiquadFit::kGridSize> wanted;
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        const double magnitude = std::sqrt(stage.squaredMagnitude(rateHz * fit.omega()[i]));
        loudest = std::max(loudest, magnitude);
        wanted[i] = static_cast<float>(magnitude);
        if (start.inverted)
            wanted[i] = 1.0F / wanted[i];
    }

    const auto finished = [&start](const BiquadSection& section) {
        return start.inverted ? reciprocal(section) : section;
    };
    if (isFinite(start.seed)) {
        const BiquadSection fitted = fit.improve(start.seed, wanted, start.plan);
        if (isFinite(fitted) && isStable(fitted, start.inverted) && !ringsOffGrid(finished(fitted), loudest))
            return finished(fitted);
        if (isStable(start.seed, start.inverted))
            return finished(start.seed);
    }
    // At the edges, a corner beyond half the rate above all, the closed forms fail and the fit may not save them.
    return bilinear(stage, warpFrequency(stage, cornerHz, rateHz), rateHz);
}

} // namespace

void TrimoraEQ::update() noexcept
{
    if (!takeDirty())
        return;
    if (isOff()) {
        switchOff();
        return;
    }
    const AnalogCascade analog = design(false);
    const bool isShelf = getType() == FilterType::lowShelf || getType() == FilterType::highShelf;
    const bool flatShelf = isShelf && std::abs(getGain()) <= kFlatDb;

    std::array<BiquadSection, kMaxStages> sections;
    std::size_t count = 0;
    bool allFlat = true;
    for (const AnalogStage& hertz : analog.stages()) {
        const std::size_t i = count++;
        if (i > 0 && hertz == analog.stages()[i - 1]) {
            sections[i] = sections[i - 1];
            continue;
        }
        const AnalogStage stage = hertz.scaled(kTwoPi).normalised();
        const SectionStart start = startOf(stage, getSampleRate(), flatShelf);
        allFlat = allFlat && start.flat;
        if (!allFlat)
            sections[i] = designSection(stage, start, getFrequency(), getSampleRate(), fit);
    }
    setIdentity(allFlat);
    if (allFlat)
        resetCoefficients();
    else
        setCoefficients(std::span(sections).first(count));
}

} // namespace sorvane::dsp
