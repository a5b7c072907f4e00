// The VST 2.4 library as a host loads and drives it: through its file and the record.

#include "Effect.h"
#include "TestFolder.h"
#include "VstHost.h"

#include <gtest/gtest.h>

#include <malloc.h>

#include <chrono>
#include <climits>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <set>
#include <thread>

namespace sorvane::test {
namespace {

using namespace core;
using host::AEffect;
using host::Pointer;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#elif defined(__has_feature)
constexpr bool kSanitized = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
constexpr bool kSanitized = false;
#endif

/// A host at a process level for the test's time.
class AtLevel {
public:
    explicit AtLevel(host::ProcessLevel level) { VstLibrary::processLevel = level; }
    ~AtLevel() { VstLibrary::processLevel = host::processLevelRealtime; }
    AtLevel(const AtLevel&) = delete;
    AtLevel& operator=(const AtLevel&) = delete;
};

std::array<Signal, 4> fourInputs(std::size_t frames)
{
    return {bursts(frames, 1), bursts(frames, 2), bursts(frames, 3), bursts(frames, 4)};
}

std::int32_t blockOf512()
{
    return 512;
}

std::ptrdiff_t entriesIn(const char* folder)
{
    return std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
}

void setAll(const VstEffect& effect, std::uint32_t seed)
{
    std::mt19937 random(seed);
    for (std::int32_t index = 0; index < kABBank; ++index)
        effect.set(index, static_cast<float>(random() % 1001) / 1000.0F);
    effect.set(kBypass, 0.0F);
}

TEST(Vst, RecordLiesAsTheInterfaceSays)
{
    static_assert(sizeof(void*) != 8 || (offsetof(AEffect, dispatcher) == 8 && offsetof(AEffect, numPrograms) == 40 &&
                                         offsetof(AEffect, flags) == 56 && offsetof(AEffect, initialDelay) == 80 &&
                                         offsetof(AEffect, object) == 96 && offsetof(AEffect, uniqueID) == 112 &&
                                         offsetof(AEffect, processReplacing) == 120 && sizeof(AEffect) == 192));
    static_assert(sizeof(host::PinProperties) == 128 && sizeof(host::MidiEvent) == 32 &&
                  sizeof(host::ParameterProperties) == 152);

    const VstLibrary library;
    EXPECT_EQ(library.entry(nullptr), nullptr);
    VstLibrary::version = 0;
    EXPECT_EQ(library.entry(VstLibrary::callback), nullptr) << "a host of the interface's first version";
    VstLibrary::version = 2400;
    const VstEffect effect(library);
    EXPECT_EQ(effect.record->magic, 'V' << 24 | 's' << 16 | 't' << 8 | 'P');
    EXPECT_EQ(effect.record->numParams, 92);
}

TEST(Vst, EveryOpcodeIsAnswered)
{
    const VstLibrary library;
    const VstEffect effect(library);
    // Opcodes, all of the interface's, that have another answer than 0 when asked without data.
    const std::map<std::int32_t, Pointer> answers = {
        {22, 'N' << 24 | 'v' << 16 | 'E' << 8 | 'f'}, // identify
        {26, 1},                                      // any parameter can be automated
        {35, 1},                                      // an effect
        {43, 1},                                      // block size and rate were set
        {44, 1},                                      // bypass is ours
        {49, 110},                                    // version
        {57, 1},                                      // needs no keys
        {58, 2400},                                   // version of the interface
        {77, 1},                                      // 32-bit samples
    };
    for (std::int32_t opcode = 0; opcode < 80; ++opcode) {
        const auto answer = answers.find(opcode);
        if (opcode == host::effectClose)
            continue;
        EXPECT_EQ(effect.ask(opcode), answer != answers.end() ? answer->second : 0) << opcode;
    }
    EXPECT_EQ(effect.ask(77, 0, 1), 1);
    EXPECT_EQ(effect.ask(77, 0, 2), 0);
    EXPECT_EQ(effect.ask(44, 0, 1), 1);
    EXPECT_EQ(effect.get(kBypass), 1.0F);
    for (const char* const feature :
         {"bypass", "receiveVstEvents", "receiveVstMidiEvent", "Bypass", "sendVstEvents", ""})
        EXPECT_EQ(effect.ask(51, 0, 0, const_cast<char*>(feature)), feature[0] == 'b' || feature[0] == 'r') << feature;
    EXPECT_EQ(effect.text(45), "Sorvane");
    EXPECT_EQ(effect.text(47), "Kestrune");
    EXPECT_EQ(effect.text(48), "Sorvane");
    host::PinProperties pin{};
    EXPECT_EQ(effect.ask(33, 3, 0, &pin), 1);
    EXPECT_STREQ(pin.label, "Input 4");
    EXPECT_EQ(effect.ask(33, 4, 0, &pin), 0);
    EXPECT_EQ(effect.ask(34, 1, 0, &pin), 1);
    EXPECT_EQ(effect.ask(34, -1, 0, &pin), 0);
    host::ParameterProperties properties{};
    EXPECT_EQ(effect.ask(56, kThreshold, 0, &properties), 1);
    EXPECT_EQ(properties.label, effect.text(8, kThreshold));
    EXPECT_EQ(properties.flags, 0);
    EXPECT_EQ(effect.ask(56, kMuteDry, 0, &properties), 1);
    EXPECT_EQ(properties.flags, 1) << "a switch";
    EXPECT_EQ(effect.ask(56, kListen, 0, &properties), 1);
    EXPECT_EQ(properties.flags, 4) << "one of five";
    effect.set(kListen, 0.0F);
    std::set<std::string> choices;
    for (int step = 0; static_cast<float>(step) * properties.stepFloat < 1.0F; ++step) {
        effect.set(kListen, static_cast<float>(step) * properties.stepFloat);
        choices.insert(effect.text(7, kListen));
    }
    EXPECT_EQ(choices.size(), 5U);
    EXPECT_EQ(effect.ask(56, 92, 0, &properties), 0);

    // What hosts have room for: 24 bytes for a parameter's texts at the least, 25 for a program's name.
    std::set<std::string> names;
    for (std::int32_t index = 0; index < 92; ++index) {
        names.insert(effect.text(8, index));
        EXPECT_LT(effect.text(8, index).size(), 24U);
        EXPECT_EQ(effect.text(6, index), "") << "the unit is in the display";
        for (const float normal : {0.0F, 0.01F, 0.37F, 0.5F, 0.99F, 1.0F}) {
            effect.set(index, normal);
            EXPECT_GE(effect.text(7, index).size(), 1U);
            EXPECT_LT(effect.text(7, index).size(), 24U) << effect.text(7, index);
        }
    }
    EXPECT_EQ(names.size(), 92U);
    std::string name = "A preset with \xC3\xBC and a long name";
    effect.ask(4, 0, 0, name.data());
    EXPECT_EQ(effect.text(5), name.substr(0, 24));
    name = "Umlaut at the very cut \xC3\xBC.";
    effect.ask(4, 0, 0, name.data());
    EXPECT_EQ(effect.text(29, 0), name.substr(0, 23));
    EXPECT_NE(effect.chunk().size(), 0U);
    const VstEffect other(library);
    ASSERT_GT(other.load(effect.chunk()), 0);
    EXPECT_EQ(other.text(5), name.substr(0, 23));
}

TEST(Vst, SurvivesWhatNoHostShouldSend)
{
    const VstLibrary library;
    std::vector<char> zeros(1 << 16);
    std::vector<char> letters(1 << 16, 'x');
    const auto storm = [&](const VstEffect& effect) {
        for (std::int32_t opcode = -3; opcode < 130; ++opcode)
            for (const std::int32_t index : {0, 1, 91, 92, -1, 1 << 20, INT_MAX, INT_MIN})
                for (const Pointer value : {Pointer(0), Pointer(1), Pointer(-1), Pointer(4096), Pointer(INT_MAX),
                                            Pointer(INT_MIN), Pointer(1) << 40}) {
                    if (opcode == host::effectClose || (opcode == host::effectSetProgram && index != 0) ||
                        (opcode == host::effectMainsChanged && index != 0) ||
                        (opcode == host::effectGetSpeakerArrangement && value != 0)) // a pointer
                        continue;
                    for (const float option : {0.0F, NAN, -1.0F, INFINITY, 1.0e9F})
                        effect.ask(opcode, index, value, nullptr, option);
                    effect.ask(opcode, index, value, zeros.data());
                    if (opcode != host::effectProcessEvents) // a list of pointers
                        effect.ask(opcode, index, value, letters.data());
                    std::fill(zeros.begin(), zeros.end(), 0);
                    std::fill(letters.begin(), letters.end(), 'x');
                }
        for (const std::int32_t index : {-1, 92, INT_MIN, INT_MAX, 500, -1000}) {
            effect.set(index, 0.5F);
            EXPECT_EQ(effect.get(index), 0.0F);
        }
        effect.set(kThreshold, NAN);
        EXPECT_FALSE(std::isnan(effect.get(kThreshold)));
        host::Events events{3, 0, {nullptr, nullptr}};
        events.numEvents = 2;
        effect.ask(host::effectProcessEvents, 0, 0, &events);
        events.numEvents = -5;
        effect.ask(host::effectProcessEvents, 0, 0, &events);
    };
    const auto blocks = [](const VstEffect& effect) {
        AEffect* const record = effect.record;
        std::array<float, 64> buffer{};
        std::array<float*, 4> none{};
        std::array<float*, 4> some = {buffer.data(), nullptr, buffer.data(), nullptr};
        for (const std::int32_t frames : {0, -1, INT_MIN, 1, 64})
            for (float** const inputs : {static_cast<float**>(nullptr), none.data(), some.data()})
                for (float** const outputs : {static_cast<float**>(nullptr), none.data(), some.data()})
                    for (const auto process : {record->processReplacing, record->process})
                        process(record, inputs, outputs, frames);
        record->processDoubleReplacing(record, nullptr, nullptr, 64);
    };

    const VstEffect effect(library, 48000.0F, VstEffect::State::asMade);
    blocks(effect); // before it was opened or resumed
    storm(effect);
    blocks(effect);
    effect.ask(host::effectMainsChanged, 0, 0);
    blocks(effect);
    {
        // And all of it beside running blocks.
        std::atomic<bool> over{false};
        std::thread audio([&] {
            while (!over)
                blocks(effect);
        });
        storm(effect);
        over = true;
        audio.join();
    }
    for (const std::int32_t size : {-7, 0, INT_MAX})
        effect.ask(host::effectSetBlockSize, 0, size);
    effect.ask(host::effectMainsChanged, 0, 1);

    // It still is what it was.
    ASSERT_GT(effect.load(VstEffect(library).chunk()), 0);
    const AtLevel offline(host::processLevelOffline);
    const VstEffect fresh(library);
    effect.ask(host::effectSetSampleRate, 0, 0, nullptr, 48000.0F);
    effect.ask(host::effectMainsChanged, 0, 1);
    const auto inputs = fourInputs(8192);
    const auto out = play(effect, inputs, blockOf512);
    const auto expected = play(fresh, inputs, blockOf512);
    for (std::size_t c = 0; c < 2; ++c)
        EXPECT_LT(peakDifference(out[c], expected[c]), 1e-6);
}

TEST(Vst, GivesTheAudioOfTheEffectItself)
{
    const AtLevel offline(host::processLevelOffline);
    const VstLibrary library;
    const auto inputs = fourInputs(20000);
    const Inputs sameInputs = {.main = {inputs[0], inputs[1]}, .side = {inputs[2], inputs[3]}};
    std::mt19937 random(3);
    for (const Values& values : std::vector<Values>{
             {{kThreshold, -40}, {kExtSC, 1}, {kLookahead, 7}},
             {{kThreshold, -50}, {kLinearPhase, 0}, {kOverSample, 1}, {kStereoMode, 0}, {kBalance, 30}},
         }) {
        const auto plug = makePlug();
        const VstEffect effect(library);
        for (const auto& [tag, value] : values)
            effect.set(tag, plug->toNormalised(tag, static_cast<float>(value)));
        setValues(*plug, values);
        for (int pass = 0; pass < 2; ++pass) {
            plug->resume();
            effect.ask(host::effectMainsChanged, 0, 1);
            const auto expected = play(*plug, sameInputs);
            if (pass == 0) {
                EXPECT_EQ(play<double>(effect, inputs, blockOf512), expected);
                continue;
            }
            const auto single = play<float>(effect, inputs, [&] { return static_cast<int>(1 + random() % 2000); });
            for (std::size_t c = 0; c < 2; ++c)
                EXPECT_LT(peakDifference(single[c], expected[c]), 1e-6);
        }
    }
}

TEST(Vst, ChunkRestoresWhatAHostSaved)
{
    const AtLevel offline(host::processLevelOffline);
    const VstLibrary library;
    const auto inputs = fourInputs(20000);
    const VstEffect saved(library);
    setAll(saved, 5);
    std::string name = "Vocals";
    saved.ask(host::effectSetProgramName, 0, 0, name.data());
    saved.ask(host::effectMainsChanged, 0, 1);
    const auto expected = play(saved, inputs, blockOf512);
    for (const bool isPreset : {false, true}) {
        const std::string chunk = saved.chunk(isPreset);
        const VstEffect restored(library);
        for (const std::size_t kept : {std::size_t(0), std::size_t(1), chunk.size() / 2})
            EXPECT_EQ(restored.load(chunk.substr(0, kept), isPreset), static_cast<Pointer>(kept));
        EXPECT_EQ(restored.load(chunk, isPreset), static_cast<Pointer>(chunk.size()));
        for (std::int32_t index = 0; index < 92; ++index)
            EXPECT_EQ(restored.text(7, index), saved.text(7, index)) << index;
        EXPECT_EQ(restored.text(host::effectGetProgramName), name);
        restored.ask(host::effectMainsChanged, 0, 1);
        EXPECT_EQ(restored.delay(), saved.delay());
        const auto out = play(restored, inputs, blockOf512);
        for (std::size_t c = 0; c < 2; ++c)
            EXPECT_LT(peakDifference(out[c], expected[c]), 1e-6);
    }
}

/// What the delays of the parts add up to at 48 kHz.
std::int32_t expectedDelay(const VstEffect& effect)
{
    const auto on = [&](std::int32_t tag) { return effect.get(tag) >= 0.5F; };
    const auto lookahead = static_cast<std::int32_t>(std::lround(std::stod(effect.text(7, kLookahead)) * 48.0));
    return lookahead + (on(kOverSample) ? on(kHQOversample) ? 254 : 66 : 0) +
           (on(kLinearPhase) ? on(kHQSplit) ? 4096 : 1024 : 0);
}

TEST(Vst, DelayFollowsItsFiveParametersOnly)
{
    using namespace std::chrono_literals;
    const VstLibrary library;
    const VstEffect effect(library);
    const auto runBlocks = [&, inputs = fourInputs(512)] { (void)play(effect, inputs, blockOf512); };
    const auto ticks = [&](std::int32_t changesBefore) {
        const auto end = std::chrono::steady_clock::now() + 5s;
        while (VstLibrary::ioChanges == changesBefore && std::chrono::steady_clock::now() < end) {
            std::this_thread::sleep_for(1ms);
            runBlocks();
        }
        return VstLibrary::ioChanges - changesBefore;
    };
    const std::array<std::int32_t, 5> theFive = {kLookahead, kOverSample, kHQOversample, kLinearPhase, kHQSplit};
    EXPECT_EQ(effect.delay(), expectedDelay(effect)) << "before the first block";

    for (const std::int32_t tag : theFive) {
        for (int change = 0; change < 2; ++change) {
            if (tag == kHQOversample)
                effect.set(kOverSample, 1.0F);
            std::this_thread::sleep_for(150ms); // beyond the pause between two designs
            runBlocks();
            const std::int32_t before = VstLibrary::ioChanges;
            effect.set(tag, tag == kLookahead ? 0.2F + 0.3F * static_cast<float>(change) : 1.0F - effect.get(tag));
            EXPECT_EQ(ticks(before), 1) << tag;
            EXPECT_EQ(effect.delay(), expectedDelay(effect)) << tag;
            EXPECT_EQ(VstLibrary::delayAtIOChange, effect.delay()) << tag;
        }
    }

    effect.set(kOverSample, 1.0F);
    effect.set(kLinearPhase, 1.0F);
    std::this_thread::sleep_for(200ms);
    const std::int32_t before = VstLibrary::ioChanges;
    const std::int32_t delay = effect.delay();
    EXPECT_EQ(delay, expectedDelay(effect));
    std::mt19937 random(9);
    for (int round = 0; round < 20; ++round) {
        for (std::int32_t index = 0; index < 92; ++index)
            if (std::find(theFive.begin(), theFive.end(), index) == theFive.end() && index != kABBank)
                effect.set(index, static_cast<float>(random() % 101) / 100.0F);
        effect.ask(host::effectSetBypass, 0, round & 1);
        runBlocks();
        std::this_thread::sleep_for(12ms);
        EXPECT_EQ(effect.delay(), delay);
    }
    effect.set(kABBank, 1.0F / 7.0F);
    effect.set(kABBank, 0.0F);
    std::this_thread::sleep_for(30ms);
    EXPECT_EQ(effect.delay(), delay);
    EXPECT_EQ(VstLibrary::ioChanges, before);
    // And bypass is the input at just this delay.
    effect.ask(host::effectSetBypass, 0, 1);
    effect.ask(host::effectMainsChanged, 0, 1);
    const auto inputs = fourInputs(16384);
    const auto out = play(effect, inputs, blockOf512);
    const auto start = static_cast<std::size_t>(delay);
    EXPECT_EQ(peakDifference(std::span(out[1]).subspan(start), std::span(inputs[1]).first(16384 - start)), 0.0);
}

TEST(Vst, LoadsAndUnloadsAThousandTimesWithoutATrace)
{
    const int cycles = kSanitized ? 20 : 1000;
    const auto cycle = [] {
        {
            const VstLibrary library;
            const VstEffect effect(library);
            (void)play(effect, {Signal(64), Signal(64), Signal(64), Signal(64)}, blockOf512);
        }
        return dlopen(SORVANE_VST2, RTLD_NOW | RTLD_NOLOAD) == nullptr;
    };
    for (int warm = 0; warm < 5; ++warm)
        ASSERT_TRUE(cycle()) << "not unloaded";
    const auto threads = entriesIn("/proc/self/task");
    const auto files = entriesIn("/proc/self/fd");
    const auto memoryInUse = [] {
        const auto info = mallinfo2();
        return static_cast<double>(info.uordblks) + static_cast<double>(info.hblkhd);
    };
    const double memory = memoryInUse();
    for (int i = 0; i < cycles; ++i)
        ASSERT_TRUE(cycle()) << i;
    EXPECT_EQ(entriesIn("/proc/self/task"), threads);
    EXPECT_EQ(entriesIn("/proc/self/fd"), files);
    EXPECT_LT((memoryInUse() - memory) / cycles, 64.0) << "bytes a cycle";
}

TEST(Vst, ManyInstancesAndAnotherBuildLiveSideBySide)
{
    const AtLevel offline(host::processLevelOffline);
    const TestFolder folder;
    const std::string copy = folder / "Sorvane copy.so";
    std::filesystem::copy_file(SORVANE_VST2, copy);
    const auto inputs = fourInputs(4096);
    const auto threads = entriesIn("/proc/self/task");
    auto library = std::make_unique<VstLibrary>();
    const VstLibrary other(copy);
    EXPECT_NE(library->entry, other.entry);

    const auto expectedOf = [&](std::uint32_t seed) {
        const VstEffect alone(other);
        setAll(alone, seed);
        alone.ask(host::effectMainsChanged, 0, 1);
        return play(alone, inputs, blockOf512);
    };
    const std::array expected = {expectedOf(1), expectedOf(2)};
    std::vector<std::unique_ptr<VstEffect>> effects;
    for (std::uint32_t i = 0; i < 64; ++i) {
        effects.push_back(std::make_unique<VstEffect>(i % 4 != 3 ? *library : other));
        setAll(*effects.back(), 1 + (i & 1));
        effects.back()->ask(host::effectMainsChanged, 0, 1);
    }
    EXPECT_GE(entriesIn("/proc/self/task"), threads + 2) << "one timer a library";
    EXPECT_LE(entriesIn("/proc/self/task"), threads + 2 + SORVANE_SANITIZED) << "and a sanitizer's own";
    for (std::size_t i = 0; i < effects.size(); ++i)
        EXPECT_EQ(play(*effects[i], inputs, blockOf512), expected[i & 1]) << i;
    for (std::size_t i = 0; i < effects.size(); ++i)
        if (i % 4 != 3)
            effects[i].reset();
    library.reset();
    effects[3]->ask(host::effectMainsChanged, 0, 1);
    EXPECT_EQ(play(*effects[3], inputs, blockOf512), expected[1]) << "with the first library gone";
}

TEST(Vst, FindsTheFactoryBankOfTheInstallationThatItWasMovedWith)
{
    const TestFolder prefix;
    const std::string library = prefix / "lib/vst/Sorvane.so";
    std::filesystem::create_directories(prefix / "lib/vst");
    std::filesystem::create_directories(prefix / "share/Kestrune/Sorvane");
    std::filesystem::copy_file(SORVANE_VST2, library);
    {
        const VstLibrary here;
        const VstEffect effect(here);
        std::string name = "Of this installation";
        effect.ask(host::effectSetProgramName, 0, 0, name.data());
        makeFile(prefix / "share/Kestrune/Sorvane/Factory Bank.bnk", effect.chunk());
    }
    const ScopedVariable unset("SORVANE_DATA_FOLDER", nullptr);
    const VstLibrary moved(library);
    const std::int32_t editsBefore = VstLibrary::edits;
    EXPECT_EQ(VstEffect(moved).text(host::effectGetProgramName), "Of this installation");
    EXPECT_EQ(VstLibrary::edits, editsBefore) << "a start is no edit";
}

TEST(Vst, ExportsItsEntryOnly)
{
    FILE* const symbols = popen("nm -D --defined-only '" SORVANE_VST2 "'", "r");
    ASSERT_NE(symbols, nullptr);
    std::string listed;
    std::array<char, 256> line{};
    while (fgets(line.data(), static_cast<int>(line.size()), symbols) != nullptr)
        listed += line.data();
    EXPECT_EQ(pclose(symbols), 0);
    ASSERT_GT(listed.size(), 17U);
    EXPECT_EQ(listed.substr(17), "T VSTPluginMain\n");
}

} // namespace
} // namespace sorvane::test
