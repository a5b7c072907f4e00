#pragma once

#include "BandSplit.h"
#include "CrossingCounter.h"
#include "DelayRing.h"
#include "DetectorChannel.h"
#include "DisplayFeeds.h"
#include "EngineSettings.h"
#include "GainRamp.h"
#include "Mailbox.h"
#include "ResamplerHQ.h"
#include "SideChainEQ.h"
#include "WorkBuffers.h"

#include <array>
#include <cstdint>

namespace sorvane::core {

/// The engine of one instance: everything between the host's buffers that carries a signal.
///
/// All work is in doubles; the two forms of processCore differ only in the conversion at the host's buffers. Nothing is
/// shared between instances. Large (some 3 MB): make it part of an object on the heap.
/// Audio thread: takeSettings, settings, processCore. Updating threads, one at a time: publish, split, sideChainEQ,
/// designFinished. Any thread: getLatency, the feeds' accessors. The rest only while no block runs.
class Compressor {
public:
    static constexpr std::int32_t kStartCapacity = 4096;

    Compressor();

    /// Hands a set of settings to the audio thread, which takes the newest at its next block.
    void publish(const EngineSettings& settings) noexcept;

    /// The filters, for designing them and drawing their response.
    [[nodiscard]] BandSplit& split() noexcept { return bandSplit; }
    [[nodiscard]] const BandSplit& split() const noexcept { return bandSplit; }
    [[nodiscard]] SideChainEQ& sideChainEQ(std::size_t channel) noexcept { return channelStates[channel].eq; }
    [[nodiscard]] const SideChainEQ& sideChainEQ(std::size_t channel) const noexcept
    {
        return channelStates[channel].eq;
    }

    /// Latency in samples at the host rate of the settings and the design published last, which the next block brings
    /// in force: look-ahead, twice the half-band chain when oversampled, half the kernel of a linear-phase split.
    [[nodiscard]] std::int32_t getLatency() const noexcept { return publishedLatency + bandSplit.designedDelay(); }

    /// Makes room for blocks of up to \p frames ahead of time. \return false when there is no memory for them
    [[nodiscard]] bool prepare(std::int32_t frames) noexcept { return buffers.ensure(frames); }

    /// Clears every state; gains stand at their targets.
    void reset() noexcept;

    /// Sets the host's rate, and clears the filters, counters and delays, which depend on it.
    /// \param rateHz  above 0, up to 1 MHz
    void setRate(double rateHz) noexcept;

    /// Brings the newest published settings in force.
    void takeSettings() noexcept;

    /// The settings in force.
    [[nodiscard]] const EngineSettings& settings() const noexcept { return active; }

    /// Processes one block. Of any frame all inputs are read before any output is written, so that they may be the same
    /// buffers in any order.
    /// \param inputs      \p channels main inputs and \p sideChains behind them; null is a channel of zeros
    /// \param outputs     \p channels outputs; null is passed over
    /// \param frames      0 and above
    /// \param channels    1 or 2
    /// \param sideChains  0 to 2
    /// \return false when the block is larger than any before and there is no memory for it: nothing was read or
    /// written
    template <typename Sample>
    [[nodiscard]] bool processCore(const Sample* const* inputs, Sample* const* outputs, std::int32_t frames,
                                   std::int32_t channels, std::int32_t sideChains) noexcept;

    [[nodiscard]] DisplayFeeds& displayFeeds() noexcept { return feeds; }
    [[nodiscard]] const DisplayFeeds& displayFeeds() const noexcept { return feeds; }

private:
    static constexpr std::uint32_t kOversampleDelayLength = 256;
    using Delay = DelayRing<kMostLookahead>;
    using OversampleDelay = DelayRing<kOversampleDelayLength>;

    /// The shape of the block at hand, or of a piece of it.
    struct Block {
        std::size_t frames;
        std::size_t channels;
        std::size_t step;     ///< samples for each display entry
        bool encoded;         ///< the channels are mid and side
        bool externalSC;      ///< the side buffers hold the external side-chain
        bool singlePrecision; ///< the host's samples are floats
    };

    struct Channel {
        GainRamp inputRamp, makeupRamp, dryRamp, outputRamp;
        Delay bypassDelay, wetDelay, passDelay;
        OversampleDelay wetOversampleDelay, passOversampleDelay;
        SideChainEQ eq;
        CrossingCounter crossings;
        dsp::ResamplerHQ detectorUp, gainDown, gainUp, signalUp, signalDown;
        DetectorChannel detector;
    };

    void processBlock(const Block& block) noexcept;
    void delayBypass(const Block& block) noexcept;
    void encodeMidSide(WorkBuffers::Role role, const Block& block) noexcept;
    void trimInput(const Block& block) noexcept;
    void splitBand(const Block& block) noexcept;
    void prepareSideChain(const Block& block) noexcept;
    void filterSideChain(const Block& block) noexcept;
    void linkDetectorInputs(const Block& block) noexcept;
    void delayAudio(const Block& block) noexcept;
    void silenceAbsentChannel(const Block& block) noexcept;
    void detectGains(const Block& block) noexcept;
    void compress(std::size_t index, const Block& block) noexcept;
    void compressOversampled(std::size_t index, const Block& block) noexcept;
    void passBand(std::size_t index, const Block& block) noexcept;
    void mixDry(const Block& block) noexcept;
    void trimOutput(const Block& block) noexcept;
    void listen(const Block& block) noexcept;
    void decodeMidSide(const Block& block) noexcept;
    [[nodiscard]] bool listensToSideChain() const noexcept;
    [[nodiscard]] std::int32_t halfBandDelay() const noexcept;
    [[nodiscard]] std::int32_t latencyInForce() const noexcept;

    dsp::Mailbox<EngineSettings> mailbox;
    dsp::Relaxed<std::int32_t> publishedLatency{0};
    EngineSettings active;
    WorkBuffers buffers;
    BandSplit bandSplit;
    std::array<Channel, 2> channelStates;
    RingPlace bypassPlace{kMostLookahead};    ///< of bypassDelay
    RingPlace lookaheadPlace{kMostLookahead}; ///< of wetDelay and passDelay
    RingPlace oversamplePlace{kOversampleDelayLength};
    bool hasBeenStereo = false; ///< since the last reset
    DisplayFeeds feeds;
};

} // namespace sorvane::core
