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
    plug->beginEdit(kSCPeakFreqB);
    EXPECT_TRUE(hears(1, 0)) << "it is armed already";
    plug->endEdit(kSplitBPFFreq);
    EXPECT_TRUE(hears(1, 0)) << "another mode's end";
    plug->endEdit(kSCHPFFreq);
    EXPECT_TRUE(hears(0, 1)) << "any tag of the mode ends it";
}

} // namespace
} // namespace sorvane::test
