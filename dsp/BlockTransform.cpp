#include "BlockTransform.h"

#include "CpuDispatch.h"

#include <cmath>
#include <numbers>

namespace sorvane::dsp {

namespace {

[[gnu::always_inline]] inline void turnForward(std::size_t n, const double* __restrict block,
                                               const double* __restrict turn, double* __restrict work) noexcept
{
    for (std::size_t k = 0; k < n; ++k)
        work[k] = block[k] * turn[k];
    for (std::size_t k = 0; k < n; ++k)
        work[n + k] = block[k] * turn[n + k];
}

[[gnu::always_inline]] inline void turnBack(std::size_t n, const double* __restrict work, const double* __restrict turn,
                                            double* __restrict block, double* __restrict tail) noexcept
{
    for (std::size_t k = 0; k < n; ++k) {
        const double re = work[k] * turn[k] + work[n + k] * turn[n + k];
        const double im = work[n + k] * turn[k] - work[k] * turn[n + k];
        block[k] = tail[k] + re;
        tail[k] = im;
    }
}

} // namespace

BlockTransform::BlockTransform(std::size_t blockSize) : fft(blockSize), turn(2 * blockSize)
{
    for (std::size_t k = 0; k < blockSize; ++k) {
        const double angle = std::numbers::pi * static_cast<double>(k) / static_cast<double>(2 * blockSize);
        turn.data()[k] = std::cos(angle);
        turn.data()[blockSize + k] = std::sin(angle);
    }
}

void BlockTransform::forward(Passes passes, std::span<const double> block, std::span<double> work,
                             std::span<double> spectrum) const noexcept
{
    if (passes.first == 0)
        CpuDispatch<turnForward>::run(blockSize(), block.data(), turn.data(), work.data());
    fft.forward(passes, work, spectrum);
}

void BlockTransform::inverse(Passes passes, std::span<const double> spectrum, std::span<double> work,
                             std::span<double> block, std::span<double> tail) const noexcept
{
    fft.inverse(passes, spectrum, work);
    if (passes.end == fft.passes())
        CpuDispatch<turnBack>::run(blockSize(), work.data(), turn.data(), block.data(), tail.data());
}

} // namespace sorvane::dsp
