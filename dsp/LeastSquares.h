#pragma once

#include <array>
#include <span>

namespace sorvane::dsp {

/// Least-squares solutions of small overdetermined systems by singular value decomposition. A singular value below 1e-6
/// of the largest counts as 0, so that a direction which the rows hardly determine stays out of the solution.
/// A row holds the factors of the unknowns, then the right side.

[[nodiscard]] double solveLeastSquares(std::span<const std::array<double, 2>> rows) noexcept;

[[nodiscard]] std::array<double, 2> solveLeastSquares(std::span<const std::array<double, 3>> rows) noexcept;

} // namespace sorvane::dsp
