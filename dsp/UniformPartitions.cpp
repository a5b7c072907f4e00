#include "UniformPartitions.h"

#include "CpuDispatch.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cstddef>
#include <utility>

namespace sorvane::dsp {

namespace {

// The products that are added to one sum: spectra of blocks, and of taps.
struct Products {
    std::array<const double*, UniformPartitions::kMostPartitions> blocks;
    std::array<const double*, UniformPartitions::kMostPartitions> taps;
    double* sum;
    bool open; // the sum begins with them
};

// Adds as many products to each of one sum or two. Four at a time, so that a sum is fetched and stored only once for them.
template <std::size_t sumCount>
struct SumOfProducts {
    template <std::size_t width, std::size_t count>
    [[gnu::always_inline]] static void add(std::size_t bins, const Products* products, std::size_t from) noexcept
    {
        std::array<Products, sumCount> p; // where no store to a sum can seem to change it
        for (std::size_t s = 0; s < sumCount; ++s) {
            std::copy_n(products[s].blocks.begin() + from, count, p[s].blocks.begin());
            std::copy_n(products[s].taps.begin() + from, count, p[s].taps.begin());
            p[s].sum = products[s].sum;
            p[s].open = products[s].open && from == 0;
        }
        for (std::size_t k = 0; k < bins; k += width)
            for (std::size_t s = 0; s < sumCount; ++s) {
                Vector<width> re = p[s].open ? Vector<width>{} : load<width>(p[s].sum + k);
                Vector<width> im = p[s].open ? Vector<width>{} : load<width>(p[s].sum + bins + k);
                for (std::size_t i = 0; i < count; ++i) {
                    const Vector<width> xRe = load<width>(p[s].blocks[i] + k);
                    const Vector<width> xIm = load<width>(p[s].blocks[i] + bins + k);
                    const Vector<width> hRe = load<width>(p[s].taps[i] + k);
                    const Vector<width> hIm = load<width>(p[s].taps[i] + bins + k);
                    re += xRe * hRe - xIm * hIm;
                    im += xRe * hIm + xIm * hRe;
                }
                store<width>(re, p[s].sum + k);
                store<width>(im, p[s].sum + bins + k);
            }
    }

    template <std::size_t width>
    [[gnu::always_inline]] static void run(std::size_t bins, std::size_t count, const Products* products) noexcept
    {
        std::size_t from = 0;
        for (; from + 4 <= count; from += 4)
            add<width, 4>(bins, products, from);
        if (from + 3 == count)
            add<width, 3>(bins, products, from);
        else if (from + 2 == count)
            add<width, 2>(bins, products, from);
        else if (from + 1 == count)
            add<width, 1>(bins, products, from);
    }
};

} // namespace

UniformPartitions::UniformPartitions(std::size_t blockSize, std::size_t firstTap, std::size_t count)
    : start(firstTap), partitions(count), steps(blockSize / kStep), transform(blockSize),
      spectra(std::make_shared<AlignedBuffer>(2 * blockSize * count))
{
    assert(firstTap == (steps == 1 ? blockSize : 2 * blockSize));
    assert(count > 1 && count <= kMostPartitions);
    state.input = AlignedBuffer(blockSize);
    state.work = AlignedBuffer(2 * blockSize);
    state.blocks = AlignedBuffer(2 * blockSize * count);
    state.taps.resize(count);
    state.sums = AlignedBuffer(4 * blockSize);
    state.output = AlignedBuffer(blockSize);
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

void UniformPartitions::step(std::span<const double> newest, std::span<double> ahead) noexcept
{
    const auto addOutput = [&] {
        const auto output = state.output.part(state.phase, kStep);
        for (std::size_t i = 0; i < kStep; ++i)
            ahead[i] += output[i];
    };

    if (steps > 1) // this step's work ends in the output of the next block
        addOutput();

    std::copy_n(newest.data(), kStep, state.input.part((state.phase == 0 ? steps : state.phase) - 1, kStep).begin());
    if (state.phase == 0)
        beginBlock();
    // The first pass at once, since it needs the block's samples; the last one not before the last step, since it writes
    // the next output.
    work(std::max<std::size_t>(tasks() * (state.phase + 1) / steps, 1));

    if (steps == 1)
        addOutput();
    state.phase = state.phase + 1 < steps ? state.phase + 1 : 0;
}

/// The block in the making is complete: its place in the ring is that of the oldest.
void UniformPartitions::beginBlock() noexcept
{
    state.newest = state.newest + 1 < partitions ? state.newest + 1 : 0;
    state.due = 1 - state.due;
    state.done = 0;
    Spectra& taps = state.taps[state.newest];
    if (taps == spectra)
        return;
    if (taps)
        retired.push_back(std::move(taps)); // at most once for each place under the taps of this object
    taps = spectra;
}

void UniformPartitions::work(std::size_t target) noexcept
{
    const std::size_t passes = transform.passes();
    const std::size_t toProducts = tasksToProducts();
    while (state.done < target) {
        const std::size_t first = state.done;
        if (first < passes) {
            state.done = std::min(target, passes);
            transform.forward({first, state.done}, state.input.all(), state.work.all(),
                              state.blocks.part(state.newest, 2 * transform.blockSize()));
        } else if (first < toProducts) {
            state.done = std::min(target, toProducts);
            addProducts(first - passes, state.done - passes);
        } else {
            state.done = target;
            transform.inverse({first - toProducts, target - toProducts},
                              state.sums.part(state.due, 2 * transform.blockSize()), state.work.all(),
                              state.output.all(), state.tail.all());
        }
    }
}

/// \param first, end  partitions: all together for the first of two sums, the first one for the second
void UniformPartitions::addProducts(std::size_t first, std::size_t end) noexcept
{
    if (first == 0)
        addProducts(0, 1, 1);
    addProducts(std::max<std::size_t>(first, 1), end, 2);
}

/// \param sumCount  1 for the sum that is due next, 2 for the one after it too
void UniformPartitions::addProducts(std::size_t first, std::size_t end, std::size_t sumCount) noexcept
{
    if (first >= end)
        return;
    const std::size_t size = 2 * transform.blockSize();
    std::array<Products, 2> products;
    for (std::size_t s = 0; s < sumCount; ++s) {
        // The partition that the newest block meets in the first sum, it meets one earlier in the second.
        for (std::size_t p = first; p < end; ++p) {
            const std::size_t ago = p - s;
            const std::size_t place = state.newest >= ago ? state.newest - ago : state.newest + partitions - ago;
            AlignedBuffer& taps = state.taps[place] ? *state.taps[place] : *spectra;
            products[s].blocks[p - first] = state.blocks.part(place, size).data();
            products[s].taps[p - first] = taps.part(p, size).data();
        }
        products[s].sum = state.sums.part(s == 0 ? state.due : 1 - state.due, size).data();
        products[s].open = s == 0 ? first == 0 && state.due == 0 : first == 1;
    }
    if (sumCount == 1)
        VectorDispatch<SumOfProducts<1>>::run(transform.blockSize(), end - first, products.data());
    else
        VectorDispatch<SumOfProducts<2>>::run(transform.blockSize(), end - first, products.data());
}

void UniformPartitions::clear() noexcept
{
    for (AlignedBuffer* buffer : {&state.input, &state.blocks, &state.output, &state.tail})
        buffer->clear();
    std::fill(state.taps.begin(), state.taps.end(), nullptr);
    retired.clear();
    state.phase = steps > 1 ? 1 : 0; // the first step brings the first samples of a block
    state.newest = 0;
    state.due = 1; // the first block forms two sums
    state.done = tasks();
}

void UniformPartitions::continueFrom(UniformPartitions& other) noexcept
{
    std::swap(state, other.state);
}

} // namespace sorvane::dsp
