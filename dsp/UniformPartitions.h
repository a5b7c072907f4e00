#pragma once

#include "AlignedBuffer.h"
#include "BlockTransform.h"

#include <cstddef>
#include <memory>
#include <span>
#include <utility>
#include <vector>

namespace sorvane::dsp {

/// A stretch of a long filter, cut into partitions of one size B, each a multiplication of spectra.
///
/// Time advances in steps of kStep samples. When a block of B input samples is complete, it is transformed; the output
/// block that is due next is the sum of the last blocks' spectra, each times a partition's, transformed back. A stretch
/// that starts at tap B does that in the step that completes the block; one that starts at tap 2B has time until the
/// next block is complete, and spreads the work evenly over those steps.
/// A block keeps the taps that were in force when it was complete, and runs out with them.
///
/// Fast because sums are formed from what is only read, where adding each block to all the sums that it falls into
/// would also write them, and two at a time: all but the newest block is known a block earlier, and what two
/// neighbouring sums take of spectra and taps goes through the caches once. Each block brings half of the partitions to
/// its own sum and the next, and the next block the other half, so that all blocks cost the same. Two signals that
/// share their taps fetch those once.
class UniformPartitions {
public:
    static constexpr std::size_t kStep = 32; ///< samples a step

    /// \param blockSize  B: kStep times a power of four
    /// \param firstTap   index in the whole filter of the stretch's first tap: kStep for B = kStep, else 2 B
    /// \param count      number of partitions, 3 and above
    /// Starts with taps and state at 0. Throws std::bad_alloc.
    UniformPartitions(std::size_t blockSize, std::size_t firstTap, std::size_t count);

    /// Takes the stretch's taps from the whole filter; blocks that are complete run out with the old ones. Any but the
    /// audio thread, while no other uses this object; throws std::bad_alloc.
    void load(std::span<const double> wholeFilter);

    /// Takes the taps of \p other, of the same shape, and shares their memory with it. Threads as load.
    void shareTaps(const UniformPartitions& other) noexcept
    {
        retired.clear();
        spectra = other.spectra;
    }

    /// A stretch, and the samples that it takes in: kStep new ones, and before them, where a block is complete with
    /// them, the rest of that block.
    struct Lane {
        UniformPartitions& stretch;
        std::span<const double> input;
    };
    /// Advances one stretch, or two of one shape that are in step, by kStep samples. Audio thread.
    static void step(std::span<const Lane> lanes) noexcept;

    /// This stretch's share of the next kStep outputs, until the next step.
    [[nodiscard]] const double* ahead() const noexcept
    {
        return state.output.data() + state.playing * transform.blockSize() + lastPhase() * kStep;
    }

    /// Whether both are at the same place of their blocks, as two are that have advanced as often since they were
    /// cleared.
    [[nodiscard]] bool isInStepWith(const UniformPartitions& other) const noexcept
    {
        return state.phase == other.state.phase && state.newest == other.state.newest && state.due == other.state.due &&
               state.done == other.state.done;
    }

    /// Forgets the past of the signal; the taps stay. Any but the audio thread, while no other uses this object: it
    /// frees taps that only the past had.
    void clear() noexcept;

    /// Exchanges states with \p other, of the same shape, so that this one goes on with other's signal under its own
    /// taps. Blocks that other had complete run out with other's taps in every partition. Audio thread: it exchanges
    /// pointers.
    void continueFrom(UniformPartitions& other) noexcept;

private:
    using Spectra = std::shared_ptr<AlignedBuffer>; // of the partitions, one after the other

    struct State {
        AlignedBuffer work;        // of the transform under way
        AlignedBuffer blocks;      // a ring of the spectra of as many complete blocks as there are partitions
        std::vector<Spectra> taps; // of each of those blocks; null for one of silence
        AlignedBuffer sums;        // the spectra of the output block that is due next and of the one after it
        AlignedBuffer output;      // the block in the playing and, where work takes time, the one in the making
        AlignedBuffer tail;        // B samples that overlap into the next block
        std::size_t phase = 0;     // of the next step within the block, 0 to steps - 1
        std::size_t playing = 0;   // place in output of the block in the playing
        std::size_t newest = 0;    // place in the ring of the last complete block
        std::size_t due = 0;       // place in sums of the one that is due next
        std::size_t done = 0;      // tasks for the last complete block that are done
    };

    using Lanes = std::span<const Lane>;

    // The work for a complete block is a list of tasks: the passes of the forward transform, the products of partition
    // 0 and half of the others, each for a share of the bins, and the passes of the inverse transform.
    [[nodiscard]] std::pair<std::size_t, std::size_t> half() const noexcept // the partitions from first to second
    {
        const std::size_t middle = 1 + partitions / 2;
        return state.due == 0 ? std::pair(std::size_t{1}, middle) : std::pair(middle, partitions);
    }
    [[nodiscard]] std::size_t productTasks() const noexcept { return 1 + partitions / 2; } // about as long as a pass
    [[nodiscard]] std::size_t tasks() const noexcept { return 2 * transform.passes() + productTasks(); }
    void beginBlock() noexcept;
    static void work(Lanes lanes, std::size_t target) noexcept;
    void transformBlock(BlockTransform::Passes passes, std::span<const double> input) noexcept;
    void transformSum(BlockTransform::Passes passes) noexcept;
    static void addProducts(Lanes lanes, std::size_t first, std::size_t end) noexcept;
    static void addPairs(Lanes lanes, std::size_t first, std::size_t count, std::size_t firstBin,
                         std::size_t endBin) noexcept;

    [[nodiscard]] std::size_t lastPhase() const noexcept { return (state.phase == 0 ? steps : state.phase) - 1; }
    [[nodiscard]] std::size_t placeOf(std::size_t ago) const noexcept // in the ring, of the block so many blocks ago
    {
        return state.newest >= ago ? state.newest - ago : state.newest + partitions - ago;
    }
    [[nodiscard]] std::span<double> spectrumOf(std::size_t place) noexcept
    {
        return state.blocks.part(place, 2 * transform.blockSize());
    }
    [[nodiscard]] std::span<double> sum(std::size_t place) noexcept
    {
        return state.sums.part(place, 2 * transform.blockSize());
    }

    std::size_t start; // in the whole filter
    std::size_t partitions;
    std::size_t steps; // a block
    BlockTransform transform;
    Spectra spectra;
    std::vector<Spectra> retired; // taps that no block has any more, for another thread to free; has room for them
    State state;
};

} // namespace sorvane::dsp
