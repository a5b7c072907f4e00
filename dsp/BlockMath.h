#pragma once

#include <span>

namespace sorvane::dsp {

// Plain arithmetic over blocks, as wide as the CPU's vectors. Spans of one call are of one length. Any thread.

/// \return the least value, infinity for none; and the greatest, minus infinity for none
[[nodiscard]] double lowest(std::span<const double> values) noexcept;
[[nodiscard]] double highest(std::span<const double> values) noexcept;

} // namespace sorvane::dsp
