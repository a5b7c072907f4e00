// Preferences as a store may hold them. The input is the text "globals", and then the schema too.

#include "GlobalPrefs.h"
#include "MemoryStore.h"
#include "Resources.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

using namespace sorvane;

constexpr std::size_t kMostGlobalsBytes = 8191;

void readRows(const state::GlobalPrefs& prefs)
{
    for (std::int32_t row = -1; row <= prefs.prefCount(); ++row) {
        (void)prefs.getGlobalPref(prefs.prefName(row));
        (void)prefs.prefPage(row);
        for (std::int32_t option = -1; option <= prefs.prefValueCount(row); ++option)
            (void)prefs.prefValueText(row, option);
    }
}

/// The next process must find what this one has.
void checkStored(test::MemoryStore& store, const state::GlobalPrefs& prefs)
{
    if (store.texts["globals"].size() > kMostGlobalsBytes)
        return;
    constexpr std::int32_t kExact = 1'000'000'000; // beyond, fractions are printed with seven digits
    state::GlobalPrefs next(store);
    next.initGlobalPrefs(platform::resource("json", "defaults"));
    for (std::int32_t row = 0; row < prefs.prefCount(); ++row) {
        const char* const key = prefs.prefName(row);
        const std::int32_t option = prefs.getGlobalPref(key);
        if (option < kExact && option > -kExact && next.getGlobalPref(key) != option)
            std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    {
        test::MemoryStore store;
        store.texts["globals"] = text;
        state::GlobalPrefs prefs(store);
        prefs.initGlobalPrefs(platform::resource("json", "defaults"));
        if (prefs.prefCount() != 19)
            std::abort();
        readRows(prefs);
        prefs.setGlobalPref("OPENGL", static_cast<std::int32_t>(size));
        if (prefs.getGlobalPref("OpenGL") != static_cast<std::int32_t>(size))
            std::abort();
        checkStored(store, prefs);
    }
    test::MemoryStore store;
    state::GlobalPrefs prefs(store);
    prefs.initGlobalPrefs(text);
    readRows(prefs);
    return 0;
}
