#include "BiquadSection.h"

#include <cmath>

namespace sorvane::dsp {

SectionResponse respond(const BiquadSection& section, double w) noexcept
{
    const std::complex<double> z = std::polar(1.0, w);
    const std::complex<double> zz = std::polar(1.0, 2.0 * w);
    return {section.b0 * zz + section.b1 * z + section.b2, zz + section.a1 * z + section.a2};
}

bool rootsInsideUnitCircle(double p, double r) noexcept
{
    const double discriminant = p * p / 4.0 - r;
    if (discriminant < 0.0)
        return std::abs(r) < 1.0;
    const double root = std::sqrt(discriminant);
    return std::abs(-p / 2.0 + root) < 1.0 && std::abs(-p / 2.0 - root) < 1.0;
}

BiquadSection reciprocal(const BiquadSection& section) noexcept
{
    const double k = 1.0 / section.b0;
    return {k, k * section.a1, k * section.a2, k * section.b1, k * section.b2};
}

} // namespace sorvane::dsp
