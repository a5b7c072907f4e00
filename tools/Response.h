#pragma once

#include "ParameterSettings.h"

#include <string>
#include <vector>

namespace sorvane::tools {

struct ResponseOptions {
    std::vector<ParameterSetting> settings; ///< applied in order
    float rateHz = 48000.0F;
    int points = 512;
    int channel = 1; ///< 1 or 2: whose filters
    std::string csv; ///< file, - for standard output; empty for none
    std::string png;
};

/// Magnitudes in dB at frequencies from 20 Hz to half the rate, evenly spaced by ratio.
struct Response {
    std::vector<double> hertz;
    std::vector<double> band;
    std::vector<double> rest;
    std::vector<double> sideChain;
};

/// Measures what the filters do, at the given settings, by playing an impulse through the effect itself and listening
/// to the band, to the rest and to the side-chain EQ. Everything but the filters is put out of the way.
[[nodiscard]] Response measureResponse(const ResponseOptions& options);

[[nodiscard]] std::string responseCsv(const Response& response);
/// A picture of the three curves, as the bytes of a PNG file.
[[nodiscard]] std::string responsePng(const Response& response);

} // namespace sorvane::tools
