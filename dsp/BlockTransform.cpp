#include "BlockTransform.h"

#include "CpuDispatch.h"

#include <array>
#include <cassert>
#include <cmath>
#include <numbers>
#include <type_traits>

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

template <std::size_t n>
struct Turn {
    alignas(64) std::array<double, 2 * n> values;

    Turn() noexcept
    {
        for (std::size_t k = 0; k < n; ++k) {
            const double angle = std::numbers::pi * static_cast<double>(k) / static_cast<double>(2 * n);
            values[k] = std::cos(angle);
            values[n + k] = std::sin(angle);
        }
    }

    static const double* shared() noexcept
    {
        static const Turn turn;
        static_assert(std::is_trivially_destructible_v<Turn>); // for the same reason as the FFT's
        return turn.values.data();
    }
};

const double* sharedTurn(std::size_t blockSize) noexcept
{
    switch (blockSize) {
    case 32:
        return Turn<32>::shared();
    case 128:
        return Turn<128>::shared();
    default:
        assert(blockSize == 512);
        return Turn<512>::shared();
    }
}

} // namespace

BlockTransform::BlockTransform(std::size_t blockSize) noexcept : fft(blockSize), turn(sharedTurn(blockSize)) {}

void BlockTransform::forward(Passes passes, std::span<const double> block, std::span<double> work,
                             std::span<double> spectrum) const noexcept
{
    if (passes.first == 0)
        CpuDispatch<turnForward>::run(blockSize(), block.data(), turn, work.data());
    fft.forward(passes, work, spectrum);
}

void BlockTransform::inverse(Passes passes, std::span<const double> spectrum, std::span<double> work,
                             std::span<double> block, std::span<double> tail) const noexcept
{
    fft.inverse(passes, spectrum, work);
    if (passes.end == fft.passes())
        CpuDispatch<turnBack>::run(blockSize(), work.data(), turn, block.data(), tail.data());
}

} // namespace sorvane::dsp
