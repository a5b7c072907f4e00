#pragma once

#include "DetectorSettings.h"
#include "SlidingMaximum.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace sorvane::core {

/// What the detector was doing at a sample, as bits, so that several samples can be gathered into one entry.
enum StateCode : std::int32_t {
    stateAttack = 1,
    stateSlowRelease = 2,
    stateFastRelease = 4,
    stateHold = 8,
};

/// Turns one channel's side-chain signal into a linear gain for each sample.
///
/// Level, sliding maximum over the look-ahead, an envelope before or after the gain computer, gain computer with knee
/// and ceiling, smoothing. The detector knows nothing of the audio that the gain is for; the audio has to be delayed by
/// the look-ahead. Output doesn't depend on how the signal is cut into blocks, and no recursive state ever goes
/// denormal. Audio thread: process, processPair. Any other thread only while neither runs. Nothing allocates.
class DetectorChannel {
public:
    DetectorChannel() { reset(); }

    /// Replaces the settings from the next process on. A new look-ahead rebuilds the running averages from their
    /// history, so that the gain makes no step; all other state stays.
    void set(const DetectorSettings& newSettings) noexcept { settings = newSettings; }

    /// Clears every state: the gain starts at unity.
    void reset() noexcept;

    /// \param samples  side-chain within 1e100 in, gain out (1 leaves a level as it is), in place
    /// \param codes    gets a StateCode for each sample; as long as \p samples
    void process(std::span<double> samples, std::span<std::int32_t> codes) noexcept;

    /// A detector with a block of its own, as process takes it.
    struct Block {
        DetectorChannel& detector;
        std::span<double> samples;
        std::span<std::int32_t> codes;
    };
    /// Runs two detectors over blocks of one length, as process would one after the other. Where both take the same
    /// path their recursions run side by side in the time of one.
    static void processPair(const Block& first, const Block& second) noexcept;

private:
    static constexpr std::uint32_t kRing = kMostLookahead;
    static constexpr std::uint32_t kMask = kRing - 1;

    struct AverageRun;
    struct Smoother {
        double attackState = 0.0;
        double peakState = 0.0;
    };

    /// One block, or two of detectors that take the same path.
    using Lanes = std::span<const Block>;

    [[nodiscard]] bool takesPathOf(const DetectorChannel& other) const noexcept;
    void beginBlock() noexcept;
    void rebuildAverages() noexcept;
    [[nodiscard]] static double sumBefore(const std::array<double, kRing>& ring, std::uint32_t place,
                                          std::uint32_t length) noexcept;
    [[nodiscard]] static std::uint32_t untilWrap(std::span<const std::uint32_t> places) noexcept;
    static void processPiece(Lanes lanes) noexcept;
    static void dualRelease(Lanes lanes) noexcept;
    [[nodiscard]] static bool staysAboveFlush(Lanes lanes) noexcept;
    template <bool flushes>
    static void runDualRelease(Lanes lanes) noexcept;
    static void smooth(Smoother DetectorChannel::*which, Lanes lanes) noexcept;
    static void averageGains(Lanes lanes) noexcept;
    [[nodiscard]] std::uint32_t runOfAverages(std::uint32_t done) const noexcept;
    static void averageRun(Lanes lanes, std::uint32_t done, std::uint32_t frames) noexcept;
    static void followGains(Lanes lanes) noexcept;

    DetectorSettings settings;

    SlidingMaximum maximum;
    double meanSquare = 0.0;
    double envelope = 0.0;
    std::int32_t holdCounter = 0;
    Smoother preSmoother;
    Smoother postSmoother;

    std::array<double, kRing> smoothRing1;
    std::array<double, kRing> smoothRing2;
    std::uint32_t smoothIndex1 = 0;
    std::uint32_t smoothIndex2 = 0;
    std::int32_t activeLength = 0;
    std::uint32_t smoothLength1 = 0;
    std::uint32_t smoothLength2 = 0;
    double smoothScale1 = 0.0;
    double smoothScale2 = 0.0;
    double smoothSum1 = 0.0;
    double smoothSum2 = 0.0;
    double smoothedGain = 1.0;
};

} // namespace sorvane::core
