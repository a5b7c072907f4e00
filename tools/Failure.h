#pragma once

#include <stdexcept>
#include <string>

namespace sorvane::tools {

/// Exit codes of the command-line tool; scripts rely on them.
enum class ExitCode : int {
    done = 0,
    usage = 2,  ///< the call's words are wrong
    input = 3,  ///< an input can't be read or isn't what it should be
    output = 4, ///< an output can't be written
};

/// Ends a command: what to tell the user, and how the tool exits.
class Failure : public std::runtime_error {
public:
    Failure(ExitCode exitCode, const std::string& text) : std::runtime_error(text), code(exitCode) {}
    [[nodiscard]] ExitCode exitCode() const { return code; }

private:
    ExitCode code;
};

} // namespace sorvane::tools
