#include "UniformPartitions.h"

#include "CpuDispatch.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cstddef>
#include <utility>

namespace sorvane::dsp {

namespace {

// As many bins of a spectrum.
template <std::size_t width>
struct Bins {
    Vector<width> re;
    Vector<width> im;

    /// \param count  of the whole spectrum: its imaginary parts stand behind the real ones
    [[gnu::always_inline]] static Bins at(const double* spectrum, std::size_t count) noexcept
    {
        return {load<width>(spectrum), load<width>(spectrum + count)};
    }
    [[gnu::always_inline]] void addProduct(const Bins& x, const Bins& h) noexcept
    {
        re += x.re * h.re - x.im * h.im;
        im += x.re * h.im + x.im * h.re;
    }
    [[gnu::always_inline]] void putTo(double* spectrum, std::size_t count) const noexcept
    {
        store<width>(re, spectrum);
        store<width>(im, spectrum + count);
    }
};

// As many bins from \p first to \p end of spectra of \p count.
struct BinRange {
    std::size_t first;
    std::size_t end;
    std::size_t count;
};

// Partitions whose products are added to a sum while it is at hand.
constexpr std::size_t kTogether = 4;

struct Product {
    const double* block; // spectra
    const double* taps;
    double* sum;
};

// Adds one product to a sum, or begins it with that.
struct AddProduct {
    template <std::size_t width>
    [[gnu::always_inline]] static void run(BinRange range, const Product* product, bool begins) noexcept
    {
        const Product p = *product; // where no store to the sum can seem to change it
        for (std::size_t k = range.first; k < range.end; k += width) {
            Bins<width> sum = begins ? Bins<width>{} : Bins<width>::at(p.sum + k, range.count);
            sum.addProduct(Bins<width>::at(p.block + k, range.count), Bins<width>::at(p.taps + k, range.count));
            sum.putTo(p.sum + k, range.count);
        }
    }
};

// Two sums of one signal, the second due a block after the first: partition i meets block i + 1 in the first, and in
// the second block i, which came after it.
struct TwoSums {
    std::array<const double*, kTogether + 1> blocks; // spectra
    const double* newest;                            // the block that meets partition 0 in the first
    double* first;
    double* second;
};

struct Taps {
    std::array<const double*, kTogether> partitions; // spectra
    const double* partition0;
};

// Adds the products of neighbouring partitions to the sums of one signal, or of two that share their taps; or begins
// with them, and that of partition 0.
template <std::size_t signals, std::size_t count>
struct AddProducts {
    template <std::size_t width>
    [[gnu::always_inline]] static void run(BinRange range, const TwoSums* sums, const Taps* taps, bool begins) noexcept
    {
        std::array<TwoSums, signals> s; // as above
        std::copy_n(sums, signals, s.begin());
        const Taps h = *taps;
        const std::size_t bins = range.count;
        for (std::size_t k = range.first; k < range.end; k += width) {
            std::array<Bins<width>, signals> first;
            std::array<Bins<width>, signals> second;
            std::array<Bins<width>, signals> newer;
            for (std::size_t c = 0; c < signals; ++c) {
                first[c] = Bins<width>::at(s[c].first + k, bins);
                if (begins) {
                    first[c].addProduct(Bins<width>::at(s[c].newest + k, bins),
                                        Bins<width>::at(h.partition0 + k, bins));
                    second[c] = Bins<width>{};
                } else {
                    second[c] = Bins<width>::at(s[c].second + k, bins);
                }
                newer[c] = Bins<width>::at(s[c].blocks[0] + k, bins);
            }
            for (std::size_t i = 0; i < count; ++i) {
                const Bins<width> partition = Bins<width>::at(h.partitions[i] + k, bins);
                for (std::size_t c = 0; c < signals; ++c) {
                    const Bins<width> older = Bins<width>::at(s[c].blocks[i + 1] + k, bins);
                    first[c].addProduct(older, partition);
                    second[c].addProduct(newer[c], partition);
                    newer[c] = older;
                }
            }
            for (std::size_t c = 0; c < signals; ++c) {
                first[c].putTo(s[c].first + k, bins);
                second[c].putTo(s[c].second + k, bins);
            }
        }
    }
};

template <std::size_t signals>
void addProducts(std::size_t count, BinRange range, const TwoSums* sums, const Taps* taps, bool begins) noexcept
{
    switch (count) {
    case 1:
        return VectorDispatch<AddProducts<signals, 1>>::run(range, sums, taps, begins);
    case 2:
        return VectorDispatch<AddProducts<signals, 2>>::run(range, sums, taps, begins);
    case 3:
        return VectorDispatch<AddProducts<signals, 3>>::run(range, sums, taps, begins);
    default:
        return VectorDispatch<AddProducts<signals, kTogether>>::run(range, sums, taps, begins);
    }
}

} // namespace

UniformPartitions::UniformPartitions(std::size_t blockSize, std::size_t firstTap, std::size_t count)
    : start(firstTap), partitions(count), steps(blockSize / kStep), transform(blockSize),
      spectra(std::make_shared<AlignedBuffer>(2 * blockSize * count))
{
    assert(firstTap == (steps == 1 ? blockSize : 2 * blockSize));
    assert(count > 2 && blockSize % kWidestVector == 0);
    state.work = AlignedBuffer(2 * blockSize);
    state.blocks = AlignedBuffer(2 * blockSize * count);
    state.taps.resize(count);
    state.sums = AlignedBuffer(4 * blockSize);
    state.output = AlignedBuffer(steps == 1 ? blockSize : 2 * blockSize);
    state.tail = AlignedBuffer(blockSize);
    retired.reserve(count);
    clear();
}

void UniformPartitions::load(std::span<const double> wholeFilter)
{
    const std::size_t size = transform.blockSize();
    AlignedBuffer scratch(2 * size);
    retired.clear();
    if (spectra.use_count() > 1) // who shares them keeps its taps, and so do complete blocks
        spectra = std::make_shared<AlignedBuffer>(2 * size * partitions);
    for (std::size_t p = 0; p < partitions; ++p) {
        const auto taps = wholeFilter.subspan(start + p * size, size);
        const auto spectrum = spectra->part(p, 2 * size);
        transform.forward({0, transform.passes()}, taps, scratch.all(), spectrum);
        for (double& value : spectrum)
            value /= static_cast<double>(size); // the transforms don't scale
    }
}

void UniformPartitions::step(Lanes lanes) noexcept
{
    const UniformPartitions& shape = lanes[0].stretch;
    const std::size_t phase = shape.state.phase;
    if (phase == 0)
        for (const Lane& lane : lanes)
            lane.stretch.beginBlock();
    // The first pass at once, since it needs the block's samples.
    work(lanes, std::max<std::size_t>(shape.tasks() * (phase + 1) / shape.steps, 1));
    for (const Lane& lane : lanes)
        lane.stretch.state.phase = phase + 1 < shape.steps ? phase + 1 : 0;
}

/// The block in the making is complete: its place in the ring is that of the oldest.
void UniformPartitions::beginBlock() noexcept
{
    state.newest = state.newest + 1 < partitions ? state.newest + 1 : 0;
    state.due = 1 - state.due;
    if (steps > 1)
        state.playing = 1 - state.playing;
    state.done = 0;
    Spectra& taps = state.taps[state.newest];
    if (taps == spectra)
        return;
    if (taps) {
        assert(retired.size() < retired.capacity()); // at most once for each place under the taps of this object
        retired.push_back(std::move(taps));
    }
    taps = spectra;
}

void UniformPartitions::work(Lanes lanes, std::size_t target) noexcept
{
    const UniformPartitions& shape = lanes[0].stretch;
    const std::size_t passes = shape.transform.passes();
    const std::size_t toInverse = shape.tasks() - passes;
    std::size_t done = shape.state.done;
    while (done < target) {
        const std::size_t first = done;
        if (first < passes) {
            done = std::min(target, passes);
            for (const Lane& lane : lanes)
                lane.stretch.transformBlock({first, done}, lane.input);
        } else if (first < toInverse) {
            done = std::min(target, toInverse);
            addProducts(lanes, first - passes, done - passes);
        } else {
            done = target;
            for (const Lane& lane : lanes)
                lane.stretch.transformSum({first - toInverse, done - toInverse});
        }
    }
    for (const Lane& lane : lanes)
        lane.stretch.state.done = done;
}

void UniformPartitions::transformBlock(BlockTransform::Passes passes, std::span<const double> input) noexcept
{
    // What comes behind the first pass doesn't look at the input any more.
    const auto block = passes.first == 0 ? input.last(transform.blockSize()) : std::span<const double>();
    transform.forward(passes, block, state.work.all(), spectrumOf(state.newest));
}

void UniformPartitions::transformSum(BlockTransform::Passes passes) noexcept
{
    const std::size_t making = steps == 1 ? 0 : 1 - state.playing;
    transform.inverse(passes, sum(state.due), state.work.all(), state.output.part(making, transform.blockSize()),
                      state.tail.all());
}

/// \param first, end  of the products' tasks, each of which takes as many bins
void UniformPartitions::addProducts(Lanes lanes, std::size_t first, std::size_t end) noexcept
{
    const UniformPartitions& shape = lanes[0].stretch;
    const auto [begin, stop] = shape.half();
    const std::size_t groups = shape.transform.blockSize() / kWidestVector;
    const std::size_t firstBin = groups * first / shape.productTasks() * kWidestVector;
    const std::size_t endBin = groups * end / shape.productTasks() * kWidestVector;
    for (std::size_t p = begin; p < stop; p += kTogether)
        addPairs(lanes, p, std::min(kTogether, stop - p), firstBin, endBin);
}

/// Adds the products of partitions \p first and on to the sum that is due and to the one after it; before this block's
/// first ones comes that of partition 0, and the latter sum begins.
void UniformPartitions::addPairs(Lanes lanes, std::size_t first, std::size_t count, std::size_t firstBin,
                                 std::size_t endBin) noexcept
{
    const UniformPartitions& shape = lanes[0].stretch;
    const BinRange range{firstBin, endBin, shape.transform.blockSize()};
    const bool begins = first == shape.half().first;
    std::array<TwoSums, 2> sums;
    AlignedBuffer* filter = nullptr; // of all blocks that have one
    bool alike = true;
    const auto meet = [&](UniformPartitions& stretch, std::size_t place) -> const double* {
        if (AlignedBuffer* const taps = stretch.state.taps[place].get()) {
            filter = filter == nullptr ? taps : filter;
            alike = alike && taps == filter;
        }
        return stretch.spectrumOf(place).data();
    };
    for (std::size_t c = 0; c < lanes.size(); ++c) {
        UniformPartitions& stretch = lanes[c].stretch;
        for (std::size_t i = 0; i <= count; ++i)
            sums[c].blocks[i] = meet(stretch, stretch.placeOf(first + i - 1));
        sums[c].newest = begins ? meet(stretch, stretch.state.newest) : nullptr;
        sums[c].first = stretch.sum(stretch.state.due).data();
        sums[c].second = stretch.sum(1 - stretch.state.due).data();
    }
    if (alike) {
        AlignedBuffer& common = filter != nullptr ? *filter : *shape.spectra;
        Taps taps{{}, common.part(0, 2 * range.count).data()};
        for (std::size_t i = 0; i < count; ++i)
            taps.partitions[i] = common.part(first + i, 2 * range.count).data();
        if (lanes.size() == 2)
            dsp::addProducts<2>(count, range, sums.data(), &taps, begins);
        else
            dsp::addProducts<1>(count, range, sums.data(), &taps, begins);
    } else if (lanes.size() == 2) {
        addPairs(lanes.first(1), first, count, firstBin, endBin);
        addPairs(lanes.last(1), first, count, firstBin, endBin);
    } else {
        const auto add = [&](std::size_t partition, std::size_t place, double* sum, bool beginsSum) {
            UniformPartitions& stretch = lanes[0].stretch;
            AlignedBuffer& taps = stretch.state.taps[place] ? *stretch.state.taps[place] : *stretch.spectra;
            const Product product{stretch.spectrumOf(place).data(), taps.part(partition, 2 * range.count).data(), sum};
            VectorDispatch<AddProduct>::run(range, &product, beginsSum);
        };
        if (begins)
            add(0, shape.state.newest, sums[0].first, false);
        for (std::size_t i = 0; i < count; ++i) {
            add(first + i, shape.placeOf(first + i), sums[0].first, false);
            add(first + i, shape.placeOf(first + i - 1), sums[0].second, begins && i == 0);
        }
    }
}

void UniformPartitions::clear() noexcept
{
    for (AlignedBuffer* buffer : {&state.blocks, &state.sums, &state.output, &state.tail})
        buffer->clear();
    std::fill(state.taps.begin(), state.taps.end(), nullptr);
    retired.clear();
    state.phase = steps > 1 ? 1 : 0; // the first step brings the first samples of a block
    state.playing = 0;
    state.newest = 0;
    state.due = 1;
    state.done = tasks();
}

void UniformPartitions::continueFrom(UniformPartitions& other) noexcept
{
    std::swap(state, other.state);
}

} // namespace sorvane::dsp
