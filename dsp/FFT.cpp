#include "FFT.h"

#include "CpuDispatch.h"

#include <array>
#include <bit>
#include <cassert>
#include <cmath>
#include <numbers>
#include <type_traits>

namespace sorvane::dsp {

namespace {

constexpr std::size_t kLastRadix = 8;

struct Point {
    double re, im;
};

[[gnu::always_inline]] inline Point operator+(Point a, Point b) noexcept
{
    return {a.re + b.re, a.im + b.im};
}
[[gnu::always_inline]] inline Point operator-(Point a, Point b) noexcept
{
    return {a.re - b.re, a.im - b.im};
}
[[gnu::always_inline]] inline Point operator*(Point a, Point b) noexcept
{
    return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
}
[[gnu::always_inline]] inline Point timesMinusI(Point a) noexcept
{
    return {a.im, -a.re};
}

[[gnu::always_inline]] inline void butterfly4(Point& a, Point& b, Point& c, Point& d) noexcept
{
    const Point sumAc = a + c;
    const Point differenceAc = a - c;
    const Point sumBd = b + d;
    const Point turnedBd = timesMinusI(b - d);
    a = sumAc + sumBd;
    b = differenceAc + turnedBd;
    c = sumAc - sumBd;
    d = differenceAc - turnedBd;
}

// Results in the order of the bins: x[k] becomes bin k.
[[gnu::always_inline]] inline void butterfly8(std::array<Point, kLastRadix>& x) noexcept
{
    constexpr double r = 0.5 * std::numbers::sqrt2;
    std::array<Point, 4> even{x[0] + x[4], x[1] + x[5], x[2] + x[6], x[3] + x[7]};
    const Point d1 = x[1] - x[5];
    const Point d3 = x[3] - x[7];
    std::array<Point, 4> odd{x[0] - x[4], Point{r * (d1.re + d1.im), r * (d1.im - d1.re)}, timesMinusI(x[2] - x[6]),
                             Point{r * (d3.im - d3.re), -r * (d3.re + d3.im)}};
    butterfly4(even[0], even[1], even[2], even[3]);
    butterfly4(odd[0], odd[1], odd[2], odd[3]);
    x = {even[0], odd[0], even[1], odd[1], even[2], odd[2], even[3], odd[3]};
}

// The four quarters of one sub-transform as arrays of their own, so that the compiler knows them disjoint.
template <bool inTime>
[[gnu::always_inline]] inline void
radix4Quarters(double* __restrict re0, double* __restrict re1, double* __restrict re2, double* __restrict re3,
               double* __restrict im0, double* __restrict im1, double* __restrict im2, double* __restrict im3,
               const double* __restrict w, std::size_t quarter) noexcept
{
    for (std::size_t j = 0; j < quarter; ++j) {
        const Point w1{w[j], w[quarter + j]};
        const Point w2{w[2 * quarter + j], w[3 * quarter + j]};
        const Point w3{w[4 * quarter + j], w[5 * quarter + j]};
        Point a{re0[j], im0[j]};
        Point b{re1[j], im1[j]};
        Point c{re2[j], im2[j]};
        Point d{re3[j], im3[j]};
        if constexpr (inTime) {
            b = b * w1;
            c = c * w2;
            d = d * w3;
            butterfly4(a, b, c, d);
        } else {
            butterfly4(a, b, c, d);
            b = b * w1;
            c = c * w2;
            d = d * w3;
        }
        re0[j] = a.re;
        im0[j] = a.im;
        re1[j] = b.re;
        im1[j] = b.im;
        re2[j] = c.re;
        im2[j] = c.im;
        re3[j] = d.re;
        im3[j] = d.im;
    }
}

template <bool inTime>
[[gnu::always_inline]] inline void radix4Pass(std::size_t points, std::size_t quarter, const double* w, double* re,
                                              double* im) noexcept
{
    const std::size_t q = quarter;
    for (std::size_t start = 0; start < points; start += 4 * q, re += 4 * q, im += 4 * q)
        radix4Quarters<inTime>(re, re + q, re + 2 * q, re + 3 * q, im, im + q, im + 2 * q, im + 3 * q, w, q);
}

// The last pass turns eights of neighbours into bins and stores them, for every tile of groups, with the bins of equal
// rank side by side, so that vectors run across groups.
template <std::size_t tile>
[[gnu::always_inline]] inline void radix8ToBins(std::size_t points, const double* __restrict re,
                                                const double* __restrict im, double* __restrict binsRe,
                                                double* __restrict binsIm) noexcept
{
    for (std::size_t start = 0; start < points; start += kLastRadix * tile) {
        for (std::size_t lane = 0; lane < tile; ++lane) {
            std::array<Point, kLastRadix> x;
            for (std::size_t k = 0; k < kLastRadix; ++k)
                x[k] = {re[start + kLastRadix * lane + k], im[start + kLastRadix * lane + k]};
            butterfly8(x);
            for (std::size_t k = 0; k < kLastRadix; ++k) {
                binsRe[start + tile * k + lane] = x[k].re;
                binsIm[start + tile * k + lane] = x[k].im;
            }
        }
    }
}

template <std::size_t tile>
[[gnu::always_inline]] inline void radix8FromBins(std::size_t points, const double* __restrict binsRe,
                                                  const double* __restrict binsIm, double* __restrict re,
                                                  double* __restrict im) noexcept
{
    for (std::size_t start = 0; start < points; start += kLastRadix * tile) {
        for (std::size_t lane = 0; lane < tile; ++lane) {
            std::array<Point, kLastRadix> x;
            for (std::size_t k = 0; k < kLastRadix; ++k)
                x[k] = {binsRe[start + tile * k + lane], binsIm[start + tile * k + lane]};
            butterfly8(x);
            for (std::size_t k = 0; k < kLastRadix; ++k) {
                re[start + kLastRadix * lane + k] = x[k].re;
                im[start + kLastRadix * lane + k] = x[k].im;
            }
        }
    }
}

// Groups in a tile of the last pass: as many as fill the widest vector, or all there are.
constexpr std::size_t tileOf(std::size_t points) noexcept
{
    return points / kLastRadix < 8 ? points / kLastRadix : 8;
}

// A radix-4 pass is told by its quarter, the distance of the points of a butterfly. The twiddles of all longer passes,
// six arrays of their quarters each, stand before its own.
constexpr std::size_t twiddlesBefore(std::size_t points, std::size_t quarter) noexcept
{
    return 2 * (points - 4 * quarter);
}

using Passes = FFT::Passes;

constexpr std::size_t passesOf(std::size_t points) noexcept
{
    return (static_cast<std::size_t>(std::bit_width(points)) - 2) / 2;
}

constexpr std::size_t quarterOf(std::size_t points, std::size_t pass) noexcept
{
    return points >> (2 * (pass + 1));
}

[[gnu::always_inline]] inline void toBinsPass(std::size_t points, std::size_t quarter, const double* twiddles,
                                              double* time, double* spectrum) noexcept
{
    if (quarter >= kLastRadix)
        radix4Pass<false>(points, quarter, twiddles + twiddlesBefore(points, quarter), time, time + points);
    else if (tileOf(points) == 8)
        radix8ToBins<8>(points, time, time + points, spectrum, spectrum + points);
    else
        radix8ToBins<4>(points, time, time + points, spectrum, spectrum + points);
}

// The inverse transform is the forward one with real and imaginary parts exchanged on both sides. The butterflies of
// this direction take the twiddles before the sums, and so undo those of toBinsPass in reverse order.
[[gnu::always_inline]] inline void toTimePass(std::size_t points, std::size_t quarter, const double* twiddles,
                                              const double* spectrum, double* time) noexcept
{
    if (quarter >= kLastRadix)
        radix4Pass<true>(points, quarter, twiddles + twiddlesBefore(points, quarter), time + points, time);
    else if (tileOf(points) == 8)
        radix8FromBins<8>(points, spectrum + points, spectrum, time + points, time);
    else
        radix8FromBins<4>(points, spectrum + points, spectrum, time + points, time);
}

// Loops whose length is known run without a test: passes of the sizes that convolvers use are compiled for themselves.
template <std::size_t points, std::size_t pass = 0>
[[gnu::always_inline]] inline void toBinsOf(Passes passes, const double* twiddles, double* time,
                                            double* spectrum) noexcept
{
    if constexpr (pass < passesOf(points)) {
        if (passes.first <= pass && pass < passes.end)
            toBinsPass(points, quarterOf(points, pass), twiddles, time, spectrum);
        toBinsOf<points, pass + 1>(passes, twiddles, time, spectrum);
    }
}

template <std::size_t points, std::size_t pass = 0>
[[gnu::always_inline]] inline void toTimeOf(Passes passes, const double* twiddles, const double* spectrum,
                                            double* time) noexcept
{
    if constexpr (pass < passesOf(points)) {
        if (passes.first <= pass && pass < passes.end)
            toTimePass(points, quarterOf(points, passesOf(points) - 1 - pass), twiddles, spectrum, time);
        toTimeOf<points, pass + 1>(passes, twiddles, spectrum, time);
    }
}

[[gnu::always_inline]] inline void toBins(std::size_t points, Passes passes, const double* twiddles, double* time,
                                          double* spectrum) noexcept
{
    if (points == 32)
        return toBinsOf<32>(passes, twiddles, time, spectrum);
    if (points == 128)
        return toBinsOf<128>(passes, twiddles, time, spectrum);
    if (points == 512)
        return toBinsOf<512>(passes, twiddles, time, spectrum);
    for (std::size_t pass = passes.first; pass < passes.end; ++pass)
        toBinsPass(points, quarterOf(points, pass), twiddles, time, spectrum);
}

[[gnu::always_inline]] inline void toTime(std::size_t points, Passes passes, const double* twiddles,
                                          const double* spectrum, double* time) noexcept
{
    if (points == 32)
        return toTimeOf<32>(passes, twiddles, spectrum, time);
    if (points == 128)
        return toTimeOf<128>(passes, twiddles, spectrum, time);
    if (points == 512)
        return toTimeOf<512>(passes, twiddles, spectrum, time);
    for (std::size_t pass = passes.first; pass < passes.end; ++pass)
        toTimePass(points, quarterOf(points, passesOf(points) - 1 - pass), twiddles, spectrum, time);
}

// Without a destructor: who ends an effect at the process's end, after its globals, still has its tables.
template <std::size_t points>
struct Twiddles {
    alignas(64) std::array<double, twiddlesBefore(points, kLastRadix / 4)> values;

    Twiddles() noexcept
    {
        for (std::size_t quarter = points / 4; quarter >= kLastRadix; quarter /= 4) {
            double* w = values.data() + twiddlesBefore(points, quarter);
            for (std::size_t power = 1; power <= 3; ++power, w += 2 * quarter)
                for (std::size_t j = 0; j < quarter; ++j) {
                    const double turns = static_cast<double>(power * j) / static_cast<double>(4 * quarter);
                    const double angle = -2.0 * std::numbers::pi * turns;
                    w[j] = std::cos(angle);
                    w[quarter + j] = std::sin(angle);
                }
        }
    }

    static const double* shared() noexcept
    {
        static const Twiddles twiddles;
        static_assert(std::is_trivially_destructible_v<Twiddles>);
        return twiddles.values.data();
    }
};

const double* sharedTwiddles(std::size_t points) noexcept
{
    switch (points) {
    case 32:
        return Twiddles<32>::shared();
    case 128:
        return Twiddles<128>::shared();
    case 512:
        return Twiddles<512>::shared();
    case 2048:
        return Twiddles<2048>::shared();
    default:
        assert(points == 8192);
        return Twiddles<8192>::shared();
    }
}

} // namespace

FFT::FFT(std::size_t size) noexcept : points(size), passCount(passesOf(size)), twiddles(sharedTwiddles(size)) {}

std::size_t FFT::place(std::size_t bin) const noexcept
{
    // Each radix-4 pass sorts by the lowest digit of the bin that is left; the last pass by what remains.
    std::size_t group = 0;
    for (std::size_t groups = points / kLastRadix; groups > 1; bin /= 4) {
        groups /= 4;
        group += bin % 4 * groups;
    }
    const std::size_t tile = tileOf(points);
    return (group / tile * kLastRadix + bin) * tile + group % tile;
}

void FFT::forward(Passes passes, std::span<double> time, std::span<double> spectrum) const noexcept
{
    assert(time.size() == 2 * points && spectrum.size() == 2 * points);
    CpuDispatch<toBins>::run(points, passes, twiddles, time.data(), spectrum.data());
}

void FFT::inverse(Passes passes, std::span<const double> spectrum, std::span<double> time) const noexcept
{
    assert(time.size() == 2 * points && spectrum.size() == 2 * points);
    CpuDispatch<toTime>::run(points, passes, twiddles, spectrum.data(), time.data());
}

} // namespace sorvane::dsp
