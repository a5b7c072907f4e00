#pragma once

#include "BlockMath.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

namespace sorvane::core {

/// A linear gain that reaches each new target along a straight line of 1000 samples.
/// Audio thread; any other only while no block runs.
struct GainRamp {
    static constexpr std::int32_t kSamples = 1000;

    double target = 1.0;
    double step = 0.0;
    std::int32_t count = 0; ///< samples still to go; the value is target - count step

    /// Heads for a new target from where the value stands. The present target starts nothing.
    void start(double newTarget) noexcept
    {
        if (newTarget == target)
            return;
        const double current = target - count * step;
        count = kSamples;
        step = (newTarget - current) / kSamples;
        target = newTarget;
    }

    /// Jumps to the target.
    void finish() noexcept { count = 0; }

    /// Multiplies a block by the next values. Unity costs nothing.
    void apply(std::span<double> samples) noexcept
    {
        const std::size_t moving = takeMoving(samples.size());
        for (std::size_t i = 0; i < moving; ++i)
            samples[i] *= valueBefore(moving - i);
        if (target != 1.0)
            for (std::size_t i = moving; i < samples.size(); ++i)
                samples[i] *= target;
    }

    /// Adds a block that is multiplied by the next values.
    void mix(std::span<const double> source, std::span<double> destination) noexcept
    {
        const std::size_t moving = takeMoving(source.size());
        for (std::size_t i = 0; i < moving; ++i)
            destination[i] += valueBefore(moving - i) * source[i];
        dsp::addScaled(source.subspan(moving), target, destination.subspan(moving));
    }

    /// Goes on by a block that nothing is multiplied in.
    void advance(std::size_t frames) noexcept { (void)takeMoving(frames); }

private:
    /// Goes on by a block. \return how many of its samples are ahead of the target
    std::size_t takeMoving(std::size_t frames) noexcept
    {
        const std::size_t moving = std::min(frames, static_cast<std::size_t>(count));
        count -= static_cast<std::int32_t>(moving);
        return moving;
    }

    /// \param samples  how long ago, seen from where the ramp stands now
    [[nodiscard]] double valueBefore(std::size_t samples) const noexcept
    {
        return target - static_cast<double>(count + static_cast<std::int32_t>(samples)) * step;
    }
};

} // namespace sorvane::core
