#pragma once

#include "PlugBaseJSON.h"
#include "UIPrefs.h"

#include <cstdint>
#include <functional>
#include <string>

namespace sorvane::editor {

/// What the pane of the instance's display preferences does with them. User interface thread.
class UIPreferences {
public:
    /// Each entry's "default" becomes its "value".
    /// \param shown    the preferences; these and the effect outlive the pane
    /// \param changed  called after each change of them, to bring them in force
    UIPreferences(host::PlugBaseJSON& owner, UIPrefs& shown, std::function<void()> changed);

    /// What a click on an option does.
    void setOption(const std::string& category, const std::string& entry, std::int32_t option);

    /// Replaces a category, or all of "uiprefs", in the default bank by what is set now. A bank without "uiprefs"
    /// stays.
    void saveAsDefault(const std::string& category);
    void saveAllAsDefault();
    /// Takes a category's, or all, values from the default bank.
    void restoreDefault(const std::string& category);
    void restoreAllDefaults();

    void copyAllSettings(const std::string& category) { clipboard = category; }
    /// Propagates from the category that was copied last; nothing before that.
    void pasteAllSettings(const std::string& category);
    void propagateToAll(const std::string& category);

private:
    host::PlugBaseJSON& effect;
    UIPrefs& uiPrefs;
    std::function<void()> notify;
    std::string clipboard; ///< the name of a category; empty at first
};

} // namespace sorvane::editor
