#include "DetectorChannel.h"

#include "BlockMath.h"
#include "CpuDispatch.h"
#include "ExpLog.h"
#include "Vector.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

namespace sorvane::core {

using dsp::Pair;
using dsp::Vector;
using dsp::Words;

namespace {

/// Least level relative to the threshold: -200 dB, where silence stands.
constexpr double kLeastRelativeLevel = 1e-10;

/// Averages shorter than this look-ahead are left out: the second one would have no length.
constexpr std::int32_t kLeastAveraged = 4;

/// Samples that go through all steps together.
constexpr std::size_t kPiece = SlidingMaximum::kMostFrames;

double inverse(std::uint32_t length)
{
    return length > 0 ? 1.0 / length : 0.0;
}

Words<2> codePair(StateCode code)
{
    const auto bits = static_cast<std::uint64_t>(code);
    return Words<2>{bits, bits};
}

/// Lanes moved up by \p places, zeros below: one step of a prefix sum.
template <int places>
[[gnu::always_inline]] inline Vector<8> movedUp(const Vector<8>& lanes) noexcept
{
    const Vector<8> zeros{};
    return __builtin_shufflevector(zeros, lanes, 8 - places, 9 - places, 10 - places, 11 - places, 12 - places,
                                   13 - places, 14 - places, 15 - places);
}

/// A moving average over values that are all there: \p sum goes from sample to sample, taking in the newer value and
/// dropping the older one. Fast because eight sums come out of three vector additions, and only their last is waited
/// for.
[[gnu::always_inline]] inline void runMeans(const double* newer, const double* older, double* means,
                                            std::uint32_t count, double scale, double* sum) noexcept
{
    constexpr std::uint32_t width = 8;
    double last = *sum;
    std::uint32_t i = 0;
    for (; i + width <= count; i += width) {
        Vector<width> rises = dsp::load<width>(newer + i) - dsp::load<width>(older + i);
        rises += movedUp<1>(rises);
        rises += movedUp<2>(rises);
        rises += movedUp<4>(rises);
        const Vector<width> sums = last + rises;
        dsp::store<width>(scale * sums, means + i);
        last += rises[width - 1];
    }
    for (; i < count; ++i) {
        last += newer[i] - older[i];
        means[i] = scale * last;
    }
    *sum = last;
}

/// Level to gain change in dB over the curve with knee and ceiling; positive reduces, negative raises. Fast because
/// every part of the curve is computed and one chosen, without a branch, and the logarithm is arithmetic too.
struct GainCurve {
    const DetectorSettings& settings;

    template <std::size_t width>
    [[gnu::always_inline]] Vector<width> of(const Vector<width>& level) const noexcept
    {
        constexpr double kDbPerOctave = 20.0 * (std::numbers::ln2 / std::numbers::ln10);
        constexpr std::uint64_t kSign = 0x8000000000000000;
        const DetectorSettings& s = settings;
        const Vector<width> relative = level * s.thresholdInverse;
        const auto least = dsp::broadcast<width>(kLeastRelativeLevel);
        const Vector<width> d = kDbPerOctave * dsp::log2<width>(relative > least ? relative : least);
        const Vector<width> knee = (s.kneeA * d + s.kneeB) * d + s.kneeC;
        const Vector<width> bent = d >= -s.kneeHalfWidth ? knee : Vector<width>{};
        const Vector<width> change = d >= s.kneeHalfWidth ? s.slope * d : bent;

        // A parabola that leaves 0 with slope 1 and reaches the ceiling flat, at twice the ceiling.
        const Words<width> sign = dsp::wordsOf<width>(change) & kSign;
        const auto magnitude = dsp::doublesOf<width>(dsp::wordsOf<width>(change) ^ sign);
        const Vector<width> t = magnitude * s.ceilingScale;
        const Vector<width> limited =
            magnitude >= s.ceilingLimit ? dsp::broadcast<width>(s.ceiling) : s.ceiling * ((2.0 - t) * t);
        return dsp::doublesOf<width>(dsp::wordsOf<width>(limited) | sign);
    }
};

/// Gain change in dB to linear gain.
struct LinearGain {
    template <std::size_t width>
    [[gnu::always_inline]] Vector<width> of(const Vector<width>& change) const noexcept
    {
        constexpr double kOctavesPerDb = std::numbers::ln10 / std::numbers::ln2 / -20.0;
        return dsp::exp2<width>(change * kOctavesPerDb);
    }
};

/// Whether no level changes any gain: all lie below the knee, or nothing has an effect.
bool areAtRest(std::span<const double> levels, const DetectorSettings& settings)
{
    const double highest = dsp::highest(levels);
    // Above the threshold there hardly ever is rest, and no need to look closer.
    return highest * settings.thresholdInverse < 1.0 && GainCurve{settings}.of<2>(dsp::broadcast<2>(highest))[0] == 0.0;
}

/// Levels to gain changes in dB.
void computeChanges(std::span<double> levels, const DetectorSettings& settings)
{
    if (areAtRest(levels, settings))
        std::fill(levels.begin(), levels.end(), 0.0);
    else
        dsp::applyInPlace(levels, GainCurve{settings});
}

/// Levels to linear gains.
void computeGains(std::span<double> levels, const DetectorSettings& settings)
{
    if (areAtRest(levels, settings))
        return std::fill(levels.begin(), levels.end(), 1.0);
    dsp::applyInPlace(levels, GainCurve{settings});
    dsp::applyInPlace(levels, LinearGain{});
}

} // namespace

void DetectorChannel::reset() noexcept
{
    maximum.clear();
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
    for (std::size_t done = 0; done < samples.size(); done += kPiece) {
        const std::size_t frames = std::min(kPiece, samples.size() - done);
        const Block piece{*this, samples.subspan(done, frames), codes.subspan(done, frames)};
        processPiece({&piece, 1});
    }
}

void DetectorChannel::processPair(const Block& first, const Block& second) noexcept
{
    first.detector.beginBlock();
    second.detector.beginBlock();
    if (!first.detector.takesPathOf(second.detector)) {
        first.detector.process(first.samples, first.codes);
        second.detector.process(second.samples, second.codes);
        return;
    }
    for (std::size_t done = 0; done < first.samples.size(); done += kPiece) {
        const std::size_t frames = std::min(kPiece, first.samples.size() - done);
        const std::array pieces{
            Block{first.detector, first.samples.subspan(done, frames), first.codes.subspan(done, frames)},
            Block{second.detector, second.samples.subspan(done, frames), second.codes.subspan(done, frames)}};
        processPiece(pieces);
    }
}

bool DetectorChannel::takesPathOf(const DetectorChannel& other) const noexcept
{
    return settings.usePreSmoother == other.settings.usePreSmoother &&
           settings.usePostSmoother == other.settings.usePostSmoother &&
           settings.useDualRelease == other.settings.useDualRelease &&
           settings.useSmoothing == other.settings.useSmoothing &&
           (!settings.useSmoothing || activeLength == other.activeLength);
}

void DetectorChannel::processPiece(Lanes lanes) noexcept
{
    const DetectorSettings& path = lanes[0].detector.settings;
    for (const Block& block : lanes)
        block.detector.maximum.process(block.samples, block.detector.settings);
    if (path.usePreSmoother)
        smooth(&DetectorChannel::preSmoother, lanes);
    if (path.useDualRelease)
        dualRelease(lanes);
    if (path.usePostSmoother) {
        for (const Block& block : lanes)
            computeChanges(block.samples, block.detector.settings);
        smooth(&DetectorChannel::postSmoother, lanes);
        for (const Block& block : lanes)
            dsp::applyInPlace(block.samples, LinearGain{});
    } else {
        for (const Block& block : lanes)
            computeGains(block.samples, block.detector.settings);
    }
    if (path.useSmoothing) {
        averageGains(lanes);
        followGains(lanes);
    }
}

/// The averages' histories stand still while they are not in use: until then a new length can wait.
void DetectorChannel::beginBlock() noexcept
{
    if (settings.useSmoothing && activeLength != settings.requestedLength)
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

    const std::uint32_t from1 = smoothIndex1 - smoothLength2;
    const std::uint32_t from2 = smoothIndex2 - smoothLength2;
    smoothSum1 = sumBefore(smoothRing1, from1, smoothLength1);
    for (std::uint32_t done = 0; done < smoothLength2;) {
        const std::array places{from1 + done, from1 + done - smoothLength1, from2 + done};
        const std::uint32_t run = std::min(smoothLength2 - done, untilWrap(places));
        dsp::CpuDispatch<runMeans>::run(&smoothRing1[places[0] & kMask], &smoothRing1[places[1] & kMask],
                                        &smoothRing2[places[2] & kMask], run, smoothScale1, &smoothSum1);
        done += run;
    }
    smoothSum2 = sumBefore(smoothRing2, smoothIndex2, smoothLength2);
}

/// \return the sum of the \p length cells before a place
double DetectorChannel::sumBefore(const std::array<double, kRing>& ring, std::uint32_t place,
                                  std::uint32_t length) noexcept
{
    const std::uint32_t first = (place - length) & kMask;
    const std::uint32_t run = std::min(length, kRing - first);
    return dsp::sum(std::span(ring).subspan(first, run)) + dsp::sum(std::span(ring).first(length - run));
}

/// \return samples until one of the places wraps
std::uint32_t DetectorChannel::untilWrap(std::span<const std::uint32_t> places) noexcept
{
    std::uint32_t run = kRing;
    for (const std::uint32_t place : places)
        run = std::min(run, kRing - (place & kMask));
    return run;
}

/// Peak follower with a hold and two releases: the fast one as long as the envelope stands more than 6 dB above the
/// running RMS, the slow one below that. Both decay towards zero.
///
/// Fast because both channels share a vector, and every outcome is computed and one chosen, with no branch to guess.
void DetectorChannel::dualRelease(Lanes lanes) noexcept
{
    const bool silent = std::all_of(lanes.begin(), lanes.end(), [](const Block& block) {
        return block.detector.envelope == 0.0 && block.detector.meanSquare == 0.0 && dsp::highest(block.samples) == 0.0;
    });
    if (silent) { // a level on the envelope is an attack
        for (const Block& block : lanes) {
            std::fill(block.codes.begin(), block.codes.end(), stateAttack);
            block.detector.holdCounter = block.detector.settings.holdSamples;
        }
    } else if (staysAboveFlush(lanes))
        dsp::CpuDispatch<runDualRelease<false>>::run(lanes);
    else
        dsp::CpuDispatch<runDualRelease<true>>::run(lanes);
}

/// Whether all states stay where flushing changes nothing, far above 1e-14. The envelope never falls below both where
/// it began and what a release leaves of the lowest level; the mean lies between its begin and the squares.
bool DetectorChannel::staysAboveFlush(Lanes lanes) noexcept
{
    constexpr double kSafe = 1e-12;
    bool safe = true;
    for (const Block& block : lanes) {
        const DetectorChannel& detector = block.detector;
        const DetectorSettings& set = detector.settings;
        const double lowest = dsp::lowest(block.samples);
        const double released = lowest * (1.0 - std::max(set.releaseCoefficient, set.fastReleaseCoefficient));
        safe = safe && detector.envelope > kSafe && released > kSafe && detector.meanSquare > kSafe &&
               lowest * lowest > kSafe;
    }
    return safe;
}

template <bool flushes>
[[gnu::always_inline]] inline void DetectorChannel::runDualRelease(Lanes lanes) noexcept
{
    const auto flushed = [](const Pair& x) __attribute__((always_inline))
    {
        return flushes ? dsp::flush(x) : x;
    };
    DetectorChannel& l = lanes[0].detector;
    DetectorChannel& r = lanes.back().detector; // alone, a channel fills both lanes
    const Pair rms{l.settings.rmsCoefficient, r.settings.rmsCoefficient};
    const Pair attack{l.settings.attackCoefficient, r.settings.attackCoefficient};
    const Pair release{l.settings.releaseCoefficient, r.settings.releaseCoefficient};
    const Pair fastRelease{l.settings.fastReleaseCoefficient, r.settings.fastReleaseCoefficient};
    const Pair reload{static_cast<double>(l.settings.holdSamples), static_cast<double>(r.settings.holdSamples)};
    Pair mean{l.meanSquare, r.meanSquare};
    Pair e{l.envelope, r.envelope};
    Pair hold{static_cast<double>(l.holdCounter), static_cast<double>(r.holdCounter)};
    double* const left = lanes[0].samples.data();
    double* const right = lanes.back().samples.data();
    std::int32_t* const leftCodes = lanes[0].codes.data();
    std::int32_t* const rightCodes = lanes.back().codes.data();
    for (std::size_t i = 0; i < lanes[0].samples.size(); ++i) {
        const Pair x{left[i], right[i]};
        mean = flushed(mean + (x * x - mean) * rms);
        const auto rises = x >= e;
        const auto holds = hold > 0.0;
        const auto isFast = e * e > 4.0 * mean;
        const Pair risen = e + (x - e) * attack;
        const Pair released = isFast ? e - e * fastRelease : e - e * release;
        const Words<2> releaseCode = isFast ? codePair(stateFastRelease) : codePair(stateSlowRelease);
        const Words<2> code = rises ? codePair(stateAttack) : (holds ? codePair(stateHold) : releaseCode);
        e = flushed(rises ? risen : (holds ? e : released));
        hold = rises ? reload : (holds ? hold - 1.0 : hold);
        left[i] = e[0];
        right[i] = e[1];
        leftCodes[i] = static_cast<std::int32_t>(code[0]);
        rightCodes[i] = static_cast<std::int32_t>(code[1]);
    }
    for (std::size_t lane = 0; lane < lanes.size(); ++lane) {
        DetectorChannel& detector = lanes[lane].detector;
        detector.meanSquare = mean[lane];
        detector.envelope = e[lane];
        detector.holdCounter = static_cast<std::int32_t>(hold[lane]);
    }
}

/// Attack stage, which follows in both directions, and a peak follower on it, which releases towards zero. Fast as
/// dualRelease is.
void DetectorChannel::smooth(Smoother DetectorChannel::*which, Lanes lanes) noexcept
{
    DetectorChannel& l = lanes[0].detector;
    DetectorChannel& r = lanes.back().detector;
    const Pair attack{l.settings.attackCoefficient, r.settings.attackCoefficient};
    const Pair release{l.settings.releaseCoefficient, r.settings.releaseCoefficient};
    Pair a{(l.*which).attackState, (r.*which).attackState};
    Pair b{(l.*which).peakState, (r.*which).peakState};
    double* const left = lanes[0].samples.data();
    double* const right = lanes.back().samples.data();
    std::int32_t* const leftCodes = lanes[0].codes.data();
    std::int32_t* const rightCodes = lanes.back().codes.data();
    for (std::size_t i = 0; i < lanes[0].samples.size(); ++i) {
        const Pair x{left[i], right[i]};
        a = dsp::flush(a + (x - a) * attack);
        const auto rises = a >= b;
        const Words<2> code = rises ? codePair(stateAttack) : codePair(stateSlowRelease);
        b = dsp::flush(rises ? a : b - b * release);
        left[i] = b[0];
        right[i] = b[1];
        leftCodes[i] = static_cast<std::int32_t>(code[0]);
        rightCodes[i] = static_cast<std::int32_t>(code[1]);
    }
    for (std::size_t lane = 0; lane < lanes.size(); ++lane)
        lanes[lane].detector.*which = {a[lane], b[lane]};
}

/// Two moving averages of 3n/4 and n/4: together a trapezoid as long as the look-ahead, so that the gain arrives
/// exactly when the held peak does. Fast because both channels share a vector, in runs between the places where a ring
/// wraps.
void DetectorChannel::averageGains(Lanes lanes) noexcept
{
    const auto frames = static_cast<std::uint32_t>(lanes[0].samples.size());
    if (lanes[0].detector.activeLength >= kLeastAveraged)
        for (std::uint32_t done = 0; done < frames;) {
            std::uint32_t run = frames - done;
            for (const Block& block : lanes)
                run = std::min(run, block.detector.runOfAverages(done));
            averageRun(lanes, done, run);
            done += run;
        }
    for (const Block& block : lanes) {
        block.detector.smoothIndex1 = (block.detector.smoothIndex1 + frames) & kMask;
        block.detector.smoothIndex2 = (block.detector.smoothIndex2 + frames) & kMask;
    }
}

/// \return samples until one of the places that are read or written wraps
std::uint32_t DetectorChannel::runOfAverages(std::uint32_t done) const noexcept
{
    const std::uint32_t place1 = smoothIndex1 + done;
    const std::uint32_t place2 = smoothIndex2 + done;
    return untilWrap(std::array{place1, place1 - smoothLength1, place2, place2 - smoothLength2});
}

/// Where a run of a detector's averages reads and writes.
struct DetectorChannel::AverageRun {
    AverageRun(const Block& block, std::uint32_t done) noexcept
        : gains(block.samples.data() + done),
          new1(&block.detector.smoothRing1[(block.detector.smoothIndex1 + done) & kMask]),
          old1(
              &block.detector.smoothRing1[(block.detector.smoothIndex1 + done - block.detector.smoothLength1) & kMask]),
          new2(&block.detector.smoothRing2[(block.detector.smoothIndex2 + done) & kMask]),
          old2(&block.detector.smoothRing2[(block.detector.smoothIndex2 + done - block.detector.smoothLength2) & kMask])
    {}

    double* gains;
    double* new1;
    double* old1;
    double* new2;
    double* old2;
};

void DetectorChannel::averageRun(Lanes lanes, std::uint32_t done, std::uint32_t frames) noexcept
{
    DetectorChannel& first = lanes[0].detector;
    DetectorChannel& second = lanes.back().detector;
    const AverageRun l(lanes[0], done);
    const AverageRun r(lanes.back(), done);
    const double scale1 = first.smoothScale1; // lanes have one look-ahead
    const double scale2 = first.smoothScale2;
    Pair sum1{first.smoothSum1, second.smoothSum1};
    Pair sum2{first.smoothSum2, second.smoothSum2};
    for (std::uint32_t i = 0; i < frames; ++i) {
        const Pair gain{l.gains[i], r.gains[i]};
        sum1 = dsp::flush(sum1 + gain - Pair{l.old1[i], r.old1[i]});
        l.new1[i] = gain[0];
        r.new1[i] = gain[1];
        const Pair mean = scale1 * sum1;
        sum2 = dsp::flush(sum2 + mean - Pair{l.old2[i], r.old2[i]});
        l.new2[i] = mean[0];
        r.new2[i] = mean[1];
        const Pair averaged = scale2 * sum2;
        l.gains[i] = averaged[0];
        r.gains[i] = averaged[1];
    }
    for (std::size_t lane = 0; lane < lanes.size(); ++lane) {
        lanes[lane].detector.smoothSum1 = sum1[lane];
        lanes[lane].detector.smoothSum2 = sum2[lane];
    }
}

void DetectorChannel::followGains(Lanes lanes) noexcept
{
    DetectorChannel& first = lanes[0].detector;
    DetectorChannel& second = lanes.back().detector;
    const Pair c{first.settings.finalCoefficient, second.settings.finalCoefficient};
    double* const left = lanes[0].samples.data();
    double* const right = lanes.back().samples.data();
    Pair g{first.smoothedGain, second.smoothedGain};
    for (std::size_t i = 0; i < lanes[0].samples.size(); ++i) {
        g = dsp::flush(g + (Pair{left[i], right[i]} - g) * c);
        left[i] = g[0];
        right[i] = g[1];
    }
    for (std::size_t lane = 0; lane < lanes.size(); ++lane)
        lanes[lane].detector.smoothedGain = g[lane];
}

} // namespace sorvane::core
