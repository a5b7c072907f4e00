#pragma once

#include <cstdint>

namespace sorvane::core {

/// Longest look-ahead in samples, of the detector's window and of the audio's delay.
inline constexpr std::uint32_t kMostLookahead = 16384;

/// The engineering values that one detector is set from, as its channel's parameters hold them.
struct DetectorParameters {
    float thresholdDb = 0.0F;
    float ratio = 0.0F;       ///< compression slope 1 - 1/ratio, 0 to 2
    float kneePercent = 0.0F; ///< of the ceiling
    float ceilingDb = 0.0F;
    float attackMs = 0.0F;
    float releaseMs = 0.0F;
    float fastReleaseMs = 0.0F;
    float rmsMs = 0.0F;
    float holdMs = 0.0F;
    float lookaheadMs = 0.0F;
    bool upward = false;
    bool dualRelease = false;
    bool smoothing = false;
};

/// Everything that a DetectorChannel computes with, made from the parameters on the updating thread and handed to the
/// audio thread whole. Decibels where the name says so; coefficients are those of y += c (x - y).
struct DetectorSettings {
    double thresholdInverse = 1.0; ///< 10^(threshold / -20)
    double slope = 0.0;            ///< dB of gain change for each dB above the threshold
    double ceiling = 0.0;          ///< most gain change in dB
    double ceilingLimit = 0.0;     ///< 2 ceiling: where the ceiling is reached
    double ceilingScale = 0.0;     ///< 0.5 / ceiling, 0 for none
    double kneeHalfWidth = 0.0;    ///< dB to either side of the threshold
    double kneeA = 0.0;            ///< gain change in the knee: (kneeA d + kneeB) d + kneeC
    double kneeB = 0.0;
    double kneeC = 0.0;
    double attackCoefficient = 1.0;
    double releaseCoefficient = 1.0;
    double fastReleaseCoefficient = 1.0;
    double rmsCoefficient = 1.0;
    double finalCoefficient = 1.0;    ///< of the last smoothing stage, 0.05 ms
    std::int32_t holdSamples = 0;     ///< before a release begins
    std::int32_t requestedLength = 0; ///< look-ahead n in detector samples, 0 to 16384
    std::int32_t treeSize = 1;        ///< P, the smallest power of two not below n
    std::int32_t treeLevels = 0;      ///< log2 P
    std::int32_t treeShort = 1;       ///< P - n
    bool usePreSmoother = false;
    bool usePostSmoother = false;
    bool useDualRelease = true;
    bool useSmoothing = false;
};

/// Look-ahead in samples: truncate(ms rate / 1000), at most 16384. The detector's window and the audio's delay both
/// come from here, so that at one rate they never differ.
[[nodiscard]] std::int32_t lookaheadSamples(float ms, double rateHz) noexcept;

/// Computes a detector's settings. Any thread; no allocation.
///
/// The knee is the parabola (s / 4K) (d + K)^2 that leaves d = -K flat and joins s d at d = K with slope s. A time t
/// gives the coefficient 1 - exp(-2 / (t fs)), which reaches 86 % of a step in t.
/// \param detectorRateHz  rate at which the detector runs, above 0
[[nodiscard]] DetectorSettings makeDetectorSettings(const DetectorParameters& parameters,
                                                    double detectorRateHz) noexcept;

} // namespace sorvane::core
