#pragma once

#include "JSONTree.h"
#include "PlugBaseJSON.h"

namespace sorvane::editor {

/// The bank that every new instance starts from. User interface thread. Failures aren't reported.

/// Stores the effect's state as the default bank, whole or not at all.
/// \return whether it is stored
bool saveDefaultBank(host::PlugBaseJSON& effect);

/// The user's default bank as a tree, else the package's. Where there is none the effect's state becomes the user's.
/// \return null when there is none and none can be made, or when it isn't JSON
[[nodiscard]] host::JSONTree readDefaultBank(host::PlugBaseJSON& effect);

/// Writes a tree as the user's default bank: plain text, which people can read. \return whether it is stored
bool writeDefaultBank(const host::PlugBaseJSON& effect, const cJSON& root);

} // namespace sorvane::editor
