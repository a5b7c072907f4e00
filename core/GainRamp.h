#pragma once

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

    /// Writes the next values.
    void expand(std::span<double> gains) noexcept
    {
        std::size_t i = 0;
        for (; i < gains.size() && count > 0; ++i, --count)
            gains[i] = target - count * step;
        for (; i < gains.size(); ++i)
            gains[i] = target;
    }

    /// Whether it stands at exactly unity, so that multiplying changes nothing.
    [[nodiscard]] bool isUnity() const noexcept { return target == 1.0 && count == 0; }
};

} // namespace sorvane::core
