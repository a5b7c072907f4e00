#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>
#include <span>

namespace sorvane::dsp {

/// Doubles at a fixed address on a cache line's boundary, so that no wide load or store crosses a line.
///
/// The size is set once, at construction; the values start at 0. Moves and swaps exchange the memory and never fail.
class AlignedBuffer {
public:
    AlignedBuffer() noexcept = default;

    /// \param size  number of doubles, 0 and above. Throws std::bad_alloc.
    explicit AlignedBuffer(std::size_t size) : count(size), values(new (kLine) double[size]()) {}

    [[nodiscard]] double* data() noexcept { return values.get(); }
    [[nodiscard]] const double* data() const noexcept { return values.get(); }
    [[nodiscard]] std::span<double> all() noexcept { return {values.get(), count}; }
    /// Part \p index of the buffer when it is cut into parts of \p size doubles.
    [[nodiscard]] std::span<double> part(std::size_t index, std::size_t size) noexcept
    {
        return all().subspan(index * size, size);
    }
    void clear() noexcept { std::fill_n(values.get(), count, 0.0); }

private:
    static constexpr std::align_val_t kLine{64};
    struct Free {
        void operator()(double* memory) const noexcept { ::operator delete[](memory, kLine); }
    };

    std::size_t count = 0;
    std::unique_ptr<double[], Free> values;
};

} // namespace sorvane::dsp
