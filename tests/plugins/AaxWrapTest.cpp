// The adapter from the side of the effect that it owns: what it answers as the effect's host, and its view.

#include "AAXWrap_GUI.h"
#include "AAXWrap_Parameters.h"
#include "AaxHostInstance.h"
#include "PlainController.h"
#include "Signals.h"
#include "StormSeconds.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace sorvane::test {
namespace {

using namespace aax;

class NamedParameters final : public AAXWrap_Parameters {
public:
    std::string trackName;

private:
    void trackNameChanged(const char* name) override { trackName = name; }
};

class AaxWrapTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        controller.model = parameters.get();
        ASSERT_EQ(parameters->initialize(&controller), AAX_SUCCESS);
        ASSERT_EQ(parameters->resetPrivateData(8, &block, sizeof block), AAX_SUCCESS);
    }
    host::Pointer askHost(std::int32_t opcode, std::int32_t index = 0, void* data = nullptr)
    {
        core::Plug& effect = parameters->getEffect();
        return effect.getHostCallback()(effect.getAeffect(), opcode, index, 0, data, 0.5F);
    }

    PlainController controller;
    std::unique_ptr<NamedParameters> parameters = std::make_unique<NamedParameters>();
    SAAXWrap_Alg_Context_Private block{};
};

TEST_F(AaxWrapTest, IsTheEffectsHost)
{
    EXPECT_EQ(askHost(23), 2);
    (void)parameters->notificationReceived(0x41586F66, nullptr, 0); // AXof
    EXPECT_EQ(askHost(23), 4);
    (void)parameters->notificationReceived(0x41586F78, nullptr, 0); // AXox
    EXPECT_EQ(askHost(23), 2);
    for (const std::int32_t index : {-1, -1000, 92, 93, 500})
        for (const std::int32_t opcode : {0, 43, 44})
            EXPECT_EQ(askHost(opcode, index), 0);
    EXPECT_EQ(controller.requests, 0);
    for (const std::int32_t opcode : {0, 43, 44})
        EXPECT_EQ(askHost(opcode, 91), 0);
    EXPECT_EQ(controller.requests, 3);
    char text[256] = "untouched";
    for (const std::int32_t opcode : {1, 6, 32, 33, 35, 99, -1})
        EXPECT_EQ(askHost(opcode, 0, text), 0);
    EXPECT_STREQ(text, "untouched");
    controller.latency = -1;
    EXPECT_EQ(askHost(13), 0);
    EXPECT_EQ(controller.latency, parameters->getEffect().getInitialDelay());

    const std::string name = std::string(125, 'a') + "\xC3\xA9" + std::string(73, 'b');
    (void)parameters->notificationReceived(0x4158746E, name.data(), 200); // AXtn
    EXPECT_EQ(parameters->trackName, std::string(125, 'a') + "??");
    (void)parameters->notificationReceived(0x4158746E, "Voice\0x", 7);
    EXPECT_EQ(parameters->trackName, "Voice");

    // The timer's thread may still want to report when the instance has ended.
    const auto record = parameters->getEffect().shareRecord();
    const host::HostCallback callback = parameters->getEffect().getHostCallback();
    parameters.reset();
    controller.latency = -1;
    EXPECT_EQ(callback(record.get(), 13, 0, 0, nullptr, 0.0F), 0);
    EXPECT_EQ(controller.latency, -1);
}

TEST_F(AaxWrapTest, TellsTheEffectWhereTheTransportStands)
{
    struct Node final : MidiNode {
        std::uint32_t packets(const MidiPacket*&) override { return 0; }
        Transport* transport() override { return &stand; }
        tools::AaxTransport stand;
    } node;
    node.stand.beatsPerMinute = 90.0;
    node.stand.beats = 7;
    node.stand.beatUnit = 8;
    node.stand.playing = true;
    node.stand.looping = true;
    node.stand.loopStart = 960000 * 4;
    node.stand.loopEnd = 960000 * 8;
    node.stand.ticks = 480000;
    node.stand.samples = 123456;
    std::int32_t frames = 0;
    float rate = 96000.0F;
    std::int64_t clock = 5'000'000'000;
    AlgorithmContext context{};
    context.bufferLength = &frames;
    context.sampleRate = &rate;
    context.clock = &clock;
    context.transport = &node;
    context.privateBlock = &block;
    SAAXWrap_Alg_Context_Private empty{};
    AlgorithmContext skipped{};
    skipped.privateBlock = &empty;
    AlgorithmContext* const contexts[] = {nullptr, &skipped, &context};
    const auto run = [&] { std::thread([&] { AAXWrap_Parameters::algorithm(contexts, contexts + 3); }).join(); };
    run();
    const auto& time = *reinterpret_cast<const TimeInfo*>(askHost(7)); // NOLINT(performance-no-int-to-ptr)
    EXPECT_EQ(time.sampleRate, 96000.0);
    EXPECT_EQ(time.nanoSeconds, 5.0e9);
    EXPECT_EQ(time.samplePosition, 123456.0);
    EXPECT_EQ(time.musicalPosition, 0.5);
    EXPECT_EQ(time.cycleStart, 4.0);
    EXPECT_EQ(time.cycleEnd, 8.0);
    EXPECT_EQ(time.tempo, 90.0);
    EXPECT_EQ(time.timeSignatureNumerator, 7);
    EXPECT_EQ(time.timeSignatureDenominator, 8);
    EXPECT_EQ(time.flags, 14080 + 2 + 4);
    node.stand.playing = node.stand.looping = false;
    run();
    EXPECT_EQ(time.flags, 14080);
}

TEST_F(AaxWrapTest, GivesAViewThatComesAndGoes)
{
    struct Container final : ViewContainer {
        std::int32_t getType() const override { return 3; }
        void* getWindow() override { return nullptr; }
    } container;
    for (int time = 0; time < 2; ++time) {
        const std::unique_ptr<EffectGUI> view(AAXWrap_GUI::create());
        ViewSize size{};
        EXPECT_EQ(view->initialize(nullptr), AAX_ERROR_NOT_INITIALIZED);
        EXPECT_EQ(view->setViewContainer(&container), AAX_ERROR_NOT_INITIALIZED);
        controller.model = nullptr;
        EXPECT_EQ(view->initialize(&controller), AAX_ERROR_NULL_OBJECT);
        controller.model = parameters.get();
        EXPECT_EQ(view->initialize(&controller), AAX_SUCCESS);
        EXPECT_EQ(view->setViewContainer(&container), AAX_SUCCESS);
        EXPECT_EQ(view->draw(), AAX_SUCCESS);
        EXPECT_EQ(view->setControlHighlight("MasterBypassID", true, 1), AAX_SUCCESS);
        EXPECT_EQ(view->setControlHighlight("none", true, 1), AAX_ERROR_INVALID_PARAMETER_ID);
        EXPECT_EQ(view->setViewContainer(nullptr), AAX_SUCCESS);
        EXPECT_EQ(view->getViewSize(size), AAX_ERROR_NULL_OBJECT); // as long as the editor has no window
        EXPECT_EQ(view->uninitialize(), AAX_SUCCESS);
    }
    PlainController failing;
    failing.stemResult = -5;
    AAXWrap_Parameters other;
    EXPECT_EQ(other.initialize(nullptr), AAX_ERROR_NULL_OBJECT);
    EXPECT_EQ(other.initialize(&failing), -5);
}

/// One thread plays, one turns every parameter and the bypass, one saves and restores, while others come and go.
TEST_F(AaxWrapTest, BearsAllThreadsAtOnce)
{
    std::atomic<bool> stop{false};
    std::thread audio([&] {
        std::array<std::vector<float>, 5> buffers;
        buffers.fill(std::vector<float>(512, 0.25F));
        float* inputs[] = {buffers[0].data(), buffers[1].data(), buffers[2].data()};
        float* outputs[] = {buffers[3].data(), buffers[4].data()};
        std::int32_t frames = 512;
        std::int32_t sideChain = 2;
        float meters[6] = {};
        AlgorithmContext context{};
        context.audioInput = inputs;
        context.audioOutput = outputs;
        context.bufferLength = &frames;
        context.privateBlock = &block;
        context.meters = meters;
        context.sideChainInput = &sideChain;
        AlgorithmContext* const contexts[] = {&context};
        while (!stop)
            AAXWrap_Parameters::algorithm(contexts, contexts + 1);
    });
    std::thread coming([&] {
        while (!stop) {
            PlainController own;
            AAXWrap_Parameters shortLived;
            EXPECT_EQ(shortLived.initialize(&own), AAX_SUCCESS);
            for (const double lookahead : {0.1, 0.3}) // a latency for the timer to report
                (void)shortLived.updateParameterNormalizedValue(" dls", lookahead);
        }
    });
    const auto end =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(static_cast<int>(1000.0 * stormSeconds(0.5)));
    std::vector<std::byte> bytes(1 << 16);
    for (int round = 0; std::chrono::steady_clock::now() < end; ++round) {
        for (std::int32_t i = 0; i < 93; ++i) {
            ParameterInfo info{};
            ASSERT_EQ(parameters->getParameterInfo(i, info), AAX_SUCCESS);
            (void)parameters->updateParameterNormalizedValue(info.identifier, (i + round) % 5 * 0.25);
        }
        for (const std::int32_t chunkId : {0x656C636B, 0x4B736F72}) {
            Chunk chunk;
            chunk.data = bytes.data();
            EXPECT_EQ(parameters->getChunkSize(chunkId, chunk.size), AAX_SUCCESS);
            EXPECT_EQ(parameters->getChunk(chunkId, chunk), AAX_SUCCESS);
            EXPECT_EQ(parameters->setChunk(chunkId, chunk), AAX_SUCCESS);
        }
    }
    stop = true;
    audio.join();
    coming.join();
    (void)parameters->updateParameterNormalizedValue("MasterBypassID", 0.0);
    std::this_thread::sleep_for(std::chrono::milliseconds(300)); // the last design that was put off
    EXPECT_EQ(controller.latency, parameters->getEffect().getInitialDelay());
}

} // namespace
} // namespace sorvane::test
