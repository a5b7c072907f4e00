#include "BilinearTransform.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace sorvane::dsp {

namespace {

constexpr double kTwoPi = 2.0 * std::numbers::pi;

} // namespace

BiquadSection bilinear(const AnalogStage& stage, double warpHz, double rateHz) noexcept
{
    const double c = std::tan(std::numbers::pi * warpHz / rateHz) / warpHz;
    if (stage.isFirstOrder()) {
        const double den = c * stage.a1 + kTwoPi * stage.a0;
        return {(c * stage.b1 + kTwoPi * stage.b0) / den, (c * stage.b1 - kTwoPi * stage.b0) / den, 0.0,
                (c * stage.a1 - kTwoPi * stage.a0) / den, 0.0};
    }
    const double nb = kTwoPi * kTwoPi * stage.b0;
    const double na = kTwoPi * kTwoPi * stage.a0;
    const double mb = c * c * stage.b2;
    const double ma = c * c * stage.a2;
    const double lb = kTwoPi * c * stage.b1;
    const double la = kTwoPi * c * stage.a1;
    const double den = la + na + ma;
    return {(lb + nb + mb) / den, 2.0 * (mb - nb) / den, (nb - lb + mb) / den, 2.0 * (ma - na) / den,
            (na - la + ma) / den};
}

double warpFrequency(const AnalogStage& stage, double cornerHz, double rateHz) noexcept
{
    const bool hasPolePair = stage.a0 != 0.0 && stage.a2 != 0.0;
    const double poleHz = hasPolePair ? std::sqrt(std::abs(stage.a2 / stage.a0)) / kTwoPi : cornerHz;
    return std::min(0.45 * rateHz, poleHz);
}

} // namespace sorvane::dsp
