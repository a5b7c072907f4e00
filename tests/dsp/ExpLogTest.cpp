#include "ExpLog.h"
#include "CpuDispatch.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace sorvane::dsp {
namespace {

struct Log2 {
    template <std::size_t width>
    [[gnu::always_inline]] Vector<width> of(const Vector<width>& x) const noexcept
    {
        return log2<width>(x);
    }
};

struct Exp2 {
    template <std::size_t width>
    [[gnu::always_inline]] Vector<width> of(const Vector<width>& x) const noexcept
    {
        return exp2<width>(x);
    }
};

double relativeError(double value, long double exact)
{
    return static_cast<double>(std::abs(value - exact) / std::max(std::abs(exact), 1e-300L));
}

TEST(ExpLog, StaysWithinTheLastBitsOnEveryVectorUnit)
{
    std::mt19937_64 random(1);
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);
    // A length that no vector divides. Whole numbers and both ends of the range come first.
    std::vector<double> levels = {1.0, 2.0, 0.5, 1e-10, 1e100, std::numeric_limits<double>::min(), 0.7071067811865476};
    std::vector<double> powers = {0.0, -0.0, 1.0, -1.0, 1023.0, -1022.0, 0.5};
    while (levels.size() < 100003) {
        const double u = uniform(random);
        levels.push_back(levels.size() % 2 == 0 ? std::exp2(1000.0 * u) : 1.0 + u * u * u / 2.0);
        powers.push_back(powers.size() % 2 == 0 ? 1022.0 * u : 8.0 * u);
    }
    for (const VectorUnit unit : {VectorUnit::sse2, VectorUnit::avx2, VectorUnit::avx512}) {
        useVectorUnit(unit);
        std::vector<double> logarithms = levels;
        std::vector<double> results = powers;
        std::vector<double> beyond = {-1e6, 1e6};
        applyInPlace(logarithms, Log2{});
        applyInPlace(results, Exp2{});
        applyInPlace(beyond, Exp2{});
        useVectorUnit(widestVectorUnit());
        double worst = 0.0;
        for (std::size_t i = 0; i < levels.size(); ++i) {
            worst = std::max(worst, relativeError(logarithms[i], std::log2(static_cast<long double>(levels[i]))));
            worst = std::max(worst, relativeError(results[i], std::exp2(static_cast<long double>(powers[i]))));
        }
        EXPECT_LT(worst, 1e-15);
        EXPECT_EQ(logarithms[0], 0.0);
        EXPECT_EQ(results[0], 1.0); // no change of gain is exactly none
        EXPECT_EQ(results[4], 0x1p1023);
        EXPECT_EQ(beyond, (std::vector<double>{0x1p-1022, 0x1p1023}));
    }
}

} // namespace
} // namespace sorvane::dsp
