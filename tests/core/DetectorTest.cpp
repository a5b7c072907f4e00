// The detector: curve, time constants, look-ahead and smoothing, against closed forms and plain loops.

#include "CpuDispatch.h"
#include "DetectorChannel.h"
#include "Effect.h"
#include "PlainDetector.h"

#include <gtest/gtest.h>

#include <numeric>

namespace sorvane::test {
namespace {

using namespace core;

/// Gain change in dB of the static curve, as the manual draws it; positive reduces.
double curve(double levelDb, const Plug& plug)
{
    const double threshold = plug.getParameterValue(kThreshold);
    const double ratio = plug.getParameterValue(kRatio);
    const float ceiling = plug.getParameterValue(kCeil);
    const bool upward = plug.getParameterValue(kExcite) != 0.0F;
    const double slope = upward ? ratio / (ratio - 2.00001) : ratio;
    double knee = static_cast<float>(static_cast<float>(double{plug.getParameterValue(kSoft)} * ceiling) * 0.01);
    if (upward)
        knee = static_cast<float>(knee * (1.0 - ratio / 2.0));

    const double d = levelDb - threshold;
    const double change = d >= knee ? slope * d : d > -knee ? slope / (4.0 * knee) * (d + knee) * (d + knee) : 0.0;
    const double magnitude = std::abs(change);
    const double limited = magnitude >= 2.0 * ceiling ? ceiling : magnitude - magnitude * magnitude / (4.0 * ceiling);
    return std::copysign(ceiling > 0.0F ? limited : 0.0, change);
}

TEST(Detector, StaticCurveThroughTheBlockEntry)
{
    const auto plug = makeWidePlug();
    setValues(*plug, {{kLookahead, 0}, {kAttack, 0.02}, {kStereoMode, 0}});
    std::size_t points = 0;
    double worst = 0.0;
    for (const double upward : {0.0, 1.0})
        for (const double dualRelease : {0.0, 1.0})
            for (const double threshold : {-60.0, -18.0, 0.0, 12.0})
                for (const double ratio : {0.0, 0.5, 0.6997, 1.0, 1.7, 2.0})
                    for (const auto& [knee, ceiling] :
                         {std::pair{0.0, 48.0}, {40.0, 48.0}, {100.0, 6.0}, {50.0, 0.0}}) {
                        setValues(*plug, {{kExcite, upward},
                                          {kMode, dualRelease},
                                          {kThreshold, threshold},
                                          {kRatio, ratio},
                                          {kSoft, knee},
                                          {kCeil, ceiling}});
                        plug->resume();
                        for (const double level : {-100.0, -63.0, -40.0, -19.0, -17.5, 0.0, 18.0}) {
                            const double amplitude = std::pow(10.0, level / 20.0);
                            const auto out = play(*plug, {.main = {Signal(400, amplitude)}, .side = {}});
                            const double change = -decibels(out[0].back() / amplitude);
                            worst = std::max(worst, std::abs(change - curve(level, *plug)));
                            ++points;
                        }
                    }
    EXPECT_GE(points, 200U);
    EXPECT_LT(worst, 1e-9) << points << " points";
    RecordProperty("points", static_cast<int>(points));
    RecordProperty("worstDb", std::to_string(worst));
}

TEST(Detector, CurveOfTheFactorySettings)
{
    const auto plug = makeWidePlug();
    setValues(*plug, {{kLookahead, 0}});
    const auto full = play(*plug, {.main = {Signal(40000, 1.0)}, .side = {}});
    EXPECT_NEAR(-decibels(full[0].back()), 11.78, 0.005);
    plug->resume();
    const auto quiet = play(*plug, {.main = {Signal(4000, 0.01)}, .side = {}});
    EXPECT_EQ(quiet[0].back(), 0.01);
}

/// A limiter with a hard knee far below the signal: its gain is the threshold over the envelope.
Values envelopeProbe()
{
    return {{kThreshold, -60}, {kRatio, 1}, {kSoft, 0}, {kLookahead, 0}, {kStereoMode, 0}};
}

TEST(Detector, AttackAndReleaseFollowTheirLaw)
{
    constexpr double kRate = 48000.0;
    constexpr std::size_t kBurst = 24000;
    Signal input(kBurst + 24000, 1e-2); // loud enough to hear the gain by, below the threshold of the probe's release
    std::fill(input.begin(), input.begin() + kBurst, 1.0);

    for (const auto& [attackMs, releaseMs] : {std::pair{0.02, 10.0}, {3.15, 200.0}, {50.0, 2000.0}}) {
        const auto plug = makeWidePlug();
        setValues(*plug, envelopeProbe());
        setValues(*plug, {{kThreshold, 0},
                          {kRatio, 0.5},
                          {kSoft, 0},
                          {kMode, 0},
                          {kAttack, attackMs},
                          {kRelease, releaseMs},
                          {kIpTrim, 24}});
        plug->resume();
        const auto out = play(*plug, {.main = {input}, .side = {}});
        const double trim = std::pow(10.0, 24.0 / 20.0);
        const double full = curve(24.0, *plug); // dB of the step
        const double attack = plug->getParameterValue(kAttack) * kRate * 0.001;
        const double release = plug->getParameterValue(kRelease) * kRate * 0.001;
        const auto changeAt = [&](std::size_t i) { return -decibels(out[0][i] / (input[i] * trim)); };
        for (std::size_t n = 0; n < 5000; n += 7) {
            const double expected = full * (1.0 - std::exp(-2.0 * static_cast<double>(n + 1) / attack));
            ASSERT_NEAR(changeAt(n), expected, 1e-9) << attackMs << ' ' << n;
        }
        const double end = full * (1.0 - std::exp(-2.0 * kBurst / attack));
        for (std::size_t n = 0; n < 20000; n += 37) {
            // The attack stage falls too; the peak follower stays on it until it is the slower one.
            const double peak = end * std::exp(-2.0 * static_cast<double>(n + 1) / release);
            const double followed = end * std::exp(-2.0 * static_cast<double>(n + 1) / attack);
            ASSERT_NEAR(changeAt(kBurst + n), std::max(peak, followed), 1e-9) << releaseMs << ' ' << n;
        }
    }
}

TEST(Detector, DualReleaseHoldsThenFallsSlowlyOrFast)
{
    constexpr double kRate = 48000.0;
    constexpr std::size_t kBurst = 480; // short beside the RMS time, so that the fast release begins at once
    Signal input(kBurst + 12000, 1e-9);
    std::fill(input.begin(), input.begin() + kBurst, 1.0);
    const auto plug = makeWidePlug();
    setValues(*plug, envelopeProbe());
    setValues(*plug, {{kAttack, 0.02}, {kHold, 5}, {kRelease, 200}, {kRelease2, 20}, {kRelAvg, 50}, {kCeil, 48}});
    plug->resume();

    const double threshold = std::pow(10.0, plug->getParameterValue(kThreshold) / 20.0);
    const auto samples = [&](std::int32_t tag) { return plug->getParameterValue(tag) * kRate * 0.001; };
    const auto coefficient = [&](std::int32_t tag) { return 1.0 - std::exp(-2.0 / samples(tag)); };
    const auto hold = static_cast<std::int32_t>(samples(kHold));
    const auto out = play(*plug, {.main = {input}, .side = {}}, 48);

    double envelope = 0.0;
    double meanSquare = 0.0;
    std::int32_t held = 0;
    std::array<std::size_t, 4> states{}; // attack, hold, fast, slow
    for (std::size_t i = 0; i < input.size(); ++i) {
        meanSquare += (input[i] * input[i] - meanSquare) * coefficient(kRelAvg);
        const bool rises = input[i] >= envelope;
        if (rises)
            envelope += (input[i] - envelope) * coefficient(kAttack), held = hold, ++states[0];
        else if (held > 0)
            --held, ++states[1];
        else if (envelope > 2.0 * std::sqrt(meanSquare))
            envelope *= 1.0 - coefficient(kRelease2), ++states[2];
        else
            envelope *= 1.0 - coefficient(kRelease), ++states[3];
        const double d = plug->getParameterValue(kRatio) * decibels(envelope / threshold);
        const double change = d <= 0.0 ? 0.0 : d >= 96.0 ? 48.0 : d - d * d / 192.0;
        ASSERT_NEAR(-decibels(out[0][i] / input[i]), change, 1e-9) << i;
    }
    EXPECT_EQ(states[1], static_cast<std::size_t>(hold));
    EXPECT_GT(states[2], 100U);
    EXPECT_GT(states[3], 100U);
}

/// A detector whose gain is 0.001 / level: no envelope, slope 1, hard knee, ceiling out of reach.
DetectorSettings bareSettings(std::int32_t lookahead)
{
    DetectorSettings settings = makeDetectorSettings(
        {.thresholdDb = -60, .ratio = 1, .kneePercent = 0, .ceilingDb = 1e30F, .dualRelease = true}, 48000.0);
    const DetectorSettings window =
        makeDetectorSettings({.lookaheadMs = static_cast<float>(lookahead)}, 1000.0); // 1 sample a ms
    settings.requestedLength = window.requestedLength;
    settings.treeSize = window.treeSize;
    settings.treeLevels = window.treeLevels;
    settings.treeShort = window.treeShort;
    settings.useDualRelease = false;
    return settings;
}

/// \param blocks  sizes of the blocks, in turn
Signal gainsOf(DetectorChannel& detector, Signal levels, const std::vector<std::size_t>& blocks = {300})
{
    std::vector<std::int32_t> codes(std::ranges::max(blocks));
    std::size_t turn = 0;
    for (std::size_t i = 0; i < levels.size();) {
        const std::size_t count = std::min(blocks[turn++ % blocks.size()], levels.size() - i);
        detector.process(std::span(levels).subspan(i, count), std::span(codes).first(count));
        i += count;
    }
    return levels;
}

TEST(Detector, SlidingMaximumEqualsAPlainLoop)
{
    const auto detector = std::make_unique<DetectorChannel>();
    std::vector<std::int32_t> lengths(2001);
    std::iota(lengths.begin(), lengths.end(), 0);
    for (const std::int32_t n : {2047, 2048, 2049, 4800, 8191, 8192, 8193, 9600, 16383, 16384})
        lengths.push_back(n);
    double worst = 0.0;
    for (const std::int32_t n : lengths) {
        const auto window = static_cast<std::size_t>(std::max(n, 1));
        Signal levels = noise(window + window / 2 + 64, static_cast<std::uint32_t>(n), 0.9);
        for (double& level : levels)
            level = 0.01 + std::abs(level);
        detector->reset();
        detector->set(bareSettings(n));
        const Signal gains = gainsOf(*detector, levels, {64, 32, 97, 31, 128, 1, 2, 4, 57});
        for (std::size_t i = 0; i < levels.size(); i += 1 + window / 16) {
            const std::size_t first = i + 1 >= window ? i + 1 - window : 0;
            double expected = 0.0;
            for (std::size_t j = first; j <= i; ++j)
                expected = std::max(expected, levels[j]);
            worst = std::max(worst, std::abs(0.001 / gains[i] - expected));
        }
    }
    EXPECT_LT(worst, 1e-12);
}

/// Two moving averages over a history that was 1 before it began, then the one-pole, as plain sums.
Signal smoothedPlainly(const Signal& gains, std::size_t first, std::int32_t n, double pole, double state)
{
    const auto at = [&](const Signal& x, std::ptrdiff_t i) { return i < 0 ? 1.0 : x[static_cast<std::size_t>(i)]; };
    const std::ptrdiff_t a = 3 * n / 4;
    const std::ptrdiff_t b = n / 4;
    Signal means(gains.size());
    for (std::size_t i = 0; i < gains.size(); ++i) {
        double sum = 0.0;
        for (std::ptrdiff_t j = 0; j < a; ++j)
            sum += at(gains, static_cast<std::ptrdiff_t>(i) - j);
        means[i] = sum / static_cast<double>(a);
    }
    Signal result;
    for (std::size_t i = first; i < gains.size(); ++i) {
        double sum = 0.0;
        for (std::ptrdiff_t j = 0; j < b; ++j)
            sum += at(means, static_cast<std::ptrdiff_t>(i) - j);
        state += (sum / static_cast<double>(b) - state) * pole;
        result.push_back(state);
    }
    return result;
}

TEST(Detector, SmoothingIsTwoAveragesAndAChangeOfLookaheadMakesNoStep)
{
    const auto smooth = std::make_unique<DetectorChannel>();
    const auto plain = std::make_unique<DetectorChannel>();
    Signal levels = noise(3000, 5, 0.9);
    for (double& level : levels)
        level = 0.01 + std::abs(level);
    Signal gains;
    double state = 1.0;
    for (const std::int32_t n :
         {441, 100, 4, 900, 37, 43, 7000, 5000, 16000}) { // the last three across the ends of rings
        DetectorSettings settings = bareSettings(n);
        plain->set(settings);
        settings.useSmoothing = true;
        smooth->set(settings);
        const Signal more = gainsOf(*plain, levels);
        const std::size_t first = gains.size();
        gains.insert(gains.end(), more.begin(), more.end());
        const Signal expected = smoothedPlainly(gains, first, n, settings.finalCoefficient, state);
        EXPECT_LT(peakDifference(gainsOf(*smooth, levels), expected), 1e-12) << n;
        state = expected.back();
    }
}

/// Two channels that die away from loud to far below what any state keeps, and come back.
std::array<Signal, 2> dyingLevels()
{
    std::array<Signal, 2> levels{noise(9000, 6, 1.0), noise(9000, 7, 1.0)};
    for (std::size_t i = 0; i < 9000; ++i)
        for (std::size_t c = 0; c < 2; ++c)
            levels[c][i] *= i < 7000 ? std::exp(-0.01 * static_cast<double>(i + 500 * c)) : 0.5;
    return levels;
}

TEST(Detector, PairsAreThePlainDetectorOnAnyPathUnitAndBlock)
{
    const auto levels = dyingLevels();
    for (int path = 0; path < 24; ++path) {
        // The channels part company in the last of each three rounds: path, times, smoothing.
        std::array<PlainDetector, 2> plain;
        std::array<std::unique_ptr<DetectorChannel>, 2> detectors;
        const double rate = path % 2 == 0 ? 48000.0 : 96000.0;
        for (int c = 0; c < 2; ++c) {
            const bool other = c == 1 && path % 3 == 2;
            const int choice = path / 3 + (other ? 3 : 0);
            const PlainDetector::Settings wanted{.thresholdDb = -40.0,
                                                 .slope = 0.75,
                                                 .kneePercent = 40.0,
                                                 .ceilingDb = 24.0,
                                                 .attackMs = other ? 5.0 : 0.5,
                                                 .releaseMs = 10.0,
                                                 .fastReleaseMs = 2.0,
                                                 .rmsMs = 4.0,
                                                 .holdMs = 0.5 * c,
                                                 .lookaheadMs = path % 5 == 0 ? 0.0 : 1.7,
                                                 .upward = (choice & 1) != 0,
                                                 .dualRelease = (choice & 2) != 0,
                                                 .smoothing = (choice & 4) != 0,
                                                 .rateHz = rate};
            const auto single = [](double value) { return static_cast<float>(value); };
            plain[static_cast<std::size_t>(c)].set(wanted);
            plain[static_cast<std::size_t>(c)].reset();
            auto& detector = detectors[static_cast<std::size_t>(c)];
            detector = std::make_unique<DetectorChannel>();
            detector->set(makeDetectorSettings({.thresholdDb = single(wanted.thresholdDb),
                                                .ratio = single(wanted.slope),
                                                .kneePercent = single(wanted.kneePercent),
                                                .ceilingDb = single(wanted.ceilingDb),
                                                .attackMs = single(wanted.attackMs),
                                                .releaseMs = single(wanted.releaseMs),
                                                .fastReleaseMs = single(wanted.fastReleaseMs),
                                                .rmsMs = single(wanted.rmsMs),
                                                .holdMs = single(wanted.holdMs),
                                                .lookaheadMs = single(wanted.lookaheadMs),
                                                .upward = wanted.upward,
                                                .dualRelease = wanted.dualRelease,
                                                .smoothing = wanted.smoothing},
                                               rate));
        }
        dsp::useVectorUnit(static_cast<dsp::VectorUnit>(path % 3));
        auto gains = levels;
        std::array<std::vector<std::int32_t>, 2> codes{std::vector<std::int32_t>(9000),
                                                       std::vector<std::int32_t>(9000)};
        const auto most = std::array<std::size_t, 4>{1, 37, 256, 4000}[static_cast<std::size_t>(path) % 4];
        for (std::size_t done = 0; done < 9000; done += most) {
            const std::size_t frames = std::min(most, 9000 - done);
            const auto blockOf = [&](std::size_t c) {
                return DetectorChannel::Block{*detectors[c], std::span(gains[c]).subspan(done, frames),
                                              std::span(codes[c]).subspan(done, frames)};
            };
            DetectorChannel::processPair(blockOf(0), blockOf(1));
        }
        dsp::useVectorUnit(dsp::widestVectorUnit());
        for (std::size_t c = 0; c < 2; ++c) {
            plain[c].beginBlock();
            for (std::size_t i = 0; i < 9000; ++i) {
                const PlainDetector::Result expected = plain[c].process(levels[c][i]);
                ASSERT_NEAR(gains[c][i], expected.gain, 1e-12 * std::max(1.0, expected.gain))
                    << path << ' ' << c << ' ' << i;
                ASSERT_EQ(codes[c][i], expected.code) << path << ' ' << c << ' ' << i;
            }
        }
    }
}

TEST(Detector, SteadyGainStaysSteadyWhileLookaheadMoves)
{
    const auto plug = makeWidePlug();
    setValues(*plug, {{kSmoothing, 1}, {kStereoMode, 0}});
    plug->resume();
    const Inputs steady{.main = {Signal(48000, 0.5)}, .side = {}};
    const double settled = play(*plug, steady)[0].back();
    for (const double ms : {3.0, 100.0, 0.0, 0.05, 20.0, 10.0}) {
        setValues(*plug, {{kLookahead, ms}});
        const auto out = play(*plug, {.main = {Signal(20000, 0.5)}, .side = {}});
        // The delayed audio itself jumps back into silence that the ring never held; the gain does not.
        const float gain = plug->getReductionMeter(0);
        EXPECT_NEAR(gain, settled / 0.5, 1e-6) << ms;
        EXPECT_NEAR(out[0].back(), settled, 1e-12) << ms;
    }
}

} // namespace
} // namespace sorvane::test
