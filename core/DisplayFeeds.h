#pragma once

#include "Relaxed.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <span>

namespace sorvane::core {

/// What the engine leaves for graphs and meters: rings of samples and detector states at a reduced rate, written by the
/// audio thread and read by the user interface's without a lock.
///
/// One entry stands for `step` samples, plain decimation with no filter. A block's leftover samples are dropped, and
/// one shorter than the step feeds nothing. A position moves after the entries behind it are written, so a reader that
/// follows it modulo kEntries sees each entry once. Audio thread: the feed functions. Any thread: the accessors. reset
/// only while no block runs.
class DisplayFeeds {
public:
    static constexpr std::uint32_t kEntries = 32768;

    enum Position : std::size_t { sideChainPosition, outputPosition, gainPosition0, gainPosition1 };

    DisplayFeeds() { reset(); }
    void reset() noexcept;

    /// Side-chain signal of both channels.
    void feedSideChain(std::span<const double> first, std::span<const double> second, std::size_t step) noexcept;
    /// Output of both channels before decoding.
    void feedOutput(std::span<const double> first, std::span<const double> second, std::size_t step) noexcept;
    /// One channel's linear gains with the state codes gathered over the same samples.
    void feedGain(std::size_t channel, std::span<const double> gains, std::span<const std::int32_t> codes,
                  std::size_t step) noexcept;
    /// Unity for one channel whose detector rests; its states keep their old entries.
    void feedUnity(std::size_t channel, std::size_t frames, std::size_t step) noexcept;

    /// kEntries values. \param index  0, 1 side-chain, 2, 3 output, 4, 5 gain of channel 0, 1; null for any other
    [[nodiscard]] const dsp::Relaxed<float>* displayRing(std::int32_t index) const noexcept;
    /// kEntries codes that lie beside the channel's gains. Only channel modulo 2 counts.
    [[nodiscard]] const dsp::Relaxed<std::int32_t>* stateRing(std::int32_t channel) const noexcept;
    /// Next entry to be written. \param index  a Position; modulo 4
    [[nodiscard]] std::uint32_t ringPosition(std::int32_t index) const noexcept;
    /// Lowest gain that came in since the last call, or the last result when nothing did. One reader a channel.
    [[nodiscard]] float reductionMeter(std::int32_t channel) noexcept;
    /// Lowest gain since reset, of every sample and with blocks of any size; 1 when none was lower.
    [[nodiscard]] float lowestGain(std::int32_t channel) const noexcept;

private:
    using Ring = std::array<dsp::Relaxed<float>, kEntries>;

    struct ReductionReader {
        dsp::Relaxed<std::uint32_t> position;
        dsp::Relaxed<float> result{1.0F};
    };

    void advance(std::size_t position, std::size_t entries) noexcept;

    std::array<Ring, 6> rings; // the order of displayRing, back to back
    std::array<std::array<dsp::Relaxed<std::int32_t>, kEntries>, 2> states;
    std::array<std::atomic<std::uint32_t>, 4> positions{};
    std::array<ReductionReader, 2> readers;
    std::array<dsp::Relaxed<float>, 2> lowest;
};

} // namespace sorvane::core
