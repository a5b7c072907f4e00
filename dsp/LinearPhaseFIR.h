#pragma once

#include "FIRConvolver.h"
#include "LinearPhaseDesign.h"
#include "Relaxed.h"

#include <array>
#include <atomic>
#include <memory>
#include <span>

namespace sorvane::dsp {

/// The linear-phase band filters of both channels, replaced beside a running block.
///
/// A pair of convolvers is in use by the audio thread. The parameter thread finishes another pair and publishes it; the
/// audio thread changes over at the start of a block and puts the old pair where the parameter thread or the timer
/// fetches it. A new pair takes the place of a pending one in one exchange, so that whoever was told of the older finds
/// one of the two; without memory for it the older stays.
///
/// A new pair of the same length goes on with the signal's past (FIRConvolver::continueFrom). One of another length
/// starts from silence, since its delay is another one.
/// No operation waits for another thread.
class LinearPhaseFIR {
public:
    static constexpr int kLength = 2048;   ///< taps at normal quality
    static constexpr int kHqLength = 8192; ///< taps at high quality
    static constexpr int kChannels = 2;

    /// Starts with kLength taps of 0. Throws std::bad_alloc.
    LinearPhaseFIR();
    ~LinearPhaseFIR();
    LinearPhaseFIR(const LinearPhaseFIR&) = delete;
    LinearPhaseFIR& operator=(const LinearPhaseFIR&) = delete;

    /// Designs a filter for each channel and publishes the pair. Parameter thread: any but the audio thread, one at a
    /// time; beside collect and the audio thread's operations.
    /// \param length      kLength or kHqLength
    /// \param magnitudes  for each channel length / 2 + 1 linear gains, at i * rate / length Hz
    /// \return false when memory ran out: the pair in use stays, and so does a pending one
    [[nodiscard]] bool load(int length, const std::array<std::span<const double>, kChannels>& magnitudes) noexcept;

    /// Frees a pair that was replaced. Any but the audio thread, from time to time.
    void collect() noexcept;

    /// Takes a pending pair into use. Audio thread, at the start of a block; any while process doesn't run.
    void acceptPending() noexcept;

    /// Filters a block of the first channel, or of both, in place, delayed by delaySamples(). Audio thread.
    /// \param samples  of each channel, as many
    void process(std::span<const std::span<double>> samples) noexcept;

    /// Forgets the past of the signal. Any but the audio thread, while process doesn't run.
    void clear() noexcept;

    /// Number of taps in use. Any thread.
    [[nodiscard]] int firLength() const noexcept { return lengthInUse; }

    /// Delay of the filters in use, firLength() / 2. Any thread.
    [[nodiscard]] int delaySamples() const noexcept { return firLength() / 2; }

private:
    struct Pair {
        explicit Pair(int length) : channels{FIRConvolver(length), FIRConvolver(length)} {}
        [[nodiscard]] int length() const noexcept { return channels[0].length(); }

        Pair* next = nullptr; // of those that were replaced

        std::array<FIRConvolver, kChannels> channels;
    };

    static void freeChain(Pair* first) noexcept;
    std::unique_ptr<Pair> preparePair(int length, const std::array<std::span<const double>, kChannels>& magnitudes);

    std::unique_ptr<Pair> inUse;                     // the audio thread's
    std::unique_ptr<const LinearPhaseDesign> design; // the parameter thread's, for the length loaded last
    Relaxed<int> lengthInUse{kLength};

    // Each owns what it points to; who exchanges a pointer for another owns what was there. The audio thread empties
    // the first and adds to the second; the others fill the first and empty the second.
    std::atomic<Pair*> pending{nullptr};
    std::atomic<Pair*> replaced{nullptr};
};

} // namespace sorvane::dsp
