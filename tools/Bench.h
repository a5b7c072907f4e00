#pragma once

#include "ParameterSettings.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace sorvane::tools {

struct BenchOptions {
    std::vector<std::string> cases;         ///< names of benchCases; empty for all
    std::vector<ParameterSetting> settings; ///< applied in order after a case's own
    double seconds = 10.0;                  ///< audio a pass
    double rateHz = 48000.0;
    std::int32_t blockFrames = 256;
    std::int32_t instances = 1; ///< run in turn, block by block
};

/// What one case costs. A block's time is that of all instances together, and the least of the passes.
struct BenchResult {
    std::string name;
    std::int32_t channels = 2;
    std::int32_t blockFrames = 0;
    std::int32_t instances = 1;
    double rateHz = 0.0;
    std::int32_t latencySamples = 0;
    double nsPerFrame = 0.0;  ///< of one instance, mean of the blocks
    double corePercent = 0.0; ///< of one instance, at the rate
    double medianBlockNs = 0.0;
    double p99BlockNs = 0.0;
    double worstBlockNs = 0.0;
    double startMs = 0.0;     ///< to make an instance with its settings in force, median of the instances
    double residentKiB = 0.0; ///< memory that an instance touched, started and run
};

/// What is timed: the effect at some settings.
struct BenchCase {
    const char* name;
    std::vector<std::pair<std::int32_t, float>> values; ///< tags and values that differ from the factory's
    std::int32_t channels = 2;
    bool silent = false; ///< the warm-up is a burst that silence follows
};

/// All that there are, in the order in which they run.
[[nodiscard]] const std::vector<BenchCase>& benchCases();
[[nodiscard]] std::vector<std::string> benchCaseNames();

/// Two channels of syllables, each a vowel, a hiss and a faint pause, at levels that wander: so that the detector has
/// work.
[[nodiscard]] std::array<std::vector<float>, 2> benchSignal(std::size_t frames, double rateHz);

/// Times the effect on speech-like audio, 7 passes over the same, through its 32-bit entry, as hosts drive it. The
/// least of the passes keeps what the effect does and drops what the machine did meanwhile.
/// Throws std::bad_alloc.
[[nodiscard]] std::vector<BenchResult> runBench(const BenchOptions& options);

[[nodiscard]] std::string benchTable(const std::vector<BenchResult>& results);
[[nodiscard]] std::string benchJson(const std::vector<BenchResult>& results);

} // namespace sorvane::tools
