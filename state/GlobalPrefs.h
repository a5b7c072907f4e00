#pragma once

#include "JSONTree.h"
#include "Store.h"

#include <cstdint>
#include <mutex>
#include <span>
#include <string>
#include <string_view>

namespace sorvane::state {

/// The user's preferences on this machine, shared by all instances in all sessions.
///
/// The resource "defaults" is the schema: its members in order are the rows of the pane, each an object with "value",
/// "page" and "values". The store's "globals" holds what was written: key to index of the option. A change is written
/// at once; a write that fails leaves it in force for this process. When two processes change preferences, the table of
/// the later change stands.
///
/// Any thread but the audio thread. Keys match without regard to ASCII case.
class GlobalPrefs {
public:
    /// Reads "globals"; a text that isn't a JSON object counts as none.
    /// \param store  outlives the preferences
    explicit GlobalPrefs(platform::Store& store);
    GlobalPrefs(const GlobalPrefs&) = delete;
    GlobalPrefs& operator=(const GlobalPrefs&) = delete;

    /// The process's, over the user's store. Never destroyed; at exit the trees are freed, and the first call of
    /// initGlobalPrefs after that reads them again.
    static GlobalPrefs& instance();

    /// Takes the schema, unless a call before did. Where nothing was stored the defaults are, all of them.
    void initGlobalPrefs(std::string_view defaultsText);

    /// \return index of the option as stored, else the default one: 0 without a schema, -2 for a key that it doesn't
    ///         have, -3 for one with no "value". -1 before initGlobalPrefs where nothing is stored. A stored index may
    ///         be beyond the options
    [[nodiscard]] std::int32_t getGlobalPref(const char* key) const;
    /// Sets an option and stores all of them; nothing before initGlobalPrefs where nothing is stored.
    void setGlobalPref(const char* key, std::int32_t index);

    /// The schema's rows; null or 0 out of range. Texts live as long as the preferences.
    [[nodiscard]] std::int32_t prefCount() const;
    [[nodiscard]] const char* prefName(std::int32_t row) const;
    [[nodiscard]] std::int32_t prefPage(std::int32_t row) const;
    [[nodiscard]] std::int32_t prefValueCount(std::int32_t row) const;
    [[nodiscard]] const char* prefValueText(std::int32_t row, std::int32_t option) const;

    /// Reads a text of the store, with a 0 behind it.
    /// \return false when there is none of at least 2 bytes, or when the buffer is too small
    [[nodiscard]] bool readRegistryValue(const std::string& name, std::span<char> buffer) const;
    /// The one writer of the store. A failure isn't reported.
    void writeRegistryValue(const std::string& name, std::string_view text);

private:
    void readValues();
    void freeTrees();
    void writeValues();
    [[nodiscard]] const cJSON* preference(std::int32_t row) const;

    platform::Store& store;
    mutable std::mutex mutex; ///< guards the trees, and keeps the writes in the order of the changes
    bool wasRead = false;     ///< "globals" is in values, if there was one
    host::JSONTree values;    ///< an object of numbers, or null
    host::JSONTree defaults;  ///< an object, or null; never changed once it has members
};

} // namespace sorvane::state
