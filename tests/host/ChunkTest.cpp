// Chunks: their text, what a load makes of them, and what comes back.

#include "StateEffect.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <thread>

namespace sorvane::test {
namespace {

using core::kNumParams;

/// A parameter's float as it comes back from a chunk, by the C library's formats.
float printedAndRead(float normal, float factory)
{
    if (std::abs(static_cast<double>(normal) - factory) < 1.0e-9)
        return factory;
    std::array<char, 64> text{};
    const double value = normal;
    const char* const format = std::abs(value - std::round(value)) < 2.0e-16 ? "%.0f" : value < 1.0e-6 ? "%e" : "%.10f";
    std::snprintf(text.data(), text.size(), format, value); // NOLINT(clang-diagnostic-format-nonliteral)
    return static_cast<float>(std::strtod(text.data(), nullptr));
}

std::string randomName(std::mt19937& random)
{
    static const std::array<const char*, 9> kPieces = {"s", "ß", "日", "\U0001F399", "\"", "\\", "\n", "\x01", "/"};
    std::string name;
    for (auto count = random() % 24; count-- > 0;)
        name += kPieces[random() % kPieces.size()];
    return name;
}

float randomNormal(std::mt19937& random)
{
    const auto unit = static_cast<float>(random() % 1000001) * 1.0e-6F;
    switch (random() % 8) {
    case 0:
        return unit * 1.0e-5F;
    case 1:
        return static_cast<float>(random() % 2);
    case 2:
        return std::nextafter(unit, 0.5F);
    default:
        return unit;
    }
}

TEST(Chunk, NumbersAndLayoutArePrintedAsFilesHoldThem)
{
    const std::vector<std::pair<double, const char*>> numbers = {
        {0, "0"},
        {-0.0, "0"},
        {1, "1"},
        {-3, "-3"},
        {1.0 / 3.0, "0.3333333333"},
        {static_cast<double>(1.0F / 3.0F), "0.3333333433"},
        {-0.25, "-0.2500000000"},
        {1.0e-7, "1.000000e-07"},
        {-1.5e-9, "-1.500000e-09"},
        {9.99e-7, "9.990000e-07"},
        {1.0e-6, "0.0000010000"},
        {1.0e-17, "0"},
        {2147483647, "2147483647"},
        {-2147483648.0, "-2147483648"},
        {1.0e10, "10000000000"},
        {123456.5, "123456.5000000000"},
        {1234567890.5, "1.234568e+09"},
        {1.0e60, "1.000000e+60"},
        {std::numeric_limits<double>::infinity(), "null"},
    };
    for (const auto& [number, text] : numbers)
        EXPECT_EQ(host::printJSON(*host::JSONTree(cJSON_CreateNumber(number)), true), text);

    const auto tree =
        host::parseJSON("\xEF\xBB\xBF {\"a\":{},\"b\":[1,0.5,[]],\"c\":{\"d\":\"q\\\"\\\\\\n\\u001f/é\"}} rest");
    ASSERT_TRUE(tree);
    EXPECT_EQ(host::printJSON(*tree, true), "{\n\t\"a\":\t{\n\t},\n\t\"b\":\t[1, 0.5000000000, "
                                            "[]],\n\t\"c\":\t{\n\t\t\"d\":\t\"q\\\"\\\\\\n\\u001f/é\"\n\t}\n}");
    EXPECT_EQ(host::printJSON(*tree, false),
              "{\"a\":{},\"b\":[1,0.5000000000,[]],\"c\":{\"d\":\"q\\\"\\\\\\n\\u001f/é\"}}");
}

TEST(Chunk, AFreshEffectSaysDefaultAndGivesTheSameBytesTwice)
{
    StateEffect effect;
    effect.setCompressionLevel(0);
    void* first = nullptr;
    void* second = nullptr;
    const std::int32_t size = effect.getChunk(&first, false);
    std::string expected =
        "{\n\t\"presets\":\t[{\n\t\t\t\"parameters\":\t\"default\",\n\t\t\t\"name\":\t\"None\"\n\t\t}],\n\t\"ab\":\t[";
    for (int bank = 0; bank < 8; ++bank)
        expected += std::string(bank > 0 ? ", " : "") + "{\n\t\t\t\"parameters\":\t\"default\"\n\t\t}";
    expected += "]\n}";
    EXPECT_EQ(std::string(static_cast<const char*>(first)), expected);
    EXPECT_EQ(size, static_cast<std::int32_t>(expected.size()) + 1);
    EXPECT_EQ(effect.getChunk(&second, false), size);
    EXPECT_EQ(first, second);

    // A preset's chunk in between doesn't pass for the bank's, and every change is in the next one.
    EXPECT_NE(effect.copyChunk(true), expected + '\0');
    EXPECT_EQ(effect.copyChunk(false), expected + '\0');
    std::string last = effect.copyChunk(false);
    const std::vector<std::function<void()>> changes = {
        [&] { effect.setParameter(core::kThreshold, 0.25F); }, [&] { effect.setProgramName("Other"); },
        [&] { effect.copyCurrentToBank(3); }, [&] { effect.setCompressionLevel(5); },
        [&] { effect.load(R"({"presets":[{}]})"); }};
    for (const auto& change : changes) {
        change();
        const std::string now = effect.copyChunk(false);
        EXPECT_NE(now, last) << &change - changes.data();
        last = now;
    }
    EXPECT_EQ(last.substr(0, 4), "ZIP ");
}

TEST(Chunk, RandomStatesComeBack)
{
    const char* const wanted = std::getenv("SORVANE_STATES");
    const int states = wanted != nullptr ? std::atoi(wanted) : 400;
    std::mt19937 random(1);
    StateEffect first;
    StateEffect second;
    StateEffect third;
    for (int state = 0; state < states; ++state) {
        const std::string name = randomName(random);
        first.setProgramName(name.c_str());
        for (std::size_t tag = 0; tag < kNumParams; ++tag)
            for (std::size_t bank = 0; bank < 9; ++bank) {
                const bool factory = random() % 3 == 0;
                const float normal =
                    factory ? first.getParameterDefault(static_cast<std::int32_t>(tag)) : randomNormal(random);
                if (bank < 8)
                    first.setBankValue(bank, tag, normal);
                else if (tag != core::kABBank) // says which bank is in force
                    first.setProgramValue(tag, normal);
            }
        first.setCompressionLevel(std::array{0, 1, 5, 9}[static_cast<std::size_t>(state) % 4]);
        second.setCompressionLevel(first.copyChunk(false).starts_with("ZIP ") ? 9 : 0);
        third.setCompressionLevel(second.copyChunk(false).starts_with("ZIP ") ? 9 : 0);

        second.load(first.copyChunk(false));
        ASSERT_EQ(second.programName(), first.programName());
        for (std::size_t tag = 0; tag < kNumParams; ++tag) {
            const auto index = static_cast<std::int32_t>(tag);
            const float factory = first.getParameterDefault(index);
            for (std::size_t bank = 0; bank < 8; ++bank)
                ASSERT_EQ(second.bankValue(bank, tag), printedAndRead(first.bankValue(bank, tag), factory))
                    << state << ' ' << tag;
            const float expected = second.toNormalised(
                index, second.fromNormalised(index, printedAndRead(first.programValue(tag), factory)));
            ASSERT_EQ(second.programValue(tag), expected) << state << ' ' << tag;
            ASSERT_EQ(second.getParameter(index), expected) << state << ' ' << tag;
        }
        const std::string again = second.copyChunk(false);
        third.load(again);
        ASSERT_EQ(third.copyChunk(false), again) << state;
    }
}

/// One parameter in the program and in two of the banks, and the name, as a load leaves them.
struct Loaded {
    float program;
    float bank0;
    float bank7;
    const char* name;
};

TEST(Chunk, LoadsWhatItFindsAndLeavesTheRest)
{
    const auto factory = core::factoryParameters()[core::kThreshold].normal.load();
    struct Case {
        const char* text;
        bool isPreset;
        Loaded expected;
    };
    // Before each load: program 0.5 in bank 0, all other banks 0.75, named "Mine". A load writes the program's values
    // into the bank in use, which the chunk's own banks then replace.
    const Loaded kept{0.5F, 0.5F, 0.75F, "Mine"};
    const std::vector<Case> cases = {
        // A preset leaves the other banks alone, and in a bank's place too.
        {R"({"parameters":{"kThreshold":0.25},"name":"New"})", true, {0.25F, 0.25F, 0.75F, "New"}},
        {R"({"parameters":{"kThreshold":0.25},"name":"New"})", false, {0.25F, 0.25F, 0.75F, "New"}},
        // A bank in a preset's place: the first program only.
        {R"({"presets":[{"parameters":{"kThreshold":0.25},"name":"New"}],"ab":[{"parameters":{"kThreshold":1}}]})",
         true,
         {0.25F, 0.25F, 0.75F, "Mine"}},
        // Without banks all take the program; with few, the others stay; with too many, the rest is passed over.
        {R"({"presets":[{"parameters":{"kThreshold":0.25}}]})", false, {0.25F, 0.25F, 0.25F, "Mine"}},
        {R"({"presets":[{"parameters":{"kThreshold":0.25}}],"ab":[{"parameters":{"kThreshold":1}}]})",
         false,
         {0.25F, 1.0F, 0.75F, "Mine"}},
        {R"({"presets":[],"AB":[{},{},{},{},{},{},{},{"parameters":{"kThreshold":1}},{"parameters":{"kThreshold":0}}]})",
         false,
         {0.5F, factory, 1.0F, "Mine"}},
        {R"({"presets":[{"parameters":"default"},{"parameters":{"kThreshold":1}}],"ab":[]})",
         false,
         {factory, factory, 0.75F, "Mine"}},
        {R"({"PRESETS":[{"Parameters":{"kThreshold":0.25},"NAME":"New"}],"ab":7})",
         false,
         {0.25F, 0.25F, 0.75F, "New"}},
        // Names of parameters match exactly, in any order; what has none of them is back at the factory value.
        {R"({"parameters":{"kRatio":1,"kNothing":1,"kThreshold":0.25,"kNumParams":1,"kGUIGraph":1}})",
         true,
         {0.25F, 0.25F, 0.75F, "Mine"}},
        {R"({"parameters":{"kthreshold":0.25}})", true, {factory, factory, 0.75F, "Mine"}},
        {R"({"parameters":{"kThreshold":"0.25"}})", true, {0.0F, 0.0F, 0.75F, "Mine"}},
        {R"({"parameters":{"kThreshold":1e999}})", true, {1.0F, 1.0F, 0.75F, "Mine"}},
        {R"({"parameters":{"kThreshold":-5}})", true, {0.0F, 0.0F, 0.75F, "Mine"}},
        {R"({"parameters":[0.25],"name":7,"presets":7})", true, {factory, factory, 0.75F, "Mine"}},
        {"\x01 \n{} and more", true, {factory, factory, 0.75F, "Mine"}},
        // What isn't a chunk changes nothing.
        {"", false, kept},
        {"{", false, kept},
        {"42 is no chunk", false, kept},
        {"[{\"parameters\":\"default\"}]", false, kept},
        {"ZIP ", false, kept},
        {"ZIP {\"parameters\":\"default\"}", false, kept},
        {R"({"parameters":{"kThreshold":0.25})", true, kept},
    };
    for (const Case& item : cases) {
        SCOPED_TRACE(item.text);
        StateEffect effect;
        for (std::size_t bank = 0; bank < 8; ++bank)
            effect.setBankValue(bank, core::kThreshold, 0.75F);
        effect.setParameter(core::kThreshold, 0.5F);
        effect.setProgramName("Mine");
        const auto size = static_cast<std::int32_t>(std::strlen(item.text));
        EXPECT_EQ(effect.setChunk(item.text, size, item.isPreset), size);
        EXPECT_FLOAT_EQ(effect.getParameter(core::kThreshold), item.expected.program);
        EXPECT_FLOAT_EQ(effect.bankValue(0, core::kThreshold), item.expected.bank0);
        EXPECT_FLOAT_EQ(effect.bankValue(7, core::kThreshold), item.expected.bank7);
        EXPECT_EQ(effect.programName(), item.expected.name);
    }
    StateEffect effect;
    EXPECT_EQ(effect.setChunk(nullptr, 5, false), 0);
    EXPECT_EQ(effect.setChunk("{}", -5, false), -5);
}

TEST(Chunk, TruncatedAnywhereItLoadsWholeOrNotAtAll)
{
    StateEffect source;
    source.setProgramName("Source");
    for (std::int32_t tag = 0; tag < core::kABBank; ++tag)
        source.setParameter(tag, 0.5F);
    for (const std::int32_t level : {0, 1, 9}) {
        source.setCompressionLevel(level);
        const std::string chunk = source.copyChunk(false);
        // The text is complete without its final 0, and a stream without its checksum.
        const std::size_t enough = chunk.size() - (level == 0 ? 1 : 8);
        for (std::size_t length = 0; length < chunk.size(); length += level == 0 && length < enough - 20 ? 7 : 1) {
            StateEffect effect;
            const std::string before = effect.copyChunk(false);
            const std::vector<char> exact(chunk.begin(), chunk.begin() + static_cast<std::ptrdiff_t>(length));
            effect.load({exact.data(), exact.size()});
            if (effect.copyChunk(false) != before) {
                EXPECT_GE(length, enough);
                EXPECT_EQ(effect.programName(), "Source");
            }
        }
    }
}

TEST(Chunk, BombsAndDepthsStopAtTheirCaps)
{
    StateEffect effect;
    effect.setCompressionLevel(9);
    effect.setParameter(core::kThreshold, 0.5F);
    const std::string before = effect.copyChunk(false);
    std::string text = R"({"parameters":"default"})";
    text.append(host::kMostChunkBytes, ' ');
    std::string bomb(100000, '\0');
    uLongf size = bomb.size();
    ASSERT_EQ(compress(reinterpret_cast<Bytef*>(bomb.data()), &size, reinterpret_cast<const Bytef*>(text.data()),
                       text.size()),
              Z_OK);
    bomb = "ZIP " + bomb.substr(0, size);
    for (const std::string& chunk : {text, bomb})
        EXPECT_EQ(effect.load(chunk), static_cast<std::int32_t>(chunk.size()));
    EXPECT_EQ(effect.getParameter(core::kThreshold), 0.5F);
    for (const char* const open : {"[", "{\"a\":"}) {
        std::string deep;
        for (int level = 0; level < 200000; ++level)
            deep += open;
        effect.load(deep);
    }
    EXPECT_EQ(effect.copyChunk(false), before);
}

/// An effect that counts what brings its values in force.
class CountingEffect : public StateEffect {
public:
    int fullUpdates = 0;

protected:
    void updateParameters(bool full) override { fullUpdates += full ? 1 : 0; }
};

TEST(Chunk, ThreadsGetWholeOnesBesideLoads)
{
    StateEffect effect;
    effect.setCompressionLevel(0);
    const std::array<std::string, 2> states = {R"({"presets":[{"name":"one","parameters":{"kThreshold":0.25}}]})",
                                               R"({"presets":[{"name":"other","parameters":{"kThreshold":0.75}}]})"};
    std::array<std::string, 2> wholes;
    for (std::size_t i = 0; i < 2; ++i) {
        effect.load(states[i]);
        wholes[i] = effect.copyChunk(false);
    }
    const auto load = [&] {
        for (std::size_t i = 0; i < 2000; ++i)
            effect.load(states[i % 2]);
    };
    const auto ask = [&] {
        for (int i = 0; i < 2000; ++i) {
            void* data = nullptr;
            const std::int32_t size = effect.getChunk(&data, false);
            const std::string chunk(static_cast<const char*>(data), static_cast<std::size_t>(size));
            ASSERT_TRUE(chunk == wholes[0] || chunk == wholes[1]) << chunk;
        }
    };
    std::array<std::thread, 4> threads = {std::thread(load), std::thread(load), std::thread(ask), std::thread(ask)};
    for (std::thread& thread : threads)
        thread.join();
}

TEST(Chunk, WithoutMemoryThereIsNoneAndTheNextIsRight)
{
    static int untilFailure = 0;
    cJSON_Hooks failing{[](std::size_t bytes) { return untilFailure-- > 0 ? std::malloc(bytes) : nullptr; }, std::free};
    StateEffect effect;
    effect.setParameter(core::kThreshold, 0.25F);
    const std::string before = effect.copyChunk(false);
    effect.setParameter(core::kThreshold, 0.5F);
    cJSON_InitHooks(&failing);
    void* data = nullptr;
    int failures = 0;
    for (int allowed = 0; allowed < 20; ++allowed) {
        untilFailure = allowed;
        failures += effect.getChunk(&data, false) == 0 ? 1 : 0;
    }
    cJSON_InitHooks(nullptr);
    EXPECT_GT(failures, 15);
    const std::string after = effect.copyChunk(false);
    EXPECT_NE(after, before);
    StateEffect loaded;
    loaded.load(after);
    EXPECT_EQ(loaded.getParameter(core::kThreshold), 0.5F);
}

TEST(Chunk, EveryLoadBringsItsValuesInForce)
{
    CountingEffect effect;
    effect.load("no chunk");
    EXPECT_EQ(effect.fullUpdates, 1);
    effect.fullUpdates = 0;
    effect.load("{}");
    EXPECT_GE(effect.fullUpdates, 1);
}

} // namespace
} // namespace sorvane::test
