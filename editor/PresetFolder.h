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

    /// Lists the user's and the package's presets with all folders below. What can't be listed is empty; a walk ends
    /// after 12 levels and 100,000 entries, and so does one through links that lead in a circle.
    [[nodiscard]] static std::unique_ptr<PresetFolder> walkRoot();

    /// The user's folder, with a final "/"; it need not exist.
    [[nodiscard]] const std::string& getPath() const { return path; }
    [[nodiscard]] std::int32_t getCount() const { return static_cast<std::int32_t>(entries.size()); }
    /// \param index  0 to getCount() - 1
    [[nodiscard]] const Entry& getEntry(std::int32_t index) const { return entries[static_cast<std::size_t>(index)]; }
    /// The folder whose path is exactly that, among this one and all below; null if there is none.
    [[nodiscard]] PresetFolder* find(std::string_view soughtPath);
    /// Where an entry's file may stand: the user's place first, then those of the package.
    [[nodiscard]] std::vector<std::string> filePaths(const Entry& entry) const;

private:
    struct Walk;

    explicit PresetFolder(std::string folderPath) : path(std::move(folderPath)) {}
    void fill(const std::vector<std::string>& places, Walk& walk);

    std::string path;
    std::vector<Entry> entries;
};

} // namespace sorvane::editor
