// That the LV2 plug-ins, once warm, leave the audio thread alone whatever their ports do.

#include "Lv2Host.h"
#include "RealtimeGuard.h"
#include "StormSeconds.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <random>
#include <thread>

namespace sorvane::test {
namespace {

using lv2::PortRole;
using Clock = std::chrono::steady_clock;

TEST(Lv2Realtime, StormOfPortsLeavesTheAudioThreadAlone)
{
    const MainVolumeMoves map(core::kABBank);
    const Lv2Library library;
    for (const std::size_t channels : {1U, 2U}) {
        Lv2Instance instance(library, channels, 48000.0, 1024); // blocks are larger, too
        instance.connectSideChain();
        MidiSequence midi;
        instance.connect(instance.port(PortRole::midi), &midi);
        instance.activate();
        std::atomic<bool> warm{false};
        std::atomic<bool> over{false};
        RealtimeGuard::Counts counts;
        RealtimeGuard::Counts firstRun;
        std::uint64_t blocks = 0;
        std::thread audio([&] {
            std::mt19937 random(1);
            for (std::size_t c = 0; c < channels; ++c)
                std::generate_n(instance.buffer(PortRole::input, c).begin(), Lv2Instance::kFrames,
                                [&] { return static_cast<float>(random() % 2001) / 1000.0F - 1.0F; });
            const RealtimeGuard guard;
            instance.controls[core::kSplitBPFFreq] = 3000.0F;
            instance.run(64); // the first run makes its designs, which also shows that the library is watched
            firstRun = RealtimeGuard::take();
            warm = true;
            const auto end = Clock::now() + std::chrono::duration<double>(stormSeconds(1.0));
            while (Clock::now() < end) {
                for (int i = 0; i < 3; ++i) {
                    const std::size_t tag = random() % lv2::kParameterPorts;
                    const core::ParamRecord& record = core::factoryParameters()[tag];
                    instance.controls[tag] = core::normalToValue(static_cast<float>(random() % 1001) / 1000.0F,
                                                                 record.min, record.max, record.scale);
                }
                midi.bytes[1] = static_cast<std::uint8_t>(random() % 8);
                midi.bytes[2] = static_cast<std::uint8_t>(random() % 128);
                instance.run(random() % 3000);
                ++blocks;
            }
            counts = RealtimeGuard::take();
            over = true;
        });
        while (!warm) // a restore's own thread would make the first designs
            std::this_thread::yield();
        while (!over) {
            const Lv2State saved = instance.save();
            EXPECT_EQ(instance.restore(saved), LV2_STATE_SUCCESS);
            std::this_thread::sleep_for(std::chrono::milliseconds(3));
        }
        audio.join();
        EXPECT_GT(firstRun.allocations, 0U) << channels;
        EXPECT_GT(blocks, 50U);
        EXPECT_EQ(counts.allocations, 0U) << channels;
        EXPECT_EQ(counts.locks, 0U) << channels;
        EXPECT_EQ(counts.systemCalls, 0U) << channels;
    }
}

} // namespace
} // namespace sorvane::test
