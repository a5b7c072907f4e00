#pragma once

#include "AlignedBuffer.h"
#include "BlockTransform.h"

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace sorvane::dsp {

/// A stretch of a long filter, cut into partitions of one size B, each a multiplication of spectra.
///
/// Time advances in steps of kStep samples. When a block of B input samples is complete, it is transformed; the output
/// block that is due next is the sum of the last blocks' spectra, each times a partition's, transformed back. A stretch
/// that starts at tap B does that in the step that completes the block; one that starts at tap 2B has time until the next
/// block is complete, and spreads the work evenly over those steps.
/// A block keeps the taps that were in force when it was complete, and runs out with them.
///
/// Fast because sums are formed from what is only read, where adding each block to all the sums that it falls into would
/// also write them, and two at a time: all but the newest block is known a block earlier, and what two neighbouring
/// sums take of spectra and taps goes through the caches once. So every second block brings most of the products.
class UniformPartitions {
public:
    static constexpr std::size_t kStep = 32;           ///< samples a step
    static constexpr std::size_t kMostPartitions = 16; ///< that a stretch can have

    /// \param blockSize  B: kStep times a power of four
    /// \param firstTap   index in the whole filter of the stretch's first tap: kStep for B = kStep, else 2 B
    /// \param count      number of partitions, 2 to kMostPartitions
    /// Starts with taps and state at 0. Throws std::bad_alloc.
    UniformPartitions(std::size_t blockSize, std::size_t firstTap, std::size_t count);

    /// Takes the stretch's taps from the whole filter; blocks that are complete run out with the old ones. Any but the
    /// audio thread, while no other uses this object; throws std::bad_alloc.
    void load(std::span<const double> wholeFilter);

    /// Takes the taps of \p other, of the same shape, and shares their memory with it. Threads as load.
    void shareTaps(const UniformPartitions& other) noexcept { spectra = other.spectra; }

    /// Takes in kStep samples and adds this stretch's share of the next kStep outputs to \p ahead. Audio thread.
    void step(std::span<const double> newest, std::span<double> ahead) noexcept;

    /// Forgets the past of the signal; the taps stay. Any but the audio thread, while no other uses this object: it frees
    /// taps that only the past had.
    void clear() noexcept;

    /// Exchanges states with \p other, of the same shape, so that this one goes on with other's signal under its own
    /// taps. Blocks that other had complete run out with other's taps in every partition. Audio thread: it exchanges
    /// pointers.
    void continueFrom(UniformPartitions& other) noexcept;

private:
    using Spectra = std::shared_ptr<AlignedBuffer>; // of the partitions, one after the other

    struct State {
        AlignedBuffer input;       // B samples, the block in the making
        AlignedBuffer work;        // of the transform under way
        AlignedBuffer blocks;      // a ring of the spectra of as many complete blocks as there are partitions
        std::vector<Spectra> taps; // of each of those blocks; null for one of silence
        AlignedBuffer sums;        // the spectra of the output block that is due next and of the one after it
        AlignedBuffer output;      // B samples, the block in the playing
        AlignedBuffer tail;        // B samples that overlap into the next block
        std::size_t phase = 0;     // step within the block, 0 to steps - 1
        std::size_t newest = 0;    // place in the ring of the last complete block
        std::size_t due = 0;       // place in sums of the one that is due next: the second has its products but one
        std::size_t done = 0;      // tasks for the last complete block that are done
    };

    // The work for a complete block is a list of tasks: the passes of the forward transform, the products of each
    // partition, the passes of the inverse one.
    [[nodiscard]] std::size_t tasksToProducts() const noexcept
    {
        return transform.passes() + (state.due == 0 ? partitions : 1);
    }
    [[nodiscard]] std::size_t tasks() const noexcept { return transform.passes() + tasksToProducts(); }
    void beginBlock() noexcept;
    void work(std::size_t target) noexcept;
    void addProducts(std::size_t first, std::size_t end) noexcept;
    void addProducts(std::size_t first, std::size_t end, std::size_t sumCount) noexcept;

    std::size_t start; // in the whole filter
    std::size_t partitions;
    std::size_t steps; // a block
    BlockTransform transform;
    Spectra spectra;
    std::vector<Spectra> retired; // taps that no block has any more, for another thread to free; has room for them
    State state;
};

} // namespace sorvane::dsp
