#pragma once

#include "JSONTree.h"

#include <cstdint>
#include <mutex>
#include <string_view>

namespace sorvane::editor {

/// An instance's display preferences: categories of entries, each with its "value" (index of an option) and what the
/// pane shows of it. Their names and options are fixed by the resource; only numbers change. Names match without regard
/// to ASCII case.
///
/// Any thread but the audio thread.
class UIPrefs {
public:
    /// \param text  of the resource; what can't be parsed is reported to standard error, and then there are no entries
    explicit UIPrefs(std::string_view text);

    /// \return the "value" of an entry, 0 when absent; may be beyond the options
    [[nodiscard]] std::int32_t getUISetting(const char* section, const char* key) const;
    /// Sets an entry's "value"; an entry that isn't there stays so.
    void setUISetting(const char* section, const char* key, std::int32_t value);

    /// The whole tree, or one category; null without it or without memory.
    [[nodiscard]] host::JSONTree copy() const;
    [[nodiscard]] host::JSONTree copyCategory(const char* category) const;

    /// Takes the "value"s of a tree of the same shape. Never adds, removes or re-labels anything; what isn't a finite
    /// number is passed over, as is what the live tree doesn't have. Null does nothing.
    void merge(const cJSON* source);
    void mergeCategory(const char* category, const cJSON* source);

    /// Gives each entry a "default": its "value" now.
    void setDefaults();

    /// Hands the "value"s of a category's entries to the entries with the same "category" number in another one, or in
    /// all others when \p target is null.
    void propagate(const char* source, const char* target);

private:
    mutable std::mutex mutex; ///< guards the tree
    host::JSONTree tree;
};

} // namespace sorvane::editor
