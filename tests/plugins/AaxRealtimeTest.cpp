// That the AAX adapter's callback takes no memory, waits for nobody and enters no system call, whatever the other threads do.

#include "AAXWrap_Parameters.h"
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
    SAAXWrap_Alg_Context_Private block{};
    ASSERT_EQ(parameters.initialize(&controller), AAX_SUCCESS);
    ASSERT_EQ(parameters.resetPrivateData(fieldPrivateBlock, &block, sizeof block), AAX_SUCCESS);

    std::atomic<bool> done{false};
    RealtimeGuard::Counts counts;
    std::thread audio([&] {
        std::array<std::array<float, 512>, 5> buffers{};
        float* inputs[] = {buffers[0].data(), buffers[1].data(), buffers[2].data()};
        float* outputs[] = {buffers[3].data(), buffers[4].data()};
        std::array<float, 6> meters{};
        Node node;
        float rate = 48000.0F;
        std::int64_t clock = 0;
        std::int32_t frames = 512;
        std::int32_t sideChain = 0;
        AlgorithmContext context{inputs,  outputs, &frames, &rate,         &clock,    &node,
                                 nullptr, &node,   &block,  meters.data(), &sideChain};
        AlgorithmContext* const contexts[] = {&context};
        std::minstd_rand random(1);
        const auto play = [&] {
            frames = static_cast<std::int32_t>(random() % 513);
            sideChain = static_cast<std::int32_t>(random() % 3);
            AAXWrap_Parameters::algorithm(contexts, contexts + 1);
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
