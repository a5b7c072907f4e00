#include "ParameterList.h"

#include "ParameterSettings.h"
#include "ParameterText.h"
#include "TagTable.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <iomanip>
#include <iterator>
#include <ostream>
#include <string>
#include <vector>

namespace sorvane::tools {

namespace {

constexpr std::array kScaleNames = {"linear",        "exponential", "square", "cubic",
                                    "enumeration",   "slope",       "switch", "octaveSlope",
                                    "centred cubic", "powerOfTwo",  "whole",  "fourthPower"};

std::string display(const core::Plug& plug, std::int32_t tag)
{
    char text[core::kParameterTextBytes] = {};
    plug.getParameterDisplay(tag, text);
    return text;
}

std::string unit(std::int32_t tag)
{
    return core::factoryParameters()[static_cast<std::size_t>(tag)].unit.data();
}

std::string name(const core::Plug& plug, std::int32_t tag)
{
    char text[core::kParameterTextBytes] = {};
    plug.getParameterName(tag, text);
    return text;
}

/// The value as JSON prints it best: with the digits that 32 bits hold.
nlohmann::json number(float value)
{
    return nlohmann::json::parse(shortest(value));
}

void listAsJson(const core::Plug& plug, std::ostream& out)
{
    auto list = nlohmann::ordered_json::array();
    for (std::int32_t tag = 0; tag < core::kNumParams; ++tag) {
        nlohmann::ordered_json entry;
        entry["index"] = tag;
        entry["tag"] = core::TagTable::instance().name(tag);
        entry["name"] = name(plug, tag);
        entry["unit"] = unit(tag);
        entry["min"] = number(plug.getParameterMin(tag));
        entry["max"] = number(plug.getParameterMax(tag));
        entry["default"] = number(core::factoryParameters()[static_cast<std::size_t>(tag)].value);
        entry["value"] = number(plug.getParameterValue(tag));
        entry["normal"] = number(plug.getParameter(tag));
        entry["scale"] = kScaleNames[static_cast<std::size_t>(plug.getParameterScale(tag))];
        entry["steps"] = plug.getParameterSteps(tag);
        entry["display"] = display(plug, tag);
        list.push_back(std::move(entry));
    }
    out << list.dump(2) << '\n';
}

void listAsTable(const core::Plug& plug, std::ostream& out)
{
    std::vector<std::array<std::string, 7>> rows = {{"tag", "name", "min", "max", "value", "unit", "shown as"}};
    for (std::int32_t tag = 0; tag < core::kNumParams; ++tag)
        rows.push_back({std::string(core::TagTable::instance().name(tag)), name(plug, tag),
                        shortest(plug.getParameterMin(tag)), shortest(plug.getParameterMax(tag)),
                        shortest(plug.getParameterValue(tag)), unit(tag), display(plug, tag)});
    std::array<std::size_t, 7> widths{};
    for (const auto& row : rows)
        for (std::size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], row[i].size());
    for (const auto& row : rows) {
        for (std::size_t i = 0; i + 1 < row.size(); ++i)
            out << row[i] << std::string(widths[i] - row[i].size() + 2, ' ');
        out << row.back() << '\n';
    }
}

} // namespace

void listParameters(const core::Plug& plug, bool json, std::ostream& out)
{
    json ? listAsJson(plug, out) : listAsTable(plug, out);
}

} // namespace sorvane::tools
