#pragma once

#include <functional>
#include <string>

namespace sorvane::editor {

/// Asks the user for the path of a file, which the user need not give at once. User interface thread.
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

    /// \param path  that the user chose
    using Chosen = std::function<void(const std::string& path)>;
    /// \param chosen  is called at most once, during the call or later; never when the user cancels or the editor
    ///         closes
    virtual void choose(const Question& question, Chosen chosen) = 0;
};

} // namespace sorvane::editor
