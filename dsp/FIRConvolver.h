#pragma once

#include "AlignedBuffer.h"
#include "UniformPartitions.h"

#include <array>
#include <cstddef>
#include <span>
#include <vector>

namespace sorvane::dsp {

/// Convolves a stream with a long FIR filter, with no latency of its own and for any block size.
///
/// The first taps run directly, the rest as partitions whose size grows with the distance from the first tap, up to 128
/// for a length of 2048 and 512 for 8192. Large partitions start at twice their size, which leaves time to spread their
/// work, so that no block costs much more than the mean. Equals direct convolution within rounding, and the same to the
/// last bit however the stream is cut into blocks.
class FIRConvolver {
public:
    static constexpr std::size_t kMostLevels = 3; ///< sizes of partitions

    /// All taps are 0 at first.
    /// \param length  number of taps: 2048 or 8192. Any but the audio thread; throws std::bad_alloc.
    explicit FIRConvolver(int length);

    [[nodiscard]] int length() const noexcept { return taps; }

    /// Takes new taps, length() of them. There is no cross-fade: from the next sample on all new input meets the new
    /// taps, and what the blocks complete before then have left in the partitions runs out with the old ones.
    /// Any but the audio thread, while no other uses this object; throws std::bad_alloc.
    void load(std::span<const double> newTaps);

    /// Takes the taps of \p other, of the same length, and shares their memory with it. Threads as load.
    void shareTaps(const FIRConvolver& other) noexcept;

    /// Filters a block in place. Audio thread.
    void process(std::span<double> samples) noexcept;

    /// A convolver with a block of its own.
    struct Lane {
        FIRConvolver& convolver;
        std::span<double> samples;
    };
    /// Filters one block, or two of one size by convolvers of one length, as process would one after the other; taps
    /// that both share are fetched once. Audio thread.
    static void processTogether(std::span<const Lane> lanes) noexcept;

    /// Forgets the past of the signal; the taps stay. Any but the audio thread, while process doesn't run.
    void clear() noexcept;

    /// Goes on with the signal of \p other, of the same length, under this one's taps, as if they had been loaded into
    /// other; which is left with this one's state. Audio thread: it exchanges pointers.
    void continueFrom(FIRConvolver& other) noexcept;

private:
    static constexpr std::size_t kStep = UniformPartitions::kStep;

    void processStretch(std::span<double> samples) noexcept;
    [[nodiscard]] bool isInStepWith(const FIRConvolver& other) const noexcept;
    void beginStep() noexcept;
    static void completeStep(std::span<const Lane> lanes) noexcept;

    struct State {
        AlignedBuffer recent;   // the kStep samples before the largest block in the making, then those of it
        std::size_t place = 0;  // in that block, of this step's first sample
        std::size_t filled = 0; // samples of this step so far
    };

    int taps;
    std::array<double, kStep> head{}; // the first taps, the last one first
    std::vector<UniformPartitions> levels;
    State state;
};

} // namespace sorvane::dsp
