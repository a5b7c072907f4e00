#pragma once

#include <vector>

namespace sorvane::dsp {

/// Modified Bessel function of the first kind and order zero, by the polynomials 9.8.1 and 9.8.2 of Abramowitz and
/// Stegun, Handbook of Mathematical Functions; relative error below 2e-7. Any thread.
[[nodiscard]] double besselI0(double x) noexcept;

/// The Kaiser window's shape, I0(beta sqrt(1 - u^2)) / I0(beta): 1 in the middle, 1 / I0(beta) at both ends.
/// \param u     place in the window, -1 to 1
/// \param beta  0 and above; more lowers the side lobes and widens the main one
[[nodiscard]] double kaiser(double u, double beta) noexcept;

/// A Kaiser window of \p points values, 2 and above, with value i at u = (i - (points - 1) / 2) / ((points - 1) / 2).
[[nodiscard]] std::vector<double> kaiserWindow(int points, double beta);

} // namespace sorvane::dsp
