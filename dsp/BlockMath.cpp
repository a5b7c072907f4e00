#include "BlockMath.h"

#include "CpuDispatch.h"
#include "Vector.h"

#include <limits>

namespace sorvane::dsp {

namespace {

struct Lesser {
    template <typename Values>
    [[gnu::always_inline]] static Values of(const Values& a, const Values& b) noexcept
    {
        return a < b ? a : b;
    }
};

struct Greater {
    template <typename Values>
    [[gnu::always_inline]] static Values of(const Values& a, const Values& b) noexcept
    {
        return a > b ? a : b;
    }
};

/// Chooses one value of all, beginning with the one that stands in the result. Fast because it keeps one for every lane of
/// two vectors, so that no comparison waits for the one before.
template <typename Choice>
struct Chosen {
    template <std::size_t width>
    [[gnu::always_inline]] static void run(const double* values, std::size_t count, double* result) noexcept
    {
        Vector<width> even = broadcast<width>(*result);
        Vector<width> odd = even;
        std::size_t i = 0;
        for (; i + 2 * width <= count; i += 2 * width) {
            even = Choice::of(load<width>(values + i), even);
            odd = Choice::of(load<width>(values + i + width), odd);
        }
        even = Choice::of(even, odd);
        double chosen = *result;
        for (std::size_t lane = 0; lane < width; ++lane)
            chosen = Choice::of(chosen, static_cast<double>(even[lane]));
        for (; i < count; ++i)
            chosen = Choice::of(chosen, values[i]);
        *result = chosen;
    }
};

} // namespace

double lowest(std::span<const double> values) noexcept
{
    double least = std::numeric_limits<double>::infinity();
    VectorDispatch<Chosen<Lesser>>::run(values.data(), values.size(), &least);
    return least;
}

double highest(std::span<const double> values) noexcept
{
    double greatest = -std::numeric_limits<double>::infinity();
    VectorDispatch<Chosen<Greater>>::run(values.data(), values.size(), &greatest);
    return greatest;
}

} // namespace sorvane::dsp
