#include "DetectorChannel.h"

#include "Flush.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace sorvane::core {

using dsp::flush;

namespace {

/// Least level relative to the threshold: -200 dB, where silence stands.
constexpr double kLeastRelativeLevel = 1e-10;

/// Averages shorter than this look-ahead are left out: the second one would have no length.
constexpr std::int32_t kLeastAveraged = 4;

double inverse(std::uint32_t length)
{
    return length > 0 ? 1.0 / length : 0.0;
}

} // namespace

void DetectorChannel::reset() noexcept
{
    maxTree.fill(0.0);
    treeIndex = 0;
    meanSquare = 0.0;
    envelope = 0.0;
    holdCounter = 0;
    preSmoother = {};
    postSmoother = {};
    smoothRing1.fill(1.0);
    smoothRing2.fill(1.0);
    smoothIndex1 = 0;
    smoothIndex2 = 0;
    smoothSum1 = smoothLength1;
    smoothSum2 = smoothLength2;
    smoothedGain = 1.0;
}

void DetectorChannel::process(std::span<double> samples, std::span<std::int32_t> codes) noexcept
{
    beginBlock();
    for (double& sample : samples)
        sample = std::abs(sample);
    slidingMaximum(samples);
    if (settings.usePreSmoother)
        smooth(preSmoother, samples, codes);
    if (settings.useDualRelease)
        dualRelease(samples, codes);
    for (double& sample : samples)
        sample = gainChangeDb(sample);
    if (settings.usePostSmoother)
        smooth(postSmoother, samples, codes);
    for (double& sample : samples)
        sample = std::exp(sample * (std::numbers::ln10 / -20.0));
    if (settings.useSmoothing) {
        averageGains(samples);
        followGains(samples);
    }
}

void DetectorChannel::beginBlock() noexcept
{
    if (activeLength != settings.requestedLength)
        rebuildAverages();
}

/// Brings sums and second ring to what they would hold had the new length been in force all along.
void DetectorChannel::rebuildAverages() noexcept
{
    activeLength = settings.requestedLength;
    smoothLength1 = static_cast<std::uint32_t>(3 * activeLength / 4);
    smoothLength2 = static_cast<std::uint32_t>(activeLength / 4);
    smoothScale1 = inverse(smoothLength1);
    smoothScale2 = inverse(smoothLength2);

    double sum = 0.0;
    for (std::uint32_t j = 1; j <= smoothLength1; ++j)
        sum += smoothRing1[(smoothIndex1 - j) & kMask];
    smoothSum1 = sum;

    smoothSum2 = 0.0;
    for (std::uint32_t j = 1; j <= smoothLength2; ++j) {
        const double mean = smoothScale1 * sum;
        smoothRing2[(smoothIndex2 - j) & kMask] = mean;
        smoothSum2 += mean;
        sum += smoothRing1[(smoothIndex1 - j - smoothLength1) & kMask] - smoothRing1[(smoothIndex1 - j) & kMask];
    }
}

/// A cascade of delays of 1, 2, 4 ... samples, each stage passing on the larger of its input and its delayed input,
/// widens the window from 1 to P; the last stage's delay is shortened so that the whole is exactly n. Costs log2(n)
/// comparisons a sample for any n.
void DetectorChannel::slidingMaximum(std::span<double> levels) noexcept
{
    for (std::int32_t stage = 0; stage < settings.treeLevels; ++stage) {
        const std::uint32_t size = 1U << stage;
        const std::uint32_t mask = size - 1;
        const std::uint32_t ahead =
            stage == settings.treeLevels - 1 ? static_cast<std::uint32_t>(settings.treeShort) : 0U;
        double* const cells = maxTree.data() + mask; // the stages before this one hold 2^stage - 1 cells
        std::uint32_t index = treeIndex;
        for (double& level : levels) {
            const double delayed = cells[(ahead + index) & mask];
            cells[index & mask] = level;
            level = std::max(level, delayed);
            ++index;
        }
    }
    treeIndex =
        (treeIndex + static_cast<std::uint32_t>(levels.size())) & static_cast<std::uint32_t>(settings.treeSize - 1);
}

/// Peak follower with a hold and two releases: the fast one as long as the envelope stands more than 6 dB above the
/// running RMS, the slow one below that. Both decay towards zero.
void DetectorChannel::dualRelease(std::span<double> levels, std::span<std::int32_t> codes) noexcept
{
    double e = envelope;
    double mean = meanSquare;
    std::int32_t hold = holdCounter;
    for (std::size_t i = 0; i < levels.size(); ++i) {
        const double x = levels[i];
        mean = flush(mean + (x * x - mean) * settings.rmsCoefficient);
        if (x >= e) {
            hold = settings.holdSamples;
            e += (x - e) * settings.attackCoefficient;
            codes[i] = stateAttack;
        } else if (hold > 0) {
            --hold;
            codes[i] = stateHold;
        } else if (e * e > 4.0 * mean) {
            e -= e * settings.fastReleaseCoefficient;
            codes[i] = stateFastRelease;
        } else {
            e -= e * settings.releaseCoefficient;
            codes[i] = stateSlowRelease;
        }
        e = flush(e);
        levels[i] = e;
    }
    envelope = e;
    meanSquare = mean;
    holdCounter = hold;
}

/// Attack stage, which follows in both directions, and a peak follower on it, which releases towards zero.
void DetectorChannel::smooth(Smoother& smoother, std::span<double> levels, std::span<std::int32_t> codes) const noexcept
{
    double a = smoother.attackState;
    double b = smoother.peakState;
    for (std::size_t i = 0; i < levels.size(); ++i) {
        a = flush(a + (levels[i] - a) * settings.attackCoefficient);
        if (a >= b) {
            b = a;
            codes[i] = stateAttack;
        } else {
            b -= b * settings.releaseCoefficient;
            codes[i] = stateSlowRelease;
        }
        b = flush(b);
        levels[i] = b;
    }
    smoother.attackState = a;
    smoother.peakState = b;
}

/// \return gain change in dB for a level; positive reduces, negative raises
double DetectorChannel::gainChangeDb(double level) const noexcept
{
    const double d = 20.0 * std::log10(std::max(level * settings.thresholdInverse, kLeastRelativeLevel));
    double change = 0.0;
    if (d >= settings.kneeHalfWidth)
        change = settings.slope * d;
    else if (d >= -settings.kneeHalfWidth)
        change = (settings.kneeA * d + settings.kneeB) * d + settings.kneeC;

    // A parabola that leaves 0 with slope 1 and reaches the ceiling flat, at twice the ceiling.
    double magnitude = std::abs(change);
    if (magnitude >= settings.ceilingLimit) {
        magnitude = settings.ceiling;
    } else if (magnitude > 0.0) {
        const double t = magnitude * settings.ceilingScale;
        magnitude = settings.ceiling * ((2.0 - t) * t);
    }
    return std::copysign(magnitude, change);
}

/// Two moving averages of 3n/4 and n/4: together a trapezoid as long as the look-ahead, so that the gain arrives
/// exactly when the held peak does.
void DetectorChannel::averageGains(std::span<double> gains) noexcept
{
    const auto count = static_cast<std::uint32_t>(gains.size());
    if (activeLength >= kLeastAveraged) {
        double sum1 = smoothSum1;
        double sum2 = smoothSum2;
        std::uint32_t index1 = smoothIndex1;
        std::uint32_t index2 = smoothIndex2;
        for (double& gain : gains) {
            sum1 = flush(sum1 + gain - smoothRing1[(index1 - smoothLength1) & kMask]);
            smoothRing1[index1 & kMask] = gain;
            const double mean = smoothScale1 * sum1;
            sum2 = flush(sum2 + mean - smoothRing2[(index2 - smoothLength2) & kMask]);
            smoothRing2[index2 & kMask] = mean;
            gain = smoothScale2 * sum2;
            ++index1;
            ++index2;
        }
        smoothSum1 = sum1;
        smoothSum2 = sum2;
    }
    smoothIndex1 = (smoothIndex1 + count) & kMask;
    smoothIndex2 = (smoothIndex2 + count) & kMask;
}

void DetectorChannel::followGains(std::span<double> gains) noexcept
{
    const double c = settings.finalCoefficient;
    double g = smoothedGain;
    for (double& gain : gains) {
        g = flush(g + (gain - g) * c);
        gain = g;
    }
    smoothedGain = g;
}

} // namespace sorvane::core
