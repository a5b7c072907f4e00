#pragma once

#include <array>
#include <atomic>
#include <cstddef>

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
    static void run(Args... args) noexcept
    {
        kVersions[static_cast<std::size_t>(detail::vectorUnit.load(std::memory_order_relaxed))](args...);
    }

private:
    static void onSse2(Args... args) noexcept { body(args...); }
    [[gnu::target("avx2")]] static void onAvx2(Args... args) noexcept { body(args...); }
    [[gnu::target("avx512f")]] static void onAvx512(Args... args) noexcept { body(args...); }

    static constexpr std::array<void (*)(Args...) noexcept, 3> kVersions{&onSse2, &onAvx2, &onAvx512};
};

} // namespace sorvane::dsp
