#pragma once

#include "ParameterSettings.h"
#include "Plug.h"

#include <iosfwd>
#include <string>
#include <vector>

namespace sorvane::tools {

/// Loads a preset or bank file, as a session's chunk would be.
/// Throws Failure (input) for a file that can't be read or holds no state.
void loadState(core::Plug& plug, const std::string& path);

/// Tells what a state file holds: form, names, the editor's own state, and of each parameter set what isn't at its
/// factory value. \param json  prints the file's text as it stands instead
/// Throws Failure (input) as loadState.
void showState(const std::string& path, bool json, std::ostream& out);

struct StateOptions {
    std::string output;
    std::string presetName;                 ///< empty for the file's own name without extension
    std::vector<ParameterSetting> settings; ///< applied in order to the factory values
    bool plain = false;                     ///< text instead of deflated
};

/// Writes a state file whose program and A/B banks all hold the settings. Throws Failure (output), or (usage) for a
/// setting of the bank parameter.
void makeState(const StateOptions& options);

} // namespace sorvane::tools
