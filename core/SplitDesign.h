#pragma once

#include <cstdint>

namespace sorvane::core {

/// Shape of the band that is split off. The numbers are those of the parameter kSplitType.
enum class SplitType : std::int32_t {
    coincidentBandPass = 0,
    butterworthBandPass = 1,
    secondOrderBandPass = 2,
    coincidentLowPass = 3,
    butterworthLowPass = 4,
    coincidentHighPass = 5,
    butterworthHighPass = 6,
};

/// What the pass buffer holds beside the band.
enum class DryMode : std::int32_t {
    parallel = 1,  ///< the whole input
    remainder = 2, ///< the input less the band
};

/// One channel's split as its parameters ask for it.
struct SplitParameters {
    bool on = false; ///< off: the band is the whole signal
    SplitType type = SplitType::coincidentBandPass;
    double frequencyHz = 1000.0;
    double q = 1.0;                 ///< of a band-pass: its edges lie frequency / q apart
    std::int32_t highPassSlope = 6; ///< dB per octave, 6 to 192
    std::int32_t lowPassSlope = 6;
};

/// How the split is made, the same for both channels.
struct SplitMode {
    bool linearPhase = false;
    bool highQuality = false; ///< 8192 taps in place of 2048
    DryMode dryMode = DryMode::remainder;
    double halfRateHz = 22050.0; ///< what the upper edge of a band-pass is held at
};

} // namespace sorvane::core
