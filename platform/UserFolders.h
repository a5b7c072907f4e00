#pragma once

#include <string>
#include <vector>

namespace sorvane::platform {

/// The base directories that desktops agree on (XDG), with no slash at their ends. Asked anew each time. A variable
/// that isn't an absolute path counts as unset. Any thread but the audio thread.

/// $XDG_CONFIG_HOME, else ~/.config; empty for a user without a home.
[[nodiscard]] std::string userConfigFolder();

/// $XDG_DATA_HOME, else ~/.local/share; empty for a user without a home.
[[nodiscard]] std::string userDataFolder();

/// $XDG_DATA_DIRS, else /usr/local/share and /usr/share: the most important one first.
[[nodiscard]] std::vector<std::string> sharedDataFolders();

} // namespace sorvane::platform
