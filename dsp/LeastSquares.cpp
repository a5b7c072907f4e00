#include "LeastSquares.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace sorvane::dsp {

double solveLeastSquares(std::span<const std::array<double, 2>> rows) noexcept
{
    double square = 0.0;
    double projection = 0.0;
    for (const auto& [factor, right] : rows) {
        square += factor * factor;
        projection += factor * right;
    }
    return square > 0.0 ? projection / square : 0.0;
}

std::array<double, 2> solveLeastSquares(std::span<const std::array<double, 3>> rows) noexcept
{
    // Two columns need one Jacobi rotation: it makes them orthogonal, so that their lengths are the singular values and
    // the rotation holds the right singular vectors.
    double aa = 0.0;
    double bb = 0.0;
    double ab = 0.0;
    for (const auto& [a, b, right] : rows) {
        aa += a * a;
        bb += b * b;
        ab += a * b;
    }
    const double angle = 0.5 * std::atan2(2.0 * ab, aa - bb);
    const double c = std::cos(angle);
    const double s = std::sin(angle);

    std::array<double, 2> squares{};
    std::array<double, 2> projections{};
    for (const auto& [a, b, right] : rows) {
        const double u = c * a + s * b;
        const double v = c * b - s * a;
        squares[0] += u * u;
        squares[1] += v * v;
        projections[0] += u * right;
        projections[1] += v * right;
    }
    const double smallest = 1e-12 * std::max(squares[0], squares[1]);
    std::array<double, 2> along{};
    for (std::size_t i = 0; i < 2; ++i) {
        if (squares[i] > 0.0 && squares[i] >= smallest)
            along[i] = projections[i] / squares[i];
    }
    return {c * along[0] - s * along[1], s * along[0] + c * along[1]};
}

} // namespace sorvane::dsp
