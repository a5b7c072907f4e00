#pragma once

#include "Failure.h"
#include "Plug.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace sorvane::tools {

/// One parameter's wanted value, checked: it can be set as it stands.
struct ParameterSetting {
    std::int32_t tag;
    float value;
    bool normalised; ///< value is 0..1; else in the parameter's own unit
};

/// Reads `TAG=VALUE`, with the decimal point whatever the locale says.
/// Throws Failure (usage) for a missing `=`, an unknown tag (with the nearest right spelling), no number, out of range.
[[nodiscard]] ParameterSetting parseSetting(std::string_view text, bool normalised);

/// Reads a JSON object such as {"kThreshold": {"value": -30}, "kRatio": {"normal": 0.7}}.
/// \param source  what to call it in a message
/// Throws Failure (input) that says where and what is wrong.
[[nodiscard]] std::vector<ParameterSetting> parseSettings(std::string_view json, const std::string& source);

/// The same from a file of up to 1 MiB.
[[nodiscard]] std::vector<ParameterSetting> readSettings(const std::string& path);

void apply(const std::vector<ParameterSetting>& settings, core::Plug& plug);

/// \p value without digits that 32 bits don't hold, in the C locale.
[[nodiscard]] std::string shortest(float value);

} // namespace sorvane::tools
