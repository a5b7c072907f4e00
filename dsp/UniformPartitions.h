#pragma once

#include "AlignedBuffer.h"
#include "BlockTransform.h"

#include <cstddef>
#include <memory>
#include <span>

namespace sorvane::dsp {

/// A stretch of a long filter, cut into partitions of one size B, each a multiplication of spectra.
///
/// Time advances in steps of kStep samples. When a block of B input samples is complete, it is transformed, multiplied
/// by every partition's spectrum into the sum of the output block that it falls into, and the sum that is due next is
/// transformed back. A stretch that starts at tap B does that in the step that completes the block; one that starts at
/// tap 2B has time until the next block is complete, and spreads the work evenly over those steps.
/// A product is made once, with the taps of that moment, so that new taps leave what was added up before to run out.
class UniformPartitions {
public:
    static constexpr std::size_t kStep = 32; ///< samples a step

    /// \param blockSize  B: kStep times a power of four
    /// \param firstTap   index in the whole filter of the stretch's first tap: kStep for B = kStep, else 2 B
    /// \param count      number of partitions, 1 and above
    /// Starts with taps and state at 0. Throws std::bad_alloc.
    UniformPartitions(std::size_t blockSize, std::size_t firstTap, std::size_t count);

    /// Takes the stretch's taps from the whole filter; blocks that are complete run out with the old ones. Any but the
    /// audio thread, while no other uses this object; throws std::bad_alloc.
    void load(std::span<const double> wholeFilter);

    /// Takes the taps of \p other, of the same shape, and shares their memory with it. Threads as load.
    void shareTaps(const UniformPartitions& other) noexcept { spectra = other.spectra; }

    /// Takes in kStep samples and adds this stretch's share of the next kStep outputs to \p ahead. Audio thread.
    void step(std::span<const double> newest, std::span<double> ahead) noexcept;

    /// Forgets the past of the signal; the taps stay.
    void clear() noexcept;

    /// Exchanges states with \p other, of the same shape, so that this one goes on with other's signal under its own
    /// taps. Blocks that other had complete run out with other's taps in every partition. Audio thread.
    void continueFrom(UniformPartitions& other) noexcept;

private:
    struct State {
        AlignedBuffer input;    // B samples, the block in the making
        AlignedBuffer work;     // of the transform under way
        AlignedBuffer spectrum; // of the last complete block
        AlignedBuffer sums;     // a ring of as many spectra as partitions, those of the output blocks to come
        AlignedBuffer output;   // B samples, the block in the playing
        AlignedBuffer tail;     // B samples that overlap into the next block
        std::size_t phase = 0;  // step within the block, 0 to steps - 1
        std::size_t due = 0;    // place in sums of the output block that the newest spectrum's first product falls into
        std::size_t done = 0;   // tasks for the last complete block that are done
    };

    // The work for a complete block is a list of tasks of about equal cost: the passes of the forward transform, the
    // products, the passes of the inverse one.
    [[nodiscard]] std::size_t tasksToProducts() const noexcept { return transform.passes() + partitions; }
    [[nodiscard]] std::size_t tasks() const noexcept { return transform.passes() + tasksToProducts(); }
    void work(std::size_t target) noexcept;
    void addProducts(std::size_t first, std::size_t end) noexcept;

    std::size_t start; // in the whole filter
    std::size_t partitions;
    std::size_t steps; // a block
    BlockTransform transform;
    std::shared_ptr<AlignedBuffer> spectra; // of the partitions, one after the other
    State state;
};

} // namespace sorvane::dsp
