#include "Response.h"

#include "OfflineHost.h"
#include "ParameterText.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <memory>
#include <numbers>

namespace sorvane::tools {

namespace {

using namespace core;

constexpr std::size_t kBlock = 4096;
constexpr double kSettleSeconds = 0.2; ///< filters slide to their design
constexpr double kMostSeconds = 12.0;  ///< that an impulse may ring
constexpr double kLeastDb = -240.0;

/// Settings under which the output of a listen mode is that of the filters alone.
void isolateFilters(Plug& plug, float listen)
{
    for (const auto& [tag, value] : {std::pair{kBypass, 0.0F},
                                     {kStereoMode, 0.0F},
                                     {kStereoLink, 0.0F},
                                     {kExtSC, 0.0F},
                                     {kSCSource, 0.0F},
                                     {kNoiseDetector, 0.0F},
                                     {kOverSample, 0.0F},
                                     {kDryType, 0.0F},
                                     {kLookahead, 0.0F},
                                     {kListen, listen}})
        plug.setParameter(tag, plug.toNormalised(tag, value));
    for (const std::int32_t twin : {0, kTwinOffset})
        for (const Tag tag : {kIpTrim, kOpTrim, kMuteComp, kMuteDry, kMuteOutput})
            plug.setParameter(tag + twin, plug.toNormalised(tag, 0.0F));
}

/// One channel's impulse response at a listen mode, as long as it rings.
std::vector<double> impulseResponse(const ResponseOptions& options, float listen)
{
    const auto plug = std::make_unique<Plug>(offlineHost, Plug::Start::factoryValues);
    plug->setSampleRate(options.rateHz);
    apply(options.settings, *plug);
    isolateFilters(*plug, listen);
    plug->resume();

    std::array<std::vector<double>, 4> buffers;
    buffers.fill(std::vector<double>(kBlock));
    const auto process = [&](double first) {
        std::array<double*, 4> inputs = {buffers[0].data(), buffers[1].data(), nullptr, nullptr};
        std::array<double*, 2> outputs = {buffers[2].data(), buffers[3].data()};
        buffers[0][0] = buffers[1][0] = first;
        plug->processDoubleReplacing(inputs.data(), outputs.data(), static_cast<std::int32_t>(kBlock));
        buffers[0][0] = buffers[1][0] = 0.0;
    };
    const auto settling = static_cast<std::size_t>(kSettleSeconds * options.rateHz);
    for (std::size_t done = 0; done < settling; done += kBlock)
        process(0.0);

    const std::vector<double>& heard = buffers[options.channel == 2 ? 3 : 2];
    const auto longest = static_cast<std::size_t>(kMostSeconds * options.rateHz);
    std::vector<double> response;
    double peak = 0.0;
    double newest = 1.0;
    // The kernels of the linear-phase split hold back half of their 8192 taps before anything comes.
    while (response.size() < longest && (response.size() < 4 * kBlock || newest > 1e-13 * peak)) {
        process(response.empty() ? 1.0 : 0.0);
        response.insert(response.end(), heard.begin(), heard.end());
        newest = 0.0;
        for (const double sample : heard)
            newest = std::max(newest, std::abs(sample));
        peak = std::max(peak, newest);
    }
    return response;
}

/// |H| in dB by the sum that defines it.
double magnitudeDb(const std::vector<double>& impulse, double radians)
{
    const std::complex<double> turn = std::polar(1.0, -radians);
    std::complex<double> sum = 0.0;
    for (std::size_t i = impulse.size(); i-- > 0;) // Horner's scheme: no phase that drifts
        sum = sum * turn + impulse[i];
    return std::max(kLeastDb, 20.0 * std::log10(std::max(std::abs(sum), 1e-300)));
}

} // namespace

Response measureResponse(const ResponseOptions& options)
{
    constexpr double kLowestHz = 20.0;
    Response response;
    const double nyquist = options.rateHz * 0.5;
    for (int i = 0; i < options.points; ++i)
        response.hertz.push_back(kLowestHz * std::pow(nyquist / kLowestHz, i / (options.points - 1.0)));
    for (const auto& [listen, curve] :
         {std::pair{1.0F, &response.band}, {3.0F, &response.rest}, {0.0F, &response.sideChain}}) {
        const std::vector<double> impulse = impulseResponse(options, listen);
        for (const double hertz : response.hertz)
            curve->push_back(magnitudeDb(impulse, 2.0 * std::numbers::pi * hertz / options.rateHz));
    }
    return response;
}

std::string responseCsv(const Response& response)
{
    std::string text = "hertz,bandDb,restDb,sideChainDb\n";
    for (std::size_t i = 0; i < response.hertz.size(); ++i) {
        const FixedText line = FixedText()
                                   .add(response.hertz[i], 2)
                                   .add(",")
                                   .add(response.band[i], 4)
                                   .add(",")
                                   .add(response.rest[i], 4)
                                   .add(",")
                                   .add(response.sideChain[i], 4)
                                   .add("\n");
        text += line.view();
    }
    return text;
}

} // namespace sorvane::tools
