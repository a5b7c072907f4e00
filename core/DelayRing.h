#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace sorvane::core {

/// A ring that delays a signal in place by up to its whole length. Audio thread.
///
/// Rings that work side by side share one position, which their owner advances once a block. Fast because it copies in
/// runs between the places where the ring wraps.
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
        const std::uint32_t back = bounded(delay);
        if (back == 0)
            return record(samples, position);
        std::array<double, kPiece> past;
        while (!samples.empty()) {
            const auto piece = samples.first(std::min(samples.size(), kPiece));
            const std::size_t before = std::min<std::size_t>(piece.size(), back); // comes out of the ring
            read(std::span(past).first(before), position - back);
            record(piece, position); // after reading, which makes a delay of the whole length work
            std::copy_backward(piece.begin(), piece.end() - static_cast<std::ptrdiff_t>(before), piece.end());
            std::copy_n(past.begin(), before, piece.begin());
            position += static_cast<std::uint32_t>(piece.size());
            samples = samples.subspan(piece.size());
        }
    }

    /// Takes a block in without giving any out: the state is that after process.
    void record(std::span<const double> samples, std::uint32_t position) noexcept
    {
        while (!samples.empty()) {
            const auto run = samples.first(runLength(samples.size(), position));
            std::copy(run.begin(), run.end(), cells.begin() + (position & kMask));
            position += static_cast<std::uint32_t>(run.size());
            samples = samples.subspan(run.size());
        }
    }

private:
    static constexpr std::size_t kPiece = 256;

    static std::uint32_t bounded(std::int32_t delay) noexcept
    {
        return static_cast<std::uint32_t>(std::clamp<std::int32_t>(delay, 0, Length));
    }

    static std::size_t runLength(std::size_t wanted, std::uint32_t position) noexcept
    {
        return std::min<std::size_t>(wanted, Length - (position & kMask));
    }

    void read(std::span<double> samples, std::uint32_t position) const noexcept
    {
        while (!samples.empty()) {
            const std::size_t run = runLength(samples.size(), position);
            std::copy_n(cells.begin() + (position & kMask), run, samples.begin());
            position += static_cast<std::uint32_t>(run);
            samples = samples.subspan(run);
        }
    }

    std::array<double, Length> cells{};
};

} // namespace sorvane::core
