// Display preferences, the editor's part of chunks, and the default bank.

#include "DefaultBank.h"
#include "EditedEffect.h"
#include "UIPreferences.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <random>
#include <thread>

namespace sorvane::test {
namespace {

using namespace core;
using editor::UIPreferences;
using editor::UIPrefs;

/// What a chunk holds of a member, in short.
std::string part(EditedEffect& effect, const char* name)
{
    const host::JSONTree root = host::parseJSON(host::inflateChunk(effect.copyChunk(false)));
    const cJSON* const member = cJSON_GetObjectItem(root.get(), name);
    return member != nullptr ? host::printJSON(*member, false) : "none";
}

TEST(UIPrefs, MergeTakesFiniteNumbersAlone)
{
    const std::string_view resource =
        R"( {"A":{"x":{"value":1,"values":["p","q"]},"y":{"value":2}},"B":{"z":{"value":3}}})";
    const auto merged = [&](std::string_view source) {
        UIPrefs prefs(resource);
        prefs.merge(host::parseJSON(source).get());
        return host::printJSON(*prefs.copy(), false);
    };
    const std::string before = merged("{}");
    EXPECT_EQ(before, std::string(resource.substr(1)));
    for (const char* const bad :
         {"[]", "null", "7", R"({"A":7,"B":[{"value":9}]})", R"({"A":{"x":8,"y":[1]}})", R"({"C":{"x":{"value":9}}})",
          R"({"A":{"w":{"value":9}}})", R"({"A":{"x":{"value":"9"},"y":{"value":null}}})",
          R"({"A":{"x":{"value":1e999},"y":{"value":-1e999}}})", R"({"A":{"x":{"values":["r"],"default":5}}})"})
        EXPECT_EQ(merged(bad), before) << bad;
    // In order, out of order, in other letters, and beyond the options.
    EXPECT_EQ(merged(R"({"A":{"x":{"value":5},"y":{"value":6}},"B":{"z":{"value":7}}})"),
              R"({"A":{"x":{"value":5,"values":["p","q"]},"y":{"value":6}},"B":{"z":{"value":7}}})");
    EXPECT_EQ(merged(R"({"b":{"Z":{"VALUE":-7}},"n":1,"a":{"y":{"value":1e10},"m":{},"X":{"value":5}}})"),
              R"({"A":{"x":{"value":5,"values":["p","q"]},"y":{"value":10000000000}},"B":{"z":{"value":-7}}})");

    UIPrefs broken("{\"A\":");
    broken.merge(host::parseJSON(R"({"A":{"x":{"value":1}}})").get());
    broken.setUISetting("A", "x", 1);
    broken.setDefaults();
    broken.propagate("A", nullptr);
    EXPECT_EQ(broken.getUISetting("A", "x"), 0);
    EXPECT_EQ(broken.copy(), nullptr);
}

TEST(UIPrefs, PropagateReachesTheSameKindElsewhere)
{
    const std::string_view resource = R"({"A":{"x":{"value":1,"category":4},"y":{"value":2}},)"
                                      R"("B":{"x":{"value":3},"z":{"value":4,"category":4}},)"
                                      R"("C":{"w":{"value":5,"category":4},"v":{"value":6,"category":"4"}}})";
    const auto values = [](const UIPrefs& prefs) {
        std::string text;
        for (const auto& [category, entry] :
             {std::pair{"A", "x"}, {"A", "y"}, {"B", "x"}, {"B", "z"}, {"C", "w"}, {"C", "v"}})
            text += std::to_string(prefs.getUISetting(category, entry));
        return text;
    };
    TestFolder folder;
    EditedEffect effect(folder / "user");
    UIPrefs prefs(resource);
    int changes = 0;
    UIPreferences pane(effect, prefs, [&] { ++changes; });
    EXPECT_NE(host::printJSON(*prefs.copy(), false).find(R"("y":{"value":2,"default":2})"), std::string::npos);
    pane.pasteAllSettings("B");
    EXPECT_EQ(values(prefs), "123456"); // nothing was copied yet
    pane.copyAllSettings("A");
    prefs.setUISetting("A", "x", 9); // the copy is the category, not its values
    pane.pasteAllSettings("B");
    EXPECT_EQ(values(prefs), "923956");
    pane.pasteAllSettings("A");
    pane.pasteAllSettings("none");
    EXPECT_EQ(values(prefs), "923956");
    pane.propagateToAll("B");
    EXPECT_EQ(values(prefs), "923996");
    prefs.setUISetting("B", "z", 1);
    pane.propagateToAll("b");
    EXPECT_EQ(values(prefs), "123116");
    EXPECT_EQ(changes, 5);
}

TEST(UIPrefs, DefaultBankHoldsThem)
{
    TestFolder folder;
    EditedEffect effect(folder / "user");
    UIPrefs& prefs = effect.ed->getUIPrefs();
    UIPreferences pane(effect, prefs, [&] { effect.ed->valueChanged(kGUIUIPrefsChange, 0.0F); });
    pane.setOption("Graph", "Readout", 3);
    pane.setOption("Analyser", "Top", 2);
    effect.setParameter(kThreshold, 0.25F);
    pane.saveAsDefault("Graph"); // the first time makes the bank
    pane.setOption("Graph", "Readout", 1);
    pane.setOption("Analyser", "Top", 1);
    pane.saveAsDefault("Graph");
    pane.saveAsDefault("Nothing");
    pane.setOption("Graph", "Readout", 0);
    pane.setOption("Analyser", "Top", 0);
    pane.restoreDefault("Graph");
    EXPECT_EQ(prefs.getUISetting("graph", "readout"), 1);
    EXPECT_EQ(prefs.getUISetting("Analyser", "Top"), 0);
    pane.restoreAllDefaults();
    EXPECT_EQ(prefs.getUISetting("Analyser", "Top"), 2);

    pane.setOption("Analyser", "Range", 3);
    pane.saveAllAsDefault();
    const std::string text = contents(effect.bankPath);
    EXPECT_EQ(text.front(), '{');
    EXPECT_EQ(text.back(), '}');
    EditedEffect later(folder / "user");
    later.load(text);
    EXPECT_EQ(later.getParameter(kThreshold), 0.25F);
    EXPECT_EQ(later.ed->getUISetting("Analyser", "Range"), 3);
    const UIPreferences fresh(later, later.ed->getUIPrefs(), [] {});
    EXPECT_EQ(later.ed->getUISetting("Graph", "Readout"), 1);
    EXPECT_NE(part(later, "uiprefs").find(R"("value":3,"values":["96dB","80dB","64dB","48dB"],"default":3)"),
              std::string::npos);

    EXPECT_TRUE(editor::saveDefaultBank(effect));
    EXPECT_TRUE(contents(effect.bankPath).starts_with("ZIP "));
    for (const char* const poor : {R"({"presets":[]})", "no bank", R"({"uiprefs":7})", "[1]"}) {
        makeFile(effect.bankPath, poor);
        pane.saveAsDefault("Graph");
        pane.restoreAllDefaults();
        pane.restoreDefault("Graph");
        EXPECT_EQ(contents(effect.bankPath), poor);
    }
    EXPECT_EQ(prefs.getUISetting("Analyser", "Range"), 3);

    // The package's is read where the user has none, and never written.
    std::filesystem::remove(effect.bankPath);
    const std::string package = folder / "share/Kestrune/Sorvane/Default Bank.bnk";
    std::filesystem::create_directories(folder / "share/Kestrune/Sorvane");
    const std::string packageText = R"({"uiprefs":{"Graph":{"Readout":{"value":2}}}})";
    makeFile(package, packageText);
    const ScopedVariable shared("XDG_DATA_DIRS", (folder / "share").c_str());
    pane.restoreAllDefaults();
    EXPECT_EQ(prefs.getUISetting("Graph", "Readout"), 2);
    EXPECT_FALSE(std::filesystem::exists(effect.bankPath));
    pane.saveAllAsDefault();
    EXPECT_TRUE(std::filesystem::exists(effect.bankPath));
    EXPECT_EQ(contents(package), packageText);
    effect.bankPath.clear();
    EXPECT_FALSE(editor::saveDefaultBank(effect));
    EXPECT_EQ(editor::readDefaultBank(effect), nullptr);
}

TEST(EditorSettings, TravelInChunksWhateverTheyHold)
{
    TestFolder folder;
    EditedEffect effect(folder / "user");
    const std::string first = part(effect, "settings");
    EXPECT_EQ(first, R"({"uimode":0,"currentAB":0,"lastAB":1,"lastListen":2,"linkPage":0,"zoomState":0,)"
                     R"("freeWidth":728,"lastPreset":0,"lastPresetFolder":""})");
    const std::string full = R"({"uimode":1,"currentAB":6,"lastAB":3,"lastListen":4,"linkPage":2,"zoomState":1,)"
                             R"("freeWidth":900,"lastPreset":12,"lastPresetFolder":"/p/ \"ö\"/"})";
    const auto loaded = [&](const std::string& settings, const std::string& base = "") {
        EditedEffect made(folder / "user");
        if (!base.empty())
            made.load(R"({"settings":)" + base + "}");
        made.load(R"({"presets":[],"SETTINGS":)" + settings + "}", true);
        return part(made, "settings");
    };
    EXPECT_EQ(loaded(full), full);
    for (const std::string& bad :
         {std::string("{}"), std::string("[]"), std::string("7"), std::string(R"({"uimode":"0","lastAB":null})"),
          std::string(R"({"currentAB":1e999,"lastAB":-1e999,"linkPage":[],"lastPreset":true,"lastPresetFolder":7})"),
          std::string(R"({"currentAB":8})"), std::string(R"({"currentAB":-1e300})"),
          R"({"lastPresetFolder":")" + std::string(5000, 'x') + "\"}"})
        EXPECT_EQ(loaded(bad, full), full) << bad.substr(0, 80);
    EXPECT_EQ(loaded(R"({"uimode":1e300,"currentAB":7.9,"lastAB":1e300,"lastListen":99,"linkPage":-5,"zoomState":-1,)"
                     R"("freeWidth":-2147483648,"lastPreset":-1e300,"lastPresetFolder":"x"})"),
              R"({"uimode":1,"currentAB":7,"lastAB":7,"lastListen":4,"linkPage":0,"zoomState":0,"freeWidth":728,)"
              R"("lastPreset":-1,"lastPresetFolder":"x"})");
    EXPECT_EQ(effect.uiPrefsApplied, 0);
    effect.load(R"({"uiprefs":{}})");
    EXPECT_EQ(effect.uiPrefsApplied, 1);
    // A bank that a chunk selects shows in the bank menu.
    effect.load(R"({"settings":{"currentAB":4}})");
    effect.ed->doIdleStuff();
    EXPECT_NE(
        std::find(effect.ed->drained.begin(), effect.ed->drained.end(), std::pair{std::int32_t{kGUIABMenu}, 4.0F}),
        effect.ed->drained.end());
}

/// SORVANE_STATES sets how many states are tried.
TEST(EditorSettings, RandomStatesComeBack)
{
    const char* const wanted = std::getenv("SORVANE_STATES"); // NOLINT(concurrency-mt-unsafe)
    const int states = wanted != nullptr ? std::atoi(wanted) : 100;
    std::mt19937 random(1);
    const auto pick = [&](unsigned count) { return std::to_string(random() % count); };
    TestFolder folder;
    EditedEffect first(folder / "user");
    EditedEffect second(folder / "user");
    EditedEffect third(folder / "user");
    for (int state = 0; state < states; ++state) {
        for (std::size_t bank = 0; bank < 8; ++bank)
            first.setBankValue(bank, random() % kNumParams, static_cast<float>(random() % 1001) * 0.001F);
        std::string settings = R"({"presets":[],"settings":{"lastPresetFolder":"/\u00df )" + pick(99) + "\"";
        for (const auto& [key, count] : {std::pair{"uimode", 2U},
                                         {"currentAB", 8U},
                                         {"lastAB", 8U},
                                         {"lastListen", 5U},
                                         {"linkPage", 3U},
                                         {"zoomState", 2U},
                                         {"freeWidth", 1457U},
                                         {"lastPreset", 50U}})
            settings.append(",\"").append(key).append("\":").append(pick(count));
        settings += R"(},"uiprefs":{"Graph":{"Readout":{"value":)" + pick(4) + R"(}},"Analyser":{"Top":{"value":)" +
                    pick(4) + R"(},"Decay":{"value":)" + pick(4) + "}}}}";
        first.load(settings);
        first.setCompressionLevel(std::array{0, 1, 5, 9}[random() % 4]);
        second.load(first.copyChunk(false));
        third.load(second.copyChunk(false));
        second.setCompressionLevel(0);
        third.setCompressionLevel(0);
        for (const char* const member : {"settings", "uiprefs"})
            ASSERT_EQ(part(second, member), part(first, member)) << settings;
        ASSERT_EQ(third.copyChunk(false), second.copyChunk(false)) << settings;
    }
}

TEST(EditorSettings, ThreadsMaySaveLoadAndTellValuesAtOnce)
{
    TestFolder folder;
    EditedEffect effect(folder / "user");
    const std::string chunk = effect.copyChunk(false);
    std::atomic<bool> stop{false};
    std::thread saving([&] {
        while (!stop)
            EXPECT_NE(part(effect, "uiprefs"), "none");
    });
    std::thread telling([&] {
        for (std::int32_t tag = -2000; !stop; tag = tag < 2000 ? tag + 1 : -2000)
            if (tag > host::markerGroupBegin)
                effect.ed->setParameter(tag, static_cast<float>(tag));
    });
    for (int i = 0; i < 200; ++i) {
        effect.load(chunk);
        effect.ed->getUIPrefs().setUISetting("Graph", "Readout", i % 4);
        effect.ed->doIdleStuff();
    }
    stop = true;
    saving.join();
    telling.join();
    effect.ed->doIdleStuff();
    const auto isWhole = [](const std::pair<std::int32_t, float>& told) {
        const std::int32_t tag = told.first;
        const bool isOurs = tag >= kNumParams && tag != kGUIABMenu && tag != kGUILinkPage && tag != kGUILinkageMenu;
        return !isOurs || told.second == static_cast<float>(tag);
    };
    EXPECT_TRUE(std::all_of(effect.ed->drained.begin(), effect.ed->drained.end(), isWhole));
    effect.ed->drained.clear();
    effect.ed->setParameter(750, 1.0F);
    effect.ed->setParameter(-1, 1.0F);
    effect.ed->setParameter(749, 1.0F);
    effect.ed->setParameter(749, 0.5F);
    effect.ed->doIdleStuff();
    EXPECT_EQ(effect.ed->drained, (std::vector<std::pair<std::int32_t, float>>{{749, 0.5F}}));
}

} // namespace
} // namespace sorvane::test
