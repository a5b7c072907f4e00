#include "GraphBands.h"

#include <array>

namespace sorvane::core {

namespace {

constexpr std::int32_t kNone = -1;
constexpr std::int32_t kFields = 10;
constexpr std::int32_t kBands = 12;

enum class Kind { highPass, lowPass, peak, split, splitEdge };

struct Band {
    Kind kind;
    bool second; ///< of the second channel
};

constexpr std::int32_t wrapped(std::int32_t index, std::int32_t count)
{
    return ((index % count) + count) % count;
}

Band bandAt(std::int32_t band)
{
    const std::int32_t index = wrapped(band, kBands);
    if (index >= 8)
        return {Kind::splitEdge, index >= 10};
    return {static_cast<Kind>(index % 4), index >= 4};
}

/// The first channel's parameters by kind and field.
constexpr std::array<std::array<std::int32_t, kFields>, 5> kParameters = {{
    {kSCHPF, kNone, kSCHPFType, kNone, kSCHPFGain, kSCHPFFreq, kNone, kNone, kSCHPFSlope, kNone},
    {kSCLPF, kNone, kSCLPFType, kNone, kSCLPFGain, kSCLPFFreq, kNone, kNone, kSCLPFSlope, kNone},
    {kSCPeak, kNone, kNone, kNone, kSCPeakGain, kSCPeakFreq, kSCPeakQ, kNone, kNone, kNone},
    {kSplitBPF, kNone, kSplitType, kNone, kNone, kSplitBPFFreq, kSplitBPFQ, kSplitLPFSlope, kSplitHPFSlope, kNone},
    {kSplitBPF, kNone, kNone, kNone, kNone, kSplitBPFFreq, kSplitBPFQ, kSplitLPFSlope, kSplitHPFSlope, kNone},
}};

float valueOf(std::int32_t tag, const ParamTable& parameters)
{
    return parameters[static_cast<std::size_t>(tag)].value;
}

float channelValue(std::int32_t tag, Band band, const ParamTable& parameters)
{
    return valueOf(tag + (band.second ? kTwinOffset : 0), parameters);
}

float role(Band band)
{
    const bool split = band.kind == Kind::split || band.kind == Kind::splitEdge;
    if (band.second)
        return split ? 32.0F : 16.0F;
    return split ? 128.0F : 64.0F;
}

/// The filter type that draws the band: 1 high-pass, 2 low shelf, 3 peak, 5 high shelf, 6 low-pass, 7 band-pass.
float shape(Band band, const ParamTable& parameters)
{
    switch (band.kind) {
    case Kind::highPass:
        return channelValue(kSCHPFType, band, parameters) != 0.0F ? 2.0F : 1.0F;
    case Kind::lowPass:
        return channelValue(kSCLPFType, band, parameters) != 0.0F ? 5.0F : 6.0F;
    case Kind::peak:
        return 3.0F;
    case Kind::split: {
        const float type = channelValue(kSplitType, band, parameters);
        return type <= 2.0F ? 7.0F : type <= 4.0F ? 6.0F : 1.0F;
    }
    case Kind::splitEdge:
        break;
    }
    return 7.0F;
}

} // namespace

std::int32_t bandParameter(std::int32_t field, std::int32_t band) noexcept
{
    const Band found = bandAt(band);
    const std::int32_t tag =
        kParameters[static_cast<std::size_t>(found.kind)][static_cast<std::size_t>(wrapped(field, kFields))];
    return tag == kNone || !found.second ? tag : tag + kTwinOffset;
}

float bandValue(std::int32_t field, std::int32_t band, const ParamTable& parameters) noexcept
{
    const Band found = bandAt(band);
    switch (wrapped(field, kFields)) {
    case bandRole:
        return role(found);
    case bandShape:
        return shape(found, parameters);
    case bandSplitType:
        return found.kind == Kind::split ? channelValue(kSplitType, found, parameters) : 0.0F;
    case bandQ:
        if (found.kind == Kind::highPass || found.kind == Kind::lowPass)
            return 0.707F;
        break;
    default:
        break;
    }
    const std::int32_t tag = bandParameter(field, band);
    return tag == kNone ? 0.0F : valueOf(tag, parameters);
}

std::uint32_t bandFeatures(std::int32_t band, const ParamTable& parameters) noexcept
{
    const Band found = bandAt(band);
    switch (found.kind) {
    case Kind::highPass:
    case Kind::lowPass: {
        const std::int32_t type = found.kind == Kind::highPass ? kSCHPFType : kSCLPFType;
        const bool shelf = channelValue(type, found, parameters) != 0.0F;
        return adjustsFrequency | (shelf ? adjustsGain : adjustsHighPassSlope);
    }
    case Kind::peak:
        return adjustsFrequency | adjustsGain | adjustsQ;
    case Kind::split: {
        const float type = channelValue(kSplitType, found, parameters);
        if (type <= 1.0F)
            return adjustsFrequency | adjustsQ | adjustsLowPassSlope | adjustsHighPassSlope;
        if (type <= 2.0F)
            return adjustsFrequency | adjustsQ;
        return adjustsFrequency | (type <= 4.0F ? adjustsLowPassSlope : adjustsHighPassSlope);
    }
    case Kind::splitEdge:
        break;
    }
    return adjustsFrequency;
}

} // namespace sorvane::core
