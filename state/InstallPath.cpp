#include "InstallPath.h"

#include "LoadedFile.h"
#include "Store.h"
#include "UserFolders.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <system_error>

namespace sorvane::state {

namespace {

constexpr const char* kOurFolder = "/Kestrune/Sorvane";

/// The share folder beside lib and bin, below which we lie.
std::string ownDataFolder()
{
    constexpr int kDeepest = 5; // <prefix>/lib/<machine>/lv2/Sorvane.lv2/Sorvane.so
    if (const char* const named = std::getenv("SORVANE_DATA_FOLDER")) // NOLINT(concurrency-mt-unsafe): the one way
        return named;
    std::filesystem::path at = platform::loadedFile();
    for (int depth = 0; depth < kDeepest && at.has_relative_path(); ++depth) {
        at = at.parent_path();
        std::string folder = (at / "share").string();
        std::error_code unknown;
        if (std::filesystem::is_directory(folder + kOurFolder, unknown))
            return folder;
    }
    return SORVANE_DATA_FOLDER;
}

} // namespace

std::string installFolder()
{
    std::optional<std::string> path = platform::Store::user().read("Path");
    if (path) {
        path->erase(path->find_last_not_of("\r\n") + 1); // people write this file with an editor
        if (path->size() >= 2) {
            path->erase(std::max<std::size_t>(path->find_last_not_of('/') + 1, 1));
            return *path;
        }
    }
    const std::string data = platform::userDataFolder();
    return data.empty() ? data : data + kOurFolder;
}

std::vector<std::string> packageFolders()
{
    std::vector<std::string> folders = platform::sharedDataFolders();
    folders.insert(folders.begin(), ownDataFolder());
    std::vector<std::string> found;
    for (const std::string& shared : folders) {
        std::string folder = shared + kOurFolder;
        if (std::find(found.begin(), found.end(), folder) == found.end())
            found.push_back(std::move(folder));
    }
    return found;
}

std::string presetRootIn(const std::string& folder)
{
    return folder.empty() ? folder : folder + (folder.ends_with('/') ? "" : "/") + "Presets/";
}

const std::string& presetRoot()
{
    static const std::string root = presetRootIn(installFolder());
    return root;
}

std::string defaultBankPath()
{
    const std::string folder = installFolder();
    return folder.empty() ? folder : folder + "/Default Bank.bnk";
}

} // namespace sorvane::state
