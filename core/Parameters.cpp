#include "Parameters.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <string_view>

namespace sorvane::core {

namespace {

/// Like std::clamp, but NaN gives \p low.
double bounded(double x, double low, double high)
{
    return x > low ? std::min(x, high) : low;
}

double roundedDownToMultiple(double x, double step)
{
    return x - std::fmod(x, step);
}

double engineeringValue(double n, double low, double high, ScaleType scale)
{
    const double range = high - low;
    const double continuous = range * n + low;
    const double stepped = (range + 1.0) * n + low;
    switch (scale) {
    case ScaleType::linear:
        return continuous;
    case ScaleType::exponential:
        return low * std::exp(std::log(high / low) * n);
    case ScaleType::square:
        return range * n * n + low;
    case ScaleType::cubic:
        return range * n * n * n + low;
    case ScaleType::enumeration:
        return std::floor(stepped + 0.00001); // keeps an exact step from falling to the one below
    case ScaleType::slope:
        return roundedDownToMultiple(std::floor(stepped + 0.5), 6.0);
    case ScaleType::onOff:
    case ScaleType::wholeNumber:
        return std::floor(continuous);
    case ScaleType::octaveSlope:
        return roundedDownToMultiple(std::floor(stepped), 12.0);
    case ScaleType::centredCubic: {
        const double centred = 2.0 * n - 1.0;
        return (centred * centred * centred * 0.5 + 0.5) * range + low;
    }
    case ScaleType::powerOfTwo:
        return std::floor(std::exp2(std::floor(std::log(high / low) * n / std::numbers::ln2)) * low);
    case ScaleType::fourthPower:
        return range * n * n * n * n + low;
    }
    return 0.0;
}

double normalisedValue(double value, double low, double high, ScaleType scale)
{
    const double range = high - low;
    const double distance = value - low;
    switch (scale) {
    case ScaleType::linear:
    case ScaleType::onOff:
    case ScaleType::wholeNumber:
        return distance / range;
    case ScaleType::exponential:
        return std::log(value / low) / std::log(high / low);
    case ScaleType::square:
        return std::sqrt(distance / range);
    case ScaleType::cubic:
        return std::cbrt(distance / range);
    case ScaleType::enumeration:
    case ScaleType::slope:
    case ScaleType::octaveSlope:
        return distance / (range + 1.0);
    case ScaleType::centredCubic:
        return std::cbrt(2.0 * distance / range - 1.0) * 0.5 + 0.5;
    case ScaleType::powerOfTwo:
        return std::floor(std::log(value / low)) / std::log(high / low);
    case ScaleType::fourthPower:
        return std::sqrt(std::sqrt(distance / range));
    }
    return 0.0;
}

struct Definition {
    Tag tag;
    std::string_view name;
    std::string_view unit;
    float min;
    float max;
    float factory;
    ScaleType scale;
};

using enum ScaleType;

/// Everything but the second channel, which is made from the first.
constexpr Definition kDefinitions[] = {
    {kBypass, "Bypass", "On/Off", 0, 1, 0, onOff},
    {kIpTrim, "Ip Trim", "dB", -24, 24, 0, linear},
    {kMakeup, "Makeup", "dB", 0, 16, 1, fourthPower},
    {kDryGain, "Dry Gain", "dB", 0, 16, 1, fourthPower},
    {kOpTrim, "Op Trim", "dB", -24, 24, 0, linear},
    {kMuteComp, "MuteComp", "On/Off", 0, 1, 0, onOff},
    {kMuteDry, "MuteDry", "On/Off", 0, 1, 0, onOff},
    {kMuteOutput, "MuteOp", "On/Off", 0, 1, 0, onOff},
    {kThreshold, "Threshold", "dB", -60, 12, -18, linear},
    {kRatio, "Ratio", "", 0, 2, 0.6997F, square},
    {kExcite, "Upward", "On/Off", 0, 1, 0, onOff},
    {kSoft, "Knee", "%", 0, 100, 40, linear},
    {kCeil, "Ceil", "dB", 0, 48, 48, linear},
    {kAttack, "Attack", "ms", 0.02F, 200, 3.15F, exponential},
    {kRelease, "Release", "ms", 10, 2000, 200, exponential},
    {kRelAvg, "RMS", "ms", 20, 4000, 50, exponential},
    {kRelease2, "Rel Fast", "ms", 10, 2000, 20, exponential},
    {kHold, "Hold", "ms", 0, 100, 0.8F, linear},
    {kSplitBPF, "BPF", "On/Off", 0, 1, 1, onOff},
    {kSplitBPFFreq, "Frequency", "Hz", 20, 22000, 5270, exponential},
    {kSplitBPFQ, "BPFQ", "", 0.1F, 50, 0.81F, exponential},
    {kSplitHPFSlope, "HPFSlope", "dB", 6, 192, 96, slope},
    {kSplitLPFSlope, "LPFSlope", "dB", 6, 192, 96, slope},
    {kSplitType, "SplitType", "", 0, 6, 0, enumeration},
    {kSCHPF, "SCHPF", "On/Off", 0, 1, 0, onOff},
    {kSCHPFFreq, "SCHPFFreq", "Hz", 20, 22000, 850, exponential},
    {kSCHPFSlope, "SCHPFSlope", "dB", 6, 24, 24, slope},
    {kSCHPFType, "SCHPFType", "HPF/Shelf", 0, 1, 0, enumeration},
    {kSCHPFGain, "SCHPFGain", "dB", -24, 24, 0, linear},
    {kSCPeak, "SCEQPeak", "On/Off", 0, 1, 0, onOff},
    {kSCPeakGain, "SCEQGain", "dB", -24, 24, 0, linear},
    {kSCPeakFreq, "SCEQFreq", "Hz", 20, 22000, 6000, exponential},
    {kSCPeakQ, "SCEQQ", "", 0.1F, 20, 0.8F, exponential},
    {kSCLPF, "SCLPF", "On/Off", 0, 1, 0, onOff},
    {kSCLPFFreq, "SCLPFFreq", "Hz", 20, 22000, 22000, exponential},
    {kSCLPFSlope, "SCLPFSlope", "dB", 6, 24, 12, slope},
    {kSCLPFType, "SCLPFType", "LPF/Shelf", 0, 1, 0, enumeration},
    {kSCLPFGain, "SCLPFGain", "dB", -24, 24, 0, linear},
    {kLinked, "Linked", "On/Off", 0, 1, 1, onOff},
    {kSCSource, "Sidechain", "Wide/Split", 0, 1, 1, onOff},
    {kMode, "Dual Mode", "On/Off", 0, 1, 1, onOff},
    {kSmoothing, "Smoothing", "On/Off", 0, 1, 0, onOff},
    {kOverSample, "Oversample", "On/Off", 0, 1, 0, onOff},
    {kDryType, "Parallel", "On/Off", 0, 1, 0, onOff},
    {kStereoMode, "MS", "On/Off", 0, 1, 1, onOff},
    {kStereoLink, "StereoLink", "%", 0, 100, 0, linear},
    {kLookahead, "Lookahead", "ms", 0, 100, 10, linear},
    {kListen, "Listen", "SC/Split/Out/Pass/Diff", 0, 4, 2, enumeration},
    {kBalance, "Balance", "%", -100, 100, 0, linear},
    {kLinearPhase, "Linear Phase", "On/Off", 0, 1, 1, onOff},
    {kNoiseDetector, "Detector", "%", 0, 100, 0, linear},
    {kExtSC, "Ext SC", "On/Off", 0, 1, 0, onOff},
    {kHQOversample, "HQ Oversample", "On/Off", 0, 1, 0, onOff},
    {kHQSplit, "HQ Split", "On/Off", 0, 1, 0, onOff},
    {kABBank, "A/B", "", 0, 7, 0, enumeration},
};
static_assert(std::size(kDefinitions) + kTwinOffset == kNumParams);

void setText(std::array<char, 32>& field, std::string_view text, std::string_view suffix = {})
{
    const std::size_t head = std::min(text.size(), field.size() - 1);
    const std::size_t tail = std::min(suffix.size(), field.size() - 1 - head);
    std::copy_n(suffix.data(), tail, std::copy_n(text.data(), head, field.data()));
}

ParamRecord record(const Definition& definition)
{
    ParamRecord made;
    setText(made.name, definition.name);
    setText(made.unit, definition.unit);
    made.value = definition.factory;
    made.min = definition.min;
    made.max = definition.max;
    made.scale = definition.scale;
    made.normal = valueToNormal(definition.factory, definition.min, definition.max, definition.scale);
    return made;
}

std::string_view twinStem(const Definition& definition)
{
    switch (definition.tag) {
    case kThreshold:
        return "Thresh";
    case kSoft:
        return "Soft";
    case kSplitBPFFreq:
        return "Freq";
    default:
        return definition.name;
    }
}

ParamTable makeFactoryParameters()
{
    ParamTable table;
    for (const Definition& definition : kDefinitions) {
        table[static_cast<std::size_t>(definition.tag)] = record(definition);
        if (definition.tag >= kIpTrim && definition.tag < kIpTrimB) {
            ParamRecord& twin = table[static_cast<std::size_t>(definition.tag) + static_cast<std::size_t>(kTwinOffset)];
            twin = record(definition);
            twin.name = {};
            setText(twin.name, twinStem(definition), " 2");
        }
    }
    return table;
}

} // namespace

float normalToValue(float normal, float min, float max, ScaleType scale) noexcept
{
    return static_cast<float>(bounded(engineeringValue(bounded(normal, 0.0, 1.0), min, max, scale), min, max));
}

float valueToNormal(float value, float min, float max, ScaleType scale) noexcept
{
    return static_cast<float>(bounded(normalisedValue(bounded(value, min, max), min, max, scale), 0.0, 1.0));
}

const ParamTable& factoryParameters()
{
    static const ParamTable table = makeFactoryParameters();
    return table;
}

} // namespace sorvane::core
