// The route round the detector: gains, mid/side, link, listening, auto-listen, noise detector, external side-chain.

#include "Effect.h"

#include <gtest/gtest.h>

namespace sorvane::test {
namespace {

using namespace core;

/// An effect that changes nothing: no compression, no latency.
std::unique_ptr<Plug> neutralPlug(const Values& values = {})
{
    auto plug = makeWidePlug();
    setValues(*plug, {{kRatio, 0}, {kLookahead, 0}});
    setValues(*plug, values);
    plug->resume();
    return plug;
}

Inputs stereo(std::size_t frames = 3000)
{
    return {.main = {noise(frames, 1), noise(frames, 2)}, .side = {}};
}

/// \return the largest difference between an output and a mix of the inputs
double mixError(const Signal& out, const Inputs& in, double fromLeft, double fromRight)
{
    double worst = 0.0;
    for (std::size_t i = 0; i < out.size(); ++i)
        worst = std::max(worst, std::abs(out[i] - in.main[0][i] * fromLeft - in.main[1][i] * fromRight));
    return worst;
}

TEST(SignalPath, GainsRampStraightOverThousandSamples)
{
    for (const auto& [tag, value, gain] : {std::tuple{kIpTrim, 6.0, std::pow(10.0, 0.3)},
                                           {kMakeup, 2.0, 2.0},
                                           {kOpTrim, -12.0, std::pow(10.0, -0.6)},
                                           {kMuteComp, 1.0, 0.0},
                                           {kMuteOutput, 1.0, 0.0}}) {
        const auto plug = neutralPlug({{kStereoMode, 0}});
        const Inputs ones{.main = {Signal(2048, 1.0), Signal(2048, 1.0)}, .side = {}};
        (void)play(*plug, ones);
        setValues(*plug, {{tag, value}});
        const auto out = play(*plug, ones, 100);
        for (std::size_t i = 0; i < 2048; ++i) {
            const double part = std::min(1.0, static_cast<double>(i) / 1000.0);
            ASSERT_NEAR(out[0][i], 1.0 + part * (gain - 1.0), 1e-6) << tag << ' ' << i;
        }
        // A new target in the middle of a ramp goes on from where the value stands.
        setValues(*plug, {{tag, plug->fromNormalised(tag, plug->getParameterDefault(tag))}});
        const double before = play(*plug, {.main = {Signal(300, 1.0), Signal(300, 1.0)}, .side = {}})[0].back();
        setValues(*plug, {{tag, value}});
        EXPECT_NEAR(play(*plug, ones)[0].front(), before, 0.003) << tag;
    }
}

TEST(SignalPath, DryMixAndBalance)
{
    const Inputs in = stereo();
    // The band is the whole signal, so dry is silent unless it runs in parallel.
    EXPECT_LT(mixError(play(*neutralPlug({{kDryGain, 4}}), in)[0], in, 1, 0), 1e-12);
    EXPECT_LT(mixError(play(*neutralPlug({{kDryGain, 4}, {kDryType, 1}}), in)[0], in, 5, 0), 1e-5);
    EXPECT_LT(mixError(play(*neutralPlug({{kDryType, 1}, {kMuteDry, 1}}), in)[0], in, 1, 0), 1e-12);
    for (const auto& [balance, left, right] :
         {std::tuple{0.0, 1.0, 1.0}, {50.0, 1.0, 1.0}, {75.0, 0.5, 1.0}, {100.0, 0.0, 1.0}, {-80.0, 1.0, 0.4}}) {
        const auto out = play(*neutralPlug({{kBalance, balance}}), in);
        EXPECT_LT(mixError(out[0], in, left, 0), 1e-6) << balance;
        EXPECT_LT(mixError(out[1], in, 0, right), 1e-6) << balance;
    }
}

TEST(SignalPath, LinkSharesTheSideChain)
{
    // A loud first channel and a quiet second one, left and right.
    const Inputs in{.main = {Signal(24000, 0.5), Signal(24000, 0.001)}, .side = {}};
    const auto reductionAt = [&](double percent) {
        const auto plug = makeWidePlug();
        setValues(*plug, {{kStereoMode, 0}, {kRatio, 1}, {kSoft, 0}, {kThreshold, -40}, {kStereoLink, percent}});
        plug->resume();
        const auto out = play(*plug, in);
        return std::pair{-decibels(out[0].back() / 0.5), -decibels(out[1].back() / 0.001)};
    };
    const double own = decibels(0.5) + 40.0;
    const double mean = decibels(0.2505) + 40.0;
    const auto limited = [](double d) { return d - d * d / 192.0; };
    EXPECT_NEAR(reductionAt(0).first, limited(own), 1e-4); // 32 bits hold a ratio of almost 1
    EXPECT_NEAR(reductionAt(0).second, 0.0, 1e-6);
    EXPECT_NEAR(reductionAt(100).first, limited(mean), 1e-4);
    EXPECT_NEAR(reductionAt(100).second, limited(mean), 1e-4);
    EXPECT_GT(reductionAt(50).second, 1.0);
}

TEST(SignalPath, NoiseDetectorAdmitsWhatCrossesZeroOften)
{
    Inputs low{.main = {Signal(48000)}, .side = {}};
    Inputs high = low;
    for (std::size_t i = 0; i < 48000; ++i) {
        low.main[0][i] = std::sin(2.0 * M_PI * 500.0 * static_cast<double>(i) / 48000.0);
        high.main[0][i] = std::sin(2.0 * M_PI * 9000.0 * static_cast<double>(i) / 48000.0);
    }
    const auto deepest = [](const Inputs& in, double percent) {
        const auto plug = makeWidePlug();
        setValues(*plug, {{kThreshold, -30}, {kNoiseDetector, percent}});
        plug->resume();
        (void)play(*plug, in);
        return plug->getReductionMeter(0);
    };
    // 256 samples at 44.1 kHz: 500 Hz crosses 5 times, 9 kHz 104 times; 60 % asks for 77.
    EXPECT_LT(deepest(low, 0), 0.3F);
    EXPECT_EQ(deepest(low, 60), 1.0F);
    EXPECT_LT(deepest(high, 60), 0.3F);
    EXPECT_EQ(deepest(high, 100), 1.0F);
}

TEST(SignalPath, ExternalSideChainNeedsThePinAndTheSwitch)
{
    Inputs in = stereo(24000);
    in.side = {Signal(24000, 1.0), Signal(24000, 1.0)};
    for (Signal& signal : in.main)
        for (double& sample : signal)
            sample *= 1e-3;
    const auto reduction = [](Plug& plug, const Inputs& inputs) {
        (void)play(plug, inputs);
        return plug.getReductionMeter(0);
    };
    const auto on = makeWidePlug();
    setValues(*on, {{kExtSC, 1}});
    EXPECT_LT(reduction(*on, in), 0.5F);
    Inputs incomplete = in;
    incomplete.side.clear();
    on->resume();
    EXPECT_EQ(reduction(*on, incomplete), 1.0F) << "a missing pointer turns it off";
    EXPECT_EQ(reduction(*makeWidePlug(), in), 1.0F) << "the switch is off";

    TestHost host;
    host.product = "WaveLab 11";
    const auto without = makeWidePlug(48000.0F, TestHost::callback);
    setValues(*without, {{kExtSC, 1}});
    EXPECT_EQ(reduction(*without, in), 1.0F) << "a host without side-chain pins";
}

/// What each listen mode puts out with nothing compressed, as a mix of left and right: by linked, mid/side, mono.
TEST(SignalPath, ListenModes)
{
    struct Case {
        double listen;
        std::int32_t autoListen; ///< -1 for none
        bool linked;
        bool midSide;
        std::array<double, 4> mix; ///< left from left and right, right from left and right
    };
    const std::array<double, 4> through = {1, 0, 0, 1};
    const std::array<double, 4> nothing = {0, 0, 0, 0};
    const std::array<double, 4> midOnly = {0.5, 0.5, 0.5, 0.5};
    const std::array<double, 4> sideAsMid = {0.5, -0.5, 0.5, -0.5};
    const std::array<double, 4> leftOnly = {1, 0, 1, 0};
    const std::array<double, 4> rightOnly = {0, 1, 0, 1};
    const std::vector<Case> cases = {
        {0, -1, true, true, through},    {1, -1, true, false, through},   {2, -1, true, true, through},
        {3, -1, true, true, nothing},    {4, -1, true, false, nothing},   {2, 0, true, true, through},
        {2, 0, false, true, midOnly},    {2, 0, false, false, leftOnly},  {2, 2, false, true, sideAsMid},
        {2, 2, false, false, rightOnly}, {2, 1, false, true, midOnly},    {2, 1, false, false, leftOnly},
        {2, 3, false, true, sideAsMid},  {2, 3, false, false, rightOnly}, {4, 3, true, false, through},
    };
    for (const Case& c : cases) {
        const auto plug = neutralPlug({{kListen, c.listen},
                                       {kLinked, c.linked ? 1.0 : 0.0},
                                       {kStereoMode, c.midSide ? 1.0 : 0.0},
                                       {kBalance, 100}, // in force for the normal output alone
                                       {kRatioB, 0}});
        if (c.autoListen >= 0) {
            plug->armAutoListen(c.autoListen);
            setValues(*plug, {{kListen, c.listen}}); // any change runs the update
        }
        const Inputs in = stereo();
        const auto out = play(*plug, in);
        const bool balanced = c.autoListen < 0 && c.listen == 2;
        EXPECT_LT(mixError(out[0], in, balanced ? 0.0 : c.mix[0], balanced ? 0.0 : c.mix[1]), 1e-12)
            << c.listen << ' ' << c.autoListen << ' ' << c.midSide;
        EXPECT_LT(mixError(out[1], in, c.mix[2], c.mix[3]), 1e-12)
            << c.listen << ' ' << c.autoListen << ' ' << c.midSide;
    }
}

TEST(SignalPath, DifferenceIsWhatTheCompressorTakesAway)
{
    const Inputs in{.main = {bursts(20000, 4)}, .side = {}};
    const auto plug = makeWidePlug();
    setValues(*plug, {{kThreshold, -40}, {kLookahead, 0}});
    plug->resume();
    const auto compressed = play(*plug, in);
    setValues(*plug, {{kListen, 4}, {kMakeup, 3}, {kOpTrim, 6}}); // listening leaves both out
    plug->resume();
    const auto taken = play(*plug, in);
    for (std::size_t i = 0; i < 20000; ++i)
        ASSERT_NEAR(compressed[0][i] + taken[0][i], in.main[0][i], 1e-14) << i;
}

TEST(SignalPath, FrequencyDragListensToWhatItMoves)
{
    const auto plug = neutralPlug({{kLinked, 0}, {kStereoMode, 0}, {kRatioB, 0}});
    const Inputs in = stereo(600);
    const auto hears = [&](double fromLeft, double fromRight) {
        return mixError(play(*plug, in)[1], in, fromLeft, fromRight) < 1e-12;
    };
    plug->beginEdit(kSplitBPFFreq);
    EXPECT_TRUE(hears(0, 1)) << "not enabled";
    plug->endEdit(kSplitBPFFreq);
    plug->setAutoListenEnabled(true);
    plug->beginEdit(kThreshold);
    EXPECT_TRUE(hears(0, 1)) << "no frequency";
    plug->beginEdit(kSCPeakFreq);
    EXPECT_TRUE(hears(1, 0)) << "the first channel's side-chain on both";
    plug->endEdit(kSplitBPFFreq);
    EXPECT_TRUE(hears(1, 0)) << "another mode's end";
    plug->endEdit(kSCHPFFreq);
    EXPECT_TRUE(hears(0, 1)) << "any tag of the mode ends it";
}

} // namespace
} // namespace sorvane::test
