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

/// Chooses one value of all, beginning with the one that stands in the result. Fast because it keeps one for every lane
/// of two vectors, so that no comparison waits for the one before.
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

/// Fast because two vectors of sums grow side by side. Their width is no CPU's own, since it decides the order.
[[gnu::always_inline]] inline void addUp(const double* values, std::size_t count, double* result) noexcept
{
    constexpr std::size_t width = kWidestVector;
    Vector<width> even{};
    Vector<width> odd{};
    std::size_t i = 0;
    for (; i + 2 * width <= count; i += 2 * width) {
        even += load<width>(values + i);
        odd += load<width>(values + i + width);
    }
    even += odd;
    double total = 0.0;
    for (std::size_t lane = 0; lane < width; ++lane)
        total += even[lane];
    for (; i < count; ++i)
        total += values[i];
    *result = total;
}

[[gnu::always_inline]] inline void multiplyEach(double* __restrict samples, const double* __restrict gains,
                                                std::size_t count) noexcept
{
    for (std::size_t i = 0; i < count; ++i)
        samples[i] *= gains[i];
}

[[gnu::always_inline]] inline void addEach(const double* __restrict source, double gain, double* __restrict destination,
                                           std::size_t count) noexcept
{
    for (std::size_t i = 0; i < count; ++i)
        destination[i] += gain * source[i];
}

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

double sum(std::span<const double> values) noexcept
{
    double total = 0.0;
    CpuDispatch<addUp>::run(values.data(), values.size(), &total);
    return total;
}

void multiply(std::span<double> samples, std::span<const double> gains) noexcept
{
    CpuDispatch<multiplyEach>::run(samples.data(), gains.data(), samples.size());
}

void addScaled(std::span<const double> source, double gain, std::span<double> destination) noexcept
{
    CpuDispatch<addEach>::run(source.data(), gain, destination.data(), source.size());
}

} // namespace sorvane::dsp
