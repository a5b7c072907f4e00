// The user's preferences: their schema, what is stored and what comes back.

#include "GlobalPrefs.h"
#include "MemoryStore.h"
#include "Resources.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <limits>
#include <string>
#include <thread>
#include <vector>

namespace sorvane::test {
namespace {

using state::GlobalPrefs;

struct Row {
    std::string key;
    int option;
    int page;
    std::vector<std::string> labels;
};

const std::vector<Row> kRows = {
    {"Meter Ballistic", 0, 0, {"Digital", "PPM", "VU", "BBC"}},
    {"Meter Peak/Hold", 0, 0, {"5Sec", "Clicked", "Off"}},
    {"Meter Scale", 0, 0, {"FS", "K-12", "K-14", "K-20"}},
    {"Meter Peak", 0, 0, {"Red", "Yellow"}},
    {"Meter Zoom Range", 0, 0, {"1.5dB", "3dB", "6dB", "12dB"}},
    {"Meter Auto Range", 1, 0, {"Off", "On"}},
    {"ProTools Opt/Shift", 0, 0, {"Off", "On"}},
    {"MouseWheel Sensitivity", 0, 0, {"Broad", "Med", "Fine"}},
    {"Hide Mouse", 0, 0, {"Off", "On"}},
    {"Tooltips follow", 0, 1, {"Mouse", "Adjustment"}},
    {"MouseWheel Zoom", 0, 1, {"Active", "Disabled"}},
    {"Swap Alt/Right", 0, 1, {"Off", "On"}},
    {"Save Compression", 3, 2, {"Off", "Fastest", "Med", "Smallest"}},
    {"A/B Toggle", 1, 2, {"Last 2", "Visited", "MIDI Learn"}},
    {"A/B Automation", 1, 2, {"Just AB", "All"}},
    {"Listen Toggle", 0, 2, {"Last 2", "Cycle"}},
    {"Listen Buttons", 0, 2, {"SC/Split", "All"}},
    {"Mouseover Help", 1, 2, {"Off", "On"}},
    {"OpenGL", 1, 2, {"Disable", "Enable"}},
};

/// What a first start stores: each key with its option, in order.
const std::string kFirstGlobals =
    R"({"Meter Ballistic":0,"Meter Peak/Hold":0,"Meter Scale":0,"Meter Peak":0,"Meter Zoom Range":0,)"
    R"("Meter Auto Range":1,"ProTools Opt/Shift":0,"MouseWheel Sensitivity":0,"Hide Mouse":0,"Tooltips follow":0,)"
    R"("MouseWheel Zoom":0,"Swap Alt/Right":0,"Save Compression":3,"A/B Toggle":1,"A/B Automation":1,)"
    R"("Listen Toggle":0,"Listen Buttons":0,"Mouseover Help":1,"OpenGL":1})";

const std::string_view kDefaults = platform::resource("json", "defaults");

TEST(GlobalPrefs, SchemaHasTheRowsOfThePane)
{
    MemoryStore store;
    GlobalPrefs prefs(store);
    EXPECT_EQ(prefs.prefCount(), 0);
    EXPECT_EQ(prefs.getGlobalPref("OpenGL"), -1);
    prefs.setGlobalPref("OpenGL", 0);
    EXPECT_EQ(store.writes, 0) << "nothing to change yet";

    prefs.initGlobalPrefs(kDefaults);
    ASSERT_EQ(prefs.prefCount(), 19);
    for (std::int32_t i = 0; i < prefs.prefCount(); ++i) {
        const Row& row = kRows[static_cast<std::size_t>(i)];
        EXPECT_EQ(prefs.prefName(i), row.key);
        EXPECT_EQ(prefs.prefPage(i), row.page) << row.key;
        EXPECT_EQ(prefs.getGlobalPref(row.key.c_str()), row.option) << row.key;
        ASSERT_EQ(prefs.prefValueCount(i), static_cast<std::int32_t>(row.labels.size())) << row.key;
        for (std::int32_t j = 0; j < prefs.prefValueCount(i); ++j)
            EXPECT_EQ(prefs.prefValueText(i, j), row.labels[static_cast<std::size_t>(j)]);
        EXPECT_EQ(prefs.prefValueText(i, prefs.prefValueCount(i)), nullptr);
        EXPECT_EQ(prefs.prefValueText(i, -1), nullptr);
    }
    for (const std::int32_t outside : {-1, 19, std::numeric_limits<std::int32_t>::min()}) {
        EXPECT_EQ(prefs.prefName(outside), nullptr);
        EXPECT_EQ(prefs.prefPage(outside), 0);
        EXPECT_EQ(prefs.prefValueCount(outside), 0);
        EXPECT_EQ(prefs.prefValueText(outside, 0), nullptr);
    }
    EXPECT_EQ(store.texts["globals"], kFirstGlobals);
    EXPECT_EQ(store.writes, 1);
}

TEST(GlobalPrefs, InstanceSettingsHaveTheirOptions)
{
    struct Entry {
        std::string category;
        std::string key;
        int option;
        std::vector<std::string> labels;
    };
    const std::vector<Entry> entries = {
        {"Graph", "Readout", 0, {"Off", "Analyser", "Graph", "Both"}},
        {"Graph", "Autolisten", 0, {"Split", "Pass", "Difference"}},
        {"Analyser", "Decay", 2, {"Instant", "Fast", "Med", "Slow"}},
        {"Analyser", "Range", 0, {"96dB", "80dB", "64dB", "48dB"}},
        {"Analyser", "Top", 0, {"0dB", "-12dB", "-24dB", "-36dB"}},
        {"Analyser", "Display", 0, {"Filled", "Outlined", "Both"}},
    };
    nlohmann::ordered_json expected;
    for (const Entry& entry : entries)
        expected[entry.category][entry.key] = {{"value", entry.option}, {"values", entry.labels}};
    EXPECT_EQ(nlohmann::ordered_json::parse(platform::resource("json", "uisettings")).dump(), expected.dump());
}

TEST(GlobalPrefs, ChangeIsStoredAtOnceAndOutlivesTheProcess)
{
    MemoryStore store;
    {
        GlobalPrefs prefs(store);
        prefs.initGlobalPrefs(kDefaults);
        prefs.setGlobalPref("meter BALLISTIC", 2);
        EXPECT_EQ(prefs.getGlobalPref("METER ballistic"), 2);
    }
    std::string expected = kFirstGlobals;
    expected.replace(expected.find(":0"), 2, ":2");
    EXPECT_EQ(store.texts["globals"], expected) << "the key stays as it was";

    GlobalPrefs prefs(store);
    EXPECT_EQ(prefs.getGlobalPref("Meter Ballistic"), 2) << "before there is a schema";
    EXPECT_EQ(prefs.getGlobalPref("Unknown"), 0);
    prefs.initGlobalPrefs(kDefaults);
    prefs.initGlobalPrefs(R"({"Other":{"value":1}})"); // another instance: the first schema stands
    EXPECT_EQ(store.writes, 2) << "a stored table isn't written again";
    EXPECT_EQ(prefs.prefCount(), 19);
    EXPECT_EQ(prefs.getGlobalPref("Meter Ballistic"), 2);
    EXPECT_EQ(prefs.getGlobalPref("Unknown"), -2);
    EXPECT_EQ(prefs.getGlobalPref(nullptr), -2);

    store.isFull = true;
    prefs.setGlobalPref("OpenGL", 0);
    EXPECT_EQ(prefs.getGlobalPref("OpenGL"), 0) << "in force for this process";
    EXPECT_EQ(store.texts["globals"], expected);
    prefs.setGlobalPref(nullptr, 1);
}

TEST(GlobalPrefs, StoredTextStandsAsFarAsItGoes)
{
    MemoryStore store;
    store.texts["globals"] = " {\"Meter Scale\":7,\"Gone\":5,\"meter peak\":-3,\"Hide Mouse\":\"On\","
                             "\"Listen Toggle\":1e300,\"Tooltips follow\":1.9} trailing";
    GlobalPrefs prefs(store);
    prefs.initGlobalPrefs(R"({"OpenGL":{"value":1},"Hide Mouse":{"value":1},"Bare":{},"Worded":{"value":"1"}})");
    EXPECT_EQ(store.writes, 0);
    EXPECT_EQ(prefs.getGlobalPref("OpenGL"), 1) << "not stored";
    EXPECT_EQ(prefs.getGlobalPref("Meter Scale"), 7) << "beyond its options";
    EXPECT_EQ(prefs.getGlobalPref("Meter Peak"), -3);
    EXPECT_EQ(prefs.getGlobalPref("Gone"), 5);
    EXPECT_EQ(prefs.getGlobalPref("Listen Toggle"), std::numeric_limits<std::int32_t>::max());
    EXPECT_EQ(prefs.getGlobalPref("Tooltips follow"), 1);
    EXPECT_EQ(prefs.getGlobalPref("Hide Mouse"), 1) << "a word is no index";
    EXPECT_EQ(prefs.getGlobalPref("Bare"), -3);
    EXPECT_EQ(prefs.getGlobalPref("Worded"), -3);

    prefs.setGlobalPref("OpenGL", 0);
    prefs.setGlobalPref("hide mouse", 0);
    prefs.setGlobalPref("Listen Toggle", 1);
    EXPECT_EQ(store.texts["globals"], R"({"Meter Scale":7,"Gone":5,"meter peak":-3,"Hide Mouse":0,"Listen Toggle":1,)"
                                      R"("Tooltips follow":1.9000000000,"OpenGL":0})");
}

TEST(GlobalPrefs, DamagedTextIsReplacedAtTheNextStart)
{
    const std::string full = "{\"" + std::string(8191 - 6, 'k') + "\":1}";
    ASSERT_EQ(full.size(), 8191U);
    const std::vector<std::string> damaged = {"",     "{",      "x",        "[1,2]",         "77",
                                              "null", "\"{}\"", full + " ", "{\"OpenGL\":0", std::string(5000, '[')};
    for (const std::string& text : damaged) {
        MemoryStore store;
        store.texts["globals"] = text;
        GlobalPrefs prefs(store);
        EXPECT_EQ(prefs.getGlobalPref("OpenGL"), -1) << text;
        prefs.initGlobalPrefs(kDefaults);
        EXPECT_EQ(store.texts["globals"], kFirstGlobals) << text;
        EXPECT_EQ(prefs.getGlobalPref("Save Compression"), 3);
    }
    for (const std::string& text : {full, std::string("{}")}) {
        MemoryStore store;
        store.texts["globals"] = text;
        GlobalPrefs prefs(store);
        prefs.initGlobalPrefs(kDefaults);
        EXPECT_EQ(store.texts["globals"], text);
    }
    for (const char* const schema : {"", "{", "[1]", "{}"}) {
        MemoryStore store;
        GlobalPrefs prefs(store);
        prefs.initGlobalPrefs(schema);
        EXPECT_EQ(store.texts["globals"], "{}") << schema;
        EXPECT_EQ(prefs.getGlobalPref("OpenGL"), -2) << schema;
        EXPECT_EQ(prefs.prefCount(), 0);
        prefs.initGlobalPrefs(kDefaults);
        EXPECT_EQ(prefs.getGlobalPref("OpenGL"), 1) << "a later schema counts";
    }
}

TEST(GlobalPrefs, MayBeReadWhileTheyChange)
{
    MemoryStore store;
    GlobalPrefs prefs(store);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            prefs.initGlobalPrefs(kDefaults);
            for (int i = 0; i < 200; ++i) {
                const Row& row = kRows[static_cast<std::size_t>(t + i) % kRows.size()];
                prefs.setGlobalPref(row.key.c_str(), 100 * t + i);
                EXPECT_GE(prefs.getGlobalPref(kRows[static_cast<std::size_t>(i) % kRows.size()].key.c_str()), 0);
                prefs.setGlobalPref(("New " + std::to_string(t)).c_str(), i);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    GlobalPrefs again(store);
    for (const Row& row : kRows)
        EXPECT_EQ(again.getGlobalPref(row.key.c_str()), prefs.getGlobalPref(row.key.c_str())) << row.key;
    for (int t = 0; t < 4; ++t)
        EXPECT_EQ(again.getGlobalPref(("New " + std::to_string(t)).c_str()), 199);
}

} // namespace
} // namespace sorvane::test
