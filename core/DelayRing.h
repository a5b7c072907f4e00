#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace sorvane::core {

/// Where rings that work side by side stand: they share it, and their owner advances it once a block.
struct RingPlace {
    std::uint32_t length;   ///< samples until the rings wrap, from 1 to their capacity
    std::uint32_t next = 0; ///< cell of the block's first sample, below \p length

    void advance(std::size_t frames) noexcept { next = static_cast<std::uint32_t>((next + frames) % length); }
};

/// Takes samples into cells and gives out what other cells held, one after the other: a cell that is read after it was
/// written gives the new sample. The destination, as long as the source, is the source itself or apart from it.
void exchangeSamples(std::span<const double> source, double* destination, const double* from, double* to) noexcept;

/// A ring that delays a signal by up to its whole length. Audio thread.
///
/// Fast because it goes through the signal once, in runs between the places where the ring wraps, and touches no more
/// memory than the length in force.
template <std::uint32_t Capacity>
class DelayRing {
public:
    void clear() noexcept { cells.fill(0.0); }

    /// \param samples  in place
    /// \param delay    in samples; what is beyond the ring's length stops there, 0 only records
    void process(std::span<double> samples, std::int32_t delay, RingPlace place) noexcept
    {
        process(samples, samples, delay, place);
    }

    /// \param destination  as long as the source, and the source itself or apart from it
    /// \param delay        as above; 0 copies too
    void process(std::span<const double> source, std::span<double> destination, std::int32_t delay,
                 RingPlace place) noexcept
    {
        const auto back = std::min(static_cast<std::uint32_t>(std::max(delay, 0)), place.length);
        if (back == 0) {
            record(source, place);
            if (source.data() != destination.data())
                std::copy(source.begin(), source.end(), destination.begin());
            return;
        }
        std::uint32_t to = place.next;
        std::uint32_t from = to >= back ? to - back : to + place.length - back;
        while (!source.empty()) {
            const std::size_t run = std::min<std::size_t>(source.size(), place.length - std::max(from, to));
            exchangeSamples(source.first(run), destination.data(), cells.data() + from, cells.data() + to);
            from = wrapped(from + run, place);
            to = wrapped(to + run, place);
            source = source.subspan(run);
            destination = destination.subspan(run);
        }
    }

    /// Takes a block in without giving any out: the state is that after process.
    void record(std::span<const double> samples, RingPlace place) noexcept
    {
        while (!samples.empty()) {
            const auto run = samples.first(std::min<std::size_t>(samples.size(), place.length - place.next));
            std::copy(run.begin(), run.end(), cells.begin() + place.next);
            place.next = wrapped(place.next + run.size(), place);
            samples = samples.subspan(run.size());
        }
    }

    /// The same for a block of zeros.
    void recordSilence(std::size_t frames, RingPlace place) noexcept
    {
        while (frames > 0) {
            const std::size_t run = std::min<std::size_t>(frames, place.length - place.next);
            std::fill_n(cells.begin() + place.next, run, 0.0);
            place.next = wrapped(place.next + run, place);
            frames -= run;
        }
    }

private:
    static std::uint32_t wrapped(std::size_t cell, const RingPlace& place) noexcept
    {
        return cell == place.length ? 0 : static_cast<std::uint32_t>(cell);
    }

    std::array<double, Capacity> cells{};
};

} // namespace sorvane::core
