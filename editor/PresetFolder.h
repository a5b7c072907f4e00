#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace sorvane::editor {

/// A folder of presets as its menu shows it: files first, then sub-folders, both by the number that their title begins
/// with and then by bytes.
///
/// It stands for one folder below the preset root and its namesakes below the package's folders, merged; a file of the
/// user's hides one of the package's. User interface thread.
class PresetFolder {
public:
    static constexpr std::string_view kExtension = "sor";

    struct Entry {
        std::string title;                    ///< the file's name without its extension; "-" is shown as a separator
        std::unique_ptr<PresetFolder> folder; ///< null for a file
    };

    /// Lists presets with all folders below. What can't be listed is empty, and so are a link that leads to a folder
    /// around it and what lies deeper than any user would go. No more than 4,000 folders and
    /// 100,000 entries.
    /// \param roots  the user's preset root and then those of packages, each with a final "/"; at least the first
    [[nodiscard]] static std::unique_ptr<PresetFolder> walk(const std::vector<std::string>& roots);

    /// The user's folder, with a final "/"; it need not exist.
    [[nodiscard]] const std::string& getPath() const { return path; }
    [[nodiscard]] std::int32_t getCount() const { return static_cast<std::int32_t>(entries.size()); }
    /// \param index  0 to getCount() - 1
    [[nodiscard]] const Entry& getEntry(std::int32_t index) const { return entries[static_cast<std::size_t>(index)]; }
    /// The folder whose path is exactly that, among this one and all below; null if there is none.
    [[nodiscard]] PresetFolder* find(std::string_view soughtPath);
    /// Where an entry's file may stand: the user's place first, then those of packages.
    [[nodiscard]] std::vector<std::string> filePaths(const Entry& entry) const;

private:
    struct Progress;

    PresetFolder(std::string folderPath, std::vector<std::string> folderPlaces);
    void fill(Progress& progress);

    std::string path;
    std::vector<std::string> places; ///< the folders that it stands for, each with a final "/"
    std::vector<Entry> entries;
};

} // namespace sorvane::editor
