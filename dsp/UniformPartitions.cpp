#include "UniformPartitions.h"

#include "CpuDispatch.h"

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <utility>

namespace sorvane::dsp {

namespace {

template <bool add>
[[gnu::always_inline]] inline void
multiply(std::size_t bins, const double* __restrict xRe, const double* __restrict xIm, const double* __restrict hRe,
         const double* __restrict hIm, double* __restrict yRe, double* __restrict yIm) noexcept
{
    for (std::size_t k = 0; k < bins; ++k) {
        const double re = xRe[k] * hRe[k] - xIm[k] * hIm[k];
        const double im = xRe[k] * hIm[k] + xIm[k] * hRe[k];
        yRe[k] = add ? yRe[k] + re : re;
        yIm[k] = add ? yIm[k] + im : im;
    }
}

// One spectrum times those of several partitions, each product into a sum of its own. In one call for all, since a
// product alone is hardly longer than what surrounds a call.
// \param opensLast  the last product is the first of its sum
[[gnu::always_inline]] inline void multiplyAll(std::size_t bins, std::size_t partitions, bool opensLast,
                                               const double* x, const double* h, double* y) noexcept
{
    for (std::size_t p = 0; p + 1 < partitions; ++p, h += 2 * bins, y += 2 * bins)
        multiply<true>(bins, x, x + bins, h, h + bins, y, y + bins);
    if (opensLast)
        multiply<false>(bins, x, x + bins, h, h + bins, y, y + bins);
    else
        multiply<true>(bins, x, x + bins, h, h + bins, y, y + bins);
}

} // namespace

UniformPartitions::UniformPartitions(std::size_t blockSize, std::size_t firstTap, std::size_t count)
    : start(firstTap), partitions(count), steps(blockSize / kStep), transform(blockSize),
      spectra(std::make_shared<AlignedBuffer>(2 * blockSize * count))
{
    assert(firstTap == (steps == 1 ? blockSize : 2 * blockSize));
    state.input = AlignedBuffer(blockSize);
    state.work = AlignedBuffer(2 * blockSize);
    state.spectrum = AlignedBuffer(2 * blockSize);
    state.sums = AlignedBuffer(2 * blockSize * count);
    state.output = AlignedBuffer(blockSize);
    state.tail = AlignedBuffer(blockSize);
    clear();
}

void UniformPartitions::load(std::span<const double> wholeFilter)
{
    const std::size_t size = transform.blockSize();
    AlignedBuffer scratch(2 * size);
    if (spectra.use_count() > 1) // who shares them keeps its taps
        spectra = std::make_shared<AlignedBuffer>(2 * size * partitions);
    work(tasksToProducts());
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
    if (state.phase == 0) {
        state.due = state.due + 1 < partitions ? state.due + 1 : 0;
        state.done = 0;
    }
    work(tasks() * (state.phase + 1) / steps);

    if (steps == 1)
        addOutput();
    state.phase = state.phase + 1 < steps ? state.phase + 1 : 0;
}

void UniformPartitions::work(std::size_t target) noexcept
{
    const std::size_t passes = transform.passes();
    const std::size_t toProducts = tasksToProducts();
    while (state.done < target) {
        const std::size_t first = state.done;
        if (first < passes) {
            state.done = std::min(target, passes);
            transform.forward({first, state.done}, state.input.all(), state.work.all(), state.spectrum.all());
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

void UniformPartitions::addProducts(std::size_t first, std::size_t end) noexcept
{
    const std::size_t size = 2 * transform.blockSize();
    // Those whose sums lie before the ring wraps, then the others.
    const std::size_t wraps = std::clamp(partitions - state.due, first, end);
    const auto add = [&](std::size_t from, std::size_t to, std::size_t slot) {
        if (from < to)
            CpuDispatch<multiplyAll>::run(transform.blockSize(), to - from, to == partitions, state.spectrum.data(),
                                          spectra->part(from, size).data(), state.sums.part(slot, size).data());
    };
    add(first, wraps, state.due + first);
    add(wraps, end, state.due + wraps - partitions);
}

void UniformPartitions::clear() noexcept
{
    for (AlignedBuffer* buffer : {&state.input, &state.spectrum, &state.sums, &state.output, &state.tail})
        buffer->clear();
    state.phase = steps > 1 ? 1 : 0; // the first step brings the first samples of a block
    state.due = 0;
    state.done = tasks();
}

void UniformPartitions::continueFrom(UniformPartitions& other) noexcept
{
    other.work(tasksToProducts());
    std::swap(state, other.state);
}

} // namespace sorvane::dsp
