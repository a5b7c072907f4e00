#pragma once

#include "Relaxed.h"
#include "Tags.h"

#include <array>
#include <cstdint>

namespace sorvane::core {

/// How a normalised value from 0 to 1 maps to an engineering value between two bounds. The numbers are those of the
/// parameter records, which hosts and the editor read.
enum class ScaleType : std::int32_t {
    linear = 0,
    exponential = 1,
    square = 2,
    cubic = 3,
    enumeration = 4, ///< whole numbers; n steps lie n + 1 apart, so that the last one has a width too
    slope = 5,       ///< multiples of 6
    onOff = 6,       ///< on at a normalised value of exactly 1
    octaveSlope = 7, ///< multiples of 12
    centredCubic = 8,
    powerOfTwo = 9,
    wholeNumber = 10,
    fourthPower = 11,
};

/// Engineering value of a normalised one. Double arithmetic over the 32-bit inputs, rounded once, at the end.
/// \param normal  clamped to 0..1 first; NaN counts as 0
/// \return a value within min..max; an unknown scale gives 0 clamped to them
[[nodiscard]] float normalToValue(float normal, float min, float max, ScaleType scale) noexcept;

/// Normalised value of an engineering one: the inverse of normalToValue, which rounds as that does.
/// \param value  clamped to min..max first; NaN counts as min
/// \return 0..1; an unknown scale and an empty range give 0
[[nodiscard]] float valueToNormal(float value, float min, float max, ScaleType scale) noexcept;

/// One parameter: what it is called, how it maps, and where it stands.
///
/// `value` is normalToValue(normal) after every change; at construction it is the default as written, and `normal`
/// follows from it. The two may be read and set on any thread; all else is fixed at construction.
struct ParamRecord {
    std::array<char, 32> name{}; ///< as the host shows it, NUL-terminated
    std::array<char, 32> unit{}; ///< NUL-terminated; also selects the display format
    dsp::Relaxed<float> value;   ///< engineering value
    float min = 0.0F;
    float max = 1.0F;
    ScaleType scale = ScaleType::linear;
    dsp::Relaxed<float> normal; ///< what host, chunk and undo hold, 0..1
    std::uint32_t flags = 0;
};

using ParamTable = std::array<ParamRecord, kNumParams>;

/// The 92 parameters at their factory values, in tag order. Process-wide, read-only; any thread.
[[nodiscard]] const ParamTable& factoryParameters();

/// \return whether a switch is on
[[nodiscard]] inline bool isOn(const ParamRecord& parameter) noexcept
{
    return parameter.value != 0.0F;
}

} // namespace sorvane::core
