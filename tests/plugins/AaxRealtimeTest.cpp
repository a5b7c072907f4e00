// That the AAX adapter's callback takes no memory, waits for nobody and enters no system call, whatever the other
// threads do.

#include "AaxHostInstance.h"
#include "MIDIMap.h"
#include "PlainController.h"
#include "RealtimeGuard.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <random>
#include <thread>

namespace sorvane::test {
namespace {

using namespace aax;

struct Node final : MidiNode {
    std::uint32_t packets(const MidiPacket*& list) override
    {
        list = events.data();
        return static_cast<std::uint32_t>(events.size());
    }
    aax::Transport* transport() override { return &stand; }

    std::array<MidiPacket, 2> events{{{.timeStamp = 0, .length = 3, .data = {0xB0, 20, 3, 0}, .isImmediate = false},
                                      {.timeStamp = 1, .length = 3, .data = {0xB0, 20, 99, 0}, .isImmediate = true}}};
    tools::AaxTransport stand;
};

TEST(Realtime, AaxCallbackNeitherWaitsNorTakesMemory)
{
    state::MIDIMap::instance().learnMidi(core::kThreshold, 20);
    PlainController controller;
    AAXWrap_Parameters parameters;
    ASSERT_EQ(parameters.initialize(&controller), AAX_SUCCESS);

    std::atomic<bool> done{false};
    RealtimeGuard::Counts counts;
    std::thread audio([&] {
        Node node;
        PlainBlock block(parameters);
        block.context.midiIn = block.context.transport = &node;
        char dump[3000] = {};
        SysexEvent sysex{.head = {.type = 6, .byteSize = 48, .deltaFrames = 0, .flags = 0},
                         .dumpBytes = sizeof dump,
                         .reserved1 = 0,
                         .sysexDump = dump,
                         .reserved2 = 0};
        host::Events sent{.numEvents = 1, .reserved = 0, .events = {&sysex.head, nullptr}};
        core::Plug& effect = parameters.getEffect();
        std::minstd_rand random(1);
        const auto play = [&] {
            block.frames = static_cast<std::int32_t>(random() % 513);
            block.sideChain = static_cast<std::int32_t>(random() % 3);
            block.play();
            effect.getHostCallback()(effect.getAeffect(), 8, 0, 0, &sent, 0.0F);
        };
        for (int warm = 0; warm < 20; ++warm)
            play();
        const RealtimeGuard guard;
        for (int i = 0; i < 4000; ++i)
            play();
        counts = RealtimeGuard::take();
        done = true;
    });
    std::vector<std::byte> bytes(1 << 16);
    for (int round = 0; !done; ++round) {
        ParameterInfo info{};
        ASSERT_EQ(parameters.getParameterInfo(round * 7 % 93, info), AAX_SUCCESS);
        (void)parameters.updateParameterNormalizedValue(info.identifier, round % 5 * 0.25);
        Chunk chunk;
        chunk.data = bytes.data();
        if (round % 50 == 0 && parameters.getChunkSize(0x4B736F72, chunk.size) == AAX_SUCCESS &&
            parameters.getChunk(0x4B736F72, chunk) == AAX_SUCCESS)
            (void)parameters.setChunk(0x4B736F72, chunk);
    }
    audio.join();
    state::MIDIMap::instance().unlearnMidi(core::kThreshold);
    EXPECT_EQ(counts.allocations, 0U);
    EXPECT_EQ(counts.locks, 0U);
    EXPECT_EQ(counts.systemCalls, 0U);
    EXPECT_GT(controller.requests, 4000); // the controllers' moves reached the host
}

} // namespace
} // namespace sorvane::test
