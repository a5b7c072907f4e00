#pragma once

#include <string>
#include <vector>

namespace sorvane::state {

/// Where presets and banks lie. Any thread but the audio thread; asked anew each time, but for the preset root. What is
/// the user's is empty for a user who has no home.

/// The user's folder, with no slash at its end: the store's "Path" when it is at least 2 bytes long, else
/// Kestrune/Sorvane below the user's data folder. What is saved goes there.
[[nodiscard]] std::string installFolder();

/// Where packages install presets and banks, to be read where the user's folder has none; the most important one first:
/// that of our own installation (what the environment's SORVANE_DATA_FOLDER names, else the share folder of the prefix
/// that we were loaded from, wherever it was moved, else that of the build's prefix), then the system's data folders.
[[nodiscard]] std::vector<std::string> packageFolders();

/// "Presets/" in an install folder.
[[nodiscard]] std::string presetRootIn(const std::string& folder);

/// The user's preset root, with a slash at its end, as it was when it was first asked for.
[[nodiscard]] const std::string& presetRoot();

/// "Default Bank.bnk" in the user's folder.
[[nodiscard]] std::string defaultBankPath();

} // namespace sorvane::state
