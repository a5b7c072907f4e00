#include "DF1Cascade.h"

#include "Vector.h"

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

/// Below the normal numbers, whose arithmetic is slow on some CPUs.
Pair clearDenormals(const Pair& x) noexcept
{
    const Pair magnitude = x < 0.0 ? -x : x;
    return magnitude < 0x1p-1021 ? Pair{} : x;
}

} // namespace

/// The coefficients of one section of both lanes.
struct DF1Cascade::PairSection {
    PairSection(const BiquadSection& l, const BiquadSection& r) noexcept
        : b0{l.b0, r.b0}, b1{l.b1, r.b1}, b2{l.b2, r.b2}, a1{l.a1, r.a1}, a2{l.a2, r.a2}
    {}

    [[nodiscard]] BiquadSection lane(std::size_t i) const noexcept { return {b0[i], b1[i], b2[i], a1[i], a2[i]}; }

    Pair b0, b1, b2, a1, a2;
};

/// A section of both lanes with coefficients and past in locals for the length of a loop.
///
/// y = b0 x + b1 x1 + b2 x2 - a2 y2 - a1 y1. Fast because the newest output comes last, so that a section waits only for
/// that product of the sample before, and sections that run in one loop overlap.
struct DF1Cascade::RunningSection {
    RunningSection(const DF1Cascade& l, const DF1Cascade& r, std::size_t stage) noexcept
        : now(l.current[stage], r.current[stage])
    {
        const SectionState& left = l.state[stage];
        const SectionState& right = r.state[stage];
        x1 = clearDenormals(Pair{left.x1, right.x1});
        x2 = clearDenormals(Pair{left.x2, right.x2});
        y1 = clearDenormals(Pair{left.y1, right.y1});
        y2 = clearDenormals(Pair{left.y2, right.y2});
    }

    Pair operator()(const Pair& x) noexcept
    {
        const Pair forward = now.b0 * x + now.b1 * x1 + now.b2 * x2;
        const Pair y = forward - now.a2 * y2 - now.a1 * y1;
        x2 = x1;
        x1 = x;
        y2 = y1;
        y1 = y;
        return y;
    }

    void save(DF1Cascade& filter, std::size_t lane, std::size_t stage) const noexcept
    {
        filter.state[stage] = {x1[lane], x2[lane], y1[lane], y2[lane]};
    }

    PairSection now;
    Pair x1, x2, y1, y2;
};

/// The same while the coefficients move: ahead of each sample they are set to target - counter increment.
struct DF1Cascade::SlidingSection : RunningSection {
    SlidingSection(const DF1Cascade& l, const DF1Cascade& r, std::size_t stage) noexcept
        : RunningSection(l, r, stage), end(l.target[stage], r.target[stage]),
          step(l.increment[stage], r.increment[stage]), counter(static_cast<double>(l.rampCounter))
    {}

    Pair operator()(const Pair& x) noexcept
    {
        now.b0 = end.b0 - counter * step.b0;
        now.b1 = end.b1 - counter * step.b1;
        now.b2 = end.b2 - counter * step.b2;
        now.a1 = end.a1 - counter * step.a1;
        now.a2 = end.a2 - counter * step.a2;
        counter -= 1.0;
        return RunningSection::operator()(x);
    }

    void save(DF1Cascade& filter, std::size_t lane, std::size_t stage) const noexcept
    {
        RunningSection::save(filter, lane, stage);
        filter.current[stage] = now.lane(lane);
    }

    PairSection end, step;
    double counter;
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
    const Lane alone{*this, buffer};
    process({&alone, 1});
}

void DF1Cascade::processPair(DF1Cascade& first, std::span<double> firstBuffer, DF1Cascade& second,
                             std::span<double> secondBuffer) noexcept
{
    const std::array lanes{Lane{first, firstBuffer}, Lane{second, secondBuffer}};
    if (first.runsLike(second)) {
        process(lanes);
    } else {
        process(Lanes(lanes).first(1));
        process(Lanes(lanes).last(1));
    }
}

bool DF1Cascade::runsLike(const DF1Cascade& other) const noexcept
{
    return stageCount == other.stageCount && rampCounter == other.rampCounter && identity == other.identity &&
           subtractsInput == other.subtractsInput;
}

void DF1Cascade::process(Lanes lanes) noexcept
{
    const DF1Cascade& filter = lanes[0].filter;
    if (filter.identity && filter.rampCounter <= 0) {
        if (filter.subtractsInput)
            for (const Lane& lane : lanes)
                std::fill(lane.buffer.begin(), lane.buffer.end(), 0.0);
        return;
    }
    if (filter.subtractsInput)
        runDifference(lanes);
    else
        runSections(lanes);
}

void DF1Cascade::runDifference(Lanes lanes) noexcept
{
    constexpr std::size_t kPiece = 64;
    std::array<std::array<double, kPiece>, 2> inputs;
    for (std::size_t done = 0; done < lanes[0].buffer.size(); done += kPiece) {
        std::array pieces{lanes[0], lanes.back()};
        for (std::size_t i = 0; i < lanes.size(); ++i) {
            const auto rest = lanes[i].buffer.subspan(done);
            pieces[i].buffer = rest.first(std::min(rest.size(), kPiece));
            std::copy(pieces[i].buffer.begin(), pieces[i].buffer.end(), inputs[i].begin());
        }
        runSections(Lanes(pieces).first(lanes.size()));
        for (std::size_t i = 0; i < lanes.size(); ++i)
            for (std::size_t j = 0; j < pieces[i].buffer.size(); ++j)
                pieces[i].buffer[j] -= inputs[i][j];
    }
}

void DF1Cascade::runSections(Lanes lanes) noexcept
{
    const std::size_t frames = lanes[0].buffer.size();
    const std::int64_t counter = lanes[0].filter.rampCounter;
    std::size_t slideEnd = 0;
    if (counter >= 0) {
        slideEnd = std::min(frames, static_cast<std::size_t>(counter + 1));
        runAll<SlidingSection>(lanes, 0, slideEnd);
    }
    if (slideEnd < frames)
        runAll<RunningSection>(lanes, slideEnd, frames);
    for (const Lane& lane : lanes) {
        if (counter >= 0)
            lane.filter.rampCounter -= static_cast<std::int64_t>(frames);
        if (lane.filter.identity && lane.filter.rampCounter <= 0)
            lane.filter.comeToRest();
    }
}

template <typename Section>
void DF1Cascade::runAll(Lanes lanes, std::size_t from, std::size_t to) noexcept
{
    const std::size_t stages = lanes[0].filter.stageCount;
    std::size_t stage = 0;
    for (; stage + 1 < stages; stage += 2)
        run<Section, 2>(lanes, stage, from, to);
    if (stage < stages)
        run<Section, 1>(lanes, stage, from, to);
}

template <typename Section, std::size_t count>
void DF1Cascade::run(Lanes lanes, std::size_t stage, std::size_t from, std::size_t to) noexcept
{
    DF1Cascade& l = lanes[0].filter;
    DF1Cascade& r = lanes.back().filter; // alone, a filter fills both lanes
    double* const left = lanes[0].buffer.data();
    double* const right = lanes.back().buffer.data();
    Section first(l, r, stage);
    Section second(l, r, stage + count - 1);
    for (std::size_t i = from; i < to; ++i) {
        Pair y = first(Pair{left[i], right[i]});
        if constexpr (count == 2)
            y = second(y);
        left[i] = y[0];
        right[i] = y[1];
    }
    for (std::size_t lane = 0; lane < lanes.size(); ++lane) {
        first.save(lanes[lane].filter, lane, stage);
        if constexpr (count == 2)
            second.save(lanes[lane].filter, lane, stage + 1);
    }
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
