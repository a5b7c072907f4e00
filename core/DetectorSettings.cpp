#include "DetectorSettings.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace sorvane::core {

namespace {

/// \param samples  0 follows at once
double onePole(double samples)
{
    return samples > 0.0 ? 1.0 - std::exp(-2.0 / samples) : 1.0;
}

void setLookahead(DetectorSettings& settings, std::int32_t samples)
{
    const auto size = static_cast<std::int32_t>(std::bit_ceil(static_cast<std::uint32_t>(std::max(samples, 1))));
    settings.requestedLength = samples;
    settings.treeSize = size;
    settings.treeLevels = std::countr_zero(static_cast<std::uint32_t>(size));
    settings.treeShort = size - samples;
}

void setCurve(DetectorSettings& settings, const DetectorParameters& parameters)
{
    const double ratio = parameters.ratio;
    // The product and each scaling are rounded to 32 bits.
    const float product = static_cast<float>(static_cast<double>(parameters.kneePercent) * parameters.ceilingDb);
    float knee = static_cast<float>(product * 0.01);
    double slope = ratio;
    if (parameters.upward) {
        slope = ratio / (ratio - 2.00001);
        knee = static_cast<float>(knee * ((2.0 - ratio) * 0.5));
    }
    const double ceiling = parameters.ceilingDb;

    settings.slope = slope;
    settings.kneeHalfWidth = knee;
    settings.kneeA = knee > 0.0F ? slope / (4.0 * knee) : 0.0;
    settings.kneeB = slope / 2.0;
    settings.kneeC = slope * knee / 4.0;
    settings.ceiling = ceiling;
    settings.ceilingLimit = 2.0 * ceiling;
    settings.ceilingScale = ceiling > 0.0 ? 0.5 / ceiling : 0.0;
}

} // namespace

std::int32_t lookaheadSamples(float ms, double rateHz) noexcept
{
    return static_cast<std::int32_t>(std::clamp<double>(ms * rateHz * 0.001, 0.0, kMostLookahead));
}

DetectorSettings makeDetectorSettings(const DetectorParameters& parameters, double detectorRateHz) noexcept
{
    const auto coefficient = [&](float ms) { return onePole(ms * detectorRateHz * 0.001); };

    DetectorSettings settings;
    settings.thresholdInverse = std::pow(10.0, parameters.thresholdDb / -20.0);
    setCurve(settings, parameters);
    settings.attackCoefficient = coefficient(parameters.attackMs);
    settings.releaseCoefficient = coefficient(parameters.releaseMs);
    settings.fastReleaseCoefficient = coefficient(parameters.fastReleaseMs);
    settings.rmsCoefficient = coefficient(parameters.rmsMs);
    settings.finalCoefficient = onePole(detectorRateHz / 20000.0);
    settings.holdSamples = static_cast<std::int32_t>(parameters.holdMs * detectorRateHz * 0.001);
    setLookahead(settings, lookaheadSamples(parameters.lookaheadMs, detectorRateHz));

    settings.usePreSmoother = !parameters.dualRelease && parameters.upward;
    settings.usePostSmoother = !parameters.dualRelease && !parameters.upward;
    settings.useDualRelease = parameters.dualRelease;
    settings.useSmoothing = parameters.smoothing;
    return settings;
}

} // namespace sorvane::core
