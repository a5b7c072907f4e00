#include "Kaiser.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace sorvane::dsp {

namespace {

constexpr double kBreak = 3.75; // where the two polynomials meet

constexpr std::array kNear{1.0, 3.5156229, 3.0899424, 1.2067492, 0.2659732, 0.0360768, 0.0045813};
constexpr std::array kFar{0.39894228,  0.01328592, 0.00225319,  -0.00157565, 0.00916281,
                          -0.02057706, 0.02635537, -0.01647633, 0.00392377};

template <std::size_t n>
double polynomial(const std::array<double, n>& coefficients, double x) noexcept
{
    double sum = 0.0;
    for (auto c = coefficients.rbegin(); c != coefficients.rend(); ++c)
        sum = sum * x + *c;
    return sum;
}

} // namespace

double besselI0(double x) noexcept
{
    const double magnitude = std::abs(x);
    const double t = magnitude / kBreak;
    if (t < 1.0)
        return polynomial(kNear, t * t);
    return std::exp(magnitude) / std::sqrt(magnitude) * polynomial(kFar, 1.0 / t);
}

double kaiser(double u, double beta) noexcept
{
    // Rounding may put an end of the window just outside of it.
    return besselI0(beta * std::sqrt(std::max(0.0, 1.0 - u * u))) / besselI0(beta);
}

std::vector<double> kaiserWindow(int points, double beta)
{
    std::vector<double> window(static_cast<std::size_t>(points));
    const double half = 0.5 * (points - 1);
    for (int i = 0; i < points; ++i)
        window[static_cast<std::size_t>(i)] = kaiser((i - half) / half, beta);
    return window;
}

} // namespace sorvane::dsp
