#pragma once

#include <cstddef>
#include <span>

namespace sorvane::dsp {

/// Complex FFT of one size, in doubles.
///
/// Complex arrays are split: 2 size() doubles, first all real parts, then all imaginary ones. Time runs in order; a
/// spectrum keeps the order that the butterflies leave, with bin k at place(k), since most users only multiply spectra
/// point by point. Forward has the kernel exp(-2 pi i j k / n), inverse exp(+2 pi i j k / n); neither scales.
/// Decimation in frequency by radix 4 with a last pass of radix 8, and its mirror image back, so that neighbouring
/// butterflies fill a vector in every pass.
/// The tables of a size are made once in the process, and only read from then on, so that instances in turn find them
/// in the cache. Construction: any but the audio thread. The transforms: any thread, several at once too. Nothing
/// allocates.
class FFT {
public:
    /// \param size  number of complex points: 32, 128, 512, 2048 or 8192
    explicit FFT(std::size_t size) noexcept;

    [[nodiscard]] std::size_t size() const noexcept { return points; }

    /// Where a spectrum holds bin \p bin, 0 to size() - 1; its imaginary part stands size() doubles further on.
    [[nodiscard]] std::size_t place(std::size_t bin) const noexcept;

    /// \p time serves as work space and holds nothing of use afterwards. The arrays don't overlap.
    void forward(std::span<double> time, std::span<double> spectrum) const noexcept
    {
        forward({0, passCount}, time, spectrum);
    }

    /// The arrays don't overlap.
    void inverse(std::span<const double> spectrum, std::span<double> time) const noexcept
    {
        inverse({0, passCount}, spectrum, time);
    }

    /// \name A few passes at a time, for a caller that spreads a transform over time
    /// Passes 0 to passes() - 1 in turn, with the same arrays, are one transform; each costs about the same.
    ///@{
    struct Passes {
        std::size_t first, end; ///< the last one is end - 1
    };
    [[nodiscard]] std::size_t passes() const noexcept { return passCount; }
    void forward(Passes passes, std::span<double> time, std::span<double> spectrum) const noexcept;
    void inverse(Passes passes, std::span<const double> spectrum, std::span<double> time) const noexcept;
    ///@}

private:
    std::size_t points;
    std::size_t passCount;
    const double* twiddles; // for each radix-4 pass from the longest: cos and sin of w, of w^2 and of w^3
};

} // namespace sorvane::dsp
