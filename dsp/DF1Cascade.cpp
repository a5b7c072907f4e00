#include "DF1Cascade.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace sorvane::dsp {

namespace {

constexpr std::int64_t kSlideSamples = 1000;

BiquadSection slideStep(const BiquadSection& from, const BiquadSection& to) noexcept
{
    return {(to.b0 - from.b0) * 0.001, (to.b1 - from.b1) * 0.001, (to.b2 - from.b2) * 0.001, (to.a1 - from.a1) * 0.001,
            (to.a2 - from.a2) * 0.001};
}

BiquadSection beforeTarget(const BiquadSection& target, const BiquadSection& step, double samples) noexcept
{
    return {target.b0 - samples * step.b0, target.b1 - samples * step.b1, target.b2 - samples * step.b2,
            target.a1 - samples * step.a1, target.a2 - samples * step.a2};
}

} // namespace

void DF1Cascade::SectionState::clearDenormals() noexcept
{
    for (double* value : {&x1, &x2, &y1, &y2}) {
        if (std::abs(*value) < 0x1p-1021)
            *value = 0.0;
    }
}

/// A section with its coefficients and state in locals for the length of a loop. Sections that run in one loop overlap:
/// a section waits only for its own last output.
class DF1Cascade::RunningSection {
public:
    RunningSection(const BiquadSection& section, const SectionState& past) noexcept : coefficients(section), state(past)
    {}

    void setCoefficients(const BiquadSection& section) noexcept { coefficients = section; }

    double operator()(double x) noexcept
    {
        const double forward = coefficients.b0 * x + coefficients.b1 * state.x1 + coefficients.b2 * state.x2;
        // The newest output comes last: only it waits for the sample before.
        const double y = forward - coefficients.a2 * state.y2 - coefficients.a1 * state.y1;
        state = {x, state.x1, y, state.y1};
        return y;
    }

    [[nodiscard]] const SectionState& past() const noexcept { return state; }

private:
    BiquadSection coefficients;
    SectionState state;
};

bool DF1Cascade::setSampleRate(float hertz) noexcept
{
    clearState();
    const float limited = std::clamp(hertz, 1.0e3F, 1.0e6F);
    if (std::isnan(hertz) || limited == sampleRate)
        return false;
    sampleRate = limited;
    markDirty();
    return true;
}

void DF1Cascade::clearState() noexcept
{
    state.fill({});
}

void DF1Cascade::publish() noexcept
{
    published.difference = getDifference();
    mailbox.publish(published);
}

void DF1Cascade::setCoefficients(std::span<const BiquadSection> sections) noexcept
{
    published.count = std::min(sections.size(), kMaxStages);
    std::copy_n(sections.begin(), published.count, published.sections.begin());
    publish();
}

void DF1Cascade::resetCoefficients() noexcept
{
    std::fill_n(published.sections.begin(), published.count, BiquadSection{});
    publish();
}

void DF1Cascade::switchOff() noexcept
{
    published.count = 1;
    setIdentity(true);
    resetCoefficients();
}

void DF1Cascade::beginBlock() noexcept
{
    const CoefficientSet* set = mailbox.take();
    if (set == nullptr)
        return;
    identity = set->identity;
    subtractsInput = set->difference;
    bool changed = set->count != stageCount;
    stageCount = set->count;
    for (std::size_t stage = 0; stage < stageCount; ++stage) {
        target[stage] = set->sections[stage];
        increment[stage] = slideStep(current[stage], target[stage]);
        changed = changed || current[stage] != target[stage];
    }
    if (changed)
        rampCounter = kSlideSamples;
}

void DF1Cascade::processDouble(std::span<double> buffer) noexcept
{
    if (identity && rampCounter <= 0) {
        if (subtractsInput)
            std::fill(buffer.begin(), buffer.end(), 0.0);
        return;
    }
    if (subtractsInput)
        runDifference(buffer);
    else
        runSections(buffer);
}

void DF1Cascade::runDifference(std::span<double> buffer) noexcept
{
    std::array<double, 64> input;
    while (!buffer.empty()) {
        const auto piece = buffer.first(std::min(buffer.size(), input.size()));
        std::copy(piece.begin(), piece.end(), input.begin());
        runSections(piece);
        for (std::size_t i = 0; i < piece.size(); ++i)
            piece[i] -= input[i];
        buffer = buffer.subspan(piece.size());
    }
}

void DF1Cascade::runSections(std::span<double> buffer) noexcept
{
    for (SectionState& past : std::span(state).first(stageCount))
        past.clearDenormals();

    auto steady = buffer;
    if (rampCounter >= 0) {
        const auto slideLength = std::min(buffer.size(), static_cast<std::size_t>(rampCounter + 1));
        for (std::size_t stage = 0; stage < stageCount; ++stage)
            slideSection(stage, buffer.first(slideLength));
        steady = buffer.subspan(slideLength);
        rampCounter -= static_cast<std::int64_t>(buffer.size());
    }

    std::size_t stage = 0;
    for (; stage + 1 < stageCount; stage += 2) {
        RunningSection first(current[stage], state[stage]);
        RunningSection second(current[stage + 1], state[stage + 1]);
        for (double& x : steady)
            x = second(first(x));
        state[stage] = first.past();
        state[stage + 1] = second.past();
    }
    if (stage < stageCount) {
        RunningSection last(current[stage], state[stage]);
        for (double& x : steady)
            x = last(x);
        state[stage] = last.past();
    }
    if (identity && rampCounter <= 0)
        comeToRest();
}

void DF1Cascade::slideSection(std::size_t stage, std::span<double> buffer) noexcept
{
    RunningSection section(current[stage], state[stage]);
    const BiquadSection end = target[stage];
    const BiquadSection step = increment[stage];
    BiquadSection now = current[stage];
    auto counter = static_cast<double>(rampCounter);
    for (double& x : buffer) {
        now = beforeTarget(end, step, counter);
        counter -= 1.0;
        section.setCoefficients(now);
        x = section(x);
    }
    current[stage] = now;
    state[stage] = section.past();
}

/// An identity runs no further than the block in which its slide ends. Its coefficients, which may lack the last step,
/// and its past must not tell later where that was: the output doesn't depend on the length of the blocks.
void DF1Cascade::comeToRest() noexcept
{
    std::copy_n(target.begin(), stageCount, current.begin());
    std::fill_n(state.begin(), stageCount, SectionState{});
    rampCounter = -1;
}

double DF1Cascade::magnitudeAt(double hertz, double* phase) const noexcept
{
    const double w = 2.0 * std::numbers::pi * hertz / static_cast<double>(sampleRate);
    double square = 1.0;
    double sumOfPhases = 0.0;
    for (const BiquadSection& section : getCoefficients()) {
        const auto [numerator, denominator] = respond(section, w);
        const double n = std::norm(numerator);
        const double d = std::norm(denominator);
        if (d < 1e-20 && n >= d)
            square *= n < 1e-20 ? 1.0 : 0.0;
        else
            square *= n / d;
        sumOfPhases += std::arg(numerator * std::conj(denominator));
    }
    if (phase != nullptr)
        *phase = sumOfPhases;
    return std::sqrt(square);
}

std::complex<double> DF1Cascade::responseAt(double hertz) const noexcept
{
    const double w = 2.0 * std::numbers::pi * hertz / static_cast<double>(sampleRate);
    std::complex<double> response = 1.0;
    for (const BiquadSection& section : getCoefficients()) {
        const auto [numerator, denominator] = respond(section, w);
        if (std::norm(denominator) == 0.0)
            return {1.0, 1.0};
        response *= numerator / denominator;
    }
    return response;
}

} // namespace sorvane::dsp
