#include "LinearPhaseFIR.h"
#include "AudioThreadScope.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <thread>
#include <utility>
#include <vector>

namespace {
// The convolvers keep all that is large on lines of their own, so that these see every pair.
std::atomic<int> alignedArrays{0};
thread_local bool refuseAlignedArrays = false;
} // namespace

void* operator new[](std::size_t size, std::align_val_t alignment)
{
    const auto line = static_cast<std::size_t>(alignment);
    void* memory = refuseAlignedArrays ? nullptr : std::aligned_alloc(line, (size + line - 1) / line * line);
    if (memory == nullptr)
        throw std::bad_alloc();
    ++alignedArrays;
    return memory;
}

void operator delete[](void* memory, std::align_val_t) noexcept
{
    if (memory != nullptr)
        --alignedArrays;
    std::free(memory); // NOLINT(cppcoreguidelines-no-malloc)
}

namespace sorvane::dsp {
namespace {

constexpr int kNormal = LinearPhaseFIR::kLength;
constexpr int kHq = LinearPhaseFIR::kHqLength;

// A pair that only delays, with a gain for channel 0 and its negative for channel 1.
bool loadGain(LinearPhaseFIR& fir, int length, double gain)
{
    const std::vector<double> first(static_cast<std::size_t>(length / 2 + 1), gain);
    const std::vector<double> second(static_cast<std::size_t>(length / 2 + 1), -gain);
    return fir.load(length, {first, second});
}

// Runs a constant 1 through channel 0, which adds its gain to itself, and gives the last sample.
double settle(LinearPhaseFIR& fir, int frames)
{
    std::vector<double> samples(static_cast<std::size_t>(frames), 1.0);
    fir.acceptPending();
    const std::span<double> channel(samples);
    fir.process({&channel, 1});
    return samples.back();
}

// The window is a hair below 1 at the middle tap.
constexpr double kTolerance = 1e-5;

TEST(LinearPhaseFIR, TakesTheNewestPairAtABlockAndKeepsTheSignalForTheSameLength)
{
    LinearPhaseFIR fir;
    EXPECT_EQ(fir.firLength(), kNormal);
    EXPECT_EQ(settle(fir, 2 * kNormal), 0.0); // no taps yet

    ASSERT_TRUE(loadGain(fir, kNormal, 0.25));
    ASSERT_TRUE(loadGain(fir, kNormal, 0.5)); // takes the place of the first
    EXPECT_NEAR(settle(fir, 2 * kNormal), 0.5, kTolerance);

    ASSERT_TRUE(loadGain(fir, kNormal, 2.0));
    EXPECT_NEAR(settle(fir, kNormal / 2 - 200), 0.5, kTolerance); // the tail with the old gain
    EXPECT_NEAR(settle(fir, 400), 2.0, kTolerance);

    ASSERT_TRUE(loadGain(fir, kHq, 3.0));
    EXPECT_EQ(fir.delaySamples(), kNormal / 2); // not before the audio thread has it
    EXPECT_NEAR(settle(fir, kHq / 2), 0.0, kTolerance);
    EXPECT_EQ(fir.delaySamples(), kHq / 2);
    EXPECT_NEAR(settle(fir, 1), 3.0, kTolerance);

    ASSERT_TRUE(loadGain(fir, kNormal, 1.0));
    EXPECT_NEAR(settle(fir, kNormal / 2), 0.0, kTolerance); // nothing of what it heard when it was in use before
    EXPECT_NEAR(settle(fir, 1), 1.0, kTolerance);
    fir.clear();
    EXPECT_NEAR(settle(fir, kNormal / 2), 0.0, kTolerance);
}

// Channels that filter alike share their taps until one of them gets others. Each pair is loaded again after the next
// one.
TEST(LinearPhaseFIR, ChannelsKeepTheirOwnGainHoweverOftenTheyAgreed)
{
    LinearPhaseFIR fir;
    for (const auto& [first, second] :
         {std::pair{0.5, 0.5}, {0.25, 0.25}, {1.0, 2.0}, {3.0, 3.0}, {2.0, 4.0}, {1.5, 1.5}}) {
        const std::vector<double> magnitudes0(kNormal / 2 + 1, first);
        const std::vector<double> magnitudes1(kNormal / 2 + 1, second);
        ASSERT_TRUE(fir.load(kNormal, {magnitudes0, magnitudes1}));
        std::vector<double> left(2 * kNormal, 1.0);
        std::vector<double> right = left;
        fir.acceptPending();
        fir.process(std::array<std::span<double>, 2>{left, right});
        EXPECT_NEAR(left.back(), first, 4.0 * kTolerance);
        EXPECT_NEAR(right.back(), second, 4.0 * kTolerance);
    }
}

TEST(LinearPhaseFIR, FreesWhatItReplacedOnlyWhenAskedAndKeepsTheOldPairWithoutMemory)
{
    {
        LinearPhaseFIR fir;
        ASSERT_TRUE(loadGain(fir, kNormal, 0.5));
        settle(fir, 1);
        fir.collect();
        const int onePair = alignedArrays;

        ASSERT_TRUE(loadGain(fir, kNormal, 1.0));
        const int twoPairs = alignedArrays;
        EXPECT_GT(twoPairs, onePair);
        refuseAlignedArrays = true; // as the audio thread may ask for none
        EXPECT_NEAR(settle(fir, 2 * kNormal), 1.0, kTolerance);
        refuseAlignedArrays = false;
        EXPECT_EQ(alignedArrays, twoPairs); // nor free any
        ASSERT_TRUE(loadGain(fir, kNormal, 2.0));
        const int tapsThatRanOut = 2 * 2; // of two levels and channels: who used them keeps them until it is replaced
        EXPECT_LE(alignedArrays, twoPairs + tapsThatRanOut); // in place of the replaced one
        EXPECT_NEAR(settle(fir, 2 * kNormal), 2.0, kTolerance);
        fir.collect();
        EXPECT_LE(alignedArrays, onePair + tapsThatRanOut);
        for (int i = 0; i < 20; ++i) {
            ASSERT_TRUE(loadGain(fir, kNormal, 2.0));
            const int made = alignedArrays;
            settle(fir, 200);
            EXPECT_EQ(alignedArrays, made) << "taps that only past blocks have are not the audio thread's to free";
        }
        settle(fir, 2 * kNormal);
        fir.collect();
        EXPECT_LE(alignedArrays, onePair + 2 * (7 + 14)) << "one for each block that a channel remembers";

        refuseAlignedArrays = true;
        EXPECT_FALSE(loadGain(fir, kHq, 3.0));
        EXPECT_FALSE(loadGain(fir, kNormal, 3.0));
        refuseAlignedArrays = false;
        EXPECT_NEAR(settle(fir, kNormal), 2.0, kTolerance);
        EXPECT_EQ(fir.firLength(), kNormal);
        ASSERT_TRUE(loadGain(fir, kHq, 3.0)); // and one that nobody picks up
    }
    EXPECT_EQ(alignedArrays, 0);
}

// Any output beside what the delays alone can give, or channels that disagree, would show a torn or half-built pair.
TEST(LinearPhaseFIR, HandsWholePairsToARunningBlock)
{
    LinearPhaseFIR fir;
    std::atomic<bool> running{true};
    std::atomic<int> blocks{0};
    int wrong = 0;
    int changes = 0;
    std::thread audio([&] {
        const platform::AudioThreadScope scope;
        double last = 0.0;
        std::vector<double> left(96);
        std::vector<double> right(96);
        while (running) {
            std::fill(left.begin(), left.end(), 1.0);
            std::fill(right.begin(), right.end(), 1.0);
            fir.acceptPending();
            fir.process(std::array<std::span<double>, 2>{left, right});
            for (std::size_t i = 0; i < left.size(); ++i) {
                const double gain = std::round(left[i]);
                wrong += std::abs(left[i] - gain) > 1e-4 || gain < 0.0 || gain > 3.0 || right[i] != -left[i];
                changes += gain != last;
                last = gain;
            }
            ++blocks;
        }
    });
    std::thread timer([&] {
        while (running) {
            fir.collect();
            std::this_thread::yield();
        }
    });
    int refused = 0;
    for (int i = 0; i < 60; ++i) {
        refused += !loadGain(fir, i % 8 < 6 ? kNormal : kHq, 1.0 + i % 3);
        // Most pairs are heard; some are taken back before they are.
        for (const int until = blocks + (i % 4 == 0 ? 0 : kNormal / 96); blocks < until;)
            std::this_thread::yield();
    }
    running = false;
    audio.join();
    timer.join();
    EXPECT_EQ(refused, 0);
    EXPECT_EQ(wrong, 0);
    EXPECT_GT(changes, 10);
}

TEST(LinearPhaseFIR, AnOlderPairStaysUntilANewerOneIsWhole)
{
    LinearPhaseFIR fir;
    ASSERT_TRUE(loadGain(fir, kNormal, 0.5));
    refuseAlignedArrays = true; // no memory for the next one
    EXPECT_FALSE(loadGain(fir, kHq, 0.25));
    refuseAlignedArrays = false;
    EXPECT_NEAR(settle(fir, 4 * kNormal), 0.5, kTolerance) << "whoever was told of the first pair finds it";
    // Pairs that nobody has fetched yet pile up without loss.
    const int before = alignedArrays;
    for (int i = 0; i < 5; ++i) {
        LinearPhaseFIR other;
        for (const double gain : {0.1, 0.2, 0.3}) {
            ASSERT_TRUE(loadGain(other, kNormal, gain));
            other.acceptPending();
            other.acceptPending();
            ASSERT_TRUE(loadGain(other, i % 2 == 0 ? kHq : kNormal, gain));
            other.acceptPending();
        }
    }
    EXPECT_EQ(alignedArrays, before);
}

} // namespace
} // namespace sorvane::dsp
