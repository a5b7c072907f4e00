#include "AaxHostEvents.h"

#include "Failure.h"
#include "Files.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace sorvane::tools {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kMostEventBytes = std::size_t{16} << 20U;
constexpr double kMostSeconds = 1.0e6;
constexpr double kMostTempo = 1000.0;

[[noreturn]] void expected(const std::string& what)
{
    throw Failure(ExitCode::input, "expected " + what);
}

double number(const Json& value, const char* key, double low, double high)
{
    const double read = value.is_number() ? value.get<double>() : low - 1.0;
    if (!(read >= low && read <= high))
        expected(std::string("\"") + key + "\" from " + shortest(static_cast<float>(low)) + " to " +
                 shortest(static_cast<float>(high)));
    return read;
}

bool isOn(const Json& value, const std::string& key)
{
    if (!value.is_boolean())
        expected('"' + key + "\" to be true or false");
    return value.get<bool>();
}

TimedEvent::Message message(const Json& bytes)
{
    TimedEvent::Message read{};
    const auto isByte = [](const Json& byte) {
        return byte.is_number_integer() && byte.get<std::int64_t>() >= 0 && byte.get<std::int64_t>() <= 255;
    };
    if (!bytes.is_array() || bytes.empty() || bytes.size() > read.size() ||
        !std::all_of(bytes.begin(), bytes.end(), isByte))
        expected("\"midi\" to be a list of messages, each of one to three bytes from 0 to 255");
    std::transform(bytes.begin(), bytes.end(), read.begin(), [](const Json& byte) { return byte.get<std::uint8_t>(); });
    return read;
}

TimedEvent event(const Json& entry)
{
    if (!entry.is_object() || !entry.contains("at"))
        expected("an object with \"at\"");
    TimedEvent read;
    for (const auto& [key, value] : entry.items()) {
        if (key == "at")
            read.atSeconds = number(value, "at", 0.0, kMostSeconds);
        else if (key == "set")
            read.settings = parseSettings(value.dump(), "\"set\"");
        else if (key == "midi")
            for (const Json& bytes : value.is_array() ? value : Json::array({value}))
                read.midi.push_back(message(bytes));
        else if (key == "bypass")
            read.bypass = isOn(value, key);
        else if (key == "playing")
            read.playing = isOn(value, key);
        else if (key == "offline")
            read.offline = isOn(value, key);
        else if (key == "tempo")
            read.tempo = number(value, "tempo", 1.0, kMostTempo);
        else
            expected(R"("at", "set", "midi", "bypass", "playing", "offline" or "tempo", not ")" + key + '"');
    }
    return read;
}

} // namespace

std::vector<TimedEvent> parseEvents(std::string_view json, const std::string& source)
{
    constexpr int kDeepest = 4; // a value in a setting in the settings of an event
    const auto isShallow = [&](int depth, Json::parse_event_t, Json&) {
        if (depth > kDeepest)
            throw Failure(ExitCode::input, source + ": nested too deeply for a list of events");
        return true;
    };
    const Json root = Json::parse(json, isShallow, false);
    if (!root.is_array())
        throw Failure(ExitCode::input, source + ": expected a JSON list of events");
    std::vector<TimedEvent> events;
    for (const Json& entry : root) {
        try {
            events.push_back(event(entry));
        } catch (const Failure& failure) {
            throw Failure(failure.exitCode(),
                          source + ": event " + std::to_string(events.size() + 1) + ": " + failure.what());
        }
    }
    std::stable_sort(events.begin(), events.end(),
                     [](const TimedEvent& a, const TimedEvent& b) { return a.atSeconds < b.atSeconds; });
    return events;
}

std::vector<TimedEvent> readEvents(const std::string& path)
{
    const auto text = platform::readFile(path, kMostEventBytes);
    if (!text)
        throw Failure(ExitCode::input, path + ": can't be read (" + std::generic_category().message(errno) + ')');
    return parseEvents(*text, path);
}

} // namespace sorvane::tools
