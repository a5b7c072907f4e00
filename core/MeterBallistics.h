#pragma once

#include <array>
#include <cmath>
#include <cstdint>

namespace sorvane::core {

/// One-pole coefficients of a level meter's envelope, per sample.
struct MeterCoefficients {
    double attack = 1.0;
    double release = 1.0;
};

/// How a level meter moves.
/// \param ballistic  0 digital, 1 PPM, 2 VU, 3 BBC; only the low two bits count
/// \param rateHz     of the samples, above 0
[[nodiscard]] inline MeterCoefficients meterCoefficients(std::int32_t ballistic, double rateHz) noexcept
{
    // Each movement leaves this part of the distance after this time; none takes no time.
    struct Movement {
        double left, seconds;
    };
    struct Ballistic {
        Movement attack, release;
    };
    static constexpr std::array<Ballistic, 4> kBallistics = {{
        {{.left = 0.0, .seconds = 0.0}, {.left = 0.1, .seconds = 0.3}},
        {{.left = 0.2, .seconds = 0.005}, {.left = 0.1, .seconds = 1.7}},
        {{.left = 0.01, .seconds = 0.3}, {.left = 0.01, .seconds = 0.3}},
        {{.left = 0.2, .seconds = 0.01}, {.left = 0.0631, .seconds = 2.8}}, // down 24 dB
    }};
    const auto coefficient = [&](const Movement& movement) {
        return movement.seconds > 0.0 ? 1.0 - std::pow(movement.left, 1.0 / (rateHz * movement.seconds)) : 1.0;
    };
    const Ballistic& chosen = kBallistics[static_cast<std::uint32_t>(ballistic) & 3U];
    return {coefficient(chosen.attack), coefficient(chosen.release)};
}

} // namespace sorvane::core
