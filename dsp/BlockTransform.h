#pragma once

#include "FFT.h"

#include <cstddef>
#include <span>

namespace sorvane::dsp {

/// Turns blocks of n real samples into n complex values whose products are linear convolutions of two blocks.
///
/// The right-angle form: sample k is turned by exp(i pi k / 2n) and a complex transform of n points is taken. That is
/// arithmetic modulo z^n = i, in which sample n + k of a product's 2n - 1 samples folds onto the imaginary part of
/// sample k. Half the points of a zero-padded transform do, and no bin is special.
/// (Crandall and Fagin, Discrete weighted transforms and large-integer arithmetic, Math. Comp. 62, 1994.)
///
/// Both transforms come in passes() passes of about equal cost, to be run in turn with the same arrays, a few at
/// a time as it suits a caller that spreads them. Complex arrays are 2n doubles: n real parts, then n imaginary ones.
/// Construction: any but the audio thread. The transforms: any thread; they allocate nothing.
class BlockTransform {
public:
    /// \param blockSize  n: 32, 128 or 512
    explicit BlockTransform(std::size_t blockSize) noexcept;

    [[nodiscard]] std::size_t blockSize() const noexcept { return fft.size(); }
    using Passes = FFT::Passes;
    [[nodiscard]] std::size_t passes() const noexcept { return fft.passes(); }

    /// \param block     n samples, needed by pass 0 only
    /// \param work      2n doubles that carry over from pass to pass
    /// \param spectrum  2n doubles
    void forward(Passes passes, std::span<const double> block, std::span<double> work,
                 std::span<double> spectrum) const noexcept;

    /// Undoes the forward transform, up to a factor of n, and overlaps the result with the one before.
    /// \param spectrum  2n doubles, needed by pass 0 only
    /// \param work      2n doubles that carry over from pass to pass
    /// \param block     n samples, written by the last pass: the result's first half plus the tail of the last result
    /// \param tail      n samples, kept from call to call: the result's second half
    void inverse(Passes passes, std::span<const double> spectrum, std::span<double> work, std::span<double> block,
                 std::span<double> tail) const noexcept;

private:
    FFT fft;
    const double* turn; // n cosines, then n sines; shared as the FFT's tables are
};

} // namespace sorvane::dsp
