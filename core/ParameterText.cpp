#include "ParameterText.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace sorvane::core {

FixedText& FixedText::add(std::string_view text) noexcept
{
    const std::size_t count = std::min(text.size(), kParameterTextBytes - 1 - length);
    std::copy_n(text.data(), count, characters + length);
    length += count;
    characters[length] = 0;
    return *this;
}

FixedText& FixedText::add(double x, int decimals) noexcept
{
    const auto end =
        std::to_chars(characters + length, characters + kParameterTextBytes - 1, x, std::chars_format::fixed, decimals);
    if (end.ec == std::errc{})
        length = static_cast<std::size_t>(end.ptr - characters);
    characters[length] = 0;
    return *this;
}

FixedText& FixedText::add(std::int32_t x) noexcept
{
    return add(static_cast<double>(x), 0);
}

void FixedText::copyTo(char* destination) const noexcept
{
    std::copy_n(characters, length + 1, destination);
}

namespace {

double decibels(double gain)
{
    return 20.0 * std::log10(gain);
}

FixedText balanceText(double value)
{
    const double side = std::abs(value * 0.01);
    FixedText text;
    if (side < 0.001)
        return text.add("0dB");
    text.add(value > 0.0 ? "L " : "R ");
    return side >= 1.0 ? text.add("-infdB") : text.add(decibels(1.0 - side), 1).add("dB");
}

FixedText ratioText(double slope, bool upward)
{
    FixedText text;
    if (upward) {
        const double half = slope * 0.5;
        return std::abs(half - 1.0) <= 0.001 ? text.add("1:Inf") : text.add("1:").add(1.0 / (1.0 - half), 2);
    }
    return std::abs(slope - 1.0) <= 0.001 ? text.add("Inf:1") : text.add(1.0 / (1.0 - slope), 2).add(":1");
}

FixedText gainText(double gain)
{
    FixedText text;
    if (gain == 0.0)
        return text.add("-inf");
    return std::abs(gain - 1.0) < 0.000001 ? text.add("0.0dB") : text.add(decibels(gain), 1).add("dB");
}

FixedText unitText(double value, std::string_view unit)
{
    FixedText text;
    if (unit == "Hz")
        return std::abs(value) <= 1000.0 ? text.add(value, 0).add("Hz") : text.add(value * 0.001, 1).add("kHz");
    if (unit == "dB")
        return text.add(value, 1).add("dB");
    if (unit == "%")
        return text.add(value, 0).add("%");
    return text.add(value, std::abs(value) < 999.995 ? 2 : 0).add(unit);
}

} // namespace

FixedText parameterText(std::int32_t index, double value, const ParamRecord& parameter, bool upward)
{
    switch (index) {
    case kBalance:
        return balanceText(value);
    case kRatio:
    case kRatioB:
        return ratioText(value, upward);
    case kMakeup:
    case kDryGain:
    case kMakeupB:
    case kDryGainB:
        return gainText(value);
    default:
        break;
    }

    const std::string_view unit = parameter.unit.data();
    const auto whole = static_cast<std::int32_t>(value);
    switch (parameter.scale) {
    case ScaleType::enumeration:
        return FixedText().add(whole).add(unit);
    case ScaleType::onOff:
        return FixedText().add(value >= 0.5 ? "ON" : "OFF");
    case ScaleType::slope:
    case ScaleType::octaveSlope:
        return value == 0.0 ? FixedText().add("Off") : FixedText().add(whole).add(unit);
    default:
        return unitText(value, unit);
    }
}

std::span<const std::string_view> valueNames(std::int32_t index)
{
    static constexpr std::string_view splitTypes[] = {"Coincident BPF", "Butterworth BPF", "EE BPF",
                                                      "Coincident LPF", "Butterworth LPF", "Coincident HPF",
                                                      "Butterworth HPF"};
    static constexpr std::string_view signals[] = {"S/C EQ", "Split-band", "Output", "Pass-band", "Difference"};
    static constexpr std::string_view sources[] = {"Input", "Split"};
    static constexpr std::string_view lowEdges[] = {"HPF", "Shelf"};
    static constexpr std::string_view highEdges[] = {"LPF", "Shelf"};
    switch (index) {
    case kSplitType:
    case kSplitTypeB:
        return splitTypes;
    case kListen:
        return signals;
    case kSCSource:
        return sources;
    case kSCHPFType:
    case kSCHPFTypeB:
        return lowEdges;
    case kSCLPFType:
    case kSCLPFTypeB:
        return highEdges;
    default:
        return {};
    }
}

} // namespace sorvane::core
