#pragma once

namespace sorvane::dsp {

/// One section of an analog filter: H(s) = (b0 s^2 + b1 s + b2) / (a0 s^2 + a1 s + a2).
///
/// With b2 = a2 = 0 it is the first-order section (b0 s + b1) / (a0 s + a1), with b1 = a1 = 0 too the constant b0 / a0.
/// The unit of s is the caller's: a design in hertz is evaluated at s = j hertz, one in rad/s at s = j rad/s.
struct AnalogStage {
    double b0 = 1.0;
    double b1 = 0.0;
    double b2 = 0.0;
    double a0 = 1.0;
    double a1 = 0.0;
    double a2 = 0.0;

    friend bool operator==(const AnalogStage&, const AnalogStage&) = default;

    [[nodiscard]] bool isFirstOrder() const noexcept { return b2 == 0.0 && a2 == 0.0; }

    /// The same response stretched along the frequency axis: what was at frequency 1 comes to lie at \p factor.
    [[nodiscard]] AnalogStage scaled(double factor) const noexcept
    {
        const double square = factor * factor;
        return {b0, b1 * factor, b2 * square, a0, a1 * factor, a2 * square};
    }

    /// The same section with a0 = 1. \pre a0 isn't 0
    [[nodiscard]] AnalogStage normalised() const noexcept { return {b0 / a0, b1 / a0, b2 / a0, 1.0, a1 / a0, a2 / a0}; }

    /// |H(jw)|^2. A pole on the axis gives 0, one that a zero cancels 1, so that a curve stays finite.
    [[nodiscard]] double squaredMagnitude(double w) const noexcept
    {
        double numerator = b0 * b0;
        double denominator = a0 * a0;
        if (!isFirstOrder()) {
            numerator = sumOfSquares(b2 - w * w * b0, w * b1);
            denominator = sumOfSquares(a2 - w * w * a0, w * a1);
        } else if (b1 != 0.0 || a1 != 0.0) {
            numerator = sumOfSquares(b1, w * b0);
            denominator = sumOfSquares(a1, w * a0);
        }
        if (denominator == 0.0)
            return numerator == 0.0 ? 1.0 : 0.0;
        return numerator / denominator;
    }

private:
    static double sumOfSquares(double x, double y) noexcept { return x * x + y * y; }
};

} // namespace sorvane::dsp
