#pragma once

#include "BiquadSection.h"

#include <array>
#include <cstddef>
#include <limits>
#include <span>

namespace sorvane::dsp {

/// Fits the magnitude of a digital section to wanted values by least squares over a logarithmic grid of frequencies.
///
/// A quasi-Newton descent (BFGS with a backtracking line search; Nocedal & Wright, Numerical Optimization, 6.1) over
/// c1, c2, d1, d2 of H(z) = g (1 + c1 z^-1 + c2 z^-2) / (1 + d1 z^-1 + d2 z^-2); the scale g follows in closed form.
/// Poles that leave the unit circle are reflected, so that a trial section stays stable.
/// The work space of one fit at a time; it doesn't allocate.
class BiquadFit {
public:
    static constexpr std::size_t kGridSize = 128;

    /// How long a fit goes on and what it must reach.
    struct Plan {
        double skipError; ///< a seed whose squared error is at most this is good enough
        int maxSteps;
        double errorLimit = std::numeric_limits<double>::infinity(); ///< a larger error is no success
    };

    BiquadFit() noexcept;

    /// The grid in radians per sample, from 20/22050 pi to pi, evenly spaced in its logarithm.
    [[nodiscard]] std::span<const double, kGridSize> omega() const noexcept { return grid; }

    /// \param seed    where the descent starts
    /// \param wanted  magnitudes at the points of the grid, linear
    /// \return the fitted section if its squared error is smaller than that of the seed, else the seed
    [[nodiscard]] BiquadSection improve(const BiquadSection& seed, std::span<const float, kGridSize> wanted,
                                        const Plan& plan) noexcept;

private:
    using Vector = std::array<double, 4>; // c1, c2, d1, d2
    using Curve = std::array<double, kGridSize>;

    struct SquaredMagnitudes {
        double numerator;
        double denominator;
    };

    void begin(const BiquadSection& seed, std::span<const float, kGridSize> wanted) noexcept;
    void stabilisePoles() noexcept;
    [[nodiscard]] SquaredMagnitudes squaredMagnitudes(std::size_t i) const noexcept;
    double evaluate() noexcept;
    void computeGradient() noexcept;
    void chooseDirection() noexcept;
    bool searchLine() noexcept;
    void moveTo(double lambda) noexcept;
    bool takeStep() noexcept;
    void updateHessian() noexcept;

    Curve grid{};
    Curve cosw{};
    Curve sinw{};
    Curve cos2w{};
    Curve sin2w{};

    Curve target{};
    Curve magnitude{};
    Vector point{};
    Vector start{};
    Vector direction{};
    Vector step{};
    Vector gradient{};
    Vector gradientBefore{};
    std::array<Vector, 4> hessian{}; // of the inverse, as estimated so far
    double g = 1.0;
    double error = 0.0;
    double stepLimit = 0.0;
};

} // namespace sorvane::dsp
