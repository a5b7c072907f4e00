// An instance of the AAX plug-in file in the hands of a host: parameters, chunks, audio, and what is told to whom.

#include "AaxHostInstance.h"
#include "AaxHostRender.h"
#include "AudioFile.h"
#include "Failure.h"
#include "Plug.h"
#include "PlugBaseJSON.h"
#include "Render.h"
#include "Signals.h"
#include "StateFile.h"
#include "TagTable.h"
#include "TestFolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <map>
#include <thread>
#include <tuple>

namespace sorvane::test {
namespace {

using namespace core;
using aax::AAX_SUCCESS;
using tools::AaxInstance;
using tools::AaxSavedChunk;

constexpr std::int32_t kControlState = 0x656C636B; // elck
constexpr std::int32_t kEffectChunk = 0x4B736F72;  // Ksor
constexpr std::int32_t kBypassIndex = 92;

/// Kind of each parameter: c continuous, s a switch, L and S slopes up to 192 and 24 dB, and enumerations of 2 (b),
/// 5 (l), 7 (T) and 8 (A) values.
const std::string kChannelKinds = "ccccsssccscccccccsccLLTscSbcscccscSbc";
const std::string kKinds = "s" + kChannelKinds + kChannelKinds + "ssssssscclcscsssA";

std::int32_t valuesOf(char kind)
{
    static const std::map<char, std::int32_t> values = {{'b', 2}, {'l', 5}, {'T', 7}, {'A', 8}};
    const auto found = values.find(kind);
    return found == values.end() ? 0 : found->second;
}

class AaxInstanceTest : public ::testing::Test {
protected:
    [[nodiscard]] std::string id(std::int32_t index)
    {
        aax::ParameterInfo info{};
        EXPECT_EQ(instance.model().getParameterInfo(index, info), AAX_SUCCESS);
        return info.identifier;
    }
    aax::Result update(std::int32_t index, double normal)
    {
        return instance.model().updateParameterNormalizedValue(id(index).c_str(), normal);
    }
    /// What the effect itself holds, as its chunk tells.
    [[nodiscard]] static nlohmann::json effectState(AaxInstance& asked)
    {
        const auto bytes = asked.save().at(1).bytes;
        return nlohmann::json::parse(
            host::inflateChunk({reinterpret_cast<const char*>(bytes.data()), bytes.size()}).c_str());
    }
    [[nodiscard]] double effectNormal(std::int32_t index)
    {
        const auto parameters = effectState(instance)["presets"][0]["parameters"];
        const std::string tag(TagTable::instance().name(index));
        return parameters.contains(tag)
                   ? parameters[tag].get<double>()
                   : static_cast<double>(factoryParameters()[static_cast<std::size_t>(index)].normal.load());
    }
    static AaxSavedChunk effectChunk(const std::string& text)
    {
        AaxSavedChunk chunk{.chunkId = kEffectChunk, .name = "", .bytes = std::vector<std::byte>(text.size() + 1)};
        std::memcpy(chunk.bytes.data(), text.c_str(), chunk.bytes.size());
        return chunk;
    }

    tools::AaxLibrary library{SORVANE_AAX_PLUGIN};
    tools::AaxAudioThread audioThread;
    AaxInstance instance{library, audioThread, 2, 48000.0F};
};

TEST_F(AaxInstanceTest, ListsItsParameters)
{
    ASSERT_EQ(instance.model().getNumberOfParameters(), 93);
    for (std::int32_t i = 0; i < 92; ++i) {
        aax::ParameterInfo info{};
        ASSERT_EQ(instance.model().getParameterInfo(i, info), AAX_SUCCESS);
        const char kind = kKinds[static_cast<std::size_t>(i)];
        const std::string expected = {' ', 'd', kind == 'c' ? 'l' : 'd', static_cast<char>(32 + i)};
        EXPECT_EQ(info.identifier, expected);
        EXPECT_EQ(info.name, std::string(factoryParameters()[static_cast<std::size_t>(i)].name.data()));
        EXPECT_EQ(info.type == aax::ParameterType::continuous, kind == 'c') << i;
        const std::int32_t steps = kind == 'c'   ? 1000
                                   : kind == 's' ? 2
                                   : kind == 'L' ? 32
                                   : kind == 'S' ? 4
                                                 : valuesOf(kind) + 1;
        EXPECT_EQ(info.numSteps, steps) << i;
        EXPECT_EQ(info.defaultNormal, instance.value(i));
    }
    for (const auto& [index, normal] :
         {std::pair{kThreshold, 42.0 / 72.0}, {kListen, 2.0 / 5.0}, {kSplitHPFSlope, 90.0 / 187.0}, {kLinked, 1.0}})
        EXPECT_NEAR(instance.value(index), normal, 1e-6);

    aax::ParameterInfo bypass{};
    ASSERT_EQ(instance.model().getParameterInfo(92, bypass), AAX_SUCCESS);
    EXPECT_EQ(std::make_tuple(std::string(bypass.identifier), std::string(bypass.name), bypass.numSteps,
                              bypass.defaultNormal, bypass.type),
              std::make_tuple("MasterBypassID", "Master Bypass", 2, 0.0, aax::ParameterType::discrete));

    std::string text;
    double normal = 0.25;
    EXPECT_EQ(instance.model().getParameterStringFromValue(id(kThreshold).c_str(), 0.5, text), AAX_SUCCESS);
    EXPECT_EQ(text, "-24.0dB");
    EXPECT_NE(instance.model().getParameterValueFromString(id(kThreshold).c_str(), normal, "-24.0dB"), AAX_SUCCESS);
    EXPECT_EQ(normal, 0.25);
    for (const auto& [value, word] : {std::pair{0.0, "on"}, {1.0, "bypass"}}) {
        EXPECT_EQ(instance.model().getParameterStringFromValue("MasterBypassID", value, text), AAX_SUCCESS);
        EXPECT_EQ(text, word);
    }
}

TEST_F(AaxInstanceTest, MapsTheHostsValuesToTheEffects)
{
    for (const double place : {0.0, 0.29, 0.5, 0.83, 1.0}) { // of the range, to be met by the nearest step
        for (std::int32_t i = 0; i < kABBank; ++i)
            ASSERT_EQ(update(i, place), AAX_SUCCESS);
        for (std::int32_t i = 0; i < kABBank; ++i) {
            const char kind = kKinds[static_cast<std::size_t>(i)];
            double expected = place;
            if (kind == 'L')
                expected = 6.0 * std::round(place * 31.0) / 187.0;
            else if (kind == 'S')
                expected = 6.0 * std::round(place * 3.0) / 19.0;
            else if (const std::int32_t values = valuesOf(kind); values > 0)
                expected = std::min(std::round(place * values), values - 1.0) / values;
            EXPECT_NEAR(effectNormal(i), expected, 1e-6) << i << ' ' << place;
        }
    }
    // Step 5 of 9 is the bank behind the fourth.
    ASSERT_EQ(update(kThreshold, 0.9), AAX_SUCCESS);
    EXPECT_EQ(update(kABBank, 5.0 / 8.0), AAX_SUCCESS);
    EXPECT_NEAR(effectNormal(kThreshold), 42.0 / 72.0, 1e-6); // what every bank begins with
    ASSERT_EQ(update(kThreshold, 0.2), AAX_SUCCESS);
    EXPECT_NEAR(effectState(instance)["ab"][5]["parameters"]["kThreshold"].get<double>(), 0.2, 1e-6);
    EXPECT_EQ(update(kABBank, 0.0), AAX_SUCCESS);
    EXPECT_NEAR(effectNormal(kThreshold), 0.9, 1e-6);

    const std::int32_t changes = instance.model().getNumberOfChanges();
    EXPECT_EQ(update(kRatio, 0.4), AAX_SUCCESS);
    EXPECT_EQ(instance.model().getNumberOfChanges(), changes + 1);
    EXPECT_EQ(instance.model().updateParameterNormalizedValue(" dlZZ", 0.1), aax::AAX_ERROR_INVALID_PARAMETER_ID);
    EXPECT_EQ(instance.model().updateParameterNormalizedValue(nullptr, 0.1), aax::AAX_ERROR_INVALID_PARAMETER_ID);
    EXPECT_NE(update(kRatio, std::nan("")), AAX_SUCCESS);
    EXPECT_EQ(update(kRatio, 7.0), AAX_SUCCESS); // clamped
    EXPECT_NEAR(effectNormal(kRatio), 1.0, 1e-6);
    EXPECT_EQ(instance.model().getNumberOfChanges(), changes + 2);
}

TEST_F(AaxInstanceTest, MapsTheEffectsValuesToTheHosts)
{
    for (const double normal : {0.0, 0.31, 0.5, 1.0}) {
        nlohmann::json state;
        for (std::int32_t i = 0; i < kABBank; ++i)
            state["presets"][0]["parameters"][std::string(TagTable::instance().name(i))] = normal;
        state["presets"][0]["parameters"]["kABBank"] = 0.0;
        instance.restore({effectChunk(state.dump())});
        for (std::int32_t i = 0; i < kABBank; ++i) {
            const char kind = kKinds[static_cast<std::size_t>(i)];
            double expected = normal;
            if (kind == 's')
                expected = normal == 1.0 ? 1.0 : 0.0;
            else if (kind == 'L')
                expected = 6.0 * std::min(std::floor(std::floor(187.0 * normal + 0.5) / 6.0), 31.0) / 187.0;
            else if (kind == 'S')
                expected = 6.0 * std::min(std::floor(std::floor(19.0 * normal + 0.5) / 6.0), 3.0) / 19.0;
            else if (const std::int32_t values = valuesOf(kind); values > 0)
                expected = std::min(std::floor(values * normal), values - 1.0) / values;
            EXPECT_NEAR(instance.value(i), expected, 1e-6) << i << ' ' << normal;
        }
    }
    // Each value came with a touch before it and a release behind it.
    const auto log = instance.automationLog();
    const auto first = std::find(log.begin(), log.end(), "t dl(");
    ASSERT_LT(first, log.end() - 2);
    EXPECT_EQ(first[1], "s dl(");
    EXPECT_EQ(first[2], "r dl(");
}

TEST_F(AaxInstanceTest, GivesAndTakesItsChunks)
{
    aax::EffectParameters& model = instance.model();
    EXPECT_EQ(model.getNumberOfChunks(), 2);
    for (const auto& [index, id, result] :
         {std::tuple{0, kControlState, 0}, {1, kEffectChunk, 0}, {-1, 0, -6}, {2, 0, -6}}) {
        std::int32_t chunkId = 1;
        EXPECT_EQ(model.getChunkIDFromIndex(index, chunkId), result);
        EXPECT_EQ(chunkId, id);
    }
    std::vector<std::byte> room(1 << 16);
    aax::Chunk chunk;
    chunk.data = room.data();
    const auto read = [&](std::int32_t id, std::int32_t size) {
        chunk.size = size;
        return model.getChunk(id, chunk);
    };
    const auto restored = [&](std::int32_t index) {
        EXPECT_EQ(model.setChunk(kEffectChunk, chunk), AAX_SUCCESS);
        instance.deliverAutomation();
        return effectNormal(index);
    };
    std::int32_t size = 0;
    for (const double threshold : {0.321, 0.123}) { // a read without a query of its size gives what is set
        ASSERT_EQ(update(kThreshold, threshold), AAX_SUCCESS);
        EXPECT_EQ(read(kEffectChunk, 1 << 16), AAX_SUCCESS);
        EXPECT_STREQ(chunk.name, "Plugin Chunk");
        ASSERT_EQ(update(kThreshold, 0.9), AAX_SUCCESS);
        EXPECT_NEAR(restored(kThreshold), threshold, 1e-6);
    }
    EXPECT_EQ(model.getChunkSize(kEffectChunk, size), AAX_SUCCESS);
    ASSERT_EQ(update(kThreshold, 0.9), AAX_SUCCESS); // the bytes are those whose size was told
    EXPECT_EQ(read(kEffectChunk, size - 1), aax::AAX_ERROR_INCORRECT_CHUNK_SIZE);
    EXPECT_EQ(read(kEffectChunk, size), AAX_SUCCESS);
    EXPECT_EQ(chunk.size, size);
    EXPECT_NEAR(restored(kThreshold), 0.123, 1e-6);

    EXPECT_EQ(model.getChunkSize(7, size), aax::AAX_ERROR_INVALID_CHUNK_ID);
    EXPECT_EQ(size, 0);
    EXPECT_EQ(read(7, 1 << 16), aax::AAX_ERROR_INVALID_CHUNK_ID);
    EXPECT_EQ(model.getChunkSize(kControlState, size), AAX_SUCCESS);
    for (const std::int32_t wrong : {0, size - 1, size + 1})
        EXPECT_EQ(read(kControlState, wrong), aax::AAX_ERROR_INCORRECT_CHUNK_SIZE);
    EXPECT_EQ(read(kControlState, size), AAX_SUCCESS);
    EXPECT_STREQ(chunk.name, "Complete Controls State");

    bool isEqual = false;
    const auto compare = [&](std::int32_t id) {
        chunk.chunkId = id;
        EXPECT_EQ(model.compareActiveChunk(chunk, isEqual), AAX_SUCCESS);
        return isEqual;
    };
    ASSERT_EQ(update(kBypassIndex, 1.0), AAX_SUCCESS); // isn't compared
    EXPECT_TRUE(compare(kControlState));
    ASSERT_EQ(update(kRatio, 0.77), AAX_SUCCESS);
    EXPECT_FALSE(compare(kControlState));
    EXPECT_TRUE(compare(kEffectChunk));

    // What can't be read changes nothing; a control state that is cut short is told, too.
    chunk.size = size - 3;
    EXPECT_EQ(model.setChunk(kControlState, chunk), aax::AAX_ERROR_INCORRECT_CHUNK_SIZE);
    EXPECT_EQ(model.setChunk(7, chunk), aax::AAX_ERROR_INVALID_CHUNK_ID);
    EXPECT_EQ(instance.value(kRatio), 0.77);
    instance.restore({effectChunk("{\"presets\": ["), {kEffectChunk, "", {}}});
    EXPECT_NEAR(effectNormal(kRatio), 0.77, 1e-6);
    EXPECT_EQ(model.setChunk(kEffectChunk, {.size = 5}), aax::AAX_ERROR_NULL_OBJECT);
    EXPECT_EQ(model.setChunk(kEffectChunk, {.size = -5, .data = room.data()}), aax::AAX_ERROR_INCORRECT_CHUNK_SIZE);
    EXPECT_EQ(model.getCurveData(0x41586571, nullptr, 0, nullptr), aax::AAX_ERROR_UNIMPLEMENTED);
    EXPECT_EQ(model.getParameterValueInfo("MasterBypassID", 1, size), aax::AAX_ERROR_UNIMPLEMENTED);
}

TEST_F(AaxInstanceTest, RestoresTheControlStateAloneAlsoOfAnotherBank)
{
    instance.automate(kABBank, 5.0 / 8.0);
    for (std::int32_t i = 0; i < kABBank; ++i)
        instance.automate(i, kKinds[static_cast<std::size_t>(i)] == 'c' ? 0.2 + 0.005 * i : 1.0);
    const auto saved = instance.save();
    AaxInstance fresh(library, audioThread, 2, 48000.0F);
    fresh.restore({saved.at(0)}); // with all that automation brings back
    for (std::int32_t i = 0; i <= kBypassIndex; ++i)
        EXPECT_EQ(fresh.value(i), instance.value(i)) << i;
    EXPECT_TRUE(fresh.automationLog().empty());
    EXPECT_EQ(effectState(fresh)["presets"], effectState(instance)["presets"]);
    EXPECT_EQ(effectState(fresh)["ab"][5], effectState(instance)["ab"][5]);
}

/// Plays noise through an instance of so many channels and through an effect of our own beside it.
struct Rig {
    static constexpr std::size_t kFrames = 480;

    Rig(const tools::AaxLibrary& library, tools::AaxAudioThread& thread, std::int32_t channelCount)
        : channels(static_cast<std::size_t>(channelCount)), instance(library, thread, channelCount, 48000.0F)
    {
        effect->setSampleRate(48000.0F);
        effect->resume();
    }

    /// One block. \return the largest difference between the two
    double play(bool hasSideChain)
    {
        float* in[3] = {};
        float* out[2] = {};
        float* effectIn[4] = {};
        float* effectOut[2] = {};
        for (std::size_t c = 0; c <= channels; ++c) {
            const Signal signal = noise(kFrames, static_cast<unsigned>(++blocks));
            input[c].assign(signal.begin(), signal.end());
            copies[c] = input[c];
            in[c] = input[c].data();
        }
        for (std::size_t c = 0; c < channels; ++c) {
            out[c] = output[c].data();
            effectOut[c] = reference[c].data();
            effectIn[c] = copies[c].data();
            effectIn[channels + c] = hasSideChain ? copies[channels].data() : nullptr;
        }
        instance.meters.fill(9.0F);
        instance.process(in, out, kFrames, hasSideChain ? static_cast<std::int32_t>(channels) : 0);
        effect->processReplacing(effectIn, effectOut, kFrames);
        double most = 0.0;
        for (std::size_t c = 0; c < channels; ++c)
            for (std::size_t i = 0; i < kFrames; ++i)
                most = std::max(most, std::abs(static_cast<double>(output[c][i] - reference[c][i])));
        return most;
    }

    std::size_t channels;
    AaxInstance instance;
    std::unique_ptr<Plug> effect = std::make_unique<Plug>(nullptr, Plug::Start::factoryValues);
    std::array<std::vector<float>, 3> input;
    std::array<std::vector<float>, 3> copies;
    std::array<std::vector<float>, 2> output{std::vector<float>(kFrames), std::vector<float>(kFrames)};
    std::array<std::vector<float>, 2> reference = output;
    int blocks = 0;
};

TEST_F(AaxInstanceTest, PlaysAsTheEffectDoesAndMetersIt)
{
    for (const std::int32_t channels : {1, 2}) {
        Rig rig(library, audioThread, channels);
        rig.instance.automate(kExtSC, 1.0);
        rig.effect->setParameter(kExtSC, 1.0F);
        for (const bool hasSideChain : {false, true})
            for (int block = 0; block < 20; ++block) {
                EXPECT_LT(rig.play(hasSideChain), 1e-6) << channels << hasSideChain << block;
                const float level0 = rig.effect->getLevelMeter(0);
                const float level1 = rig.effect->getLevelMeter(1);
                const float reductions[] = {1.0F - rig.effect->getReductionMeter(0),
                                            channels == 1 ? -8.0F : 1.0F - rig.effect->getReductionMeter(1)};
                const float expected[] = {level0, level1,        level0,
                                          level1, reductions[0], channels == 1 ? 9.0F : reductions[1]};
                for (std::size_t tap = 0; tap < 6; ++tap)
                    EXPECT_NEAR(rig.instance.meters[tap], expected[tap], 1e-6) << channels << tap;
            }
        EXPECT_GT(rig.instance.meters[0], 0.01F);
        EXPECT_GT(rig.instance.meters[4], 0.01F);
    }
}

TEST_F(AaxInstanceTest, BypassPassesTheInputWithoutLatency)
{
    Rig rig(library, audioThread, 2);
    const std::int32_t latency = rig.instance.latency();
    EXPECT_EQ(latency, 480 + 1024); // 10 ms and half the kernel of the linear-phase split
    (void)rig.play(false);
    rig.instance.automate(kBypassIndex, 1.0);
    EXPECT_EQ(rig.instance.latency(), 0);
    (void)rig.play(false);
    EXPECT_EQ(rig.output[0], rig.input[0]);
    EXPECT_EQ(rig.output[1], rig.input[1]);
    EXPECT_EQ(rig.instance.meters, (std::array<float, 6>{}));
    rig.instance.automate(kLookahead, 0.2); // 20 ms
    EXPECT_EQ(rig.instance.latency(), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(50)); // ticks of the timer don't bring it back
    EXPECT_EQ(rig.instance.latency(), 0);
    rig.instance.automate(kBypassIndex, 0.0);
    EXPECT_EQ(rig.instance.latency(), latency + 480);
    EXPECT_EQ(effectNormal(kBypass), 0.0); // the effect's own switch is another thing

    Rig mono(library, audioThread, 1);
    mono.instance.automate(kBypassIndex, 1.0);
    (void)mono.play(true);
    EXPECT_EQ(mono.output[0], mono.input[0]);
    EXPECT_EQ(mono.output[1], std::vector<float>(Rig::kFrames)); // nothing of what isn't there
    EXPECT_EQ(mono.instance.meters, (std::array<float, 6>{0, 0, 0, 0, 0, 9}));
}

TEST_F(AaxInstanceTest, AnswersNotificationsFillsPrivateBlocksAndHasAView)
{
    aax::EffectParameters& model = instance.model();
    for (const std::int32_t code : {0x41586F66, 0x41586F78, 0x4158746E, 0x41535076, 0, -1}) // AXof AXox AXtn ASPv
        EXPECT_EQ(model.notificationReceived(code, nullptr, 0), AAX_SUCCESS);
    const std::string longName(200, '\xE9');
    EXPECT_EQ(model.notificationReceived(0x4158746E, longName.data(), 200), AAX_SUCCESS);

    std::array<std::uint8_t, 16> block{};
    block.fill(0xFF);
    EXPECT_EQ(model.resetPrivateData(6, block.data(), 4), AAX_SUCCESS);
    EXPECT_EQ(std::count(block.begin(), block.end(), 0), 4);
    EXPECT_TRUE(library.traces().empty());
    aax::SAAXWrap_Alg_Context_Private owner{};
    block.fill(0xFF);
    EXPECT_EQ(model.resetPrivateData(8, block.data(), 4), AAX_SUCCESS); // too small for the pointer
    EXPECT_TRUE(std::all_of(block.begin() + 4, block.end(), [](std::uint8_t byte) { return byte == 0xFF; }));
    EXPECT_EQ(library.traces(), std::vector<std::string>{"iDataSize==sizeof(SAAXWrap_Alg_Context_Private)"});
    EXPECT_EQ(model.resetPrivateData(8, &owner, sizeof owner), AAX_SUCCESS);
    EXPECT_NE(owner.parameters, nullptr);
    EXPECT_EQ(model.resetPrivateData(8, nullptr, 8), AAX_SUCCESS);

    const std::unique_ptr<aax::EffectGUI> view(library.effect().createGUI());
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(view->initialize(&instance.controller()), AAX_SUCCESS);
    EXPECT_EQ(view->setControlHighlight(id(kRatio).c_str(), true, 0), AAX_SUCCESS);
}

/// A folder of audio files, and of a user whose MIDI controller 20 moves the threshold.
class AaxRenderTest : public ::testing::Test {
protected:
    static constexpr std::int64_t kFrames = 48000;

    AaxRenderTest()
    {
        std::filesystem::create_directories(folder / "Kestrune/Sorvane");
        std::string map = "[";
        for (int controller = 0; controller < 128; ++controller)
            map += std::to_string(controller == 20 ? kThreshold : -1) + (controller < 127 ? "," : "]");
        makeFile(folder / "Kestrune/Sorvane/MIDIMap", map);
        write("mono.wav", 1, 1);
        write("stereo.wav", 2, 2);
        write("side.wav", 1, 3);
    }
    void write(const std::string& name, int channels, unsigned seed)
    {
        tools::AudioWriter file(folder / name, SF_FORMAT_WAV | SF_FORMAT_FLOAT, channels, kFrames, std::nullopt);
        Signal signal = noise(static_cast<std::size_t>(kFrames * channels), seed);
        for (std::size_t i = 0; i < signal.size(); ++i) // bursts, so that the detector has something to do
            signal[i] *= i / 9600 % 2 == 0 ? 0.8 : 0.02;
        file.write(signal.data(), kFrames);
        file.commit();
    }
    Signal read(const std::string& name)
    {
        tools::AudioReader file(folder / name);
        Signal signal(static_cast<std::size_t>(kFrames * file.channels() + 2));
        EXPECT_EQ(file.read(signal.data(), kFrames + 1), kFrames);
        return signal;
    }
    /// The stereo file, 48 kHz, through a plug-in to which the events happen.
    Signal play(const std::string& events, std::int32_t block = 512)
    {
        (void)tools::renderThroughAax({.plugin = SORVANE_AAX_PLUGIN,
                                       .input = folder / "stereo.wav",
                                       .output = folder / "aax.wav",
                                       .sideChain = "",
                                       .settings = {},
                                       .events = tools::parseEvents(events, "events"),
                                       .blockFrames = block});
        return read("aax.wav");
    }

    const TestFolder folder;
    const ScopedVariable config{"XDG_CONFIG_HOME", folder.path.c_str()};
};

TEST_F(AaxRenderTest, EventsHappenAtTheirSample)
{
    constexpr std::ptrdiff_t kLatency = 480 + 1024;
    constexpr std::ptrdiff_t kAt = 24000; // 0.5 s
    const auto differsFrom = [](const Signal& a, const Signal& b) {
        return std::mismatch(a.begin(), a.end(), b.begin()).first - a.begin();
    };
    const Signal plain = play("[]");
    const Signal automated = play(R"([{"at": 0.5, "set": {"kThreshold": {"normal": 0}}}])");
    EXPECT_NEAR(static_cast<double>(differsFrom(plain, automated)), 2.0 * (kAt - kLatency), 200.0);
    EXPECT_LT(peakDifference(play(R"([{"at": 0.5, "set": {"kThreshold": {"value": -60}}}])", 77), automated), 1e-6);
    // The messages stand in a block, which another event makes begin there; the last one says what the threshold is.
    const char* const midi =
        R"([{"at": 0.5, "tempo": 90, "midi": [[176, 20, 127], [179, 20, 0], [144, 20, 9], [192]]}])";
    EXPECT_LT(peakDifference(play(midi), automated), 1e-6);

    const Signal input = read("stereo.wav");
    const Signal bypassed = play(R"([{"at": 0.75, "bypass": false}, {"at": 0.5, "bypass": true, "playing": false}])");
    EXPECT_EQ(differsFrom(bypassed, plain) / 2, kAt - kLatency);
    for (std::ptrdiff_t i = 2 * kAt; i < 2 * 36000; ++i)
        ASSERT_EQ(bypassed[static_cast<std::size_t>(i - 2 * kLatency)], input[static_cast<std::size_t>(i)]) << i;

    for (const auto& [text, complaint] : std::initializer_list<std::pair<std::string, const char*>>{
             {"{}", "a JSON list of events"},
             {"[{\"at\": 1}", "a JSON list of events"},
             {R"([{"at": 1}, {"bypass": true}])", "event 2: expected an object with \"at\""},
             {R"([{"at": -1}])", "event 1: expected \"at\" from 0"},
             {R"([{"at": 1, "bypass": 1}])", "true or false"},
             {R"([{"at": 1, "midi": [[176, 256]]}])", "0 to 255"},
             {R"([{"at": 1, "midi": [176, 20, 1]}])", "a list of messages"},
             {R"([{"at": 1, "pitch": 1}])", "not \"pitch\""},
             {R"([{"at": 1, "set": {"kTreshold": {"value": 1}}}])", "kThreshold"},
             {std::string(100000, '['), "nested too deeply"}})
        try {
            (void)tools::parseEvents(text, "e.json");
            ADD_FAILURE() << text;
        } catch (const tools::Failure& failure) {
            EXPECT_NE(std::string(failure.what()).find(complaint), std::string::npos) << failure.what();
        }
}

TEST_F(AaxRenderTest, EqualsTheToolsOwn)
{
    const std::vector<tools::ParameterSetting> settings = {
        {kThreshold, -38.5F, false}, {kRatio, 0.2F, true},  {kSplitHPFSlope, 48.0F, false}, {kSplitType, 1.0F, false},
        {kSCHPFSlope, 12.0F, false}, {kSCHPF, 1.0F, false}, {kOverSample, 1.0F, false},     {kLookahead, 3.3F, false}};
    for (const bool linearPhase : {false, true})
        for (const char* const name : {"mono.wav", "stereo.wav"})
            for (const bool hasSideChain : {false, true}) {
                tools::StateOptions state;
                state.output = folder / "session.sor";
                state.settings = settings;
                state.settings.push_back({kLinearPhase, linearPhase ? 1.0F : 0.0F, false});
                tools::makeState(state);
                tools::RenderOptions plain;
                plain.input = folder / name;
                plain.output = folder / "plain.wav";
                plain.state = state.output;
                plain.singlePrecision = true;
                plain.sideChain = hasSideChain ? folder / "side.wav" : "";
                ASSERT_TRUE(tools::render(plain, false));
                (void)tools::renderThroughAax({.plugin = SORVANE_AAX_PLUGIN,
                                               .input = plain.input,
                                               .output = folder / "aax.wav",
                                               .sideChain = plain.sideChain,
                                               .settings = state.settings,
                                               .events = {},
                                               .blockFrames = 333});
                const Signal expected = read("plain.wav");
                EXPECT_LT(peakDifference(read("aax.wav"), expected), 1e-6) << name << linearPhase << hasSideChain;
                EXPECT_GT(peakDifference(read(name), expected), 1e-3); // it does something
            }
}

} // namespace
} // namespace sorvane::test
