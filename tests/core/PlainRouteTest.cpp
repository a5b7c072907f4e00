// The block entries against the route written down one sample at a time, through anything that a host may do.

#include "PlainRoute.h"
#include "Effect.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <random>
#include <utility>
#include <vector>

namespace sorvane::test {
namespace {

using namespace core;

constexpr int kSeeds = 60;
constexpr int kBlocks = 24;

/// What the plain route leaves out, and the bank, which is a set of parameters of its own.
constexpr std::array kLeftAlone = {kSplitBPF, kSplitBPFB, kLinearPhase, kSCHPF,  kSCPeak,     kSCLPF,
                                   kSCHPFB,   kSCPeakB,   kSCLPFB,      kABBank, kOverSample, kHQSplit};

double relativeDifference(double a, double b)
{
    return std::abs(a - b) / std::max(1.0, std::abs(b));
}

/// One effect and its oracle, led through the same random session.
template <typename Sample>
class Session {
public:
    explicit Session(std::uint32_t seed) : random(seed), level(std::pow(10.0, -3.0 * part()))
    {
        plug->setSampleRate(anyRate());
        for (std::int32_t tag = 0; tag < kNumParams; ++tag)
            if (oneIn(2))
                setRandom(tag);
        oracle.update(*plug);
        resume();
        mono = oneIn(4);
    }

    void run()
    {
        for (int block = 0; block < kBlocks; ++block) {
            SCOPED_TRACE(block);
            changeSomething();
            playBlock(anyFrames());
            comparePositionsAndMeters();
            if (::testing::Test::HasFatalFailure())
                return;
        }
        compareRings();
    }

private:
    static constexpr double kTolerance = sizeof(Sample) == sizeof(float) ? 1e-6 : 1e-11;

    double part() { return std::uniform_real_distribution<double>()(random); }
    bool oneIn(std::uint32_t times) { return random() % times == 0; }
    template <typename Value, std::size_t Count>
    Value oneOf(const std::array<Value, Count>& values)
    {
        return values[random() % Count];
    }

    float anyRate()
    {
        return oneOf(std::array{44100.0F, 48000.0F, 88200.0F, 96000.0F, 192000.0F, 22050.0F, 8000.0F, 383.5F, 300000.0F,
                                1e6F, 1.0F, 47999.3F});
    }

    std::size_t anyFrames()
    {
        if (oneIn(20))
            return 0;
        return 1 + random() % (oneIn(3) ? 20 : oneIn(8) ? 5000 : 800);
    }

    void setRandom(std::int32_t tag)
    {
        if (std::find(kLeftAlone.begin(), kLeftAlone.end(), tag) != kLeftAlone.end())
            return;
        auto normal = static_cast<float>(part());
        if (oneIn(3) || plug->getParameterSteps(tag) == 1)
            normal = oneIn(2) ? 1.0F : 0.0F;
        switch (tag) { // not so often that little else is heard
        case kBypass:
        case kMuteComp:
        case kMuteDry:
        case kMuteOutput:
        case kMuteCompB:
        case kMuteDryB:
        case kMuteOutputB:
            normal = oneIn(8) ? 1.0F : 0.0F;
            break;
        case kListen:
            normal = oneIn(2) ? 0.5F : normal;
            break;
        case kNoiseDetector:
            normal = oneIn(2) ? 0.0F : normal;
            break;
        default:
            break;
        }
        plug->setParameter(tag, normal);
    }

    void resume()
    {
        plug->resume();
        oracle.resume(*plug);
    }

    void changeSomething()
    {
        switch (random() % 10) {
        case 0:
        case 1:
        case 2:
            for (auto changes = 1 + random() % 5; changes > 0; --changes)
                setRandom(static_cast<std::int32_t>(random() % kNumParams));
            break;
        case 3:
            setRandom(kLookahead);
            break;
        case 4:
            setRandom(oneOf(std::array{kSmoothing, kMode, kExcite, kExciteB, kLinked, kStereoMode, kDryType, kExtSC}));
            break;
        case 5:
            if (oneIn(3))
                listenWhileHeld(static_cast<std::int32_t>(random() % 4));
            break;
        case 6:
            if (oneIn(3))
                plug->setSampleRate(anyRate()); // and no resume: the engine goes on at its own
            break;
        case 7:
            if (oneIn(3))
                resume();
            break;
        case 8:
            if (oneIn(2))
                mono = !mono;
            break;
        default:
            return;
        }
        oracle.update(*plug);
    }

    void listenWhileHeld(std::int32_t mode)
    {
        plug->armAutoListen(mode);
        oracle.armAutoListen(mode);
        plug->setParameter(kLinked, oneIn(2) ? 1.0F : 0.0F); // any change runs the update
    }

    /// A tone or noise at changing levels, with what isn't a number here and there.
    Signal anySignal(std::size_t frames)
    {
        Signal signal(frames);
        const bool tone = oneIn(2);
        const double frequency = 0.3 * part();
        double gain = oneIn(6) ? 0.0 : level * std::pow(10.0, -2.0 * part());
        for (std::size_t i = 0; i < frames; ++i) {
            if (oneIn(500))
                gain = level * std::pow(10.0, -3.0 * part());
            phase += frequency;
            signal[i] = static_cast<Sample>(gain * (tone ? std::sin(phase) : 2.0 * part() - 1.0));
        }
        for (const double poison : {static_cast<double>(NAN), static_cast<double>(-INFINITY)})
            if (frames > 0 && oneIn(10))
                signal[random() % frames] = poison;
        return signal;
    }

    void playBlock(std::size_t frames)
    {
        hasBeenMono = hasBeenMono || mono;
        const std::size_t channels = mono ? 1 : 2;
        PlainRoute::Block block{.frames = frames,
                                .channels = channels,
                                .main = {},
                                .side = {},
                                .singlePrecision = sizeof(Sample) == sizeof(float)};
        std::array<std::vector<Sample>, 4> inputs;
        std::array<Sample*, 4> in{};
        for (std::size_t c = 0; c < channels; ++c) {
            for (const auto& [signals, place] : {std::pair{&block.main, c}, {&block.side, channels + c}}) {
                if (oneIn(12))
                    continue; // a missing pointer
                (*signals)[c] = anySignal(frames);
                inputs[place].assign((*signals)[c].begin(), (*signals)[c].end());
                in[place] = inputs[place].data();
            }
        }
        const std::array<Signal, 2> expected = oracle.process(block);

        std::array<std::vector<Sample>, 2> outputs;
        std::array<Sample*, 2> out{};
        for (std::size_t c = 0; c < channels; ++c) {
            outputs[c].assign(frames + 1, Sample(7)); // nothing may be written behind the block
            out[c] = outputs[c].data();
        }
        if constexpr (sizeof(Sample) == sizeof(float))
            plug->processReplacing(in.data(), out.data(), static_cast<std::int32_t>(frames));
        else
            plug->processDoubleReplacing(in.data(), out.data(), static_cast<std::int32_t>(frames));
        for (std::size_t c = 0; c < channels; ++c) {
            for (std::size_t i = 0; i < frames; ++i)
                ASSERT_LE(relativeDifference(static_cast<double>(outputs[c][i]), expected[c][i]), kTolerance)
                    << "output " << c << ' ' << i << ": " << static_cast<double>(outputs[c][i]) << " for "
                    << expected[c][i];
            ASSERT_EQ(outputs[c][frames], Sample(7));
        }
    }

    void comparePositionsAndMeters()
    {
        for (std::int32_t i = 0; i < 4; ++i)
            ASSERT_EQ(plug->getRingPosition(i), oracle.ringPosition(static_cast<std::size_t>(i))) << i;
        for (std::int32_t c = 0; c < 2; ++c)
            ASSERT_LE(relativeDifference(plug->getLevelMeter(c), oracle.levelMeter(static_cast<std::size_t>(c))), 1e-6);
    }

    void compareRings()
    {
        constexpr std::size_t kEntries = 32768;
        for (std::int32_t ring = 0; ring < 6; ++ring) {
            if (hasBeenMono && (ring == 1 || ring == 3))
                continue; // what a mono block leaves there isn't said
            const auto* const entries = plug->getDisplayRing(ring);
            const auto& expected = oracle.displayRing(static_cast<std::size_t>(ring));
            for (std::size_t i = 0; i < kEntries; ++i)
                ASSERT_LE(relativeDifference(entries[i].load(), expected[i]), 1e-6) << "ring " << ring << ' ' << i;
        }
        Signal newest(8192);
        for (std::int32_t c = 0; c < 2; ++c) {
            const auto channel = static_cast<std::size_t>(c);
            for (std::size_t i = 0; i < kEntries; ++i)
                ASSERT_EQ(plug->getStateRing(c)[i].load(), oracle.stateRing(channel)[i]) << "state " << c << ' ' << i;
            plug->getOutputSamples(newest.data(), 8192, c);
            const Signal expected = oracle.outputSamples(8192, channel);
            for (std::size_t i = 0; i < newest.size(); ++i)
                ASSERT_LE(relativeDifference(newest[i], expected[i]), kTolerance)
                    << "ring of outputs " << c << ' ' << i;
        }
    }

    std::unique_ptr<Plug> plug = makeWidePlug();
    PlainRoute oracle;
    std::mt19937 random;
    double level;
    double phase = 0.0;
    bool mono = false;
    bool hasBeenMono = false;
};

TEST(PlainRoute, NullsTheBlockEntryThroughRandomSessions)
{
    for (std::uint32_t seed = 1; seed <= kSeeds; ++seed) {
        SCOPED_TRACE(seed);
        {
            SCOPED_TRACE("double");
            Session<double>(seed).run();
        }
        {
            SCOPED_TRACE("float");
            Session<float>(seed + 1000).run();
        }
        if (HasFatalFailure())
            return;
    }
}

} // namespace
} // namespace sorvane::test
