#pragma once

#include "Parameters.h"

#include <cstdint>

namespace sorvane::core {

/// What the frequency graph's twelve bands are made of. Bands 0 to 3 are the first channel's side-chain high-pass,
/// low-pass and peak and its split, 4 to 7 the second channel's; 8 and 9 are the two edges of the first channel's
/// split, 10 and 11 of the second's. Field and band wrap: modulo 10 and modulo 12.
enum BandField : std::int32_t {
    bandEnable = 0,
    bandRole = 1,
    bandShape = 2,
    bandSplitType = 3,
    bandGain = 4,
    bandFrequency = 5,
    bandQ = 6,
    bandLowPassSlope = 7,
    bandSlope = 8,
};

/// Bits of bandFeatures.
enum BandFeature : std::uint32_t {
    adjustsGain = 1,
    adjustsFrequency = 2,
    adjustsQ = 4,
    adjustsLowPassSlope = 8,
    adjustsHighPassSlope = 16,
};

/// \return the tag behind a band's field, -1 for none
[[nodiscard]] std::int32_t bandParameter(std::int32_t field, std::int32_t band) noexcept;

/// \return the field's value: the parameter's where there is one, else what the field is fixed to or follows from; a
///         shape reads as the filter's type
[[nodiscard]] float bandValue(std::int32_t field, std::int32_t band, const ParamTable& parameters) noexcept;

/// \return what a drag or the panel can change of the band as it is set now, as BandFeature bits
[[nodiscard]] std::uint32_t bandFeatures(std::int32_t band, const ParamTable& parameters) noexcept;

} // namespace sorvane::core
