#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>

namespace sorvane::core {

/// A ring that delays a signal in place by up to its whole length. Audio thread.
///
/// Rings that work side by side share one position, which their owner advances once a block.
template <std::uint32_t Length>
class DelayRing {
public:
    static_assert((Length & (Length - 1)) == 0, "positions wrap by masking");
    static constexpr std::uint32_t kMask = Length - 1;

    void clear() noexcept { cells.fill(0.0); }

    /// \param samples   in place
    /// \param delay     in samples; what is beyond the ring's length stops there, 0 only records
    /// \param position  of the block's first sample
    void process(std::span<double> samples, std::int32_t delay, std::uint32_t position) noexcept
    {
        const auto back = static_cast<std::uint32_t>(std::clamp<std::int32_t>(delay, 0, Length));
        for (double& sample : samples) {
            // Reading first makes a delay of the whole length work.
            const double delayed = cells[(position - back) & kMask];
            cells[position & kMask] = sample;
            if (back != 0)
                sample = delayed;
            ++position;
        }
    }

private:
    std::array<double, Length> cells{};
};

} // namespace sorvane::core
