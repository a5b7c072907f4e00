// The adapter from the side of the effect that it owns: what it answers as the effect's host, and its view.

#include "AAXWrap_GUI.h"
#include "AaxHostInstance.h"
#include "PlainController.h"
#include "StormSeconds.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <new>
#include <thread>
#include <tuple>

namespace sorvane::test {
namespace {

using namespace aax;

/// Stands for a product that uses the hooks.
class HookedParameters final : public AAXWrap_Parameters {
public:
    std::string trackName;
    std::vector<MidiPacket> sent;

private:
    void trackNameChanged(const char* name) override { trackName = name; }
    void sendMidi(const MidiPacket& packet) noexcept override { sent.push_back(packet); }
};

class AaxWrapTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        controller.model = parameters.get();
        ASSERT_EQ(parameters->initialize(&controller), AAX_SUCCESS);
    }
    host::Pointer askHost(std::int32_t opcode, std::int32_t index = 0, void* data = nullptr)
    {
        core::Plug& effect = parameters->getEffect();
        return effect.getHostCallback()(effect.getAeffect(), opcode, index, 0, data, 0.5F);
    }
    Result update(const char* id, double normal) { return parameters->updateParameterNormalizedValue(id, normal); }
    static void playOnThread(PlainBlock& block)
    {
        std::thread([&] { block.play(); }).join();
    }

    PlainController controller;
    std::unique_ptr<HookedParameters> parameters = std::make_unique<HookedParameters>();
};

TEST_F(AaxWrapTest, IsTheEffectsHost)
{
    for (const auto& [code, level] : {std::pair{0, 2}, {0x41586F66, 4}, {0x41586F78, 2}}) { // none, AXof, AXox
        (void)parameters->notificationReceived(code, nullptr, 0);
        EXPECT_EQ(askHost(23), level);
    }
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
        std::uint32_t packets(const MidiPacket*&) override { throw std::bad_alloc(); }
        Transport* transport() override
        {
            if (throws)
                throw std::runtime_error("host");
            return &stand;
        }
        tools::AaxTransport stand;
        bool throws = false;
    } node;
    node.stand.beatsPerMinute = 90.0;
    node.stand.beats = 7;
    node.stand.beatUnit = 8;
    node.stand.playing = node.stand.looping = true;
    node.stand.loopStart = 960000 * 4;
    node.stand.loopEnd = 960000 * 8;
    node.stand.ticks = 480000;
    node.stand.samples = 123456;
    PlainBlock block(*parameters);
    block.rate = 96000.0F;
    block.clock = 5'000'000'000;
    block.context.transport = &node;
    SAAXWrap_Alg_Context_Private empty{};
    AlgorithmContext skipped{};
    skipped.privateBlock = &empty;
    AlgorithmContext* const contexts[] = {nullptr, &skipped, &block.context};
    std::thread([&] { AAXWrap_Parameters::algorithm(contexts, contexts + 3); }).join();
    const auto& time = *reinterpret_cast<const TimeInfo*>(askHost(7)); // NOLINT(performance-no-int-to-ptr)
    EXPECT_EQ(std::tie(time.sampleRate, time.nanoSeconds, time.samplePosition, time.musicalPosition),
              std::make_tuple(96000.0, 5.0e9, 123456.0, 0.5));
    EXPECT_EQ(std::tie(time.cycleStart, time.cycleEnd, time.tempo), std::make_tuple(4.0, 8.0, 90.0));
    EXPECT_EQ(std::tie(time.timeSignatureNumerator, time.timeSignatureDenominator), std::make_tuple(7, 8));
    EXPECT_EQ(time.flags, 14080 + 2 + 4);
    node.stand.playing = node.stand.looping = false;
    playOnThread(block);
    EXPECT_EQ(time.flags, 14080);
    node.throws = true; // neither node's fault keeps the audio from playing
    block.context.midiIn = &node;
    block.meters.fill(9.0F);
    playOnThread(block);
    EXPECT_EQ(block.meters[0], 0.0F);
}

TEST_F(AaxWrapTest, SendsWhatTheEffectSends)
{
    host::MidiEvent note{};
    note.head = {.type = 1, .byteSize = 32, .deltaFrames = 7, .flags = 0};
    std::copy_n("\x90\x40\x7F", 3, note.midiData);
    std::string dump = "\xF0wxyz\xF7";
    SysexEvent sysex{.head = {.type = 6, .byteSize = 48, .deltaFrames = 9, .flags = 0},
                     .dumpBytes = 6,
                     .reserved1 = 0,
                     .sysexDump = dump.data(),
                     .reserved2 = 0};
    host::Events events{.numEvents = 2, .reserved = 0, .events = {&sysex.head, &note.head}};
    EXPECT_EQ(askHost(8, 0, &events), 0);
    EXPECT_EQ(askHost(8, 0, nullptr), 0);
    dump.assign(5000, 'x'); // more than there is room for: none of it goes
    sysex.sysexDump = dump.data();
    sysex.dumpBytes = 5000;
    events.numEvents = 1;
    EXPECT_EQ(askHost(8, 0, &events), 0);
    PlainBlock block(*parameters);
    for (int time = 0; time < 2; ++time) {
        playOnThread(block);
        std::string sent;
        for (const MidiPacket& packet : parameters->sent)
            sent += std::to_string(packet.timeStamp) +
                    std::string(reinterpret_cast<const char*>(packet.data), packet.length);
        EXPECT_EQ(sent, "7\x90\x40\x7F"
                        "9\xF0wxy9z\xF7"); // once
    }
}

TEST_F(AaxWrapTest, HandsMidiToTheEffectAnEventAtATime)
{
    struct Node final : MidiNode {
        std::uint32_t packets(const MidiPacket*& list) override
        {
            list = source.data();
            return static_cast<std::uint32_t>(source.size());
        }
        Transport* transport() override { return nullptr; }
        std::vector<MidiPacket> source = {
            {.timeStamp = 7, .length = 3, .data = {0xB0, 7, 64, 0}, .isImmediate = false},
            {.timeStamp = 300, .length = 2, .data = {0xC0, 5, 0, 0}, .isImmediate = true}};
    } node;
    struct Seen {
        std::int32_t count, type, byteSize, deltaFrames, flags;
        std::array<std::uint8_t, 3> bytes;
        auto operator<=>(const Seen&) const = default;
    };
    static std::vector<Seen> seen;
    core::Plug& effect = parameters->getEffect();
    effect.getAeffect()->dispatcher = [](host::AEffect*, std::int32_t opcode, std::int32_t, host::Pointer, void* data,
                                         float) -> host::Pointer {
        const auto& events = *static_cast<const host::Events*>(data);
        const auto& event = *reinterpret_cast<const host::MidiEvent*>(events.events[0]);
        EXPECT_EQ(opcode, 25);
        seen.push_back({events.numEvents,
                        event.head.type,
                        event.head.byteSize,
                        event.head.deltaFrames,
                        event.head.flags,
                        {event.midiData[0], event.midiData[1], event.midiData[2]}});
        return 1;
    };
    PlainBlock block(*parameters);
    block.context.midiIn = &node;
    for (const double bypass : {0.0, 1.0}) {
        seen.clear();
        (void)update("MasterBypassID", bypass);
        playOnThread(block);
        ASSERT_EQ(seen.size(), 2U) << bypass;
        EXPECT_EQ(seen[0], (Seen{1, 1, 32, 7, 0, {0xB0, 7, 64}}));
        EXPECT_EQ(seen[1], (Seen{1, 1, 32, 300, 1, {0xC0, 5, 0}}));
    }
}

TEST_F(AaxWrapTest, KeepsTheControllerThatWorksAndARestoredSessionUnchanged)
{
    PlainController failing;
    failing.stemResult = AAX_ERROR_NULL_OBJECT;
    EXPECT_NE(parameters->initialize(&failing), AAX_SUCCESS);
    controller.latency = failing.latency = -1;
    EXPECT_EQ(askHost(13), 0);
    EXPECT_NE(controller.latency, -1);
    EXPECT_EQ(failing.latency, -1);

    // What the effect keeps in single precision, and its steps, are no change.
    for (std::int32_t i = 0; i < parameters->getNumberOfParameters(); ++i) {
        ParameterInfo info{};
        (void)parameters->getParameterInfo(i, info);
        if (i != core::kABBank)
            (void)update(info.identifier, 0.491);
    }
    HookedParameters later;
    EXPECT_EQ(later.initialize(&controller), AAX_SUCCESS);
    std::vector<std::string> kept(2);
    std::array<Chunk, 2> chunks{};
    for (std::size_t i = 0; i < 2; ++i) {
        (void)parameters->getChunkIDFromIndex(static_cast<std::int32_t>(i), chunks[i].chunkId);
        std::int32_t size = 0;
        ASSERT_EQ(parameters->getChunkSize(chunks[i].chunkId, size), AAX_SUCCESS);
        kept[i].resize(static_cast<std::size_t>(size));
        chunks[i].size = size;
        chunks[i].data = reinterpret_cast<std::byte*>(kept[i].data());
        ASSERT_EQ(parameters->getChunk(chunks[i].chunkId, chunks[i]), AAX_SUCCESS);
        EXPECT_EQ(later.setChunk(chunks[i].chunkId, chunks[i]), AAX_SUCCESS);
    }
    const auto isEqual = [&] {
        bool equal = true;
        for (const Chunk& chunk : chunks) {
            bool same = false;
            EXPECT_EQ(later.compareActiveChunk(chunk, same), AAX_SUCCESS);
            equal = equal && same;
        }
        return equal;
    };
    EXPECT_TRUE(isEqual());
    ParameterInfo info{};
    (void)later.getParameterInfo(core::kThreshold, info);
    (void)later.updateParameterNormalizedValue(info.identifier, 0.492);
    EXPECT_FALSE(isEqual());
}

TEST_F(AaxWrapTest, FillsEveryOutputWhateverTheBuffersAre)
{
    constexpr auto kFirst = 0.25F;
    constexpr auto kSecond = 0.5F;
    ASSERT_EQ(update("MasterBypassID", 1.0), AAX_SUCCESS);
    struct Case {
        std::array<std::size_t, 2> outputs;
        float first;
        float second;
    };
    for (const Case& one : {Case{{3, 4}, kFirst, kSecond},
                            {{0, 1}, kFirst, kSecond},
                            {{1, 0}, kFirst, kSecond},
                            {{1, 3}, kFirst, kSecond},
                            {{3, 0}, kFirst, kSecond}}) {
        PlainBlock block(*parameters);
        block.buffers[0].fill(kFirst);
        block.buffers[1].fill(kSecond);
        for (std::size_t c = 0; c < 2; ++c)
            block.outputs[c] = block.buffers[one.outputs[c]].data();
        playOnThread(block);
        EXPECT_EQ(block.outputs[0][511], one.first) << one.outputs[0] << one.outputs[1];
        EXPECT_EQ(block.outputs[1][0], one.second) << one.outputs[0] << one.outputs[1];
    }
    for (const double bypass : {1.0, 0.0}) { // without inputs there is silence
        ASSERT_EQ(update("MasterBypassID", bypass), AAX_SUCCESS);
        PlainBlock block(*parameters);
        block.buffers[3].fill(kFirst);
        block.buffers[4].fill(kSecond);
        block.context.audioInput = nullptr;
        block.meters.fill(9.0F);
        playOnThread(block);
        EXPECT_EQ(block.buffers[3], block.buffers[0]);
        EXPECT_EQ(block.buffers[4], block.buffers[0]);
        EXPECT_EQ(block.meters, (std::array<float, 6>{}));
        block.outputs[0] = nullptr;
        playOnThread(block);
        block.context.audioOutput = nullptr;
        playOnThread(block);
    }
}

TEST_F(AaxWrapTest, BearsAHostThatThrowsOrHasNoAutomation)
{
    controller.throws = true;
    EXPECT_EQ(update("MasterBypassID", 1.0), AAX_SUCCESS); // the latency's report is the host's own loss
    EXPECT_EQ(parameters->setParameterNormalizedValue(" dl(", 0.5), AAX_ERROR_UNKNOWN_EXCEPTION);
    for (const std::int32_t opcode : {0, 13, 43, 44})
        EXPECT_EQ(askHost(opcode, 8), 0);
    PlainController own;
    own.throws = true;
    AAXWrap_Parameters other;
    EXPECT_EQ(other.initialize(&own), AAX_ERROR_UNKNOWN_EXCEPTION);
    own.throws = own.hasDelegate = false;
    EXPECT_EQ(other.initialize(&own), AAX_SUCCESS);
    other.getEffect().setParameterAutomated(8, 0.9F);
    double normal = 0.0;
    EXPECT_EQ(other.getParameterNormalizedValue(" dl(", normal), AAX_SUCCESS);
    EXPECT_NEAR(normal, 0.9, 1e-6);
}

TEST_F(AaxWrapTest, GivesAViewThatComesAndGoes)
{
    struct Container final : ViewContainer {
        std::int32_t getType() const override { return 3; }
        void* getWindow() override { return this; }
        Result getModifiers(std::uint32_t& keys) override
        {
            keys = 5;
            return modifiersResult;
        }
        Result handleParameterMouseDown(const char* id, std::uint32_t keys) override { return note('d', id, keys); }
        Result handleParameterMouseUp(const char* id, std::uint32_t keys) override { return note('u', id, keys); }
        Result setViewSize(const ViewSize&) override { return note('s', "", 0); }
        Result note(char what, const char* id, std::uint32_t keys)
        {
            log += what + (id + std::to_string(keys));
            return what == taken ? AAX_SUCCESS : AAX_ERROR_UNIMPLEMENTED;
        }
        Result modifiersResult = AAX_SUCCESS;
        char taken = 0;
        std::string log;
    } container;
    std::unique_ptr<EffectGUI> view(AAXWrap_GUI::create());
    auto& frame = dynamic_cast<host::iVSTFrameCallbackInterface&>(*view);
    for (int time = 0; time < 2; ++time) {
        ViewSize size{};
        EXPECT_EQ(view->initialize(nullptr), AAX_ERROR_NOT_INITIALIZED);
        EXPECT_EQ(view->setViewContainer(&container), AAX_ERROR_NOT_INITIALIZED);
        controller.model = nullptr;
        EXPECT_EQ(view->initialize(&controller), AAX_ERROR_NULL_OBJECT);
        controller.model = parameters.get();
        EXPECT_EQ(view->initialize(&controller), AAX_SUCCESS);
        EXPECT_EQ(view->setViewContainer(&container), AAX_SUCCESS);
        EXPECT_EQ(view->setControlHighlight("MasterBypassID", true, 1), AAX_SUCCESS);
        EXPECT_EQ(view->setControlHighlight("none", true, 1), AAX_ERROR_INVALID_PARAMETER_ID);
        EXPECT_EQ(view->getViewSize(size), AAX_ERROR_NULL_OBJECT); // as long as the editor has no window

        container.log.clear();
        container.taken = 'd';
        EXPECT_TRUE(frame.frameMessage(0, 8, true));
        container.taken = 'u';
        EXPECT_TRUE(frame.frameMessage(0, 91, false));
        container.taken = 0;
        container.modifiersResult = AAX_ERROR_UNIMPLEMENTED;
        EXPECT_FALSE(frame.frameMessage(0, 8, true));
        container.modifiersResult = AAX_SUCCESS;
        for (const std::int32_t tag : {-1, 92, 500})
            EXPECT_FALSE(frame.frameMessage(0, tag, false));
        EXPECT_FALSE(frame.frameMessage(1, -1, false));
        EXPECT_FALSE(frame.frameMessage(3, -1, false));
        EXPECT_EQ(container.log, "d dl(21d dd{5u dd{5d dl(5u dl(5");
        EXPECT_EQ(view->setViewContainer(nullptr), AAX_SUCCESS);
        EXPECT_FALSE(frame.frameMessage(0, 8, true)); // there is nobody to offer it to
        EXPECT_EQ(view->uninitialize(), AAX_SUCCESS);
    }
    // There is one editor, which the latest view has, and none once the data model has ended.
    EXPECT_EQ(view->initialize(&controller), AAX_SUCCESS);
    const std::unique_ptr<EffectGUI> latest(AAXWrap_GUI::create());
    EXPECT_EQ(latest->initialize(&controller), AAX_SUCCESS);
    EXPECT_EQ(view->setViewContainer(&container), AAX_ERROR_NOT_INITIALIZED);
    view.reset();
    EXPECT_EQ(latest->setViewContainer(&container), AAX_SUCCESS);
    parameters.reset();
    EXPECT_EQ(latest->setViewContainer(&container), AAX_ERROR_NOT_INITIALIZED);
    EXPECT_EQ(latest->setControlHighlight(" dl(", true, 1), AAX_ERROR_NOT_INITIALIZED);

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
        PlainBlock block(*parameters);
        block.buffers[0].fill(0.25F);
        block.sideChain = 2;
        while (!stop)
            block.play();
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
