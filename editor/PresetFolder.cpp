#include "PresetFolder.h"

#include "Files.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <tuple>
#include <unordered_map>

namespace sorvane::editor {

namespace {

constexpr std::size_t kMostDepth = 12;
constexpr std::size_t kMostFolders = 4000; // links that cross each other multiply
constexpr std::size_t kMostEntries = 100000;

/// What one name in a folder stands for.
struct Found {
    bool isFolder = false;
    std::vector<std::string> places; ///< of a folder, each with a final "/"
};

/// The names in all places together. The first place that holds a name says what it is.
std::unordered_map<std::string, Found> listPlaces(const std::vector<std::string>& places)
{
    std::unordered_map<std::string, Found> names;
    for (const std::string& place : places)
        for (auto& [name, isFolder] : platform::listFolder(place)) {
            if (name.empty() || name.front() == '.')
                continue;
            const auto [found, isNew] = names.try_emplace(name);
            if (isNew)
                found->second.isFolder = isFolder;
            if (isFolder && found->second.isFolder)
                found->second.places.push_back(place + name + "/");
        }
    return names;
}

/// Folders "Vox.1" and "Vox.2" share a title: their paths decide then.
auto sortKey(const PresetFolder::Entry& entry, long number)
{
    return std::tuple<bool, long, const std::string&, std::string_view>(
        entry.folder != nullptr, number, entry.title, entry.folder ? entry.folder->getPath() : std::string_view());
}

void sortEntries(std::vector<PresetFolder::Entry>& entries)
{
    std::vector<std::pair<long, PresetFolder::Entry>> numbered;
    numbered.reserve(entries.size());
    for (auto& entry : entries) {
        const long number = std::strtol(entry.title.c_str(), nullptr, 10); // 0 without one
        numbered.emplace_back(number, std::move(entry));
    }
    std::sort(numbered.begin(), numbered.end(),
              [](const auto& a, const auto& b) { return sortKey(a.second, a.first) < sortKey(b.second, b.first); });
    entries.clear();
    for (auto& [number, entry] : numbered)
        entries.push_back(std::move(entry));
}

} // namespace

/// How far a walk has come.
struct PresetFolder::Progress {
    std::vector<std::filesystem::path> above; ///< the places around the folder that is being listed, without links
    std::size_t depth = 0;
    std::size_t entryCount = 0;
    std::size_t folderCount = 0;
};

PresetFolder::PresetFolder(std::string folderPath, std::vector<std::string> folderPlaces)
    : path(std::move(folderPath)), places(std::move(folderPlaces))
{}

std::unique_ptr<PresetFolder> PresetFolder::walk(const std::vector<std::string>& roots)
{
    std::unique_ptr<PresetFolder> root(new PresetFolder(roots.front(), roots));
    Progress progress;
    root->fill(progress);
    return root;
}

void PresetFolder::fill(Progress& progress)
{
    std::vector<std::filesystem::path>& above = progress.above;
    if (progress.depth >= kMostDepth || ++progress.folderCount > kMostFolders)
        return;
    const std::size_t around = above.size();
    std::vector<std::string> here;
    for (const std::string& place : places) {
        std::error_code missing;
        std::filesystem::path plain = std::filesystem::canonical(place, missing);
        const auto end = above.begin() + static_cast<std::ptrdiff_t>(around);
        if (missing || std::find(above.begin(), end, plain) != end)
            continue; // nothing there, or a link that leads in a circle
        above.push_back(std::move(plain));
        here.push_back(place);
    }
    places = here;
    ++progress.depth;
    for (const auto& [name, found] : listPlaces(places)) {
        const std::size_t dot = name.rfind('.');
        const bool isPreset = dot != std::string::npos && std::string_view(name).substr(dot + 1) == kExtension;
        if (!found.isFolder && !isPreset)
            continue;
        if (++progress.entryCount > kMostEntries)
            break;
        std::unique_ptr<PresetFolder> folder(found.isFolder ? new PresetFolder(path + name + "/", found.places)
                                                            : nullptr);
        entries.push_back({name.substr(0, dot), std::move(folder)});
    }
    sortEntries(entries);
    for (const Entry& entry : entries)
        if (entry.folder)
            entry.folder->fill(progress);
    --progress.depth;
    above.resize(around);
}

PresetFolder* PresetFolder::find(std::string_view soughtPath)
{
    if (path == soughtPath)
        return this;
    for (const Entry& entry : entries)
        if (entry.folder)
            if (PresetFolder* const found = entry.folder->find(soughtPath))
                return found;
    return nullptr;
}

std::vector<std::string> PresetFolder::filePaths(const Entry& entry) const
{
    const std::string name = entry.title + "." + std::string(kExtension);
    std::vector<std::string> paths{path + name};
    for (const std::string& place : places)
        if (place != path)
            paths.push_back(place + name);
    return paths;
}

} // namespace sorvane::editor
