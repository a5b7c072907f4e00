#pragma once

#include <span>

namespace sorvane::dsp {

// Plain arithmetic over blocks, as wide as the CPU's vectors. Spans of one call are of one length. Any thread.

/// \return the least value, infinity for none; and the greatest, minus infinity for none
[[nodiscard]] double lowest(std::span<const double> values) noexcept;
[[nodiscard]] double highest(std::span<const double> values) noexcept;

/// \return the sum, added up in the same order on every CPU
[[nodiscard]] double sum(std::span<const double> values) noexcept;

/// Multiplies each sample by the gain beside it. As long as one another.
void multiply(std::span<double> samples, std::span<const double> gains) noexcept;

/// Adds \p gain times the source. As long as one another, and apart.
void addScaled(std::span<const double> source, double gain, std::span<double> destination) noexcept;

} // namespace sorvane::dsp
