// The block entries as a host uses them: any block size, any buffers, any samples.

#include "Effect.h"

#include <gtest/gtest.h>

#ifdef __x86_64__
#include <xmmintrin.h>
#endif

#include <atomic>
#include <new>
#include <numeric>
#include <random>

namespace {

std::atomic<bool> refuseMemory{false};

} // namespace

// Memory that a test can refuse.
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    try {
        return refuseMemory ? nullptr : operator new[](size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

namespace sorvane::test {
namespace {

using namespace core;

/// Settings that between them use every part of the route.
std::vector<Values> settingsToTry()
{
    return {
        {},
        {{kSmoothing, 1}, {kThreshold, -40}, {kStereoLink, 60}, {kLookahead, 3.3}},
        {{kMode, 0}, {kExcite, 1}, {kThreshold, -20}, {kLinked, 0}, {kThresholdB, -50}, {kRatioB, 1.4}},
        {{kMode, 0}, {kThreshold, -30}, {kStereoMode, 0}, {kLookahead, 0}, {kDryType, 1}, {kDryGain, 0.5}},
        {{kNoiseDetector, 60}, {kThreshold, -40}, {kExtSC, 1}, {kListen, 0}, {kOpTrim, -6}},
        {{kListen, 4}, {kThreshold, -50}, {kLookahead, 100}, {kSmoothing, 1}, {kIpTrim, 12}, {kBalance, 70}},
        {{kBypass, 1}, {kLookahead, 20}},
    };
}

Inputs fourInputs(std::size_t frames)
{
    return {.main = {bursts(frames, 1), bursts(frames, 2)}, .side = {bursts(frames, 3), bursts(frames, 4)}};
}

double difference(const std::vector<Signal>& a, const std::vector<Signal>& b)
{
    double worst = 0.0;
    for (std::size_t c = 0; c < a.size(); ++c)
        worst = std::max(worst, peakDifference(a[c], b[c]));
    return worst;
}

TEST(BlockEntry, OutputDoesNotDependOnTheBlockSize)
{
    const Inputs inputs = fourInputs(20000);
    for (const Values& values : settingsToTry()) {
        const auto plug = makeWidePlug();
        setValues(*plug, values);
        plug->resume();
        const auto expected = play(*plug, inputs, 256);
        std::mt19937 random(7);
        for (const std::int32_t block : {1, 17, 64, 512, 4096, 8192, 0}) {
            plug->resume();
            const auto out = play(*plug, inputs,
                                  [&] { return block != 0 ? block : static_cast<std::int32_t>(1 + random() % 2000); });
            EXPECT_LT(difference(out, expected), 1e-12) << block;
        }
    }
}

TEST(BlockEntry, FloatAndDoubleDifferByRoundingAtTheEdgesOnly)
{
    Inputs inputs = fourInputs(20000);
    for (auto* signals : {&inputs.main, &inputs.side})
        for (Signal& signal : *signals)
            for (double& sample : signal)
                sample = static_cast<float>(sample);
    for (const Values& values : settingsToTry()) {
        const auto plug = makeWidePlug();
        setValues(*plug, values);
        plug->resume();
        const auto wide = play<double>(*plug, inputs);
        plug->resume();
        const auto narrow = play<float>(*plug, inputs);
        for (std::size_t c = 0; c < 2; ++c)
            for (std::size_t i = 0; i < wide[c].size(); ++i)
                // One rounding at the output, and one more where the balance multiplies behind it; a side-chain that is
                // listened to is rounded before it is decoded.
                ASSERT_NEAR(narrow[c][i], wide[c][i],
                            1.3e-7 * (plug->getParameterValue(kListen) == 0.0F ? 0.5 : std::abs(wide[c][i])) + 1e-38)
                    << i;
    }
}

TEST(BlockEntry, MonoInstanceTakesOneChannelAndOneSideChain)
{
    const Inputs inputs = fourInputs(9000);
    const auto plug = makeWidePlug();
    setValues(*plug, {{kThreshold, -40}, {kExtSC, 1}, {kBalance, 100}});
    plug->resume();
    const auto mono = play(*plug, {.main = {inputs.main[0]}, .side = {inputs.side[0]}});
    // A stereo instance with the same on both channels, unencoded, is two such.
    setValues(*plug, {{kStereoMode, 0}, {kBalance, 0}});
    plug->resume();
    const auto stereo =
        play(*plug, {.main = {inputs.main[0], inputs.main[0]}, .side = {inputs.side[0], inputs.side[0]}});
    EXPECT_LT(peakDifference(mono[0], stereo[0]), 1e-15);
    EXPECT_LT(peakDifference(mono[0], stereo[1]), 1e-15);
}

TEST(BlockEntry, InPlaceAndCrossedBuffersGiveTheSame)
{
    for (const Values& values : settingsToTry()) {
        const Inputs inputs = fourInputs(6000);
        const auto plug = makeWidePlug();
        setValues(*plug, values);
        plug->resume();
        const auto expected = play(*plug, inputs, 6000);
        // Which of the four input buffers each output is.
        for (const auto& [first, second] : {std::pair{0, 1}, {1, 0}, {2, 3}, {3, 0}}) {
            std::array<Signal, 4> buffers = {inputs.main[0], inputs.main[1], inputs.side[0], inputs.side[1]};
            std::array<double*, 4> in{};
            for (std::size_t i = 0; i < 4; ++i)
                in[i] = buffers[i].data();
            std::array<double*, 2> out = {in[static_cast<std::size_t>(first)], in[static_cast<std::size_t>(second)]};
            plug->resume();
            plug->processDoubleReplacing(in.data(), out.data(), 6000);
            EXPECT_EQ(peakDifference(buffers[static_cast<std::size_t>(first)], expected[0]), 0.0);
            EXPECT_EQ(peakDifference(buffers[static_cast<std::size_t>(second)], expected[1]), 0.0);
        }
    }
}

TEST(BlockEntry, BadSamplesBecomeSilenceAndLeaveNothingBehind)
{
    const Values values = {{kLookahead, 5}, {kThreshold, -40}, {kSmoothing, 1}, {kExtSC, 1}};
    Inputs clean = fourInputs(30000);
    Inputs bad = clean;
    for (const float poison : {NAN, INFINITY, -INFINITY}) {
        for (const auto side : {&Inputs::main, &Inputs::side}) {
            for (std::size_t c = 0; c < 2; ++c) {
                (clean.*side)[c][1000 + c] = 0.0;
                (bad.*side)[c][1000 + c] = poison;
            }
        }
        const auto plug = makeWidePlug();
        setValues(*plug, values);
        plug->resume();
        const auto expected = play(*plug, clean);
        plug->resume();
        EXPECT_EQ(difference(play(*plug, bad), expected), 0.0);
        plug->resume();
        EXPECT_TRUE(std::isfinite(difference(play<float>(*plug, bad), expected)));
    }
    // Finite, but its square isn't: the detector is itself again afterwards.
    const auto plug = makeWidePlug();
    const auto expected = play(*plug, {.main = {Signal(20000, 0.9)}, .side = {}});
    Signal huge(1500000, 0.9); // the release from there takes its time
    huge[10] = 1e300;
    plug->resume();
    EXPECT_NEAR(play(*plug, {.main = {huge}, .side = {}})[0].back(), expected[0].back(), 1e-3);
}

TEST(BlockEntry, ZeroHugeAndImpossibleBlocks)
{
    const Inputs inputs = fourInputs(100000);
    const auto plug = makeWidePlug();
    const auto expected = play(*plug, inputs, 500);
    plug->resume();
    EXPECT_LT(difference(play(*plug, inputs, 100000), expected), 1e-12);

    plug->resume();
    std::array<double*, 4> none{};
    std::array<double*, 2> nowhere{};
    plug->processDoubleReplacing(none.data(), nowhere.data(), 0);
    plug->processDoubleReplacing(none.data(), nowhere.data(), -5);
    plug->processDoubleReplacing(nullptr, nullptr, 64);
    EXPECT_LT(difference(play(*plug, inputs, 500), expected), 1e-12);

    Signal left(64, 1.0);
    Signal right(64, 1.0);
    std::array<double*, 2> outputs = {left.data(), right.data()};
    plug->processDoubleReplacing(nullptr, outputs.data(), 64); // no inputs at all are silence
    plug->processDoubleReplacing(none.data(), outputs.data(), 64);

    // No memory for a block larger than any before: silence, and the next block is processed.
    refuseMemory = true;
    const auto refused = play(*plug, fourInputs(200000), 200000);
    refuseMemory = false;
    EXPECT_EQ(difference(refused, {Signal(200000, 0.0), Signal(200000, 0.0)}), 0.0);
    plug->resume();
    EXPECT_LT(difference(play(*plug, inputs, 500), expected), 1e-12);
}

TEST(BlockEntry, BypassIsTheInputDelayedByTheReportedLatency)
{
    for (const float rate : {44100.0F, 48000.0F, 192000.0F}) {
        const auto plug = makeWidePlug(rate);
        for (const double ms : {0.0, 0.1, 10.0, 100.0}) {
            setValues(*plug, {{kBypass, 1}, {kLookahead, ms}, {kIpTrim, 6}, {kBalance, 100}});
            plug->resume();
            const auto latency = static_cast<std::size_t>(plug->getInitialDelay());
            EXPECT_EQ(latency, static_cast<std::size_t>(
                                   std::min(16384.0, std::floor(plug->getParameterValue(kLookahead) * rate * 0.001))));
            const Inputs inputs = fourInputs(30000);
            const auto out = play(*plug, inputs, 777);
            for (std::size_t c = 0; c < 2; ++c)
                for (std::size_t i = 0; i < 30000; ++i)
                    ASSERT_EQ(out[c][i], i < latency ? 0.0 : inputs.main[c][i - latency]) << rate << ' ' << ms;
        }
    }
}

// All that is left out while nobody hears it leaves every state as it would have been.
TEST(BlockEntry, GoesOnBehindABypassAsIfThereHadBeenNone)
{
    auto settings = settingsToTry();
    settings.insert(settings.end(), {{{kHQSplit, 1}},
                                     {{kLinearPhase, 0}, {kSmoothing, 1}},
                                     {{kOverSample, 1}, {kThreshold, -40}},
                                     {{kOverSample, 1}, {kHQOversample, 1}, {kListen, 1}}});
    constexpr std::size_t kFrames = 30000;
    constexpr std::size_t kOn = 9001;
    constexpr std::size_t kOff = 18011;
    const Inputs inputs = fourInputs(kFrames);
    for (std::size_t i = 0; i < settings.size(); ++i) {
        const auto run = [&](bool bypasses) {
            const auto plug = makePlug();
            setValues(*plug, settings[i]);
            setValues(*plug, {{kBypass, 0}}); // which one has on
            plug->resume();
            std::size_t done = 0;
            return play(*plug, inputs, [&]() -> std::int32_t {
                if (bypasses && (done == kOn || done == kOff))
                    plug->setBypass(done == kOn);
                const std::size_t next = done < kOn ? kOn : done < kOff ? kOff : kFrames;
                const std::size_t block = std::min<std::size_t>(next - done, 333);
                done += block;
                return static_cast<std::int32_t>(block);
            });
        };
        const auto with = run(true);
        const auto without = run(false);
        for (std::size_t c = 0; c < 2; ++c)
            for (std::size_t at = 0; at < kFrames; at += at == kOn - 1 ? kOff - kOn + 1 : 1)
                ASSERT_EQ(with[c][at], without[c][at]) << i << " sample " << at;
    }
}

TEST(BlockEntry, RatesThatAreNoneChangeNothing)
{
    const auto plug = makeWidePlug(44100.0F);
    for (const float rate : {0.0F, -48000.0F, NAN, INFINITY, 1.0e6F + 64.0F})
        plug->setSampleRate(rate);
    EXPECT_EQ(plug->getSampleRate(), 44100.0F);
    plug->setSampleRate(96000.0F);
    EXPECT_EQ(plug->getSampleRate(), 96000.0F);
    for (const float rate : {1.0F, 1.0e6F}) { // the ends of the range work
        plug->setSampleRate(rate);
        plug->resume();
        const auto out = play(*plug, fourInputs(5000));
        EXPECT_TRUE(std::isfinite(std::accumulate(out[0].begin(), out[0].end(), 0.0)));
    }
}

#ifdef __x86_64__
TEST(BlockEntry, NothingGoesDenormalInTheSilenceAfterABurst)
{
    constexpr unsigned kDenormalOperand = 1U << 1;
    constexpr unsigned kUnderflow = 1U << 4;
    for (const Values& values : {Values{{kSmoothing, 1}}, Values{{kMode, 0}}, Values{{kMode, 0}, {kExcite, 1}}}) {
        const auto plug = makeWidePlug();
        setValues(*plug, values);
        plug->resume();
        (void)play(*plug, fourInputs(9600), 4800);
        const Inputs silence{.main = {Signal(48000), Signal(48000)}, .side = {}};
        for (int second = 0; second < 40; ++second) {
            _mm_setcsr(_mm_getcsr() & ~(kDenormalOperand | kUnderflow));
            (void)play(*plug, silence, 480);
            ASSERT_EQ(_mm_getcsr() & (kDenormalOperand | kUnderflow), 0U) << "after " << second << " s";
        }
    }
}
#endif

} // namespace
} // namespace sorvane::test
