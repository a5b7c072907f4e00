#pragma once

#include "Vector.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <span>

namespace sorvane::dsp {

/// How wide the vectors are that the inner loops run on. A wider one is only faster: vectors run across neighbouring
/// values, no loop reorders a sum and contraction is off, so that the samples are the same to the last bit.
enum class VectorUnit { sse2, avx2, avx512 };

/// The widest unit that this CPU has.
[[nodiscard]] VectorUnit widestVectorUnit() noexcept;

namespace detail {
extern std::atomic<VectorUnit> vectorUnit;
}

/// Makes all inner loops use \p unit from now on, or the CPU's widest where that is narrower. For comparing the units;
/// the product leaves the choice that is made at load. Any thread.
void useVectorUnit(VectorUnit unit) noexcept;

/// The unit that all inner loops use. Any thread.
[[nodiscard]] inline VectorUnit vectorUnitInUse() noexcept
{
    return detail::vectorUnit.load(std::memory_order_relaxed);
}

/// An inner loop compiled once for each VectorUnit: CpuDispatch<body>::run(...) calls the version in use.
///
/// \p body is a noexcept function that is forced inline, and calls only such, so that it takes on each version's
/// target. Any thread, the audio thread too: the call costs one load and one jump. (Multi-versioning by the loader
/// would cost the same, but its resolvers run too early for ThreadSanitizer.)
template <auto body>
class CpuDispatch;

template <typename... Args, void (*body)(Args...) noexcept>
class CpuDispatch<body> {
public:
    static void run(Args... args) noexcept { kVersions[static_cast<std::size_t>(vectorUnitInUse())](args...); }

private:
    static void onSse2(Args... args) noexcept { body(args...); }
    [[gnu::target("avx2")]] static void onAvx2(Args... args) noexcept { body(args...); }
    [[gnu::target("avx512f")]] static void onAvx512(Args... args) noexcept { body(args...); }

    static constexpr std::array<void (*)(Args...) noexcept, 3> kVersions{&onSse2, &onAvx2, &onAvx512};
};

/// The same for a kernel that is written for a width of vectors: VectorDispatch<Kernel>::run(...) calls
/// Kernel::run<width>(...), a static noexcept function that is forced inline and returns nothing, with the width in
/// use: 2, 4 or 8 doubles.
template <typename Kernel>
class VectorDispatch {
public:
    template <typename... Args>
    static void run(Args... args) noexcept
    {
        switch (vectorUnitInUse()) {
        case VectorUnit::sse2:
            return onSse2(args...);
        case VectorUnit::avx2:
            return onAvx2(args...);
        case VectorUnit::avx512:
            return onAvx512(args...);
        }
    }

private:
    template <typename... Args>
    static void onSse2(Args... args) noexcept
    {
        Kernel::template run<2>(args...);
    }
    template <typename... Args>
    [[gnu::target("avx2")]] static void onAvx2(Args... args) noexcept
    {
        Kernel::template run<4>(args...);
    }
    template <typename... Args>
    [[gnu::target("avx512f")]] static void onAvx512(Args... args) noexcept
    {
        Kernel::template run<8>(args...);
    }
};

namespace detail {
template <typename Function>
struct InPlace {
    template <std::size_t width>
    [[gnu::always_inline]] static void run(double* values, std::size_t count, const Function* function) noexcept
    {
        const Function f = *function; // so that no store can seem to change what it refers to by value
        std::size_t i = 0;
        for (; i + width <= count; i += width)
            store<width>(f.template of<width>(load<width>(values + i)), values + i);
        if (i == count)
            return;
        std::array<double, width> last{};
        std::copy_n(values + i, count - i, last.begin());
        store<width>(f.template of<width>(load<width>(last.data())), last.data());
        std::copy_n(last.begin(), count - i, values + i);
    }
};
} // namespace detail

/// Replaces every value by function.of<width>(values), a const function that is forced inline, works lane by lane and
/// can be given 0. Any thread.
template <typename Function>
void applyInPlace(std::span<double> values, const Function& function) noexcept
{
    VectorDispatch<detail::InPlace<Function>>::run(values.data(), values.size(), &function);
}

} // namespace sorvane::dsp
