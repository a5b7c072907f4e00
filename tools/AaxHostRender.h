#pragma once

#include "AaxHostEvents.h"

#include <cstdint>
#include <string>
#include <vector>

namespace sorvane::tools {

struct AaxRenderOptions {
    std::string plugin;
    std::string input;
    std::string output;
    std::string sideChain;                  ///< file for the external side-chain; empty for none
    std::vector<ParameterSetting> settings; ///< applied in order
    std::vector<TimedEvent> events;         ///< in the order of time
    std::int32_t blockFrames = 512;
};

/// Plays a file through the plug-in as a session does: what is set in one instance is saved, a second one restores it,
/// goes offline, and plays with the transport running, while the events happen, each between two samples. The output is
/// aligned with the input by the latency at the start; when that changes on the way, as by the bypass, what follows
/// comes as much earlier or later. Throws Failure.
/// \return a few lines for people
std::string renderThroughAax(const AaxRenderOptions& options);

/// All that the plug-in tells of itself, and of an instance for each component. Throws Failure.
std::string describeAax(const std::string& plugin);

/// The host's value of a parameter for a setting of the effect's.
/// \param hostSteps  of the host's parameter
[[nodiscard]] double hostValue(const ParameterSetting& setting, std::int32_t hostSteps);

} // namespace sorvane::tools
