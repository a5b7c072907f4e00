#include "FIRConvolver.h"
#include "CpuDispatch.h"
#include "Signals.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>

namespace sorvane::dsp {
namespace {

constexpr double kTolerance = 1e-12;

// Sample n of the plain convolution.
double convolutionAt(std::span<const double> taps, std::span<const double> input, std::size_t n)
{
    double sum = 0.0;
    for (std::size_t k = 0; k < taps.size() && k <= n; ++k)
        sum += taps[k] * input[n - k];
    return sum;
}

void processInBlocks(FIRConvolver& convolver, std::span<double> samples, const std::function<std::size_t()>& nextBlock)
{
    while (!samples.empty()) {
        const std::size_t frames = std::min(nextBlock(), samples.size());
        convolver.process(samples.first(frames));
        samples = samples.subspan(frames);
    }
}

TEST(FIRConvolver, EqualsDirectConvolutionAndIsTheSameForAnyBlockSizeAndVectorUnit)
{
    for (const int length : {2048, 8192}) {
        const auto taps = test::noise(static_cast<std::size_t>(length), 1);
        const auto input = test::noise(2 * taps.size() + 817, 2);
        FIRConvolver convolver(length);
        convolver.load(taps);
        std::vector<double> whole = input;
        convolver.process(whole);
        for (std::size_t n = 0; n < input.size(); n += n < 100 ? 1 : 23)
            ASSERT_NEAR(whole[n], convolutionAt(taps, input, n), kTolerance) << length << " sample " << n;

        std::mt19937 generator(3);
        const std::array<std::function<std::size_t()>, 5> cuts{
            [] { return 1U; }, [] { return 17U; }, [] { return 64U; }, [] { return 4096U; },
            [&] { return std::uniform_int_distribution<std::size_t>(1, 700)(generator); }};
        for (const auto& cut : cuts) {
            convolver.clear();
            std::vector<double> output = input;
            processInBlocks(convolver, output, cut);
            EXPECT_EQ(output, whole) << length;
        }
        for (const VectorUnit unit : {VectorUnit::sse2, VectorUnit::avx2}) {
            useVectorUnit(unit);
            convolver.clear();
            std::vector<double> output = input;
            convolver.process(output);
            EXPECT_EQ(output, whole) << length;
        }
        useVectorUnit(widestVectorUnit());
    }
}

// Two channels give the bits that each would give alone: with one filter or two, in step or not, and while one filter
// takes another's place.
TEST(FIRConvolver, TogetherIsTheSameAsOneByOne)
{
    constexpr std::size_t kChange = 5000;
    constexpr std::size_t kFrames = 12000;
    for (const int length : {2048, 8192})
        for (const bool shared : {true, false})
            for (const std::size_t lead : {0U, 17U, 96U, 512U}) { // of the first channel
                const auto convolvers = [&](unsigned seed) {
                    std::vector<FIRConvolver> pair;
                    for (unsigned c = 0; c < 2; ++c) {
                        pair.emplace_back(length);
                        if (c == 1 && shared)
                            pair[1].shareTaps(pair[0]);
                        else
                            pair[c].load(test::noise(static_cast<std::size_t>(length), seed + c));
                    }
                    return pair;
                };
                const auto run = [&](bool together) {
                    std::array channels{test::noise(kFrames, 5), test::noise(kFrames, 6)};
                    std::vector<FIRConvolver> pair = convolvers(1);
                    std::vector<FIRConvolver> successors = convolvers(3);
                    std::vector<double> ahead = test::noise(lead, 7);
                    pair[0].process(ahead);
                    const auto process = [&](std::size_t first, std::size_t frames) {
                        const std::array lanes{
                            FIRConvolver::Lane{pair[0], std::span(channels[0]).subspan(first, frames)},
                            FIRConvolver::Lane{pair[1], std::span(channels[1]).subspan(first, frames)}};
                        if (together)
                            return FIRConvolver::processTogether(lanes);
                        for (const FIRConvolver::Lane& lane : lanes)
                            lane.convolver.process(lane.samples);
                    };
                    process(0, kChange);
                    for (std::size_t c = 0; c < 2; ++c)
                        successors[c].continueFrom(pair[c]);
                    pair.swap(successors);
                    process(kChange, kFrames - kChange);
                    return channels;
                };
                EXPECT_EQ(run(true), run(false)) << length << ", one filter " << shared << ", lead " << lead;
            }
}

TEST(FIRConvolver, TakesDenormalsForSilence)
{
    FIRConvolver convolver(2048);
    convolver.load(std::vector<double>(2048, 1.0));
    std::vector<double> samples(500, 1e-310);
    convolver.process(samples);
    EXPECT_EQ(samples, std::vector<double>(500, 0.0));
}

// New taps at any sample: what came a large block or more before runs out with the old ones, what comes after it meets
// the new ones in every partition, whether they are loaded in place or the signal goes over to another convolver.
TEST(FIRConvolver, NewTapsMeetNewInputAndOldTailsRunOut)
{
    for (const int length : {2048, 8192}) {
        const auto oldTaps = test::noise(static_cast<std::size_t>(length), 1);
        const auto newTaps = test::noise(static_cast<std::size_t>(length), 2);
        for (const std::size_t change : {1024U, 1184U, 1500U, 3001U}) {
            const std::size_t total = change + static_cast<std::size_t>(length) + 40;
            std::vector<double> before = test::noise(total, 3);
            std::fill(before.begin() + static_cast<std::ptrdiff_t>(change) - 512 - 32, before.end(), 0.0);
            std::vector<double> after = test::noise(total, 4);
            std::fill_n(after.begin(), change, 0.0);

            std::vector<double> loaded(total);
            std::transform(before.begin(), before.end(), after.begin(), loaded.begin(), std::plus());
            std::vector<double> handedOver = loaded;

            FIRConvolver inPlace(length);
            inPlace.load(oldTaps);
            inPlace.process(std::span(loaded).first(change));
            inPlace.load(newTaps);
            inPlace.process(std::span(loaded).subspan(change));

            FIRConvolver old(length);
            FIRConvolver successor(length);
            old.load(oldTaps);
            successor.load(newTaps);
            old.process(std::span(handedOver).first(change));
            successor.continueFrom(old);
            successor.process(std::span(handedOver).subspan(change));

            EXPECT_EQ(loaded, handedOver) << length << " at " << change;
            for (std::size_t n = change; n < total; n += n < change + 40 ? 1 : 61)
                ASSERT_NEAR(loaded[n], convolutionAt(oldTaps, before, n) + convolutionAt(newTaps, after, n), kTolerance)
                    << length << " at " << change << " sample " << n;
        }
    }
}

} // namespace
} // namespace sorvane::dsp
