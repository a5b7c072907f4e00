#pragma once

#include "DetectorSettings.h"

#include <array>
#include <cstdint>

namespace sorvane::core {

/// Which signal takes the output's place after the dry mix.
enum class CoreListen : std::int32_t {
    output = 0,
    sideChain = 1,
    sideChainFirst = 4,
    sideChainSecond = 5,
    splitFirst = 6,
    splitSecond = 7,
    passBand = 8,
    difference = 9,
};

/// Share of each channel's side-chain in each detector's input.
struct LinkMatrix {
    double m00 = 1.0, m01 = 0.0;
    double m10 = 0.0, m11 = 1.0;
};

/// One processing channel's half of EngineSettings. Gains are linear.
struct ChannelSettings {
    double inputGain = 1.0;
    double makeupGain = 1.0;
    double dryGain = 1.0;
    double outputGain = 1.0;
    double crossingThreshold = 0.0; ///< zero crossings in the noise detector's window
    bool splitListen = false;       ///< only the band is heard: the detector rests
    DetectorSettings detector;
};

/// All that one parameter update computes for the block process, handed over whole.
struct EngineSettings {
    bool bypassed = false;
    bool midSide = false;
    bool externalSC = false;
    bool splitSource = true; ///< the detector sees the band, not the whole input
    bool oversampled = false;
    bool highQualityOversampling = false;
    CoreListen coreListen = CoreListen::output;
    LinkMatrix link;
    std::int32_t lookaheadSamples = 0; ///< of the audio, at the host rate
    std::int32_t decimation = 1;       ///< samples for each display entry
    double balanceLeft = 1.0;          ///< output gains of a stereo instance
    double balanceRight = 1.0;
    std::array<ChannelSettings, 2> channels;
};

} // namespace sorvane::core
