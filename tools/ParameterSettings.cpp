#include "ParameterSettings.h"

#include "Files.h"
#include "TagTable.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <locale>
#include <numeric>
#include <optional>
#include <set>
#include <sstream>

namespace sorvane::tools {

namespace {

constexpr std::size_t kMostSettingsBytes = std::size_t{1} << 20;

char lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// Edits that turn one name into the other; a change of case counts none.
std::size_t editDistance(std::string_view a, std::string_view b)
{
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t replaced = diagonal + (lower(a[i]) == lower(b[j]) ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row.back();
}

std::string nearestTag(std::string_view name)
{
    const auto& table = core::TagTable::instance();
    name = name.substr(0, 64); // a name that long is like none
    std::string_view nearest;
    std::size_t least = name.size() + 64;
    for (std::int32_t tag = 0; tag < core::kNumParams; ++tag) {
        const std::size_t distance = editDistance(name, table.name(tag));
        if (distance < least) {
            least = distance;
            nearest = table.name(tag);
        }
    }
    return std::string(nearest);
}

/// \return what is wrong with a setting, empty when nothing is
std::string complaint(const ParameterSetting& setting, double value)
{
    const core::ParamRecord& record = core::factoryParameters()[static_cast<std::size_t>(setting.tag)];
    const float low = setting.normalised ? 0.0F : record.min;
    const float high = setting.normalised ? 1.0F : record.max;
    if (setting.value >= low && setting.value <= high)
        return {};
    std::string text = (std::isfinite(value) ? shortest(static_cast<float>(value)) : "the value") +
                       " is out of range: " + shortest(low) + " to " + shortest(high);
    if (!setting.normalised && record.scale != core::ScaleType::fourthPower && record.unit[0] != 0 &&
        record.scale != core::ScaleType::onOff && record.scale != core::ScaleType::enumeration)
        text += std::string(" ") + record.unit.data();
    return text;
}

/// What the user wrote, for a message: short, and without characters that would move the terminal's cursor.
std::string inQuotes(std::string_view text)
{
    std::string shown(text.substr(0, 64));
    std::replace_if(
        shown.begin(), shown.end(), [](char c) { return static_cast<unsigned char>(c) < 32 || c == 127; }, '?');
    return "'" + shown + "'";
}

std::string unknownTag(std::string_view name)
{
    return inQuotes(name) + ": no such parameter; did you mean " + nearestTag(name) + "?";
}

ParameterSetting settingFromJson(const std::string& name, const nlohmann::ordered_json& entry)
{
    const auto tag = core::TagTable::instance().parameter(name);
    if (!tag)
        throw Failure(ExitCode::input, unknownTag(name));
    const bool wellFormed = entry.is_object() && entry.size() == 1 && entry.begin()->is_number() &&
                            (entry.contains("value") || entry.contains("normal"));
    if (!wellFormed)
        throw Failure(ExitCode::input, name + R"(: expected {"value": NUMBER} or {"normal": NUMBER})");
    const auto value = entry.begin()->get<double>();
    const ParameterSetting setting{*tag, static_cast<float>(value), entry.contains("normal")};
    if (const std::string wrong = complaint(setting, value); !wrong.empty())
        throw Failure(ExitCode::input, name + ": " + wrong);
    return setting;
}

/// Parses JSON in the order in which it stands. Throws for a name that stands twice in one object.
nlohmann::ordered_json parseOrdered(std::string_view json)
{
    using Json = nlohmann::ordered_json;
    std::vector<std::set<std::string>> names; // of the objects around
    return Json::parse(json, [&](int, Json::parse_event_t event, Json& parsed) {
        if (event == Json::parse_event_t::object_start)
            names.emplace_back();
        else if (event == Json::parse_event_t::object_end)
            names.pop_back();
        else if (event == Json::parse_event_t::key && !names.back().insert(parsed.get<std::string>()).second)
            throw Failure(ExitCode::input, inQuotes(parsed.get<std::string>()) + " stands twice");
        return true;
    });
}

} // namespace

std::string shortest(float value)
{
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, value);
    return {text, end.ptr};
}

ParameterSetting parseSetting(std::string_view text, bool normalised)
{
    const std::size_t equals = text.find('=');
    if (equals == std::string_view::npos)
        throw Failure(ExitCode::usage, inQuotes(text) + ": expected TAG=VALUE, as in kThreshold=-30");
    const std::string_view name = text.substr(0, equals);
    std::string_view number = text.substr(equals + 1);
    const auto tag = core::TagTable::instance().parameter(name);
    if (!tag)
        throw Failure(ExitCode::usage, unknownTag(name));

    if (number.starts_with('+') && !number.starts_with("+-"))
        number.remove_prefix(1);
    double value = 0.0;
    const auto end = std::from_chars(number.data(), number.data() + number.size(), value);
    const bool whole = end.ptr == number.data() + number.size() && !number.empty();
    if (!whole || end.ec == std::errc::invalid_argument)
        throw Failure(ExitCode::usage, std::string(name) + ": " + inQuotes(number) + " is not a number");

    if (end.ec == std::errc::result_out_of_range) { // too large, or so small that it is 0
        std::istringstream in{std::string(number)};
        in.imbue(std::locale::classic());
        if (!(in >> value))
            value = INFINITY;
    }
    const ParameterSetting setting{*tag, static_cast<float>(value), normalised};
    if (const std::string wrong = complaint(setting, setting.value); !wrong.empty())
        throw Failure(ExitCode::usage, std::string(name) + ": " + wrong);
    return setting;
}

std::vector<ParameterSetting> parseSettings(std::string_view json, const std::string& source)
{
    try {
        const auto root = parseOrdered(json);
        if (!root.is_object())
            throw Failure(ExitCode::input, "expected a JSON object of parameters");
        std::vector<ParameterSetting> settings;
        for (const auto& [name, entry] : root.items())
            settings.push_back(settingFromJson(name, entry));
        return settings;
    } catch (const Failure& failure) {
        throw Failure(failure.exitCode(), source + ": " + failure.what());
    } catch (const nlohmann::json::exception& error) {
        const std::string_view text = error.what();
        const std::size_t start = std::min(text.find("] "), text.size() - 2) + 2; // behind the library's own code
        throw Failure(ExitCode::input, source + ": " + std::string(text.substr(start)));
    }
}

std::vector<ParameterSetting> readSettings(const std::string& path)
{
    const auto text = platform::readFile(path, kMostSettingsBytes);
    if (!text && errno == EFBIG)
        throw Failure(ExitCode::input, path + ": larger than 1 MiB; this is no file of parameters");
    if (!text)
        throw Failure(ExitCode::input, path + ": can't be read (" + std::generic_category().message(errno) + ')');
    return parseSettings(*text, path);
}

void apply(const std::vector<ParameterSetting>& settings, core::Plug& plug)
{
    for (const ParameterSetting& setting : settings)
        plug.setParameter(setting.tag,
                          setting.normalised ? setting.value : plug.toNormalised(setting.tag, setting.value));
}

} // namespace sorvane::tools
