#include "InstallPath.h"

#include "Store.h"
#include "UserFolders.h"

#include <algorithm>
#include <cstdlib>
#include <optional>

namespace sorvane::state {

namespace {

constexpr const char* kOurFolder = "/Kestrune/Sorvane";

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
    const char* const elsewhere = std::getenv("SORVANE_DATA_FOLDER"); // NOLINT(concurrency-mt-unsafe): the one way
    folders.emplace_back(elsewhere != nullptr ? elsewhere : SORVANE_DATA_FOLDER);
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
