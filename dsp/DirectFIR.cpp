#include "DirectFIR.h"

#include "CpuDispatch.h"
#include "Vector.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace sorvane::dsp {

namespace {

// Vectors run across neighbouring outputs. Eight taps a pass spare most of the loads and stores of the output. No
// vector is wider than half a cache line: input is fetched from every offset, and a load that crosses lines costs two.
struct TapProducts {
    template <std::size_t width>
    [[gnu::always_inline]] static void addEight(const double* h, const double* x, double* y) noexcept
    {
        const auto product = [&](std::size_t tap) __attribute__((always_inline))
        {
            return h[tap] * load<width>(x + tap);
        };
        store<width>(load<width>(y) + (((product(0) + product(1)) + (product(2) + product(3))) +
                                       ((product(4) + product(5)) + (product(6) + product(7)))),
                     y);
    }

    template <std::size_t widest>
    [[gnu::always_inline]] static void run(const double* taps, std::size_t count, const double* input, double* output,
                                           std::size_t frames) noexcept
    {
        constexpr std::size_t width = std::min<std::size_t>(widest, 4);
        std::size_t j = 0;
        for (; j + 8 <= count; j += 8) {
            std::array<double, 8> h; // where no store to the output can seem to change them
            std::copy_n(taps + j, h.size(), h.begin());
            std::size_t i = 0;
            for (; i + width <= frames; i += width)
                addEight<width>(h.data(), input + i + j, output + i);
            for (; i < frames; ++i)
                addEight<1>(h.data(), input + i + j, output + i);
        }
        for (; j < count; ++j)
            for (std::size_t i = 0; i < frames; ++i)
                output[i] += taps[j] * input[i + j];
    }
};

} // namespace

void addDirectFIR(std::span<const double> taps, const double* input, std::span<double> output) noexcept
{
    VectorDispatch<TapProducts>::run(taps.data(), taps.size(), input, output.data(), output.size());
}

} // namespace sorvane::dsp
