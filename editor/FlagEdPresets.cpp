// The preset bar's half of FlagEd: its menus, and files to and from the user.

#include "Files.h"
#include "FlagEd.h"
#include "InstallPath.h"
#include "UserFile.h"

#include <algorithm>
#include <array>

namespace sorvane::editor {

std::vector<std::string> FlagEd::presetRoots() const
{
    std::vector<std::string> roots{state::presetRoot()};
    for (const std::string& folder : state::packageFolders())
        roots.push_back(state::presetRootIn(folder));
    return roots;
}

void FlagEd::rebuildPresetMenu()
{
    presetMenu = PresetFolder::walk(presetRoots());
    previousFolderMenu = nullptr;
    const std::string last = getLastPresetFolder();
    folderMenu = last.empty() ? presetMenu.get() : presetMenu->find(last);
    updatePresetButtons();
}

void FlagEd::choosePreset(std::string_view menu, std::int32_t index)
{
    PresetFolder* const chosen = presetMenu ? presetMenu->find(menu) : nullptr;
    if (chosen == nullptr)
        return;
    previousFolderMenu = folderMenu;
    previousPresetIndex = presetIndex;
    setPresetPlace(chosen, index);
    selectPreset();
}

void FlagEd::stepPreset(std::int32_t step)
{
    previousFolderMenu = folderMenu; // undo goes back to where the step began
    previousPresetIndex = presetIndex;
    presetIndex = presetIndex + step;
    selectPreset();
}

void FlagEd::setPresetPlace(PresetFolder* menu, std::int32_t index)
{
    folderMenu = menu;
    presetIndex = index;
    setLastPresetFolder(menu != nullptr ? menu->getPath() : "");
    effect.markChunkDirty();
}

const PresetFolder::Entry* FlagEd::moveToEntry()
{
    if (folderMenu == nullptr) {
        if (!presetMenu)
            return nullptr;
        setPresetPlace(presetMenu.get(), 0);
    }
    const std::int32_t wanted = presetIndex;
    const std::int32_t reached = std::max(std::min(wanted, folderMenu->getCount() - 1), 0);
    presetIndex = reached;
    effect.markChunkDirty();
    if (reached != wanted || reached >= folderMenu->getCount())
        return nullptr;
    const PresetFolder::Entry& entry = folderMenu->getEntry(reached);
    return entry.folder ? nullptr : &entry;
}

void FlagEd::selectPreset()
{
    const PresetFolder::Entry* const entry = moveToEntry();
    const auto bytes =
        entry != nullptr ? host::readUserFile(folderMenu->filePaths(*entry), host::kMostChunkBytes) : std::nullopt;
    if (bytes) {
        const std::string place = previousFolderMenu != nullptr ? previousFolderMenu->getPath() : "";
        const bool isKept = pushSnapshot(undo, previousPresetIndex, place);
        loadInPlace(*bytes, false);
        effect.setProgramName(entry->title.c_str());
        markLoad(host::markerBankSnapshot, isKept);
    }
    updatePresetButtons();
}

void FlagEd::loadInPlace(const std::string& chunk, bool isPreset)
{
    const std::int32_t index = presetIndex;
    const std::string folder = getLastPresetFolder();
    const bool rescan = presetRescan;
    effect.setChunk(chunk.data(), static_cast<std::int32_t>(chunk.size()), isPreset);
    presetIndex = index;
    setLastPresetFolder(folder);
    presetRescan = rescan;
    effect.markChunkDirty();
}

void FlagEd::markLoad(std::int32_t marker, bool isKept)
{
    if (isKept) { // else the marker would take back the load before
        beginEdit(marker);
        endEdit(marker);
    }
    redo.clear();
}

void FlagEd::updatePresetButtons()
{
    presetNameDirty = true;
    if (folderMenu == nullptr) { // the first step goes to the first preset
        buttons.presetPrev = false;
        buttons.presetNext = presetMenu && presetMenu->getCount() > 0;
        return;
    }
    const std::int32_t index = presetIndex;
    buttons.presetPrev = index > 0;
    buttons.presetNext = index < folderMenu->getCount() - 1 && !folderMenu->getEntry(std::max(index + 1, 0)).folder;
}

void FlagEd::savePreset(const std::string& extension, bool isPreset)
{
    if (fileDialog == nullptr)
        return;
    std::array<char, 64> name{};
    effect.getProgramName(name.data());
    std::string fileName = name.data();
    std::replace(fileName.begin(), fileName.end(), '/', '-'); // "A/B" is a name, not a folder
    if (fileName.empty() || fileName.front() == '.')          // the menus don't list hidden files
        fileName.insert(0, "Preset");
    const std::string root = presetRoots().front();
    platform::makeFolders(root); // a new user has none
    fileDialog->choose(
        {"Choose destination filename", root + fileName + "." + extension, extension, true},
        [this, extension, isPreset](const std::string& path) { savePresetTo(path, extension, isPreset); });
}

void FlagEd::savePresetTo(const std::string& path, const std::string& extension, bool isPreset)
{
    setLastPresetFolder(folderMenu != nullptr ? folderMenu->getPath() : "");
    effect.markChunkDirty();
    setProgramNameFromFile(path, extension);
    host::writeUserFile(path, effect.copyChunk(isPreset));
    presetRescan = true;
}

void FlagEd::loadPreset(const std::string& extension)
{
    if (fileDialog != nullptr)
        fileDialog->choose({"Select preset file", "~/Desktop", extension, false},
                           [this](const std::string& path) { loadPresetFrom(path); });
}

void FlagEd::loadPresetFrom(const std::string& path)
{
    const auto bytes = host::readUserFile({&path, 1}, host::kMostChunkBytes);
    if (!bytes)
        return;
    const std::string_view fileName = std::string_view(path).substr(path.rfind('/') + 1);
    const bool isBank = fileName.substr(fileName.rfind('.') + 1) == kBankExtension;
    // All of the state, also for a preset: the bank that the file names becomes the current one.
    const bool isKept = pushSnapshot(undo, -1, "");
    loadInPlace(*bytes, !isBank);
    setProgramNameFromFile(path, isBank ? kBankExtension : PresetFolder::kExtension);
    markLoad(isBank ? host::markerBankSnapshot : host::markerPresetSnapshot, isKept);
    updatePresetButtons();
}

void FlagEd::setPresetName(const char* name)
{
    effect.setProgramName(name);
    presetNameDirty = presetMenu != nullptr;
}

/// Names the program after a file; one of another kind leaves the name alone.
void FlagEd::setProgramNameFromFile(const std::string& path, std::string_view extension)
{
    const std::size_t slash = path.rfind('/');
    const std::size_t dot = path.rfind('.');
    if (slash == std::string::npos || dot == std::string::npos || dot < slash || path.substr(dot + 1) != extension)
        return;
    effect.setProgramName(path.substr(slash + 1, dot - slash - 1).c_str());
}

} // namespace sorvane::editor
