#pragma once

#include "BiquadFit.h"
#include "DF1Cascade.h"

namespace sorvane::dsp {

/// A filter by magnitude fit: each section follows the magnitude of the analog one up to half the sample rate, where
/// the bilinear transform bends away from it. A section starts from a closed form that meets the analog curve at chosen
/// frequencies and is then fitted at 128 more. A peak or shelf of at most 0.01 dB becomes an identity.
///
/// Up to 0.45 of the rate, with a corner of at most a quarter of it and as far as the analog curve lies above -40 dB,
/// it stays within 0.6 dB for a low-pass or high-pass of up to four poles and within 1.9 dB for peaks and shelves of up
/// to 24 dB. A band-pass is off by up to 13 dB towards half the rate: take a BLTEQ. An update takes about 0.1 ms for
/// each different section, at most 0.3.
class TrimoraEQ final : public DF1Cascade {
public:
    void update() noexcept override;

private:
    BiquadFit fit;
};

} // namespace sorvane::dsp
