// That neither a mapped controller nor the one that completes a learn makes the audio thread take memory or wait.

#include "MIDIMap.h"
#include "MemoryStore.h"
#include "MidiEvents.h"
#include "RealtimeGuard.h"
#include "Tags.h"

#include <gtest/gtest.h>

namespace sorvane::test {
namespace {

TEST(Realtime, MidiIsTakenAndLearntWithoutMemoryOrLocks)
{
    MemoryStore store;
    state::GlobalPrefs prefs(store);
    state::MIDIMap map(prefs);
    AutomatedEffect effect;
    const EventList events({{0xB0, 7, 1}, {0x90, 7, 1}, {0xB1, 8, 2}, {0xB1, 7, 3}});
    map.learnMidi(core::kRatio, 8);
    map.setLearnTag(core::kThreshold);
    RealtimeGuard::Counts learning;
    {
        const RealtimeGuard guard;
        map.processMidi(events.list, effect);
        learning = RealtimeGuard::take();
    }
    EXPECT_EQ(learning.all(), 0U);
    EXPECT_EQ(effect.count, 3U);
    EXPECT_EQ(map.findMidiController(core::kThreshold), 7);
    EXPECT_EQ(store.writes, 1);
}

} // namespace
} // namespace sorvane::test
