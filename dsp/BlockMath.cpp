#include "BlockMath.h"

#include "CpuDispatch.h"
#include "Vector.h"

#include <algorithm>
#include <limits>

namespace sorvane::dsp {

namespace {

struct Lowest {
    template <std::size_t width>
    [[gnu::always_inline]] static void run(const double* values, std::size_t count, double* result) noexcept
    {
        const auto lesser = [](const auto& a, const auto& b) __attribute__((always_inline))
        {
            return a < b ? a : b;
        };
        Vector<width> even = broadcast<width>(*result);
        Vector<width> odd = even; // two chains, so that one needn't wait for the other
        std::size_t i = 0;
        for (; i + 2 * width <= count; i += 2 * width) {
            even = lesser(load<width>(values + i), even);
            odd = lesser(load<width>(values + i + width), odd);
        }
        even = lesser(even, odd);
        double least = *result;
        for (std::size_t lane = 0; lane < width; ++lane)
            least = std::min(least, even[lane]);
        for (; i < count; ++i)
            least = std::min(least, values[i]);
        *result = least;
    }
};

} // namespace

double lowest(std::span<const double> values) noexcept
{
    double least = std::numeric_limits<double>::infinity();
    VectorDispatch<Lowest>::run(values.data(), values.size(), &least);
    return least;
}

} // namespace sorvane::dsp
