// What graphs and meters read.

#include "Effect.h"
#include "GlobalPrefs.h"

#include <gtest/gtest.h>

namespace sorvane::test {
namespace {

using namespace core;

TEST(DisplayFeeds, EntriesAreEveryFifthSampleOfEachBlock)
{
    const auto plug = makeWidePlug(44100.0F);
    setValues(*plug, {{kStereoMode, 0}, {kRatio, 0}, {kLookahead, 0}});
    plug->resume();
    const Inputs in{.main = {noise(640, 1), noise(640, 2)}, .side = {}};
    (void)play(*plug, in, 64);
    for (std::int32_t position = 0; position < 4; ++position)
        EXPECT_EQ(plug->getRingPosition(position), 120U); // 12 a block; 4 samples dropped at each end
    for (std::size_t block = 0; block < 10; ++block) {
        for (std::size_t entry = 0; entry < 12; ++entry) {
            const std::size_t sample = block * 64 + entry * 5;
            for (std::int32_t ring = 0; ring < 4; ++ring)
                ASSERT_EQ(plug->getDisplayRing(ring)[block * 12 + entry],
                          static_cast<float>(in.main[static_cast<std::size_t>(ring % 2)][sample]));
        }
    }
    EXPECT_EQ(plug->getDisplayRing(4) + DisplayFeeds::kEntries, plug->getDisplayRing(5)) << "rings lie back to back";
    EXPECT_EQ(plug->getDisplayRing(6), nullptr);
    EXPECT_EQ(plug->getDisplayRing(-1), nullptr);

    (void)play(*plug, {.main = {Signal(400, 0.1)}, .side = {}}, 4); // shorter than the step
    EXPECT_EQ(plug->getRingPosition(0), 120U);
}

TEST(DisplayFeeds, StatesGainsAndTheirMeter)
{
    const auto plug = makeWidePlug(44100.0F);
    setValues(*plug, {{kLookahead, 0}, {kThreshold, -40}, {kHold, 5.05}});
    plug->resume();
    EXPECT_EQ(plug->getReductionMeter(0), 1.0F);
    (void)play(*plug, {.main = {Signal(4410, 1.0)}, .side = {}}, 441);
    const float deepest = plug->getReductionMeter(0);
    EXPECT_LT(deepest, 0.2F);
    EXPECT_EQ(plug->getReductionMeter(0), deepest) << "nothing new: the last result";
    EXPECT_EQ(plug->getStateRing(0)[100], stateAttack);
    (void)play(*plug, {.main = {Signal(4410, 0.0)}, .side = {}}, 441);
    const std::uint32_t release = 880;
    EXPECT_EQ(plug->getStateRing(0)[release], stateHold);
    EXPECT_EQ(plug->getStateRing(0)[release + 44], stateHold | stateSlowRelease) << "samples 220 to 224, held for 222";
    EXPECT_FLOAT_EQ(plug->getReductionMeter(2), deepest) << "only channel modulo 2 counts; the hold keeps the gain";

    setValues(*plug, {{kListen, 1}});
    (void)play(*plug, {.main = {Signal(441, 1.0)}, .side = {}}, 441);
    EXPECT_EQ(plug->getReductionMeter(0), 1.0F) << "the detector rests while the band is heard";
    plug->resume();
    EXPECT_EQ(plug->getReductionMeter(0), 1.0F);
    EXPECT_EQ(plug->getRingPosition(2), 0U);
    EXPECT_EQ(plug->getStateRing(0)[100], 0);

    setValues(*plug, {{kListen, 2}, {kBypass, 1}});
    (void)play(*plug, {.main = {Signal(441, 1.0)}, .side = {}}, 441);
    EXPECT_EQ(plug->getRingPosition(0), 88U);
    EXPECT_EQ(plug->getRingPosition(1), 0U) << "the output isn't fed while bypassed";
    EXPECT_EQ(plug->getRingPosition(2), 88U);
}

TEST(DisplayFeeds, OutputSamplesEndBeforeTheNewestBlock)
{
    const auto plug = makeWidePlug();
    setValues(*plug, {{kRatio, 0}, {kLookahead, 0}});
    plug->resume();
    const Inputs in{.main = {noise(20000, 1), noise(20000, 2)}, .side = {}};
    (void)play(*plug, in, 400);
    Signal read(1000);
    plug->getOutputSamples(read.data(), 1000, 3); // modulo 2
    for (std::size_t i = 0; i < 1000; ++i)
        ASSERT_NEAR(read[i], in.main[1][20000 - 400 - 1000 + i], 1e-15);
    Signal all(8192);
    plug->getOutputSamples(all.data(), 1 << 20, 0);
    EXPECT_NEAR(all.back(), in.main[0][20000 - 400 - 1], 1e-15);
    plug->getOutputSamples(nullptr, -1, 0);
}

TEST(DisplayFeeds, LevelMetersRiseAtOnceAndFallTwentyDecibelsInThreeTenths)
{
    const auto plug = makeWidePlug();
    setValues(*plug, {{kRatio, 0}, {kLookahead, 0}});
    plug->resume();
    (void)play(*plug, {.main = {{0.5}, {-0.5}}, .side = {}}, 1);
    EXPECT_FLOAT_EQ(plug->getLevelMeter(0), 0.0F) << "mid of opposite channels";
    EXPECT_FLOAT_EQ(plug->getLevelMeter(1), 0.5F) << "side";
    (void)play(*plug, {.main = {Signal(14400), Signal(14400)}, .side = {}});
    EXPECT_NEAR(plug->getLevelMeter(1), 0.05F, 1e-6);
    setValues(*plug, {{kStereoMode, 0}});
    (void)play(*plug, {.main = {{0.25}, {-0.75}}, .side = {}}, 1);
    EXPECT_FLOAT_EQ(plug->getLevelMeter(0), 0.25F);
    EXPECT_FLOAT_EQ(plug->getLevelMeter(7), 0.75F);
}

TEST(DisplayFeeds, MetersMoveAsTheirBallisticSays)
{
    struct Case {
        std::int32_t ballistic;
        double riseSeconds, rise, fallSeconds, fall;
    };
    for (const Case& c : {Case{1, 0.005, 0.8, 1.7, 0.1}, Case{2, 0.3, 0.99, 0.3, 0.01}, Case{3, 0.01, 0.8, 2.8, 0.0631},
                          Case{4, 0.001, 1.0, 0.3, 0.1}}) {
        const auto plug = makeWidePlug(96000.0F);
        setValues(*plug, {{kRatio, 0}, {kLookahead, 0}, {kStereoMode, 0}});
        state::GlobalPrefs::instance().setGlobalPref("Meter Ballistic", c.ballistic & 3);
        plug->resume();
        const auto hold = [&](double level, double seconds) {
            (void)play(*plug, {.main = {Signal(static_cast<std::size_t>(seconds * 96000.0), level)}, .side = {}});
        };
        hold(1.0, c.riseSeconds);
        EXPECT_NEAR(plug->getLevelMeter(0), c.rise, 1e-3) << c.ballistic;
        hold(1.0, 3.0);
        hold(0.0, c.fallSeconds);
        EXPECT_NEAR(plug->getLevelMeter(0), c.fall, 1e-3) << c.ballistic;
    }
}

} // namespace
} // namespace sorvane::test
