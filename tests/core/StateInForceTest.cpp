// State in the effect itself: what a new instance starts from, and that what is loaded is what sounds.

#include "Effect.h"
#include "GlobalPrefs.h"
#include "MIDIMap.h"
#include "MidiEvents.h"
#include "TestFolder.h"

#include <gtest/gtest.h>

#include <thread>

namespace sorvane::test {
namespace {

using namespace core;

std::string bankWith(float threshold, std::int32_t level)
{
    const auto plug = makePlug();
    plug->setParameter(kThreshold, threshold);
    plug->setCompressionLevel(level);
    return plug->copyChunk(false);
}

TEST(StateInForce, ANewInstanceStartsFromTheNearestBank)
{
    const TestFolder user;
    const TestFolder package;
    const ScopedVariable userData("XDG_DATA_HOME", user.path.c_str());
    const ScopedVariable packageData("XDG_DATA_DIRS", package.path.c_str());
    const std::string users = user / "Kestrune/Sorvane/";
    const std::string packages = package / "Kestrune/Sorvane/";
    std::filesystem::create_directories(users);
    std::filesystem::create_directories(packages);
    const float factory = factoryParameters()[kThreshold].normal;
    const auto made = [] { return std::make_unique<Plug>(nullptr); };
    const auto startsWith = [&] { return made()->getParameter(kThreshold); };
    const auto old = made();
    EXPECT_EQ(startsWith(), factory);
    makeFile(packages + "Factory Bank.bnk", bankWith(0.125F, 9));
    EXPECT_FLOAT_EQ(startsWith(), 0.125F);
    makeFile(users + "Factory Bank.bnk", bankWith(0.25F, 0));
    EXPECT_FLOAT_EQ(startsWith(), 0.25F);
    makeFile(packages + "Default Bank.bnk", bankWith(0.375F, 9));
    EXPECT_FLOAT_EQ(startsWith(), 0.375F);
    makeFile(users + "Default Bank.bnk", bankWith(0.5F, 1));
    EXPECT_FLOAT_EQ(startsWith(), 0.5F);
    EXPECT_EQ(made()->getDefaultBankPath(), users + "Default Bank.bnk");
    EXPECT_EQ(makePlug()->getParameter(kThreshold), factory) << "whatever the user saved";
    EXPECT_EQ(old->getParameter(kThreshold), factory);
    makeFile(users + "Default Bank.bnk", "no bank");
    EXPECT_EQ(startsWith(), factory);
}

TEST(StateInForce, WhatIsLoadedIsWhatSounds)
{
    const Inputs inputs{.main = {bursts(24000, 1), bursts(24000, 2)}, .side = {}};
    const auto set = makePlug();
    const auto loaded = makePlug();
    // The program is that of bank 2, which the editor's part of the chunk selects.
    set->setParameterAutomated(kABBank, set->toNormalised(kABBank, 2));
    setValues(*set, {{kThreshold, -40}, {kSplitBPFFreq, 4000}, {kLinearPhase, 1}, {kLookahead, 2}});
    loaded->setParameter(kThreshold, 1.0F);
    const std::string chunk = set->copyChunk(false);
    ASSERT_EQ(loaded->setChunk(chunk.data(), static_cast<std::int32_t>(chunk.size()), false),
              static_cast<std::int32_t>(chunk.size()));
    EXPECT_EQ(loaded->getCurrentBank(), 2);
    EXPECT_EQ(loaded->getParameter(kABBank), 0.25F);
    set->resume();
    loaded->resume();
    EXPECT_EQ(loaded->getInitialDelay(), set->getInitialDelay());
    const auto expected = play(*set, inputs);
    const auto heard = play(*loaded, inputs);
    for (std::size_t c = 0; c < 2; ++c)
        EXPECT_LT(peakDifference(heard[c], expected[c]), 1e-5); // values come back within ten decimals
}

TEST(StateInForce, APresetSoundsWhateverBankItWasSavedIn)
{
    TestHost host;
    const auto saved = makePlug();
    saved->setParameterAutomated(kABBank, saved->toNormalised(kABBank, 2));
    saved->setParameter(kThreshold, 0.875F);
    for (const bool isPreset : {true, false}) {
        const std::string chunk = saved->copyChunk(isPreset);
        const auto loaded = makePlug(48000.0F, TestHost::callback);
        host.calls.clear();
        loaded->setChunk(chunk.data(), static_cast<std::int32_t>(chunk.size()), isPreset);
        EXPECT_EQ(loaded->getCurrentBank(), 2);
        EXPECT_EQ(loaded->getParameter(kThreshold), 0.875F) << isPreset;
        float told = loaded->getParameter(kABBank);
        for (const HostCall& call : host.callsOf(host::hostAutomate))
            if (call.index == kABBank)
                told = call.option;
        EXPECT_EQ(told, 0.25F) << "a host may hand back what it was told";
        // A chunk that chooses no bank leaves the one in force, and the parameter says so.
        const std::string_view other = R"({"presets":[{"parameters":{"kABBank":0.5}}]})";
        loaded->setChunk(other.data(), static_cast<std::int32_t>(other.size()), false);
        EXPECT_EQ(loaded->getCurrentBank(), 2);
        EXPECT_EQ(loaded->getParameter(kABBank), 0.25F);
    }
}

TEST(StateInForce, PreferencesReachTheEffect)
{
    const auto plug = makePlug();
    auto& prefs = state::GlobalPrefs::instance();
    const auto isPlain = [&] { return plug->copyChunk(false).starts_with('{'); };
    void* first = nullptr;
    void* second = nullptr;
    (void)plug->getChunk(&first, false);
    (void)plug->getChunk(&second, false);
    EXPECT_EQ(first, second) << "hosts ask often";
    EXPECT_FALSE(isPlain());
    prefs.setGlobalPref("Save Compression", 0);
    EXPECT_FALSE(isPlain()) << "in force when it is applied";
    plug->resume();
    EXPECT_TRUE(isPlain());
    prefs.setGlobalPref("Save Compression", 3);

    TestHost host;
    const auto told = makePlug(48000.0F, TestHost::callback);
    for (const bool all : {false, true}) {
        prefs.setGlobalPref("A/B Automation", all ? 1 : 0);
        told->applyGlobalPrefs();
        host.calls.clear();
        told->switchBank(all ? 1 : 2);
        EXPECT_EQ(host.callsOf(host::hostAutomate).size(), all ? 91U : 0U);
    }
}

TEST(StateInForce, ControllersMoveParametersOfEveryInstance)
{
    const auto one = makePlug();
    const auto other = makePlug();
    auto& map = state::MIDIMap::instance();
    map.setLearnTag(kThreshold);
    std::thread([&] { // a host's audio thread
        const EventList learnt({{0xB0, 7, 127}});
        EXPECT_TRUE(one->processEvents(learnt.list));
        const EventList moved({{0xBF, 7, 64}});
        EXPECT_TRUE(other->processEvents(moved.list));
        EXPECT_TRUE(other->processEvents(nullptr));
    })
        .join();
    EXPECT_FALSE(map.isLearning());
    EXPECT_EQ(one->getParameter(kThreshold), 1.0F);
    EXPECT_EQ(other->getParameter(kThreshold), 0.5F);
    EXPECT_FALSE(one->canUndo());
    (void)one->onTimer();
    std::array<char, 4096> stored{};
    EXPECT_TRUE(state::GlobalPrefs::instance().readRegistryValue("MIDIMap", stored));
    EXPECT_TRUE(std::string_view(stored.data()).starts_with("[-1,-1,-1,-1,-1,-1,-1,8,"));
    map.unlearnMidi(kThreshold);
}

} // namespace
} // namespace sorvane::test
