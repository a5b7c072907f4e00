#include "DF1Cascade.h"

#include "CpuDispatch.h"
#include "Vector.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <numbers>
#include <utility>

namespace sorvane::dsp {

namespace {

constexpr std::int64_t kSlideSamples = 1000;

BiquadSection slideStep(const BiquadSection& from, const BiquadSection& to) noexcept
{
    return {(to.b0 - from.b0) * 0.001, (to.b1 - from.b1) * 0.001, (to.b2 - from.b2) * 0.001, (to.a1 - from.a1) * 0.001,
            (to.a2 - from.a2) * 0.001};
}

/// Below the normal numbers, whose arithmetic is slow on some CPUs.
template <std::size_t width>
[[gnu::always_inline]] inline Vector<width> clearDenormals(const Vector<width>& x) noexcept
{
    const Vector<width> magnitude = x < 0.0 ? -x : x;
    return magnitude < 0x1p-1021 ? Vector<width>{} : x;
}

} // namespace

/// Lanes that there are for vectors of a width.
template <std::size_t width>
[[gnu::always_inline]] inline std::size_t DF1Cascade::lanesIn(Lanes lanes) noexcept
{
    return width == 2 ? lanes.size() : width;
}

/// What stands in one place of the vectors: a filter alone fills both of two.
template <std::size_t width>
[[gnu::always_inline]] inline const DF1Cascade::Lane& DF1Cascade::laneAt(Lanes lanes, std::size_t place) noexcept
{
    return lanes[std::min(place, lanesIn<width>(lanes) - 1)];
}

/// The coefficients of one section in every lane.
template <std::size_t width>
struct DF1Cascade::Coefficients {
    [[gnu::always_inline]] Coefficients(Lanes lanes, Sections sections, std::size_t stage) noexcept
    {
        const auto gather = [&](double BiquadSection::*coefficient) __attribute__((always_inline))
        {
            Vector<width> gathered{};
            for (std::size_t lane = 0; lane < width; ++lane)
                gathered[lane] = (laneAt<width>(lanes, lane).filter->*sections)[stage].*coefficient;
            return gathered;
        };
        b0 = gather(&BiquadSection::b0);
        b1 = gather(&BiquadSection::b1);
        b2 = gather(&BiquadSection::b2);
        a1 = gather(&BiquadSection::a1);
        a2 = gather(&BiquadSection::a2);
    }

    [[nodiscard]] BiquadSection of(std::size_t lane) const noexcept
    {
        return {b0[lane], b1[lane], b2[lane], a1[lane], a2[lane]};
    }

    Vector<width> b0{}, b1{}, b2{}, a1{}, a2{};
};

/// A section of every lane with coefficients and past in locals for the length of a loop.
///
/// y = b0 x + b1 x1 + b2 x2 - a2 y2 - a1 y1. Fast because the newest output comes last, so that a section waits only
/// for that product of the sample before, and sections that run in one loop overlap.
template <std::size_t width>
struct DF1Cascade::RunningSection {
    static constexpr std::size_t kWidth = width;

    [[gnu::always_inline]] RunningSection(Lanes lanes, std::size_t stage) noexcept
        : now(lanes, &DF1Cascade::current, stage)
    {
        const auto gather = [&](double SectionState::*value) __attribute__((always_inline))
        {
            Vector<width> gathered{};
            for (std::size_t lane = 0; lane < width; ++lane)
                gathered[lane] = laneAt<width>(lanes, lane).filter->state[stage].*value;
            return clearDenormals<width>(gathered);
        };
        x1 = gather(&SectionState::x1);
        x2 = gather(&SectionState::x2);
        y1 = gather(&SectionState::y1);
        y2 = gather(&SectionState::y2);
    }

    [[gnu::always_inline]] void step(Vector<width>& signal) noexcept
    {
        const Vector<width> x = signal;
        const Vector<width> forward = now.b0 * x + now.b1 * x1 + now.b2 * x2;
        const Vector<width> y = forward - now.a2 * y2 - now.a1 * y1;
        x2 = x1;
        x1 = x;
        y2 = y1;
        y1 = y;
        signal = y;
    }

    [[gnu::always_inline]] void save(Lanes lanes, std::size_t stage) const noexcept
    {
        for (std::size_t lane = 0; lane < lanesIn<width>(lanes); ++lane)
            lanes[lane].filter->state[stage] = {x1[lane], x2[lane], y1[lane], y2[lane]};
    }

    Coefficients<width> now;
    Vector<width> x1{}, x2{}, y1{}, y2{};
};

/// The same while coefficients move: ahead of each sample they are set to target - counter increment. A lane at its
/// target stays there.
template <std::size_t width>
struct DF1Cascade::SlidingSection : RunningSection<width> {
    [[gnu::always_inline]] SlidingSection(Lanes lanes, std::size_t stage) noexcept
        : RunningSection<width>(lanes, stage), end(lanes, &DF1Cascade::target, stage),
          increment(lanes, &DF1Cascade::increment, stage)
    {
        for (std::size_t lane = 0; lane < width; ++lane)
            counter[lane] = static_cast<double>(laneAt<width>(lanes, lane).filter->rampCounter);
        const Vector<width> zeros{};
        const auto rests = counter < 0.0;
        for (Vector<width>* const step : {&increment.b0, &increment.b1, &increment.b2, &increment.a1, &increment.a2})
            *step = rests ? zeros : *step;
    }

    [[gnu::always_inline]] void step(Vector<width>& signal) noexcept
    {
        this->now.b0 = end.b0 - counter * increment.b0;
        this->now.b1 = end.b1 - counter * increment.b1;
        this->now.b2 = end.b2 - counter * increment.b2;
        this->now.a1 = end.a1 - counter * increment.a1;
        this->now.a2 = end.a2 - counter * increment.a2;
        counter -= 1.0;
        RunningSection<width>::step(signal);
    }

    [[gnu::always_inline]] void save(Lanes lanes, std::size_t stage) const noexcept
    {
        RunningSection<width>::save(lanes, stage);
        for (std::size_t lane = 0; lane < lanesIn<width>(lanes); ++lane)
            lanes[lane].filter->current[stage] = this->now.of(lane);
    }

    Coefficients<width> end, increment;
    Vector<width> counter{};
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
    const Lane alone{this, buffer};
    process({&alone, 1});
}

/// Four lanes gain nothing on registers for two.
std::size_t DF1Cascade::mostTogether() noexcept
{
    return vectorUnitInUse() == VectorUnit::sse2 ? 2 : kMostLanes;
}

void DF1Cascade::processTogether(std::span<const Lane> lanes) noexcept
{
    if (lanes.size() != 3 && lanes.size() <= mostTogether() && areAlike(lanes))
        return process(lanes);
    const std::size_t half = (lanes.size() + 1) / 2;
    processTogether(lanes.first(half));
    processTogether(lanes.subspan(half));
}

void DF1Cascade::processInSeries(std::span<const Lane> first, std::span<const Lane> second) noexcept
{
    constexpr std::size_t kLag = 32; // between the two, which must have a piece each to work on
    const std::size_t frames = first[0].buffer.size();
    const DF1Cascade& filter = *first[0].filter;
    if (filter.identity || frames < 2 * kLag || 2 * first.size() > mostTogether() || !areAlike(first) ||
        !areAlike(second) || !filter.runsLike(*second[0].filter)) {
        processTogether(first);
        processTogether(second);
        return;
    }
    std::array<Lane, kMostLanes> lanes;
    const auto run = [&lanes](std::initializer_list<std::pair<Lanes, std::size_t>> parts, std::size_t length) {
        std::size_t count = 0;
        for (const auto& [filters, from] : parts)
            for (const Lane& lane : filters)
                lanes[count++] = {lane.filter, lane.buffer.subspan(from, length)};
        process(std::span(lanes).first(count));
    };
    const std::size_t head = kLag + frames % kLag;
    run({{first, 0}}, head);
    for (std::size_t at = head; at < frames; at += kLag)
        run({{first, at}, {second, at - head}}, kLag);
    run({{second, frames - head}}, head);
}

bool DF1Cascade::runsLike(const DF1Cascade& other) const noexcept
{
    return stageCount == other.stageCount && identity == other.identity && rests() == other.rests() &&
           subtractsInput == other.subtractsInput;
}

bool DF1Cascade::areAlike(Lanes lanes) noexcept
{
    return std::all_of(lanes.begin(), lanes.end(),
                       [&](const Lane& lane) { return lane.filter->runsLike(*lanes[0].filter); });
}

void DF1Cascade::process(Lanes lanes) noexcept
{
    const DF1Cascade& filter = *lanes[0].filter;
    if (filter.rests()) {
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
    std::array<std::array<double, kPiece>, kMostLanes> inputs;
    std::array<Lane, kMostLanes> pieces;
    const std::size_t frames = lanes[0].buffer.size();
    for (std::size_t done = 0; done < frames; done += kPiece) {
        for (std::size_t i = 0; i < lanes.size(); ++i) {
            pieces[i] = {lanes[i].filter, lanes[i].buffer.subspan(done, std::min(kPiece, frames - done))};
            std::copy(pieces[i].buffer.begin(), pieces[i].buffer.end(), inputs[i].begin());
        }
        runSections(std::span(pieces).first(lanes.size()));
        for (std::size_t i = 0; i < lanes.size(); ++i)
            for (std::size_t j = 0; j < pieces[i].buffer.size(); ++j)
                pieces[i].buffer[j] -= inputs[i][j];
    }
}

/// In runs between the places where a lane's slide ends.
void DF1Cascade::runSections(Lanes lanes) noexcept
{
    const std::size_t frames = lanes[0].buffer.size();
    for (std::size_t done = 0; done < frames;) {
        std::size_t end = frames;
        bool slides = false;
        for (const Lane& lane : lanes)
            if (lane.filter->rampCounter >= 0) {
                slides = true;
                end = std::min(end, done + static_cast<std::size_t>(lane.filter->rampCounter) + 1);
            }
        if (slides)
            runAll<SlidingSection>(lanes, done, end);
        else
            runAll<RunningSection>(lanes, done, end);
        for (const Lane& lane : lanes)
            if (lane.filter->rampCounter >= 0)
                lane.filter->rampCounter -= static_cast<std::int64_t>(end - done);
        done = end;
    }
    for (const Lane& lane : lanes)
        if (lane.filter->rests())
            lane.filter->comeToRest();
}

template <template <std::size_t> class Section>
void DF1Cascade::runAll(Lanes lanes, std::size_t from, std::size_t to) noexcept
{
    const std::size_t stages = lanes[0].filter->stageCount;
    for (std::size_t stage = 0; stage < stages; stage += 2) {
        const bool two = stage + 1 < stages;
        if (lanes.size() == 4 && two)
            CpuDispatch<run<Section<4>, 2>>::run(lanes, stage, from, to);
        else if (lanes.size() == 4)
            CpuDispatch<run<Section<4>, 1>>::run(lanes, stage, from, to);
        else if (two)
            CpuDispatch<run<Section<2>, 2>>::run(lanes, stage, from, to);
        else
            CpuDispatch<run<Section<2>, 1>>::run(lanes, stage, from, to);
    }
}

template <typename Section, std::size_t count>
[[gnu::always_inline]] inline void DF1Cascade::run(Lanes lanes, std::size_t stage, std::size_t from,
                                                   std::size_t to) noexcept
{
    constexpr std::size_t width = Section::kWidth;
    std::array<double*, width> signals;
    for (std::size_t lane = 0; lane < width; ++lane)
        signals[lane] = laneAt<width>(lanes, lane).buffer.data();
    Section first(lanes, stage);
    Section second(lanes, stage + count - 1);
    for (std::size_t i = from; i < to; ++i) {
        Vector<width> samples{};
        for (std::size_t lane = 0; lane < width; ++lane)
            samples[lane] = signals[lane][i];
        first.step(samples);
        if constexpr (count == 2)
            second.step(samples);
        for (std::size_t lane = 0; lane < width; ++lane)
            signals[lane][i] = samples[lane];
    }
    first.save(lanes, stage);
    if constexpr (count == 2)
        second.save(lanes, stage + 1);
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
