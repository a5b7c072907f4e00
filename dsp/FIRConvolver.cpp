#include "FIRConvolver.h"

#include "CpuDispatch.h"
#include "DirectFIR.h"
#include "Flush.h"

#include <algorithm>
#include <cassert>
#include <utility>

namespace sorvane::dsp {

namespace {

/// Takes samples in and puts the sum of the levels' shares of the output in their place.
[[gnu::always_inline]] inline void exchange(double* __restrict samples, double* __restrict input,
                                            const std::array<const double*, FIRConvolver::kMostLevels>* shares,
                                            std::size_t count) noexcept
{
    const auto [first, second, third] = *shares;
    for (std::size_t i = 0; i < count; ++i)
        input[i] = flush(samples[i]); // a denormal would slow down every butterfly that it takes part in
    for (std::size_t i = 0; i < count; ++i)
        samples[i] = first[i] + second[i];
    if (third != nullptr)
        for (std::size_t i = 0; i < count; ++i)
            samples[i] += third[i];
}

} // namespace

FIRConvolver::FIRConvolver(int length) : taps(length)
{
    assert(length == 2048 || length == 8192);
    // Each level reaches as far as the next one, four times as coarse, can start. Transforms above 128 pay only for
    // the longer filter.
    const std::size_t largest = length > 2048 ? 512 : 128;
    std::size_t firstTap = kStep;
    for (std::size_t size = kStep; size <= largest; size *= 4) {
        const std::size_t end = size == largest ? static_cast<std::size_t>(length) : 8 * size;
        levels.emplace_back(size, firstTap, (end - firstTap) / size);
        firstTap = end;
    }
    state.recent = AlignedBuffer(kStep + largest);
}

void FIRConvolver::load(std::span<const double> newTaps)
{
    assert(static_cast<int>(newTaps.size()) == taps);
    std::reverse_copy(newTaps.begin(), newTaps.begin() + kStep, head.begin());
    for (UniformPartitions& level : levels)
        level.load(newTaps);
}

void FIRConvolver::shareTaps(const FIRConvolver& other) noexcept
{
    assert(other.taps == taps);
    head = other.head;
    for (std::size_t i = 0; i < levels.size(); ++i)
        levels[i].shareTaps(other.levels[i]);
}

bool FIRConvolver::isInStepWith(const FIRConvolver& other) const noexcept
{
    return state.filled == other.state.filled &&
           std::equal(levels.begin(), levels.end(), other.levels.begin(),
                      [](const UniformPartitions& a, const UniformPartitions& b) { return a.isInStepWith(b); });
}

void FIRConvolver::process(std::span<double> samples) noexcept
{
    const Lane alone{*this, samples};
    processTogether({&alone, 1});
}

void FIRConvolver::processTogether(std::span<const Lane> lanes) noexcept
{
    if (lanes.size() == 2 && !lanes[0].convolver.isInStepWith(lanes[1].convolver)) {
        processTogether(lanes.first(1));
        processTogether(lanes.last(1));
        return;
    }
    const std::size_t end = lanes[0].samples.size();
    for (std::size_t done = 0; done < end;) {
        const std::size_t filled = lanes[0].convolver.state.filled;
        const std::size_t frames = std::min(kStep - filled, end - done);
        for (const Lane& lane : lanes)
            lane.convolver.processStretch(lane.samples.subspan(done, frames));
        done += frames;
        if (filled + frames == kStep)
            completeStep(lanes);
    }
}

/// \param samples  no more than are left of the step
void FIRConvolver::processStretch(std::span<double> samples) noexcept
{
    double* const input = state.recent.data() + kStep + state.place + state.filled;
    std::array<const double*, kMostLevels> shares{};
    for (std::size_t level = 0; level < levels.size(); ++level)
        shares[level] = levels[level].ahead() + state.filled;
    CpuDispatch<exchange>::run(samples.data(), input, &shares, samples.size());
    addDirectFIR(head, input + 1 - kStep, samples);
    state.filled += samples.size();
}

void FIRConvolver::completeStep(std::span<const Lane> lanes) noexcept
{
    const auto stretchOf = [](const Lane& lane, std::size_t level) {
        State& signal = lane.convolver.state;
        return UniformPartitions::Lane{lane.convolver.levels[level],
                                       signal.recent.all().first(kStep + signal.place + kStep)};
    };
    for (std::size_t level = 0; level < lanes[0].convolver.levels.size(); ++level) {
        const std::array stretches{stretchOf(lanes.front(), level), stretchOf(lanes.back(), level)};
        UniformPartitions::step(std::span(stretches).first(lanes.size()));
    }
    for (const Lane& lane : lanes)
        lane.convolver.beginStep();
}

void FIRConvolver::beginStep() noexcept
{
    const auto recent = state.recent.all();
    state.filled = 0;
    state.place += kStep;
    if (state.place + kStep < recent.size())
        return;
    std::ranges::copy(recent.last(kStep), recent.begin());
    state.place = 0;
}

void FIRConvolver::clear() noexcept
{
    state.recent.clear();
    state.place = 0;
    state.filled = 0;
    for (UniformPartitions& level : levels)
        level.clear();
}

void FIRConvolver::continueFrom(FIRConvolver& other) noexcept
{
    assert(other.taps == taps);
    std::swap(state, other.state);
    for (std::size_t i = 0; i < levels.size(); ++i)
        levels[i].continueFrom(other.levels[i]);
}

} // namespace sorvane::dsp
