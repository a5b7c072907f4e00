#pragma once

#include "PlugBaseJSON.h"
#include "UIPrefs.h"

#include <string>

namespace sorvane::editor {

/// What the pane of the instance's display preferences does with them. After each operation that changes them its owner
/// brings them in force. User interface thread.
class UIPreferences {
public:
    /// Each entry's "default" becomes its "value".
    /// \param shown  the preferences; these and the effect outlive the pane
    UIPreferences(host::PlugBaseJSON& owner, UIPrefs& shown);

    /// Replaces a category, or all of "uiprefs", in the default bank by what is set now. A bank without "uiprefs" stays.
    void saveAsDefault(const std::string& category);
    void saveAllAsDefault();
    /// Takes a category's, or all, values from the default bank.
    void restoreDefault(const std::string& category);
    void restoreAllDefaults();

    void copyAllSettings(const std::string& category) { clipboard = category; }
    /// Propagates from the category that was copied last; nothing before that.
    void pasteAllSettings(const std::string& category);
    void propagateToAll(const std::string& category) { uiPrefs.propagate(category.c_str(), nullptr); }

private:
    host::PlugBaseJSON& effect;
    UIPrefs& uiPrefs;
    std::string clipboard; ///< the name of a category; empty at first
};

} // namespace sorvane::editor
