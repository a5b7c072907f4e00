#include "FIRConvolver.h"

#include "DirectFIR.h"
#include "Flush.h"

#include <algorithm>
#include <cassert>
#include <utility>

namespace sorvane::dsp {

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

void FIRConvolver::process(std::span<double> samples) noexcept
{
    while (!samples.empty()) {
        const std::size_t frames = std::min(kStep - state.filled, samples.size());
        const auto stretch = samples.first(frames);
        // A denormal would slow down every butterfly that it takes part in.
        std::transform(stretch.begin(), stretch.end(), state.recent.begin() + kStep + state.filled, flush);
        std::copy_n(state.ahead.begin() + state.filled, frames, stretch.begin());
        addDirectFIR(head, state.recent.data() + state.filled + 1, stretch);

        samples = samples.subspan(frames);
        state.filled += frames;
        if (state.filled == kStep)
            completeStep();
    }
}

void FIRConvolver::completeStep() noexcept
{
    state.ahead.fill(0.0);
    const auto newest = std::span<const double>(state.recent).last(kStep);
    for (UniformPartitions& level : levels)
        level.step(newest, state.ahead);
    std::copy(newest.begin(), newest.end(), state.recent.begin());
    state.filled = 0;
}

void FIRConvolver::clear() noexcept
{
    state = State{};
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
