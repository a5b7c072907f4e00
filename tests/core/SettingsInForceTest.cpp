// What single settings do to the signal, each against a closed form, where the tests of the whole route would hide it.

#include "Clock.h"
#include "Effect.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <functional>
#include <memory>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

namespace sorvane::test {
namespace {

using namespace core;

/// A wide effect with no look-ahead, left and right apart, set as asked.
std::unique_ptr<Plug> plugWith(const Values& values, float rateHz = 48000.0F)
{
    auto plug = makeWidePlug(rateHz);
    setValues(*plug, {{kLookahead, 0}, {kStereoMode, 0}});
    setValues(*plug, values);
    plug->resume();
    return plug;
}

/// Coefficient of a one-pole that reaches 86 % of a step in a time.
double onePole(double ms, double rateHz)
{
    return 1.0 - std::exp(-2000.0 / (ms * rateHz));
}

/// What the ceiling of 48 dB leaves of a gain change.
double limited(double db)
{
    return db - std::copysign(db * db / 192.0, db);
}

Signal step(double amplitude, std::size_t high, std::size_t low)
{
    Signal signal(high, amplitude);
    signal.resize(high + low, 1e-9);
    return signal;
}

TEST(SettingsInForce, PlainUpwardModeSmoothsTheLevel)
{
    const auto plug = plugWith({{kMode, 0}, {kExcite, 1}, {kRatio, 1}, {kSoft, 0}, {kThreshold, -60}, {kAttack, 5}});
    setValues(*plug, {{kRelease, 100}, {kRelease2, 10}, {kHold, 100}}); // the last two belong to the other mode
    const double attack = onePole(plug->getParameterValue(kAttack), 48000.0);
    const double release = onePole(plug->getParameterValue(kRelease), 48000.0);
    constexpr std::size_t kHigh = 4000;
    const Signal input = step(1e-2, kHigh, 4000);
    const Signal output = play(*plug, {.main = {input}, .side = {}})[0];
    const double slope = 1.0 / (1.0 - 2.00001);
    for (std::size_t i = 0; i < input.size(); ++i) {
        // Up along the attack, then down along the release from where it stood; the attack stage falls far faster.
        const double level = i < kHigh ? 1e-2 * (1.0 - std::pow(1.0 - attack, static_cast<double>(i + 1)))
                                       : 1e-2 * std::pow(1.0 - release, static_cast<double>(i + 1 - kHigh));
        const double aboveDb = std::max(0.0, decibels(level) + 60.0);
        ASSERT_NEAR(decibels(output[i] / input[i]), -limited(slope * aboveDb), 2e-3) << i;
    }
}

TEST(SettingsInForce, SmoothingEndsInAOnePoleOfATwentiethMillisecond)
{
    for (const float rate : {44100.0F, 96000.0F, 192000.0F}) {
        const auto plug = plugWith({{kThreshold, -40}, {kAttack, 0.02}, {kRelease2, 10}}, rate);
        const Signal input = step(0.5, 300, 3000);
        const Signal raw = play(*plug, {.main = {input}, .side = {}})[0];
        setValues(*plug, {{kSmoothing, 1}});
        plug->resume();
        const Signal smoothed = play(*plug, {.main = {input}, .side = {}})[0];
        double gain = 1.0;
        for (std::size_t i = 0; i < input.size(); ++i) {
            gain += (raw[i] / input[i] - gain) * onePole(0.05, rate);
            ASSERT_NEAR(smoothed[i] / input[i], gain, 1e-12) << rate << ' ' << i;
        }
    }
}

TEST(SettingsInForce, NoiseDetectorOpensAtExactlyItsCount)
{
    // Half of 256 half-periods, whatever the rate; the window is 256 samples at 44.1 kHz.
    constexpr std::size_t kCount = 64;
    constexpr std::size_t kFirst = 1000;
    for (const auto& [rate, window] : {std::pair{44100.0F, 256U}, {48000.0F, 278U}, {96000.0F, 557U}}) {
        for (const std::size_t crossings : {kCount - 1, kCount}) {
            const auto plug = plugWith({{kListen, 0}, {kNoiseDetector, 50}}, rate);
            Signal input(4000, 0.5);
            for (std::size_t i = kFirst; i < input.size(); ++i)
                input[i] = std::min(i - kFirst + 1, crossings) % 2 == 1 ? -0.5 : 0.5;
            const Signal out = play(*plug, {.main = {input}, .side = {}})[0];
            for (std::size_t i = 0; i < input.size(); ++i) {
                const bool open = crossings == kCount && i >= kFirst + kCount - 1 && i < kFirst + window;
                ASSERT_EQ(out[i], open ? input[i] : 0.0) << rate << ' ' << crossings << ' ' << i;
            }
        }
    }
}

TEST(SettingsInForce, DisplayFollowsANewRateAheadOfTheEngine)
{
    const Inputs in{.main = {bursts(4800, 1), bursts(4800, 2)}, .side = {}};
    const Values values = {{kThreshold, -40}, {kLookahead, 5}, {kHold, 5}, {kSmoothing, 1}};
    const auto plug = plugWith(values);
    const auto expected = play(*plugWith(values), in, 480);
    plug->setSampleRate(96000.0F);
    const auto out = play(*plug, in, 480);
    for (std::size_t c = 0; c < 2; ++c)
        EXPECT_EQ(peakDifference(out[c], expected[c]), 0.0) << "the engine's rate changes with resume";
    for (std::int32_t position = 0; position < 4; ++position)
        EXPECT_EQ(plug->getRingPosition(position), 480U) << "10 samples an entry, no longer 5";
    plug->resume();
    EXPECT_GT(peakDifference(play(*plug, in, 480)[0], expected[0]), 1e-3);
}

TEST(SettingsInForce, NothingPlayedBeforeResumeIsHeardAfterIt)
{
    const std::vector<Values> settings = {
        {},
        {{kLinearPhase, 0}, {kDryType, 1}, {kSmoothing, 1}, {kThreshold, -40}},
        {{kOverSample, 1}, {kSCPeak, 1}, {kSCPeakGain, 12}, {kNoiseDetector, 40}, {kLinearPhase, 0}},
        {{kMode, 0}, {kExcite, 1}, {kOverSample, 1}, {kHQOversample, 1}, {kListen, 4}},
        {{kMode, 0}, {kExtSC, 1}, {kSCHPF, 1}, {kStereoLink, 70}, {kLinearPhase, 0}, {kThreshold, -50}},
    };
    const Inputs in{.main = {bursts(20000, 1), bursts(20000, 2)}, .side = {bursts(20000, 3), bursts(20000, 4)}};
    const Inputs silence{.main = {Signal(20000), Signal(20000)}, .side = {Signal(20000), Signal(20000)}};
    for (const Values& values : settings) {
        const auto used = makePlug();
        const auto fresh = makePlug();
        for (const auto& [plug, past] : {std::pair{used.get(), &in}, {fresh.get(), &silence}}) {
            setValues(*plug, values);
            (void)play(*plug, *past, 333); // what slides comes to rest
            plug->resume();
        }
        const auto out = play(*used, in);
        const auto expected = play(*fresh, in);
        for (std::size_t c = 0; c < 2; ++c)
            EXPECT_EQ(peakDifference(out[c], expected[c]), 0.0) << values.size();
        for (std::int32_t channel = 0; channel < 2; ++channel)
            EXPECT_EQ(used->getLevelMeter(channel), fresh->getLevelMeter(channel));
        for (std::int32_t ring = 0; ring < 6; ++ring)
            for (std::size_t i = 0; i < 32768; ++i)
                ASSERT_EQ(used->getDisplayRing(ring)[i].load(), fresh->getDisplayRing(ring)[i].load())
                    << ring << ' ' << i;
    }
}

TEST(SettingsInForce, BypassKeepsTheDetectorAtRestWhileTheBandIsHeard)
{
    for (const double listen : {1.0, 2.0}) {
        const auto plug = plugWith({{kBypass, 1}, {kListen, listen}, {kThreshold, -60}}, 44100.0F);
        (void)play(*plug, {.main = {Signal(4410, 1.0), Signal(4410, 1.0)}, .side = {}});
        for (const std::int32_t channel : {0, 1}) {
            const auto* const gains = plug->getDisplayRing(4 + channel);
            const bool rests = std::all_of(gains, gains + 800, [](const auto& gain) { return gain == 1.0F; });
            EXPECT_EQ(rests, listen == 1.0) << channel;
            EXPECT_GT(plug->getRingPosition(2 + channel), 800U) << "it runs on";
        }
    }
}

/// A clock that does something when one thread reads it.
class ActingClock final : public platform::Clock {
public:
    explicit ActingClock(std::function<void()> whenRead) : act(std::move(whenRead)) {}

    [[nodiscard]] std::int64_t milliseconds() const noexcept override
    {
        if (actingThread.load() == std::this_thread::get_id())
            act();
        return 0;
    }

    std::atomic<std::thread::id> actingThread{};

private:
    std::function<void()> act;
};

TEST(SettingsInForce, ABlockThatMeetsAResumeIsSilent)
{
    std::unique_ptr<Plug> plug;
    int blocks = 0;
    ActingClock clock([&] { // read amid the resume
        std::array<Signal, 4> inputs;
        inputs.fill(Signal(64, 1.0));
        std::array<Signal, 2> outputs = {Signal(65, 7.0), Signal(65, 7.0)};
        std::array<double*, 4> in = {inputs[0].data(), inputs[1].data(), inputs[2].data(), inputs[3].data()};
        std::array<double*, 2> out = {outputs[0].data(), outputs[1].data()};
        plug->processDoubleReplacing(in.data(), out.data(), 64);
        for (const Signal& output : outputs) {
            EXPECT_EQ(std::count(output.begin(), output.end(), 0.0), 64);
            EXPECT_EQ(output.back(), 7.0);
        }
        ++blocks;
    });
    plug = std::make_unique<Plug>(offlineHost, Plug::Start::factoryValues, clock);
    clock.actingThread = std::this_thread::get_id();
    plug->resume();
    clock.actingThread = std::thread::id();
    EXPECT_GT(blocks, 0);
    plug.reset(); // before the clock that it reads
}

} // namespace
} // namespace sorvane::test
