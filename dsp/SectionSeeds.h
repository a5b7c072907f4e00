#pragma once

#include "AnalogStage.h"
#include "BiquadSection.h"

namespace sorvane::dsp {

/// First approximations of analog sections by digital ones, in closed form: each meets the analog magnitude at half the
/// sample rate, which the bilinear transform can't, and comes close to it around its corner. A fit goes on from there.
///
/// Frequencies in Hz, above 0; q above 0. Far outside the usual range, above all with the corner at or beyond half the
/// rate, a result may be unstable or not finite: check it.

/// (high s + low w) / (s + w), w the frequency: one pole.
/// \param high, low  gain at infinity and at 0 Hz, linear, 0 and above
[[nodiscard]] BiquadSection firstOrderSeed(double rateHz, double frequencyHz, double high, double low) noexcept;

/// Second-order low-pass of unity gain at 0 Hz. After M. Massberg, Digital Low-Pass Filter Design with Analog-Matched
/// Magnitude Response, AES 131 (2011).
[[nodiscard]] BiquadSection lowPassSeed(double rateHz, double frequencyHz, double q) noexcept;

/// Second-order high-pass of unity gain at infinity.
[[nodiscard]] BiquadSection highPassSeed(double rateHz, double frequencyHz, double q) noexcept;

/// Peak of unity gain at 0 Hz and at infinity. After S. J. Orfanidis, Digital Parametric Equalizer Design with
/// Prescribed Nyquist-Frequency Gain, JAES 45 (1997).
[[nodiscard]] BiquadSection peakSeed(double rateHz, double gainDb, double frequencyHz, double q) noexcept;

struct GeneralSeed {
    BiquadSection section;
    bool inverted = false; ///< the section approximates 1 / H
};

/// Any second-order section, a shelf above all. One whose gain at 0 Hz is the smaller one is approximated by its
/// reciprocal.
/// \param stage  in rad/s, with a0 = 1 and a2 above 0
[[nodiscard]] GeneralSeed generalSeed(double rateHz, const AnalogStage& stage) noexcept;

} // namespace sorvane::dsp
