#pragma once

#include <optional>
#include <string>

namespace sorvane::editor {

/// Asks the user for the path of a file. User interface thread.
class FileDialog {
public:
    struct Question {
        std::string title;
        std::string startPath; ///< a file to save as, or a folder to begin in; a leading "~" is the user's home
        std::string extension; ///< the one kind of file that is listed; without the dot
        bool saving;
    };

    FileDialog() = default;
    virtual ~FileDialog() = default;
    FileDialog(const FileDialog&) = delete;
    FileDialog& operator=(const FileDialog&) = delete;

    /// \return nothing when the user cancels
    virtual std::optional<std::string> choose(const Question& question) = 0;
};

} // namespace sorvane::editor
