#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace sorvane::dsp {

// The compilers' vector extensions: +, *, <, & and the like work lane by lane, a comparison gives lanes of all ones or
// zeros, and mask ? a : b chooses by lane, so that a loop needs no branch. A kernel takes the width as a template
// argument; VectorDispatch runs it with the one that the CPU has. Whatever takes or returns vectors is forced inline: a
// call would depend on the target. Any thread.

template <std::size_t width>
struct VectorTypes {
    using Doubles [[gnu::vector_size(width * sizeof(double))]] = double;
    using Words [[gnu::vector_size(width * sizeof(double))]] = std::uint64_t;
};

/// The most doubles that a kernel's vector can have.
inline constexpr std::size_t kWidestVector = 8;

/// As many doubles side by side.
template <std::size_t width>
using Vector = typename VectorTypes<width>::Doubles;

/// As many unsigned integers of 64 bits.
template <std::size_t width>
using Words = typename VectorTypes<width>::Words;

/// The same sample of both channels: for recursions, whose samples wait for one another, so that the channels are all
/// that can go side by side.
using Pair = Vector<2>;

template <std::size_t width>
[[gnu::always_inline]] inline Vector<width> load(const double* from) noexcept
{
    Vector<width> lanes;
    std::memcpy(&lanes, from, sizeof lanes);
    return lanes;
}

template <std::size_t width>
[[gnu::always_inline]] inline void store(const Vector<width>& lanes, double* to) noexcept
{
    std::memcpy(to, &lanes, sizeof lanes);
}

/// The lanes as floats or doubles.
template <typename Sample, std::size_t width>
[[gnu::always_inline]] inline void storeAs(const Vector<width>& lanes, Sample* to) noexcept
{
    using Samples [[gnu::vector_size(width * sizeof(Sample))]] = Sample;
    const auto samples = __builtin_convertvector(lanes, Samples);
    std::memcpy(to, &samples, sizeof samples);
}

/// One value in every lane.
template <std::size_t width>
[[gnu::always_inline]] inline Vector<width> broadcast(double value) noexcept
{
    Vector<width> lanes;
    for (std::size_t i = 0; i < width; ++i)
        lanes[i] = value;
    return lanes;
}

/// The bits of doubles, and doubles of bits.
template <std::size_t width>
[[gnu::always_inline]] inline Words<width> wordsOf(const Vector<width>& lanes) noexcept
{
    return reinterpret_cast<Words<width>>(lanes);
}
template <std::size_t width>
[[gnu::always_inline]] inline Vector<width> doublesOf(const Words<width>& lanes) noexcept
{
    return reinterpret_cast<Vector<width>>(lanes);
}

/// Clears values below about 1e-46, denormals among them, from recursive states, as flush does for one.
[[gnu::always_inline]] inline Pair flush(const Pair& x) noexcept
{
    return x + 1e-30 - 1e-30;
}

} // namespace sorvane::dsp
