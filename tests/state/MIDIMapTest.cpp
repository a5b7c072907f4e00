// MIDI controllers that move parameters: the mapping, learning, and what is kept of it.

#include "MIDIMap.h"
#include "MemoryStore.h"
#include "MidiEvents.h"
#include "Tags.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace sorvane::test {
namespace {

using namespace core;
using state::GlobalPrefs;
using state::MIDIMap;

constexpr std::uint8_t kControlChange = 0xB0;

/// The stored form of a table.
std::string stored(const std::map<int, int>& tags)
{
    std::string text = "[";
    for (int controller = 0; controller < 128; ++controller) {
        const auto found = tags.find(controller);
        text += std::to_string(found != tags.end() ? found->second : -1);
        text += controller < 127 ? ',' : ']';
    }
    return text;
}

class MIDIMapping : public ::testing::Test {
protected:
    /// \return the last parameter that moved, and where to
    std::pair<std::int32_t, float> play(const std::vector<MidiBytes>& messages)
    {
        const EventList events(messages);
        map.processMidi(events.list, effect);
        return effect.take();
    }
    std::pair<std::int32_t, float> turn(std::uint8_t controller, std::uint8_t value, std::uint8_t channel = 0)
    {
        return play({{static_cast<std::uint8_t>(kControlChange + channel), controller, value}});
    }
    /// The table as another process would find it.
    [[nodiscard]] std::string loaded()
    {
        const MIDIMap other(prefs);
        std::map<int, int> tags;
        for (int controller = 0; controller < 128; ++controller)
            tags[controller] = other.getMidiMap()[static_cast<std::size_t>(controller)];
        return stored(tags);
    }

    MemoryStore store;
    GlobalPrefs prefs{store};
    MIDIMap map{prefs};
    AutomatedEffect effect;
    const std::pair<std::int32_t, float> nothing{-1, -1.0F};
};

TEST_F(MIDIMapping, LearnsTheFirstControllerThatMoves)
{
    EXPECT_FALSE(map.isLearning());
    EXPECT_EQ(turn(7, 100), nothing);
    map.setLearnTag(kThreshold);
    EXPECT_TRUE(map.isLearning());
    EXPECT_EQ(play({{0x90, 7, 100}, {0x80, 7, 0}, {0xC0, 7, 0}, {0xE0, 7, 64}, {0xD0, 7, 1}}), nothing);
    EXPECT_EQ(map.getLearnTag(), kThreshold);
    EXPECT_EQ(turn(7, 127), std::pair(std::int32_t{kThreshold}, 1.0F)) << "the event that is learnt counts";
    EXPECT_EQ(map.getLearnTag(), -1);
    EXPECT_EQ(map.findMidiController(kThreshold), 7);
    EXPECT_EQ(store.writes, 0) << "not on the audio thread";
    map.savePending();
    EXPECT_EQ(store.texts["MIDIMap"], stored({{7, kThreshold}}));
    map.savePending();
    EXPECT_EQ(store.writes, 1);
    for (const std::uint8_t channel : std::initializer_list<std::uint8_t>{0, 8, 15})
        EXPECT_EQ(turn(7, 0, channel), std::pair(std::int32_t{kThreshold}, 0.0F));
    EXPECT_EQ(turn(8, 1), nothing);

    map.setLearnTag(kRatio);
    map.setLearnTag(-1);
    EXPECT_EQ(turn(9, 1), nothing) << "given up";
    for (const std::int32_t noParameter : {92, 500, -2, std::numeric_limits<std::int32_t>::max()}) {
        map.setLearnTag(noParameter);
        EXPECT_FALSE(map.isLearning());
        map.learnMidi(noParameter, 7);
    }

    map.setLearnTag(kRatio); // takes the controller from the first one, and within one list
    EXPECT_EQ(play({{0xB3, 7, 64}, {0xB3, 8, 1}, {0xB4, 7, 32}}), std::pair(std::int32_t{kRatio}, 0.25F));
    EXPECT_EQ(map.findMidiController(kThreshold), -1);
    map.setLearnTag(kRatio); // frees the old controller
    EXPECT_EQ(turn(127, 0), std::pair(std::int32_t{kRatio}, 0.0F));
    EXPECT_EQ(turn(7, 0), nothing);
    map.savePending();
    EXPECT_EQ(store.texts["MIDIMap"], stored({{127, kRatio}}));
    EXPECT_EQ(loaded(), stored({{127, kRatio}}));

    map.learnMidi(kABBank, 128 + 3); // modulo 128
    map.learnMidi(kBypass, 0);
    EXPECT_EQ(store.texts["MIDIMap"], stored({{127, kRatio}, {3, kABBank}, {0, kBypass}}));
    map.unlearnMidi(kThreshold); // isn't mapped
    EXPECT_EQ(store.texts["MIDIMap"], stored({{127, kRatio}, {3, kABBank}, {0, kBypass}}));
    EXPECT_EQ(store.writes, 5);
    map.unlearnMidi(kRatio);
    EXPECT_EQ(store.texts["MIDIMap"], stored({{3, kABBank}, {0, kBypass}}));
    EXPECT_EQ(turn(127, 1), nothing);
    EXPECT_EQ(turn(3, 64).first, kABBank);

    store.isFull = true;
    map.learnMidi(kMode, 5);
    EXPECT_EQ(turn(5, 127).first, kMode) << "in force for this process";
}

TEST(MIDIMapDeathTest, SavesWhatIsPendingAtExitAndServesOlderGlobals)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe"); // in a process of its own
    struct OlderGlobal {
        ~OlderGlobal()
        {
            auto& prefs = GlobalPrefs::instance();
            const bool saved = platform::Store::user().read("MIDIMap") == stored({{20, kCeil}});
            MIDIMap::instance().learnMidi(kCeil, 21);
            prefs.initGlobalPrefs(R"({"A":{"value":1}})"); // a new effect's
            const bool right = saved && prefs.getGlobalPref("A") == 3 &&
                               platform::Store::user().read("MIDIMap") == stored({{21, kCeil}});
            std::_Exit(right ? 0 : 1);
        }
        bool used = false;
    };
    EXPECT_EXIT(
        {
            static OlderGlobal global;
            global.used = true;
            GlobalPrefs::instance().initGlobalPrefs(R"({"A":{"value":1}})");
            GlobalPrefs::instance().setGlobalPref("A", 3);
            MIDIMap::instance().setLearnTag(kCeil);
            AutomatedEffect effect;
            MIDIMap::instance().processMidi(EventList({{kControlChange, 20, 1}}).list, effect);
            std::exit(platform::Store::user().read("MIDIMap") ? 2 : 3);
        },
        testing::ExitedWithCode(0), "");
}

TEST(MIDIMapSaving, WaitsForASaveThatIsUnderWay)
{
    class SlowStore final : public platform::Store {
    public:
        [[nodiscard]] std::optional<std::string> read(const std::string&) override { return {}; }
        [[nodiscard]] bool write(const std::string&, std::string_view) override
        {
            entered = true;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            written = true;
            return true;
        }
        std::atomic<bool> entered{false};
        std::atomic<bool> written{false};
    };
    SlowStore store;
    GlobalPrefs prefs(store);
    MIDIMap map(prefs);
    std::thread saver([&] { map.learnMidi(kThreshold, 7); });
    while (!store.entered)
        std::this_thread::yield();
    map.savePending(); // the last effect's end: the library may go behind it
    EXPECT_TRUE(store.written);
    saver.join();
}

TEST_F(MIDIMapping, ValueCurveMeetsBothEndsAndTheMiddle)
{
    map.learnMidi(kBalance, 10);
    for (int value = 0; value < 128; ++value) {
        const double expected = value <= 64 ? value / 128.0 : 0.5 + (value - 64) / 126.0;
        EXPECT_NEAR(turn(10, static_cast<std::uint8_t>(value)).second, expected, 6e-8) << value;
    }
    EXPECT_EQ(turn(10, 0).second, 0.0F);
    EXPECT_EQ(turn(10, 64).second, 0.5F);
    EXPECT_EQ(turn(10, 127).second, 1.0F);
    EXPECT_NEAR(turn(10, 65).second, 0.5079F, 5e-5F);
    EXPECT_EQ(turn(10 + 128, 255), std::pair(std::int32_t{kBalance}, 1.0F)) << "bytes that MIDI doesn't have";
}

TEST_F(MIDIMapping, BadListsAndEventsArePassedOver)
{
    map.learnMidi(kAttack, 1);
    map.processMidi(nullptr, effect);
    EventList events({{kControlChange, 1, 1}, {kControlChange, 1, 2}, {kControlChange, 1, 3}, {kControlChange, 1, 4}});
    for (const std::int32_t count :
         {-1, std::numeric_limits<std::int32_t>::min(), 0, 65537, std::numeric_limits<std::int32_t>::max()}) {
        events.list->numEvents = count;
        map.processMidi(events.list, effect);
    }
    EXPECT_EQ(effect.take(), nothing);
    events.list->numEvents = 4;
    events.entries[1] = nullptr;
    events.midi[2].head.byteSize = 23;
    events.midi[3].head.type = 6; // system exclusive
    map.processMidi(events.list, effect);
    EXPECT_EQ(effect.count, 1U);
    EXPECT_EQ(effect.take().second, 1.0F / 128);
    events.midi[2].head.byteSize = 32; // counts the first two fields, as many hosts do
    map.processMidi(events.list, effect);
    EXPECT_EQ(effect.count, 2U);
    EXPECT_EQ(effect.take().second, 3.0F / 128);
}

TEST_F(MIDIMapping, StoredTextIsTakenAsFarAsItGoes)
{
    std::string longer = stored({{0, 5}, {127, 6}});
    longer.insert(longer.size() - 1, ",77,78");
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"", stored({})},
        {"[", stored({})},
        {"[1,2", stored({})},
        {"{\"a\":3}", stored({})},
        {"12", stored({})},
        {"[]", stored({})},
        {"[9,8,7]", stored({{0, 9}, {1, 8}, {2, 7}})},
        {"[null,\"3\",4,[5],6]", stored({{2, 4}, {4, 6}})},
        {" [1e99,-2,1.5] x", stored({{0, std::numeric_limits<std::int32_t>::max()}, {1, -2}, {2, 1}})},
        {longer, stored({{0, 5}, {127, 6}})},
        {"[1" + std::string(4094, ' ') + "]", stored({})},
        {"[1" + std::string(4092, ' ') + "]", stored({{0, 1}})},
    };
    for (const auto& [text, expected] : cases) {
        store.texts["MIDIMap"] = text;
        EXPECT_EQ(loaded(), expected) << text;
    }
    EXPECT_EQ(store.writes, 0);

    store.texts["MIDIMap"] = "[92,-7,2000000000,1]"; // tags of another product
    MIDIMap other(prefs);
    const EventList events({{kControlChange, 0, 9}, {kControlChange, 1, 9}, {kControlChange, 2, 9}});
    other.processMidi(events.list, effect);
    EXPECT_EQ(effect.take(), nothing);
    EXPECT_EQ(other.findMidiController(2000000000), 2);
    EXPECT_EQ(other.findMidiController(-1), -1);
}

TEST_F(MIDIMapping, ManyThreadsKeepOneControllerForATag)
{
    std::atomic<bool> done{false};
    std::vector<std::thread> threads;
    for (int t = 0; t < 2; ++t)
        threads.emplace_back([&, t] { // an instance's audio thread
            AutomatedEffect instance;
            for (int i = 0; !done; ++i) {
                const EventList events({{kControlChange, static_cast<std::uint8_t>((i * 7 + t) % 128), 1}});
                map.processMidi(events.list, instance);
            }
        });
    threads.emplace_back([&] {
        while (!done) {
            map.savePending();
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    for (int i = 0; i < 300 && !HasFailure(); ++i) {
        const std::int32_t first = i % 5;
        const std::int32_t second = (i + 1) % 5;
        map.unlearnMidi(second);
        map.setLearnTag(first);
        if (i % 2 == 0)
            map.learnMidi(first, i % 128); // while an audio thread may be at the same
        map.setLearnTag(second);           // and while the first learn may just end
        while (map.isLearning())
            std::this_thread::yield();
        EXPECT_NE(map.findMidiController(second), -1) << i;
        const auto& table = map.getMidiMap();
        for (std::int32_t tag = 0; tag < 5; ++tag)
            EXPECT_LE(std::count(table.begin(), table.end() - 1, tag), 1) << i << ' ' << tag;
    }
    done = true;
    for (std::thread& thread : threads)
        thread.join();
    map.savePending();
    std::map<int, int> tags;
    for (int controller = 0; controller < 128; ++controller)
        tags[controller] = map.getMidiMap()[static_cast<std::size_t>(controller)];
    EXPECT_EQ(store.texts["MIDIMap"], stored(tags));
}

} // namespace
} // namespace sorvane::test
