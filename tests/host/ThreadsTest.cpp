// Everything at once, for ThreadSanitizer to look at, and for what must hold without it.

#include "Effect.h"
#include "ParameterText.h"
#include "StormSeconds.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <random>
#include <thread>

namespace sorvane::test {
namespace {

using namespace core;

/// Runs a function over and over on a thread of its own until the storm is over.
class Storm {
public:
    template <typename Work>
    void add(Work work)
    {
        threads.emplace_back([this, work]() mutable {
            while (!over)
                work();
        });
    }
    void blowFor(std::chrono::duration<double> time)
    {
        std::this_thread::sleep_for(time);
        over = true;
        for (std::thread& thread : threads)
            thread.join();
    }

private:
    std::atomic<bool> over{false};
    std::vector<std::thread> threads;
};

TEST(Threads, StormOfParametersBlocksBanksChunksResumesAndReaders)
{
    const auto plug = makePlug(48000.0F, nullptr);
    std::atomic<bool> allFinite{true};
    std::atomic<int> blocks{0};
    Storm storm;
    storm.add([&, inputs = Inputs{.main = {bursts(2048, 1), bursts(2048, 2)}, .side = {}}] {
        for (const Signal& channel : play(*plug, inputs, 256))
            for (const double sample : channel)
                if (!std::isfinite(sample))
                    allFinite = false;
        ++blocks;
    });
    storm.add([&, random = std::mt19937(1)]() mutable {
        plug->setParameter(static_cast<std::int32_t>(random() % 92), static_cast<float>(random() % 1001) / 1000.0F);
    });
    storm.add([&, bank = 0]() mutable {
        plug->switchBank(++bank % 8);
        plug->setProgram(0);
        plug->resume();
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    });
    storm.add([&, round = 0]() mutable {
        const bool isPreset = ++round % 3 == 0;
        void* data = nullptr;
        const std::int32_t size = plug->getChunk(&data, isPreset);
        (void)plug->setChunk(data, size, isPreset);
        plug->setCompressionLevel(round % 10);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    });
    storm.add([&, samples = Signal(8192)]() mutable {
        (void)plug->copyChunk(false);
        plug->setProgramName("Storm");
        float sum = 0.0F;
        for (std::int32_t ring = 0; ring < 6; ++ring)
            for (std::uint32_t i = 0; i < DisplayFeeds::kEntries; i += 61)
                sum += plug->getDisplayRing(ring)[i];
        for (std::int32_t channel = 0; channel < 2; ++channel) {
            sum += static_cast<float>(plug->getStateRing(channel)[plug->getRingPosition(2) % 100]);
            sum += plug->getReductionMeter(channel) + plug->getLevelMeter(channel);
            plug->getOutputSamples(samples.data(), 8192, channel);
        }
        sum += static_cast<float>(plug->getInitialDelay());
        sum += static_cast<float>(plug->bandFilter(9, true).magnitude(1000.0));
        char text[kParameterTextBytes] = {};
        plug->getParameterDisplay(kRatio, text);
        if (std::isnan(sum))
            allFinite = false;
    });
    storm.blowFor(std::chrono::duration<double>(stormSeconds(1.5)));
    EXPECT_TRUE(allFinite);
    EXPECT_GT(blocks, 0);
}

TEST(Threads, ValuesSetByTwoThreadsEndAsAPairAndReachTheEngine)
{
    const auto plug = makeWidePlug(48000.0F, nullptr);
    for (int round = 0; round < 200; ++round) {
        std::atomic<int> ready{0};
        const auto race = [&](float from) {
            for (++ready; ready < 2;) {
            }
            for (int i = 0; i < 50; ++i)
                plug->setParameter(kLookahead, from + static_cast<float>(i) * 0.001F);
        };
        std::thread one(race, 0.1F);
        std::thread other(race, 0.5F);
        one.join();
        other.join();
        const float value = plug->getParameterValue(kLookahead);
        ASSERT_EQ(value, plug->fromNormalised(kLookahead, plug->getParameter(kLookahead)));
        plug->updateLatency();
        ASSERT_EQ(plug->getInitialDelay(), static_cast<std::int32_t>(value * 48000.0 * 0.001));
    }
}

TEST(Threads, ChangeOnTheAudioThreadIsNeverLost)
{
    // The audio thread's tries meet a thread that holds the lock nearly all of the time.
    for (const bool resumes : {false, true}) {
        const auto plug = makeWidePlug(48000.0F, nullptr);
        std::atomic<bool> over{false};
        std::thread updating([&] {
            while (!over)
                resumes ? plug->resume() : plug->setSampleRate(48000.0F); // an update that changes nothing
        });
        std::thread audio([&] {
            const Inputs inputs{.main = {Signal(16)}, .side = {}};
            for (int i = 0; i < (resumes ? 300 : 2000); ++i) {
                (void)play(*plug, inputs, 16);
                plug->setParameter(kLookahead, static_cast<float>(1 + i % 100) / 100.0F);
            }
        });
        audio.join();
        over = true;
        updating.join();
        resumes ? (void)plug->onTimer() : plug->updateLatency();
        EXPECT_EQ(plug->getInitialDelay(),
                  static_cast<std::int32_t>(plug->getParameterValue(kLookahead) * 48000.0 * 0.001));
    }
}

} // namespace
} // namespace sorvane::test
