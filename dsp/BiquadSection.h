#pragma once

#include <complex>

namespace sorvane::dsp {

/// Coefficients of a digital section, a0 = 1:
/// y[n] = b0 x[n] + b1 x[n-1] + b2 x[n-2] - a1 y[n-1] - a2 y[n-2]. The default passes the signal unchanged.
struct BiquadSection {
    double b0 = 1.0;
    double b1 = 0.0;
    double b2 = 0.0;
    double a1 = 0.0;
    double a2 = 0.0;

    friend bool operator==(const BiquadSection&, const BiquadSection&) = default;
};

/// H(e^jw) = numerator / denominator.
struct SectionResponse {
    std::complex<double> numerator;
    std::complex<double> denominator;
};

/// \param w  in radians per sample
[[nodiscard]] SectionResponse respond(const BiquadSection& section, double w) noexcept;

/// Whether both roots of z^2 + p z + r lie inside the unit circle: with (a1, a2) the poles of a section, with
/// (b1 / b0, b2 / b0) its zeros. False when p or r isn't a number.
[[nodiscard]] bool rootsInsideUnitCircle(double p, double r) noexcept;

/// 1 / H(z) of a section. \pre b0 isn't 0
[[nodiscard]] BiquadSection reciprocal(const BiquadSection& section) noexcept;

} // namespace sorvane::dsp
