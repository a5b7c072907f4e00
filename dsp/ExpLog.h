#pragma once

#include "Vector.h"

#include <cstdint>

namespace sorvane::dsp {

// Logarithm and power of whole vectors. Fast because they are straight lines of arithmetic, with no branch, table or
// call. Any thread.

/// Base 2 logarithm of normal numbers above 0, within 1e-15 of its value; exact at powers of two.
///
/// x = 2^e m with m from sqrt(1/2) to sqrt(2), and log2(m) = 2 / ln 2 atanh(s) with s = (m - 1) / (m + 1): an odd
/// polynomial of s, of least relative error over that range (3e-18).
template <std::size_t width>
[[gnu::always_inline]] inline Vector<width> log2(const Vector<width>& x) noexcept
{
    constexpr std::uint64_t kRootHalf = 0x3fe6a09e667f3bcd; // bits of sqrt(1/2), of 1 and of the mantissa
    constexpr std::uint64_t kOne = 0x3ff0000000000000;
    constexpr std::uint64_t kMantissa = 0x000fffffffffffff;
    constexpr std::uint64_t kWhole = 0x4330000000000000; // 2^52, whose last bit counts one

    const Words<width> bits = wordsOf<width>(x) + (kOne - kRootHalf);
    const auto biased = doublesOf<width>((bits >> 52U) | kWhole);
    const auto m = doublesOf<width>((bits & kMantissa) + kRootHalf);
    const Vector<width> s = (m - 1.0) / (m + 1.0);
    const Vector<width> z = s * s;
    Vector<width> p = z * 0.21368004984699127 + 0.22091092855599317;
    p = p * z + 0.26233443904111453;
    p = p * z + 0.3205985331916533;
    p = p * z + 0.412198585858493;
    p = p * z + 0.5770780163454347;
    p = p * z + 0.9617966939259899;
    p = p * z + 2.8853900817779268;
    return (biased - (0x1p52 + 1023.0)) + s * p;
}

/// 2^x within 1e-15 of its value, exact where x is whole; below -1022 and above 1023 what it is there.
///
/// 2^x = 2^n 2^f with n whole and f at most a half: 2^f - 1 is f times a polynomial of least error (4e-18), and n goes
/// into the exponent's bits.
template <std::size_t width>
[[gnu::always_inline]] inline Vector<width> exp2(const Vector<width>& x) noexcept
{
    constexpr double kToWhole = 0x1.8p52; // adding it rounds to a whole number, which the last bits then hold

    const Vector<width> notLow = x > -1022.0 ? x : broadcast<width>(-1022.0);
    const Vector<width> bounded = notLow < 1023.0 ? notLow : broadcast<width>(1023.0);
    const Vector<width> whole = bounded + kToWhole;
    const Vector<width> f = bounded - (whole - kToWhole);
    Vector<width> p = f * 4.457379320393863e-10 + 7.073854979259837e-09;
    p = p * f + 1.017804652061057e-07;
    p = p * f + 1.3215434850236918e-06;
    p = p * f + 1.5252733867378015e-05;
    p = p * f + 0.00015403530458004644;
    p = p * f + 0.0013333558146379236;
    p = p * f + 0.0096181291075934;
    p = p * f + 0.05550410866482174;
    p = p * f + 0.24022650695910133;
    p = p * f + 0.6931471805599453;
    const Vector<width> fraction = 1.0 + f * p;
    return doublesOf<width>(wordsOf<width>(fraction) + (wordsOf<width>(whole) << 52U));
}

} // namespace sorvane::dsp
