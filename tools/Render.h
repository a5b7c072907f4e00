#pragma once

#include "ParameterSettings.h"
#include "SibilanceMeter.h"

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace sorvane::tools {

struct RenderOptions {
    std::string input;
    std::string output;
    std::string sideChain; ///< file for the external side-chain; empty for none
    std::string state;     ///< preset or bank file, loaded before the settings; empty for the factory values
    std::string report;    ///< JSON file, - for standard output; empty for none
    std::string format = "KEEP";
    std::vector<ParameterSetting> settings; ///< applied in order
    std::int32_t blockFrames = 512;
    bool singlePrecision = false; ///< drives the effect through its 32-bit entry
    bool raw = false;             ///< keeps the latency in the output
};

/// Levels of one channel, of its finite samples.
struct Level {
    double peak = 0.0; ///< linear
    double sumOfSquares = 0.0;
    std::int64_t notFinite = 0; ///< samples that are NaN or infinite
};

/// What a render did.
struct RenderReport {
    int rateHz = 0;
    int channels = 0;
    std::int64_t frames = 0;
    std::int32_t latencySamples = 0;
    double workSeconds = 0.0;
    bool midSide = false;
    std::vector<double> lowestGain; ///< of each processing channel, linear
    std::vector<Level> before;
    std::vector<Level> after;
    std::optional<Sibilance> sibilance; ///< where there are fricatives, and the output is aligned with the input
    bool clipped = false;               ///< the output's format cut samples above full scale
};

/// Renders a file through the effect as an offline host does. Throws Failure; no file is left behind then.
/// \param stop  raised by a signal to give up; none is returned then
[[nodiscard]] std::optional<RenderReport> render(const RenderOptions& options, const std::atomic<bool>& stop);

/// A few lines for people.
[[nodiscard]] std::string summary(const RenderReport& report, const RenderOptions& options);
/// Throws Failure (output).
void writeReport(const RenderReport& report, const RenderOptions& options);

} // namespace sorvane::tools
