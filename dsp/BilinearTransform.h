#pragma once

#include "AnalogStage.h"
#include "BiquadSection.h"

namespace sorvane::dsp {

/// Bilinear transform of an analog section, with pre-warping.
///
/// s = 2 pi z' / c with z' = (z - 1) / (z + 1) and c = tan(pi warpHz / rateHz) / warpHz: the digital response at warpHz
/// equals the analog one there. A stable section stays stable.
/// \param stage   in rad/s
/// \param warpHz  above 0, below rateHz / 2
[[nodiscard]] BiquadSection bilinear(const AnalogStage& stage, double warpHz, double rateHz) noexcept;

/// The frequency at which a section is matched: that of its poles, or \p cornerHz for a section with fewer than two; at
/// most 0.45 of the rate, so that the tangent stays moderate.
[[nodiscard]] double warpFrequency(const AnalogStage& stage, double cornerHz, double rateHz) noexcept;

} // namespace sorvane::dsp
