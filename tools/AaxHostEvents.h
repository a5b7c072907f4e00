#pragma once

#include "ParameterSettings.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sorvane::tools {

/// What a host does at one moment of a render.
struct TimedEvent {
    using Message = std::array<std::uint8_t, 3>; ///< of MIDI, with zeros behind a shorter one

    double atSeconds = 0.0; ///< on the input's time line; 0 and above
    std::vector<ParameterSetting> settings;
    std::vector<Message> midi;
    std::optional<bool> bypass; ///< by the host
    std::optional<bool> playing;
    std::optional<bool> offline;
    std::optional<double> tempo; ///< in beats a minute

    /// Whether it has to happen between two blocks; MIDI has its place within one.
    [[nodiscard]] bool dividesBlocks() const { return !settings.empty() || bypass || playing || offline || tempo; }
};

/// Reads a list such as
///
///     [{"at": 0.5, "set": {"kThreshold": {"value": -30}, "kRatio": {"normal": 0.7}}},
///      {"at": 1.0, "midi": [[176, 20, 64], [144, 60, 100]]},
///      {"at": 1.5, "bypass": true, "tempo": 90, "playing": false, "offline": true}]
///
/// where "at" is in seconds, "set" is what parseSettings takes, and each MIDI message has one to three bytes.
/// \param source  what to call it in a message
/// \return in the order of time. Throws Failure (input) that says which event is wrong, and why.
[[nodiscard]] std::vector<TimedEvent> parseEvents(std::string_view json, const std::string& source);

/// The same from a file of up to 16 MiB.
[[nodiscard]] std::vector<TimedEvent> readEvents(const std::string& path);

} // namespace sorvane::tools
