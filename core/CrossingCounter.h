#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace sorvane::core {

/// Lets through only what crosses zero often: counts the crossings of the last 5.8 ms and silences a sample while they
/// are below a threshold. High-frequency and noise-like content passes, which is what sibilance is made of. Fast
/// because crossings are found and counted over whole runs between the places where the window's ring wraps; only a
/// threshold needs the count at each sample.
/// Audio thread: process. Any other thread only while process doesn't run.
class CrossingCounter {
public:
    /// Sets the window to truncate(rate * 256 / 44100) samples and clears it.
    /// \param rateHz  up to 1 MHz
    void setRate(double rateHz) noexcept;
    void reset() noexcept;

    /// \param threshold  crossings in the window from which a sample passes; 0 passes everything
    void process(std::span<double> samples, double threshold) noexcept;

private:
    void gate(std::span<double> samples, std::span<const std::uint8_t> old, std::span<const std::uint8_t> fresh,
              double threshold) noexcept;

    std::array<std::uint8_t, 8192> crossings{}; // a window of 1 MHz is 5804
    std::uint32_t length = 256;
    std::uint32_t position = 0;
    std::int32_t sum = 0;
    double previous = 0.0; // before gating
};

} // namespace sorvane::core
