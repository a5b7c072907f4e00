#include "UserFolders.h"

#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <string_view>

namespace sorvane::platform {

namespace {

/// The path without slashes at its end; empty unless it is absolute.
std::string absolute(std::string_view path)
{
    if (path.empty() || path.front() != '/')
        return {};
    return std::string(path.substr(0, path.find_last_not_of('/') + 1));
}

std::string environment(const char* name)
{
    const char* const value = std::getenv(name); // NOLINT(concurrency-mt-unsafe): there is no other way to ask
    return value != nullptr ? value : "";
}

std::string home()
{
    std::string folder = absolute(environment("HOME"));
    if (!folder.empty())
        return folder;
    passwd entry{};
    passwd* found = nullptr;
    std::array<char, 4096> texts{};
    if (::getpwuid_r(::getuid(), &entry, texts.data(), texts.size(), &found) == 0 && found != nullptr &&
        found->pw_dir != nullptr)
        return absolute(found->pw_dir);
    return {};
}

std::string userFolder(const char* variable, const char* belowHome)
{
    std::string folder = absolute(environment(variable));
    if (!folder.empty())
        return folder;
    folder = home();
    return folder.empty() ? folder : folder + belowHome;
}

} // namespace

std::string userConfigFolder()
{
    return userFolder("XDG_CONFIG_HOME", "/.config");
}

std::string userDataFolder()
{
    return userFolder("XDG_DATA_HOME", "/.local/share");
}

std::vector<std::string> sharedDataFolders()
{
    std::string list = environment("XDG_DATA_DIRS");
    if (list.empty())
        list = "/usr/local/share:/usr/share";
    std::vector<std::string> folders;
    for (std::string_view rest = list; !rest.empty();) {
        const std::size_t colon = rest.find(':');
        std::string folder = absolute(rest.substr(0, colon));
        if (!folder.empty())
            folders.push_back(std::move(folder));
        rest = colon == std::string_view::npos ? std::string_view() : rest.substr(colon + 1);
    }
    return folders;
}

} // namespace sorvane::platform
