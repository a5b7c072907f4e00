// That the VST 2.4 library's audio thread neither takes memory, nor waits, nor asks the kernel for anything, whatever
// the host does beside it.

#include "MidiEvents.h"
#include "RealtimeGuard.h"
#include "StormSeconds.h"
#include "VstHost.h"

#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <thread>

namespace sorvane::test {
namespace {

TEST(Realtime, VstBlocksTakeNoMemoryAndNoLocksBesideAnythingElse)
{
    using Clock = std::chrono::steady_clock;
    const VstLibrary library;
    const VstEffect effect(library);
    std::vector<std::string> chunks;
    for (const float normal : {0.1F, 0.5F, 0.9F}) {
        for (std::int32_t index = 0; index < 91; ++index)
            effect.set(index, normal);
        chunks.push_back(effect.chunk());
    }
    std::atomic<bool> over{false};
    std::thread session([&] {
        std::mt19937 random(1);
        while (!over) {
            effect.set(static_cast<std::int32_t>(random() % 92), static_cast<float>(random() % 101) / 100.0F);
            if (random() % 16 == 0)
                (void)effect.load(chunks[random() % chunks.size()]);
            if (random() % 16 == 0)
                chunks[random() % chunks.size()] = effect.chunk();
            if (random() % 64 == 0)
                effect.ask(host::effectSetProgram);
        }
    });

    RealtimeGuard::Counts counts;
    std::uint64_t blocks = 0;
    const auto end = Clock::now() + std::chrono::duration<double>(stormSeconds(2.0));
    std::thread audio([&] {
        const std::array<Signal, 4> signals = {bursts(2048, 1), bursts(2048, 2), bursts(2048, 3), bursts(2048, 4)};
        std::array<std::vector<float>, 6> buffers;
        std::array<float*, 6> at{};
        for (std::size_t i = 0; i < 6; ++i) {
            buffers[i].assign(signals[i % 4].begin(), signals[i % 4].end());
            at[i] = buffers[i].data();
        }
        const EventList events({{0xB0, 7, 1}, {0x90, 60, 100}, {0xB3, 74, 90}});
        std::mt19937 random(2);
        host::AEffect* const record = effect.record;
        record->processReplacing(record, at.data(), &at[4], 16); // becomes the audio thread
        const RealtimeGuard guard;
        while (Clock::now() < end) {
            effect.ask(host::effectProcessEvents, 0, 0, events.list);
            effect.set(static_cast<std::int32_t>(random() % 92), static_cast<float>(random() % 101) / 100.0F);
            effect.ask(host::effectSetBypass, 0, random() % 2 == 0 ? 1 : 0);
            record->processReplacing(record, at.data(), &at[4], static_cast<std::int32_t>(random() % 2049));
            ++blocks;
        }
        counts = RealtimeGuard::take();
    });
    audio.join();
    over = true;
    session.join();
    RealtimeGuard::Counts ofChunk; // the guard sees into the library
    {
        const RealtimeGuard guard;
        effect.ask(host::effectSetProgram);
        (void)effect.chunk();
        ofChunk = RealtimeGuard::take();
    }
    EXPECT_GT(ofChunk.allocations, 100U);
    EXPECT_GT(ofChunk.locks, 0U);
    EXPECT_GT(blocks, 100U);
    EXPECT_EQ(counts.allocations, 0U);
    EXPECT_EQ(counts.locks, 0U);
    EXPECT_EQ(counts.systemCalls, 0U);
}

} // namespace
} // namespace sorvane::test
