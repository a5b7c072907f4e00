// The LV2 plug-ins as hosts drive them, through the entry of the library that was built.

#include "Lv2Host.h"
#include "StormSeconds.h"
#include "TestFolder.h"

#include <gtest/gtest.h>

#include <malloc.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <thread>

namespace sorvane::test {
namespace {

using namespace core;
using lv2::PortRole;

/// Plays signals through an instance in blocks of the sizes that \p nextBlock gives. With \p inPlace the outputs are
/// the inputs, crossed.
std::vector<Signal> play(Lv2Instance& instance, const Inputs& inputs, const std::function<std::size_t()>& nextBlock,
                         bool inPlace = false)
{
    const std::size_t channels = instance.channels;
    const std::size_t frames = inputs.main[0].size();
    std::vector<Signal> result(channels);
    for (std::size_t c = 0; c < channels; ++c)
        instance.connect(
            instance.port(PortRole::output, static_cast<std::int32_t>(c)),
            instance.buffer(inPlace ? PortRole::input : PortRole::output, inPlace ? channels - 1 - c : c).data());
    for (std::size_t done = 0; done < frames;) {
        const std::size_t block = std::min({nextBlock(), frames - done, Lv2Instance::kFrames});
        const auto load = [&](const Signal& signal, std::vector<float>& buffer) {
            std::transform(signal.begin() + static_cast<std::ptrdiff_t>(done),
                           signal.begin() + static_cast<std::ptrdiff_t>(done + block), buffer.begin(),
                           [](double x) { return static_cast<float>(x); });
        };
        for (std::size_t c = 0; c < channels; ++c) {
            load(inputs.main[c], instance.buffer(PortRole::input, c));
            if (!inputs.side.empty())
                load(inputs.side[c], instance.buffer(PortRole::sideChain, c));
        }
        const std::vector<float> before = instance.buffer(PortRole::input, 0);
        instance.run(block);
        const auto& after = instance.buffer(PortRole::input, 0);
        EXPECT_TRUE(inPlace || std::memcmp(before.data(), after.data(), block * sizeof(float)) == 0)
            << "the host's input was written";
        for (std::size_t c = 0; c < channels; ++c) {
            const auto& output =
                instance.buffer(inPlace ? PortRole::input : PortRole::output, inPlace ? channels - 1 - c : c);
            result[c].insert(result[c].end(), output.begin(), output.begin() + static_cast<std::ptrdiff_t>(block));
        }
        done += block;
    }
    return result;
}

/// What the host's port holds for an engineering value.
float portValue(std::int32_t tag, float value)
{
    return tag == kBypass ? 1.0F - value : value;
}

TEST(Lv2Effect, SoundsAsTheEffectDoes)
{
    const Lv2Library library;
    constexpr std::size_t kFrames = 40000;
    std::mt19937 random(1);
    for (const std::size_t channels : {1U, 2U})
        for (const bool sideChain : {false, true})
            for (const bool linear : {false, true}) {
                const Values values = {{kThreshold, -36}, {kLinearPhase, linear ? 1 : 0}, {kExtSC, sideChain ? 1 : 0},
                                       {kLookahead, 3},   {kSplitBPFFreq, 4000},          {kBalance, 20}};
                Inputs inputs;
                for (std::uint32_t c = 0; c < channels; ++c) {
                    inputs.main.push_back(bursts(kFrames, 10 + c));
                    if (sideChain)
                        inputs.side.push_back(bursts(kFrames, 20 + c));
                }
                const auto plug = makePlug(48000.0F, nullptr);
                setValues(*plug, values);
                plug->resume();
                const auto expected = play<float>(*plug, inputs, 512);

                for (const bool inPlace : {false, true}) {
                    Lv2Instance instance(library, channels, 48000.0, inPlace ? 256 : 8192); // smaller than blocks, too
                    for (const auto& [tag, value] : values)
                        instance.controls[static_cast<std::size_t>(tag)] = static_cast<float>(value);
                    if (sideChain)
                        instance.connectSideChain();
                    instance.activate();
                    const auto got = play(
                        instance, inputs, [&] { return random() % 3000; }, inPlace);
                    for (std::size_t c = 0; c < channels; ++c)
                        EXPECT_LT(peakDifference(got[c], expected[c]), 1e-6)
                            << channels << (sideChain ? " side-chain" : "") << (linear ? " linear" : "")
                            << (inPlace ? " in place" : "");
                    EXPECT_EQ(instance.control(PortRole::latency), static_cast<float>(plug->getInitialDelay()));
                    EXPECT_NEAR(instance.control(PortRole::level), 20.0F * std::log10(plug->getLevelMeter(0)), 1e-3F);
                    EXPECT_GE(instance.control(PortRole::reduction), 0.0F);
                }
            }
}

TEST(Lv2Effect, PortsSetWhatTheirValuesSay)
{
    const Lv2Library library;
    Lv2Instance instance(library, 2);
    instance.activate();
    std::mt19937 random(2);
    for (int round = 0; round < 40; ++round) {
        std::array<float, lv2::kParameterPorts> expected{};
        for (std::int32_t tag = 0; tag < kABBank; ++tag) {
            const ParamRecord& record = factoryParameters()[static_cast<std::size_t>(tag)];
            const float normal = round < 2 ? static_cast<float>(round) : static_cast<float>(random() % 1001) / 1000.0F;
            const float value = normalToValue(normal, record.min, record.max, record.scale);
            expected[static_cast<std::size_t>(tag)] = valueToNormal(value, record.min, record.max, record.scale);
            instance.controls[static_cast<std::size_t>(tag)] = portValue(tag, value);
        }
        instance.run(round % 2 == 0 ? 0 : 32); // hosts run no frames to flush their ports
        const auto plug = loaded(instance);
        for (std::int32_t tag = 0; tag < kABBank; ++tag)
            EXPECT_FLOAT_EQ(plug->getParameter(tag), expected[static_cast<std::size_t>(tag)]) << round << ' ' << tag;
    }
    const auto before = loaded(instance);
    std::fill_n(instance.controls.begin(), lv2::kParameterPorts, std::numeric_limits<float>::quiet_NaN());
    instance.run(16);
    const auto after = loaded(instance);
    for (std::int32_t tag = 0; tag < kABBank; ++tag)
        EXPECT_EQ(after->getParameter(tag), before->getParameter(tag)) << tag;
}

/// A session's banks and names come from its state; a value that both hold comes from the port when the port holds
/// another than when the state was saved.
TEST(Lv2Effect, StateHoldsWhatPortsCannot)
{
    const Lv2Library library;
    const auto source = makePlug();
    setValues(*source, {{kThreshold, -50}, {kMode, 0}});
    source->copyCurrentToBank(3);
    setValues(*source, {{kThreshold, -40}});
    source->setProgramName("Session");
    const std::string chunk = source->copyChunk(false);
    const Lv2State session = {{Lv2Urids::of(lv2::kChunkUri), chunk}};
    for (const bool running : {false, true}) {
        Lv2Instance instance(library, 2);
        instance.activate();
        if (running)
            instance.run(100);
        EXPECT_EQ(instance.restore(session), LV2_STATE_SUCCESS);
        EXPECT_EQ(loaded(instance)->getParameterValue(kThreshold), -40.0F) << "as it came, until ports are read";
        instance.controls[kThreshold] = -33.0F;
        instance.run(100);
        const auto plug = loaded(instance);
        EXPECT_EQ(plug->getParameterValue(kThreshold), -33.0F) << running;
        EXPECT_EQ(plug->getParameterValue(kMode), running ? 0.0F : 1.0F) << "a running host hasn't sent it";
        char name[64] = {};
        plug->getProgramName(name);
        EXPECT_STREQ(name, "Session");
        plug->switchBank(3);
        EXPECT_EQ(plug->getParameterValue(kThreshold), -50.0F);

        const Lv2State damaged = {{Lv2Urids::of(lv2::kChunkUri), chunk.substr(0, chunk.size() / 2)}};
        EXPECT_EQ(instance.restore(damaged), LV2_STATE_ERR_UNKNOWN);
        instance.run(100);
        EXPECT_EQ(loaded(instance)->getParameterValue(kThreshold), -33.0F);
        EXPECT_EQ(instance.restore({}), LV2_STATE_ERR_NO_PROPERTY);
        for (const char* const text : {"", "nan inf -inf 1e99 x", "0.5"}) { // ports that nobody saved like that
            Lv2State odd = session;
            odd[Lv2Urids::of(lv2::kPortsUri)] = text;
            EXPECT_EQ(instance.restore(odd), LV2_STATE_SUCCESS);
            instance.activate();
            instance.run(64);
            EXPECT_EQ(loaded(instance)->getParameterValue(kThreshold), -40.0F)
                << text << ": its port wasn't written since";
            instance.controls[kThreshold] = instance.controls[kThreshold] == -33.0F ? -34.0F : -33.0F;
            instance.run(64);
            EXPECT_EQ(loaded(instance)->getParameterValue(kThreshold), instance.controls[kThreshold]) << text;
        }
    }
    // The default state doesn't take from a user what is their own.
    Lv2Instance instance(library, 1);
    const Lv2State factory = {{Lv2Urids::of(lv2::kFactoryBankUri), chunk}};
    (void)instance.restore(factory);
    EXPECT_EQ(loaded(instance)->getParameterValue(kThreshold), -40.0F);
    instance.activate();
    instance.run(64);
    (void)instance.restore(factory);
    instance.run(64);
    EXPECT_FLOAT_EQ(loaded(instance)->getParameterValue(kThreshold), -18.0F)
        << "a port at its default goes with the state";
    const std::filesystem::path bank = makePlug()->getDefaultBankPath();
    std::filesystem::create_directories(bank.parent_path());
    const auto own = makePlug();
    setValues(*own, {{kThreshold, -21}});
    makeFile(bank.string(), own->copyChunk(false));
    Lv2Instance users(library, 1);
    (void)users.restore(factory);
    EXPECT_FLOAT_EQ(loaded(users)->getParameterValue(kThreshold), -21.0F);
    std::filesystem::remove(bank);
}

/// Its ports hold the values of the bank that was in force before: they must not get into the one that MIDI chose,
/// whenever a host restores and sends them.
TEST(Lv2Effect, BankThatMidiChoseKeepsWhatItHolds)
{
    const MainVolumeMoves map(kABBank);
    const Lv2Library library;
    const auto source = makePlug();
    setValues(*source, {{kThreshold, -50}});
    source->copyCurrentToBank(3);
    setValues(*source, {{kThreshold, -18}});
    Lv2Instance first(library, 2);
    (void)first.restore({{Lv2Urids::of(lv2::kChunkUri), source->copyChunk(false)}});
    first.activate();
    MidiSequence midi;
    midi.bytes[2] = 54; // of 127: the fourth of eight banks
    first.runWith(midi);
    first.activate(); // as when the host's block size changes
    first.run(64);
    const Lv2State session = first.save();

    const auto expectKept = [](const Lv2Instance& instance, const char* when) {
        const auto plug = loaded(instance);
        EXPECT_EQ(plug->getCurrentBank(), 3) << when;
        EXPECT_EQ(plug->getParameterValue(kThreshold), -50.0F) << when;
    };
    expectKept(first, "as it was chosen");
    Lv2Instance loading(library, 2);
    (void)loading.restore(session);
    const Lv2State unplayed = loading.save();
    loading.activate();
    loading.run(64);
    expectKept(loading, "before the first run");

    Lv2Instance running(library, 2);
    running.controls[kThreshold] = -10.0F;
    running.activate();
    running.run(64);
    (void)running.restore(unplayed);
    running.run(64);                           // before the host's ports come
    running.controls[kThreshold] = -18.00001F; // was a text in between
    running.run(64);
    expectKept(running, "ports behind the state");
    running.controls[kThreshold] = -10.0F;
    running.run(64);
    EXPECT_FLOAT_EQ(loaded(running)->getParameterValue(kThreshold), -10.0F);
    running.controls[kThreshold] = -18.0F;
    running.run(64);
    (void)running.restore(session);
    running.run(64);
    expectKept(running, "ports before the state");
}

/// A running instance that is given a preset: state first, then ports. Hosts stop over a latency that goes to and fro.
TEST(Lv2Effect, LatencyOfAPresetComesOnce)
{
    const Lv2Library library;
    const auto source = makePlug();
    setValues(*source, {{kLinearPhase, 0}, {kLookahead, 5}});
    Lv2Instance instance(library, 2);
    instance.controls[kLinearPhase] = 0.0F;
    instance.activate();
    std::vector<float> latencies;
    for (int i = 0; i < 90; ++i) {
        instance.run(256);
        if (const float now = instance.control(PortRole::latency); latencies.empty() || latencies.back() != now)
            latencies.push_back(now);
        if (i == 30)
            (void)instance.restore({{Lv2Urids::of(lv2::kPresetUri), source->copyChunk(true)}});
        if (i == 60)
            instance.controls[kLookahead] = 5.0F;
    }
    EXPECT_EQ(latencies, std::vector({480.0F, 240.0F}));
}

/// Where an impulse comes out again of an instance in bypass, which is a delay of what it reports.
std::ptrdiff_t arrival(Lv2Instance& instance)
{
    Signal impulse(8000, 0.0);
    impulse[0] = 1.0;
    const auto out =
        play(instance, {std::vector<Signal>(instance.channels, impulse), {}}, [] { return std::size_t{441}; });
    return std::max_element(out[0].begin(), out[0].end()) - out[0].begin();
}

TEST(Lv2Effect, LatencyIsRightInTheSameRun)
{
    const Lv2Library library;
    for (const std::size_t channels : {1U, 2U}) {
        Lv2Instance instance(library, channels);
        const float& latency = instance.control(PortRole::latency);
        const auto set = [&](std::int32_t tag, float value) {
            return std::exchange(instance.controls[static_cast<std::size_t>(tag)], value);
        };
        set(kLinearPhase, 0.0F);
        set(kBypass, 0.0F);
        instance.activate();
        instance.run(0);
        EXPECT_EQ(latency, 480.0F) << "10 ms";
        std::set<std::ptrdiff_t> seen;
        for (const auto& [tag, value] : {std::pair{kLookahead, 5.0F}, std::pair{kOverSample, 1.0F},
                                         std::pair{kHQOversample, 1.0F}, std::pair{kLookahead, 0.0F}}) {
            set(tag, value);
            instance.run(0);
            const auto reported = static_cast<std::ptrdiff_t>(latency);
            EXPECT_EQ(arrival(instance), reported) << tag;
            EXPECT_TRUE(seen.insert(reported).second) << tag;
        }
        // No other ever touches it.
        const float before = latency;
        for (std::int32_t tag = 0; tag < kABBank; ++tag) {
            if (tag == kLookahead || tag == kLinearPhase || tag == kOverSample || tag == kHQOversample)
                continue;
            const ParamRecord& record = factoryParameters()[static_cast<std::size_t>(tag)];
            const float was = set(tag, record.min);
            instance.run(64);
            set(tag, record.max);
            instance.run(64);
            EXPECT_EQ(latency, before) << tag;
            set(tag, was);
        }
        // A split in linear phase is designed off the audio thread, and reported when it is.
        set(kLinearPhase, 1.0F);
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
        while (latency == before && std::chrono::steady_clock::now() < end) {
            instance.run(64);
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        EXPECT_GT(latency, before);
        EXPECT_EQ(arrival(instance), static_cast<std::ptrdiff_t>(latency));
    }
}

TEST(Lv2Effect, MidiMovesMappedParameters)
{
    const MainVolumeMoves map(kThreshold);
    const Lv2Library library;
    Lv2Instance instance(library, 2);
    MidiSequence sequence;
    instance.activate();
    instance.run(64);
    instance.runWith(sequence);
    EXPECT_EQ(loaded(instance)->getParameterValue(kThreshold), 12.0F) << "a port that didn't change stays out of it";
    instance.controls[kThreshold] = -20.0F;
    instance.run(64);
    EXPECT_FLOAT_EQ(loaded(instance)->getParameterValue(kThreshold), -20.0F);
}

/// As the effect does that renders offline: with each change its design, before the next sample.
TEST(Lv2Effect, FreeWheelingDesignsAtOnce)
{
    const Lv2Library library;
    Lv2Instance instance(library, 2);
    const auto plug = makePlug();
    instance.activate();
    instance.control(PortRole::freeWheeling) = 1.0F;
    const auto automate = [&](std::int32_t tag, float value) {
        instance.controls[static_cast<std::size_t>(tag)] = value;
        setValues(*plug, {{tag, value}});
    };
    for (int i = 0; i < 6; ++i) {
        automate(kSplitBPFFreq, 3000.0F + 500.0F * static_cast<float>(i));
        if (i == 3)
            automate(kLinearPhase, 0.0F);
        const auto seed = static_cast<std::uint32_t>(i);
        const Inputs inputs{{bursts(4000, seed), bursts(4000, seed + 50)}, {}};
        const auto got = play(instance, inputs, [] { return std::size_t{1000}; });
        const auto expected = play<float>(*plug, inputs, 1000);
        for (std::size_t c = 0; c < 2; ++c)
            EXPECT_LT(peakDifference(got[c], expected[c]), 1e-6) << i;
    }
}

/// The state interface promises hosts that a restore may run beside blocks.
TEST(Lv2Effect, RestoresBesideBlocks)
{
    const Lv2Library library;
    Lv2Instance instance(library, 2);
    instance.activate();
    std::atomic<bool> over{false};
    std::thread audio([&] {
        std::mt19937 random(4);
        while (!over) {
            const auto tag = random() % lv2::kParameterPorts;
            const ParamRecord& record = factoryParameters()[tag];
            instance.controls[tag] = random() % 2 == 0 ? record.min : record.max;
            instance.run(random() % 300);
        }
    });
    const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(stormSeconds(0.3));
    while (std::chrono::steady_clock::now() < end)
        EXPECT_EQ(instance.restore(instance.save()), LV2_STATE_SUCCESS);
    over = true;
    audio.join();
    const Lv2State last = instance.save();
    const auto sent = instance.controls;
    for (std::size_t tag = 0; tag < lv2::kParameterPorts; ++tag)
        instance.controls[tag] =
            sent[tag] == factoryParameters()[tag].min ? factoryParameters()[tag].max : factoryParameters()[tag].min;
    instance.run(64);
    (void)instance.restore(last);
    instance.controls = sent;
    instance.run(64);
    const auto plug = loaded(instance); // in the end they stand as the host sent them
    for (std::int32_t tag = 0; tag < kABBank; ++tag) {
        const float value = portValue(tag, instance.controls[static_cast<std::size_t>(tag)]);
        EXPECT_FLOAT_EQ(plug->getParameter(tag), plug->toNormalised(tag, value)) << tag;
    }
}

TEST(Lv2Effect, BearsWhateverAHostDoes)
{
    const Lv2Library library;
    const LV2_Descriptor* const descriptor = library.descriptor(2);
    ASSERT_NE(descriptor, nullptr);
    EXPECT_EQ(library.entry(2), nullptr);
    EXPECT_EQ(descriptor->extension_data("urn:unknown"), nullptr);
    EXPECT_EQ(descriptor->extension_data(nullptr), nullptr);
    for (const double rate : {0.0, -1.0, 1e7, std::numeric_limits<double>::quiet_NaN()})
        EXPECT_EQ(descriptor->instantiate(descriptor, rate, "", nullptr), nullptr) << rate;

    // Neither features nor ports.
    LV2_Handle const bare = descriptor->instantiate(descriptor, 44100.0, nullptr, nullptr);
    ASSERT_NE(bare, nullptr);
    descriptor->run(bare, 64); // before its activation
    descriptor->connect_port(bare, 12345, nullptr);
    descriptor->deactivate(bare);
    for (int twice = 0; twice < 2; ++twice) {
        descriptor->activate(bare);
        descriptor->run(bare, 0);
        descriptor->run(bare, 10000);
    }
    const auto* const state = static_cast<const LV2_State_Interface*>(descriptor->extension_data(LV2_STATE__interface));
    EXPECT_EQ(state->save(bare, nullptr, nullptr, 0, nullptr), LV2_STATE_ERR_NO_FEATURE);
    descriptor->cleanup(bare);

    Lv2Instance instance(library, 2, 48000.0, -5); // a nonsensical block length
    EXPECT_NE(state->save(instance.handle, nullptr, nullptr, 0, nullptr), LV2_STATE_SUCCESS);
    EXPECT_NE(state->restore(instance.handle, nullptr, nullptr, 0, nullptr), LV2_STATE_SUCCESS);
    instance.connect(kRatio, nullptr); // until it runs
    instance.controls[kRatio] = 0.0F;
    instance.activate();
    instance.run(1);
    EXPECT_NEAR(loaded(instance)->getParameterValue(kRatio), 0.6997F, 1e-6F) << "its own";
    instance.connect(kRatio, &instance.controls[kRatio]);
    instance.run(1);
    EXPECT_EQ(loaded(instance)->getParameterValue(kRatio), 0.0F);
    Signal broken = noise(1000, 1);
    broken[10] = std::numeric_limits<double>::quiet_NaN();
    broken[20] = std::numeric_limits<double>::infinity();
    const auto got = play(instance, {{broken, broken}, {}}, [] { return std::size_t{1000}; });
    EXPECT_TRUE(std::all_of(got[0].begin(), got[0].end(), [](double x) { return std::isfinite(x); }));

    // Sequences that are cut short, or whose events claim more than there is.
    std::mt19937 random(3);
    alignas(8) std::array<std::uint8_t, 64> bytes{};
    instance.connect(instance.port(PortRole::midi), bytes.data());
    for (int i = 0; i < 2000; ++i) {
        for (auto& byte : bytes)
            byte = static_cast<std::uint8_t>(random() % 40);
        const std::array<std::uint32_t, 2> head = {static_cast<std::uint32_t>(random() % 57),
                                                   Lv2Urids::of(LV2_ATOM__Sequence)};
        std::memcpy(bytes.data(), head.data(), sizeof head);
        instance.run(1);
    }

    const auto* const options =
        static_cast<const LV2_Options_Interface*>(descriptor->extension_data(LV2_OPTIONS__interface));
    std::int32_t length = 128;
    const LV2_URID key = Lv2Urids::of(LV2_BUF_SIZE__maxBlockLength);
    std::array<LV2_Options_Option, 2> list = {
        LV2_Options_Option{LV2_OPTIONS_INSTANCE, 0, key, sizeof length, Lv2Urids::of(LV2_ATOM__Int), &length}, {}};
    EXPECT_EQ(options->set(instance.handle, list.data()), LV2_OPTIONS_SUCCESS);
    length = 0;
    ASSERT_EQ(options->get(instance.handle, list.data()), LV2_OPTIONS_SUCCESS);
    EXPECT_EQ(*static_cast<const std::int32_t*>(list[0].value), 128);
    list[0].key = 9999;
    EXPECT_EQ(options->get(instance.handle, list.data()), LV2_OPTIONS_ERR_BAD_KEY);
}

std::ptrdiff_t entries(const char* folder)
{
    return std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
}

/// Threads of this process, once those that were joined are off the kernel's list too.
std::ptrdiff_t threadsDownTo(std::ptrdiff_t expected)
{
    for (int i = 0; i < 1000 && entries("/proc/self/task") > expected; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return entries("/proc/self/task");
}

void play(const Lv2Library& library, std::vector<std::unique_ptr<Lv2Instance>>& instances, std::size_t channels)
{
    instances.push_back(std::make_unique<Lv2Instance>(library, channels));
    instances.back()->activate();
    for (const auto& instance : instances)
        instance->run(256);
}

TEST(Lv2Library, LeavesNothingBehind)
{
    char line[256] = {};
    std::FILE* const exported =
        ::popen("nm -D --defined-only " SORVANE_LV2_BUNDLE "/Sorvane.so", "r"); // NOLINT(*-env33-c)
    ASSERT_NE(exported, nullptr);
    EXPECT_NE(std::fgets(line, sizeof line, exported), nullptr);
    EXPECT_TRUE(std::string_view(line).ends_with(" T lv2_descriptor\n")) << line;
    EXPECT_EQ(std::fgets(line, sizeof line, exported), nullptr) << line;
    ::pclose(exported);

    constexpr std::size_t kCycles = SORVANE_SANITIZED ? 100 : 1000;
    std::thread([] {}).join(); // a sanitizer's own starts with the first
    const auto threads = threadsDownTo(1);
    std::ptrdiff_t handles = 0;
    std::size_t memory = 0;
    for (std::size_t i = 0; i < kCycles; ++i) {
        {
            const Lv2Library library;
            std::vector<std::unique_ptr<Lv2Instance>> instances;
            play(library, instances, 1 + i % 2);
        }
        ASSERT_FALSE(Lv2Library::isLoaded()) << i;
        if (i == kCycles / 10) {
            handles = entries("/proc/self/fd");
            memory = mallinfo2().uordblks;
        }
    }
    EXPECT_EQ(threadsDownTo(threads), threads);
    EXPECT_EQ(entries("/proc/self/fd"), handles);
    EXPECT_LT(mallinfo2().uordblks, memory + 20000);
    {
        const TestFolder folder;
        std::filesystem::copy_file(Lv2Library::kPath, folder / "Other.so");
        const Lv2Library library;
        const Lv2Library other((folder / "Other.so").c_str());
        ASSERT_NE(library.entry, other.entry);
        std::vector<std::unique_ptr<Lv2Instance>> instances;
        for (std::size_t i = 0; i < 64; ++i)
            play(i % 3 == 0 ? other : library, instances, 1 + i % 2);
    }
    EXPECT_FALSE(Lv2Library::isLoaded());
    EXPECT_EQ(threadsDownTo(threads), threads);
}

} // namespace
} // namespace sorvane::test
