#pragma once

#include "BLTEQ.h"
#include "DelayRing.h"
#include "LinearPhaseFIR.h"
#include "Mailbox.h"
#include "Relaxed.h"
#include "SplitDesign.h"

#include <array>
#include <cstdint>
#include <span>

namespace sorvane::core {

/// Divides both channels into the band that is compressed and the rest.
///
/// Minimum phase: filters in series make the band, complementary filters the rest. Linear phase: an FIR with the
/// magnitude of the same analog filters makes the band, the input delayed by half its length less the band makes the
/// rest, so that the two add up to the delayed input exactly. Which of the two is in force, and with what, changes at a
/// block's start and only together with the design that serves it. Updating threads, one at a time: design, collect,
/// designedDelay, filter. Audio thread: beginBlock, process, delaySideChain, advance, delaySamples. The rest only while
/// no block runs.
class BandSplit {
public:
    /// Throws std::bad_alloc.
    BandSplit() = default;

    void setRate(float rateHz) noexcept;
    /// Clears every state; the design stays.
    void reset() noexcept;

    /// Designs the filters of both channels and hands them to the audio thread.
    /// \return false when there is no memory for the kernels: what is in force stays
    bool design(const std::array<SplitParameters, 2>& channels, const SplitMode& mode) noexcept;
    /// Frees kernels that the audio thread has given back.
    void collect() noexcept { fir.collect(); }
    /// Delay in samples of the design that was handed over last.
    [[nodiscard]] std::int32_t designedDelay() const noexcept { return publishedDelay; }

    enum class Edge { highPass, lowPass, bandPass };
    /// One of the filters that make the band, for drawing its response.
    [[nodiscard]] const dsp::DF1Cascade& filter(std::size_t channel, Edge edge) const noexcept;

    /// Brings the newest design in force.
    void beginBlock() noexcept;
    /// Delay in samples of the design in force: half the kernel's length, or 0.
    [[nodiscard]] std::int32_t delaySamples() const noexcept { return linearPhase ? fir.delaySamples() : 0; }

    /// A channel's block, all of one length.
    struct Signals {
        std::span<double> band;    ///< the signal to split; becomes the band
        std::span<double> rest;    ///< becomes the rest, or the whole signal in parallel mode, delayed as the band is
        std::span<double> scratch; ///< room of its own
    };
    /// \param signals  of the first channel, or of both
    void process(std::span<const Signals> signals) noexcept;
    /// Delays a side-chain that was not split, as the band is.
    void delaySideChain(std::size_t channel, std::span<double> side) noexcept;
    /// Once a block, after the last channel.
    void advance(std::size_t frames) noexcept;

private:
    static constexpr std::uint32_t kDelayLength = 4096;
    using Delay = DelayRing<kDelayLength>;

    /// What the audio thread has to know of a design beside the filters themselves.
    struct InForce {
        bool linearPhase = false;
        DryMode dryMode = DryMode::remainder;
    };

    struct Channel {
        dsp::BLTEQ splitHPF, splitLPF, splitBPF;
        dsp::BLTEQ restLPF, restHPF, restNotch; // complements of the three
        Delay restDelay, sideDelay;
    };

    static void setSplit(Channel& channel, const SplitParameters& parameters, const SplitMode& mode) noexcept;
    void updateFilters() noexcept;
    static void rebuildComplements(Channel& channel) noexcept;
    bool rebuildKernels(const SplitMode& mode) noexcept;
    enum class Complement { nothing, below, above, both, notch };
    using Place = std::span<double> Signals::*;

    void splitLinearPhase(std::span<const Signals> signals) noexcept;
    [[nodiscard]] Complement complementOf(std::size_t channel) const noexcept;
    void complement(std::size_t first, std::span<const Signals> signals) noexcept;
    using Filter = dsp::BLTEQ Channel::*;
    using Lanes = std::array<dsp::DF1Cascade::Lane, 2>;
    [[nodiscard]] Lanes lanesOf(Filter filter, std::size_t first, std::span<const Signals> signals,
                                Place place) noexcept;
    void filterSides(std::size_t first, std::span<const Signals> signals) noexcept;
    void filter(Filter filter, std::size_t first, std::span<const Signals> signals, Place place) noexcept;

    std::array<Channel, 2> channelFilters;
    dsp::LinearPhaseFIR fir;
    dsp::Mailbox<InForce> mailbox;
    dsp::Relaxed<std::int32_t> publishedDelay{0};

    // The kernels that were handed over last came from these, so that the same ones aren't made again.
    struct KernelSource {
        std::array<std::array<dsp::AnalogCascade, 3>, 2> filters;
        std::int32_t length = 0;
        float rateHz = 0.0F;

        friend bool operator==(const KernelSource&, const KernelSource&) = default;
    };
    KernelSource kernelSource;

    // The audio thread's.
    bool linearPhase = false;
    DryMode dryMode = DryMode::remainder;
    RingPlace delayPlace{kDelayLength};
};

} // namespace sorvane::core
