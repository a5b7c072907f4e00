// The whole route with split, side-chain EQ and oversampling, as a host hears it.

#include "AudioThreadScope.h"
#include "CpuDispatch.h"
#include "Effect.h"
#include "TagTable.h"

#include <gtest/gtest.h>

#include <complex>
#include <cstdio>
#include <numeric>
#include <thread>

namespace sorvane::test {
namespace {

using namespace core;

std::unique_ptr<Plug> offlinePlug(float rateHz, const Values& values)
{
    auto plug = std::make_unique<Plug>(offlineHost, Plug::Start::factoryValues);
    plug->setSampleRate(rateHz);
    setValues(*plug, values);
    plug->resume();
    return plug;
}

constexpr std::array<float, 5> kRates = {44100, 48000, 88200, 96000, 192000};

/// Any setting of all parameters but those that bypass, mute, and select a bank.
Values randomSettings(std::mt19937& random)
{
    Values values;
    for (std::int32_t tag = 0; tag < kABBank; ++tag) {
        const std::int32_t first = tag >= kIpTrimB && tag < kLinked ? tag - kTwinOffset : tag;
        if (tag == kBypass || (first >= kMuteComp && first <= kMuteOutput))
            continue;
        const ParamRecord& parameter = factoryParameters()[static_cast<std::size_t>(tag)];
        float normal = static_cast<float>(random() % 1001) / 1000.0F;
        if (parameter.scale == ScaleType::onOff)
            normal = static_cast<float>(random() % 2);
        if (first == kIpTrim || first == kOpTrim || first == kMakeup || first == kDryGain)
            normal = 0.4F + 0.2F * normal; // levels that an ear could bear
        values.emplace_back(tag, normalToValue(normal, parameter.min, parameter.max, parameter.scale));
    }
    return values;
}

TEST(FullPath, BandAndRestAddUpToTheDelayedInputInLinearPhase)
{
    std::mt19937 random(11);
    double worst = 0.0;
    for (int round = 0; round < 60; ++round) {
        const auto pick = [&](double low, double high) {
            return low * std::pow(high / low, static_cast<double>(random() % 1001) / 1000.0);
        };
        const auto plug =
            offlinePlug(kRates[static_cast<std::size_t>(round % 5)], {{kRatio, 0},
                                                                      {kLookahead, 0},
                                                                      {kSplitType, round % 7},
                                                                      {kSplitHPFSlope, pick(6, 192)},
                                                                      {kSplitLPFSlope, pick(6, 192)},
                                                                      {kSplitBPFQ, pick(0.1, 50)},
                                                                      {kSplitBPFFreq, pick(20, 22000)},
                                                                      {kHQSplit, round % 3 == 0 ? 1 : 0}});
        const auto latency = static_cast<std::size_t>(plug->getInitialDelay());
        EXPECT_EQ(latency, round % 3 == 0 ? 4096U : 1024U);
        const Signal input = noise(14000, static_cast<std::uint32_t>(round));
        const Signal out = play(*plug, {.main = {input}, .side = {}}, 700)[0];
        for (std::size_t i = latency; i < out.size(); ++i)
            worst = std::max(worst, std::abs(out[i] - input[i - latency]));
    }
    EXPECT_LT(worst, 1e-13);
    RecordProperty("largestError", std::to_string(worst));
}

TEST(FullPath, LinearPhaseBandReadsZeroDecibelsAtItsCentre)
{
    for (const double type : {0.0, 1.0, 2.0})
        for (const double slope : {6.0, 48.0, 192.0})
            for (const double frequency : {1000.0, 5270.0, 12000.0}) {
                const auto plug = offlinePlug(48000.0F, {{kListen, 1},
                                                         {kLookahead, 0},
                                                         {kHQSplit, 1},
                                                         {kSplitType, type},
                                                         {kSplitHPFSlope, slope},
                                                         {kSplitLPFSlope, slope},
                                                         {kSplitBPFFreq, frequency},
                                                         {kSplitBPFQ, 2}});
                Signal impulse(16384);
                impulse[0] = 1.0;
                const Signal out = play(*plug, {.main = {impulse}, .side = {}})[0];
                std::complex<double> sum = 0.0;
                for (std::size_t i = 0; i < out.size(); ++i)
                    sum += out[i] * std::polar(1.0, -2.0 * M_PI * plug->getParameterValue(kSplitBPFFreq) *
                                                        static_cast<double>(i) / 48000.0);
                EXPECT_NEAR(decibels(std::abs(sum)), 0.0, 5e-3) << type << ' ' << slope << ' ' << frequency;
            }
}

/// Every way to switch what adds to the latency.
std::vector<Values> latencySwitches()
{
    std::vector<Values> all;
    for (const double ms : {0.0, 0.1, 10.0, 100.0})
        for (int bits = 0; bits < 16; ++bits)
            all.push_back({{kLookahead, ms},
                           {kLinearPhase, bits & 1},
                           {kHQSplit, bits >> 1 & 1},
                           {kOverSample, bits >> 2 & 1},
                           {kHQOversample, bits >> 3 & 1}});
    return all;
}

TEST(FullPath, BypassIsTheInputAtTheReportedLatencyWhileSwitchesChange)
{
    for (const float rate : kRates)
        for (const std::size_t channels : {1U, 2U}) {
            const auto plug = offlinePlug(rate, {{kBypass, 1}, {kIpTrim, 3}});
            std::vector<Signal> history(channels);
            std::uint32_t seed = 0;
            for (const Values& values : latencySwitches()) {
                setValues(*plug, values);
                plug->updateLatency();
                const auto latency = static_cast<std::size_t>(plug->getInitialDelay());
                Inputs block;
                for (std::size_t c = 0; c < channels; ++c) {
                    block.main.push_back(noise(441, ++seed));
                    history[c].insert(history[c].end(), block.main[c].begin(), block.main[c].end());
                }
                const auto out = play(*plug, block, 441);
                for (std::size_t c = 0; c < channels; ++c)
                    for (std::size_t i = 0; i < 441; ++i) {
                        const std::size_t now = history[c].size() - 441 + i;
                        const std::size_t delay = std::min<std::size_t>(latency, 16384); // as far as the ring reaches
                        ASSERT_EQ(out[c][i], now < delay ? 0.0 : history[c][now - delay]) << rate << ' ' << latency;
                    }
            }
        }
}

TEST(FullPath, ProcessedPathLiesAtTheReportedLatency)
{
    for (const float rate : {44100.0F, 96000.0F})
        for (const Values& values : latencySwitches()) {
            auto settings = values;
            settings.insert(settings.end(), {{kRatio, 0}, {kSplitBPF, 0}});
            const auto plug = offlinePlug(rate, settings);
            Signal impulse(22000);
            impulse[0] = 1.0;
            const Signal out = play(*plug, {.main = {impulse}, .side = {}}, 500)[0];
            const auto peak = std::max_element(out.begin(), out.end());
            EXPECT_EQ(peak - out.begin(), plug->getInitialDelay()) << rate;
            EXPECT_NEAR(*peak, 1.0, 0.03); // half-bands round it off a little
        }
}

TEST(FullPath, FreshInstanceAgreesFromItsFirstSample)
{
    auto plug = std::make_unique<Plug>(nullptr, Plug::Start::factoryValues);
    setValues(*plug, {{kHQSplit, 1}, {kRatio, 0}});
    plug->resume();
    EXPECT_EQ(plug->getInitialDelay(), 441 + 4096);
    const Signal input = noise(9000, 3);
    const Signal out = play(*plug, {.main = {input}, .side = {}}, 64)[0];
    for (std::size_t i = 441 + 4096; i < out.size(); ++i)
        ASSERT_NEAR(out[i], input[i - 441 - 4096], 1e-13) << i;
}

TEST(FullPath, FiftySettingsForAnyBlockSizeSampleTypeAndVectorUnit)
{
    std::mt19937 random(2026);
    for (int round = 0; round < 50; ++round) {
        const Values values = randomSettings(random);
        const auto plug = offlinePlug(kRates[static_cast<std::size_t>(round % 5)], values);
        Inputs inputs{.main = {bursts(6000, 1), bursts(6000, 2)}, .side = {bursts(6000, 3), bursts(6000, 4)}};
        for (auto* signals : {&inputs.main, &inputs.side})
            for (Signal& signal : *signals)
                for (double& sample : signal)
                    sample = static_cast<float>(sample);
        (void)play(*plug, {.main = {Signal(2000), Signal(2000)}, .side = {}}); // the filters' slide from a fresh start
        plug->resume();
        const auto expected = play(*plug, inputs, 1000);
        double peak = 1.0;
        for (const Signal& channel : expected)
            for (const double sample : channel)
                peak = std::max(peak, std::abs(sample));
        ASSERT_LT(peak, 1e4) << round;

        const auto compare = [&](const std::vector<Signal>& out, double tolerance, const char* what) {
            for (std::size_t c = 0; c < 2; ++c)
                EXPECT_LT(peakDifference(out[c], expected[c]), tolerance * peak) << what << ' ' << round;
        };
        for (const std::int32_t block : {1, 17, 4096, 0}) {
            plug->resume();
            compare(
                play(*plug, inputs, [&] { return block != 0 ? block : static_cast<std::int32_t>(1 + random() % 900); }),
                1e-12, "block size");
        }
        plug->resume();
        compare(play<float>(*plug, inputs, 1000), 2.5e-7, "float");
        dsp::useVectorUnit(dsp::VectorUnit::sse2);
        plug->resume();
        compare(play(*plug, inputs, 1000), 1e-12, "vector unit");
        dsp::useVectorUnit(dsp::VectorUnit::avx512);
    }
}

/// What comes out at each listen code with nothing compressed, by linked, mid/side and mono: each output as a mix of
/// the inputs' band and rest.
TEST(FullPath, ListenCodesByLinkModeAndChannels)
{
    // A second-order band-pass and its notch add up to the input, and both channels have the same.
    const Values split = {{kSplitType, 2}, {kLinearPhase, 0}, {kRatio, 0}, {kRatioB, 0}, {kLookahead, 0}};
    const auto filtered = [&](const Signal& input, double listen) {
        auto values = split;
        values.emplace_back(kListen, listen);
        return play(*offlinePlug(48000.0F, values), {.main = {input}, .side = {}})[0];
    };
    const Inputs in{.main = {noise(3000, 1), noise(3000, 2)}, .side = {}};
    std::array<Signal, 2> band;
    std::array<Signal, 2> rest;
    for (std::size_t c = 0; c < 2; ++c) {
        band[c] = filtered(in.main[c], 1);
        rest[c] = filtered(in.main[c], 3);
        // Bilinear filters of one corner, so that this holds digitally too.
        for (std::size_t i = 2000; i < 3000; ++i)
            ASSERT_NEAR(band[c][i] + rest[c][i], in.main[c][i], 1e-9);
    }

    using Mix = std::array<double, 4>; // left from left and right, right from left and right
    const Mix both = {1, 0, 0, 1};
    const Mix mid = {0.5, 0.5, 0.5, 0.5};
    const Mix side = {0.5, -0.5, 0.5, -0.5};
    const Mix left = {1, 0, 1, 0};
    const Mix right = {0, 1, 0, 1};
    const Mix none = {0, 0, 0, 0};
    struct Case {
        double listen;
        std::int32_t autoListen; ///< -1 for none
        bool linked;
        const std::array<Signal, 2>* heard;
        Mix leftRight, midSide;
        double mono;
    };
    std::array<Signal, 2> input = {in.main[0], in.main[1]};
    std::vector<Case> cases;
    for (const bool linked : {true, false}) {
        cases.push_back({0, -1, linked, &band, both, both, 1}); // the side-chain is the band
        cases.push_back({1, -1, linked, &band, both, both, 1});
        cases.push_back({2, -1, linked, &input, both, both, 1});
        cases.push_back({3, -1, linked, &rest, both, both, 1});
        cases.push_back({4, -1, linked, &band, none, none, 0});
    }
    cases.push_back({2, 0, true, &band, both, both, 1});
    cases.push_back({2, 0, false, &band, left, mid, -1});
    cases.push_back({2, 2, false, &band, right, side, -1});
    cases.push_back({2, 1, false, &band, left, mid, 1});
    cases.push_back({2, 3, false, &band, right, side, 1});
    for (const Case& c : cases)
        for (const bool midSide : {false, true})
            for (const std::size_t channels : {1U, 2U}) {
                if (channels == 1 && c.mono < 0)
                    continue; // there is no other channel to tell it from: the output stays
                auto values = split;
                values.insert(values.end(), {{kListen, c.listen}, {kLinked, c.linked}, {kStereoMode, midSide}});
                const auto plug = offlinePlug(48000.0F, values);
                for (std::int32_t tag = kSplitBPF; tag <= kSplitType; ++tag)
                    plug->setParameter(tag + kTwinOffset, plug->getParameter(tag));
                if (c.autoListen >= 0)
                    plug->armAutoListen(c.autoListen);
                setValues(*plug, {{kRatio, 0}}); // any change runs the update
                const Mix& mix = midSide ? c.midSide : c.leftRight;
                const auto out = channels == 1 ? play(*plug, {.main = {in.main[0]}, .side = {}}) : play(*plug, in);
                for (std::size_t o = 0; o < channels; ++o)
                    for (std::size_t i = 2000; i < 3000; ++i) {
                        const double expected = channels == 1
                                                    ? c.mono * (*c.heard)[0][i]
                                                    : mix[2 * o] * (*c.heard)[0][i] + mix[2 * o + 1] * (*c.heard)[1][i];
                        ASSERT_NEAR(out[o][i], expected, 1e-6)
                            << c.listen << ' ' << c.autoListen << ' ' << c.linked << midSide << channels;
                    }
            }
}

/// Where the poles of a filter of equal sections lie.
double cornerOf(const dsp::AnalogCascade& curve)
{
    return std::sqrt(curve.stages()[0].a2 / curve.stages()[0].a0);
}

/// A clock that the test moves by hand.
class HandClock : public platform::Clock {
public:
    [[nodiscard]] std::int64_t milliseconds() const noexcept override { return now.load(); }
    std::atomic<std::int64_t> now{0};
};

/// To be run on a thread that has never run a block: on one that has, designs are left to the timer.
void checkPacing()
{
    HandClock clock;
    TestHost host;
    const auto plug = std::make_unique<Plug>(TestHost::callback, Plug::Start::factoryValues, clock);
    const auto corner = [&] { return cornerOf(plug->bandFilter(9, true)); };
    const auto setCorner = [&](double hertz) { setValues(*plug, {{kSplitBPFFreq, hertz}}); };
    plug->onTimer();
    clock.now = 1000;
    setCorner(1000);
    EXPECT_NEAR(corner(), 1000, 0.1) << "a new tick";
    setCorner(2000);
    EXPECT_NEAR(corner(), 1000, 0.1) << "put off in the same tick";
    clock.now = 1099;
    plug->onTimer();
    EXPECT_NEAR(corner(), 1000, 0.1);
    clock.now = 1100;
    plug->onTimer();
    EXPECT_NEAR(corner(), 2000, 0.1) << "the timer completes it";
    std::thread audio([&] { (void)play(*plug, {.main = {Signal(5000)}, .side = {}}); });
    audio.join();
    setCorner(3000);
    EXPECT_NEAR(corner(), 3000, 0.1) << "4096 samples have passed";
    setCorner(4000);
    EXPECT_NEAR(corner(), 3000, 0.1);
    plug->endEdit(kSplitBPFFreq);
    EXPECT_NEAR(corner(), 4000, 0.1) << "the end of an edit forces it";
    std::thread([&] {
        const platform::AudioThreadScope audioThread;
        setCorner(4500);
        plug->designNow();
    }).join();
    EXPECT_NEAR(corner(), 4000, 0.1) << "the audio thread leaves it to the timer";
    plug->onTimer();
    EXPECT_NEAR(corner(), 4500, 0.1) << "which doesn't put it off in the same tick";
    host.processLevel = host::processLevelOffline;
    plug->resume();
    setCorner(5000);
    setCorner(6000);
    EXPECT_NEAR(corner(), 6000, 0.1) << "offline every change designs";
}

TEST(FullPath, DesignsArePacedAndNoneIsLost)
{
    std::thread(checkPacing).join();
}

TEST(FullPath, FiltersBehindTheGraphBands)
{
    const auto plug = offlinePlug(48000.0F, {{kLinked, 0},
                                             {kSCHPFFreq, 100},
                                             {kSCLPFFreq, 9000},
                                             {kSCPeakFreq, 3000},
                                             {kSCHPFFreqB, 200},
                                             {kSCLPFFreqB, 8000},
                                             {kSCPeakFreqB, 4000},
                                             {kSplitBPFFreqB, 2500},
                                             {kSplitTypeB, 5},
                                             {kSplitHPFSlopeB, 12},
                                             {kSplitLPFSlopeB, 12}});
    const std::array<double, 12> expected = {100, 9000, 3000, 0, 200, 8000, 4000, 2500, 0, 5270, 2500, 2500};
    for (std::int32_t band = 0; band < 12; ++band) {
        const double wanted = expected[static_cast<std::size_t>(band)];
        EXPECT_TRUE(wanted == 0 || std::abs(cornerOf(plug->bandFilter(band + 12, true)) - wanted) < 0.5) << band;
    }
    EXPECT_LT(cornerOf(plug->bandFilter(3, false)), 5270);
    EXPECT_GT(cornerOf(plug->bandFilter(8, false)), 5270);
    EXPECT_EQ(plug->bandFilter(0, false).magnitude(1.0), 1.0) << "bypassed";
    EXPECT_LT(plug->bandFilter(0, true).magnitude(1.0), 0.01);
}

constexpr std::size_t kClickFrames = 8192;
constexpr std::size_t kClickBin = 137; ///< of the sine: some 800 Hz

/// Energy outside of a sine's skirt, in dB of all: 32 bins, 190 Hz, to either side are the skirt.
double outsideSkirtDb(const Signal& out)
{
    Signal windowed(kClickFrames);
    double all = 0.0;
    for (std::size_t i = 0; i < kClickFrames; ++i) {
        const double t = 2.0 * M_PI * (static_cast<double>(i) + 0.5) / kClickFrames;
        const double window =
            0.35875 - 0.48829 * std::cos(t) + 0.14128 * std::cos(2.0 * t) - 0.01168 * std::cos(3.0 * t);
        windowed[i] = out[i] * window;
        all += windowed[i] * windowed[i];
    }
    static const std::vector<std::complex<double>> turns = [] {
        std::vector<std::complex<double>> circle(kClickFrames);
        for (std::size_t i = 0; i < kClickFrames; ++i)
            circle[i] = std::polar(1.0, -2.0 * M_PI * static_cast<double>(i) / kClickFrames);
        return circle;
    }();
    double skirt = 0.0;
    for (std::size_t bin = kClickBin - 32; bin <= kClickBin + 32; ++bin) {
        std::complex<double> sum = 0.0;
        for (std::size_t i = 0; i < kClickFrames; ++i)
            sum += windowed[i] * turns[bin * i % kClickFrames];
        skirt += 2.0 * std::norm(sum) / kClickFrames;
    }
    return 10.0 * std::log10(std::max(all - skirt, 1e-30) / std::max(all, 1e-30));
}

/// The same for the change of one parameter in the middle of a sine that is compressed.
double clickDb(std::int32_t tag, float from, float to)
{
    const auto plug =
        offlinePlug(48000.0F, {{kLinearPhase, 0}, {kLookahead, 1}, {kThreshold, -30}, {kSplitBPFFreq, 2000}});
    plug->setParameter(tag, from);
    plug->resume();
    const auto part = [&](std::size_t first, std::size_t last) {
        Signal sine;
        for (std::size_t i = first; i < last; ++i)
            sine.push_back(0.25 * std::sin(2.0 * M_PI * kClickBin * static_cast<double>(i) / kClickFrames));
        return play(*plug, {.main = {sine, sine}, .side = {}})[0];
    };
    constexpr std::size_t kChange = 3500; // not where the sine crosses zero
    (void)part(0, 2 * kClickFrames);
    Signal out = part(0, kChange);
    plug->setParameter(tag, to);
    const Signal after = part(kChange, kClickFrames);
    out.insert(out.end(), after.begin(), after.end());
    return outsideSkirtDb(out);
}

TEST(FullPath, EveryParameterMovedWhileASinePlays)
{
    std::vector<std::pair<double, std::int32_t>> clicks;
    for (std::int32_t tag = 0; tag < kABBank; ++tag)
        clicks.emplace_back(std::max(clickDb(tag, 0.0F, 1.0F), clickDb(tag, 1.0F, 0.0F)), tag);
    for (const std::int32_t tag : {kIpTrim, kMakeup, kDryGain, kOpTrim, kMuteComp, kMuteDry, kMuteOutput})
        EXPECT_LT(clicks[static_cast<std::size_t>(tag)].first, -45.0) << "slides: " << tag;
    EXPECT_GT(clicks[kListen].first, -30.0) << "a hard switch, to show what the measure sees";
    std::sort(clicks.rbegin(), clicks.rend());
    for (std::size_t i = 0; i < 12; ++i)
        std::printf("%s %.1f dB\n", std::string(TagTable::instance().name(clicks[i].second)).c_str(), clicks[i].first);
}

} // namespace
} // namespace sorvane::test
