#include "UserFile.h"

#include "Alerts.h"
#include "Files.h"

#include <cerrno>

namespace sorvane::host {

namespace {

void addAlert(const std::string& path, bool saving)
{
    Alerts::instance().add("Kestrune : File Access Error",
                           std::string("Failed to ") + (saving ? "write to" : "read from") + " file " + path +
                               "\nThis is often due to permissions settings\nYour data has not been " +
                               (saving ? "saved" : "loaded"));
}

bool isMissing(int reason)
{
    return reason == ENOENT || reason == ENOTDIR;
}

} // namespace

std::optional<std::string> readFirstFile(std::span<const std::string> paths, std::size_t mostBytes, std::string* failed)
{
    for (const std::string& path : paths) {
        auto bytes = platform::readFile(path, mostBytes);
        if (bytes)
            return bytes;
        if (const int reason = errno; !isMissing(reason) || &path == &paths.back()) {
            if (failed != nullptr)
                *failed = isMissing(reason) ? paths.front() : path;
            errno = reason;
            break;
        }
    }
    return std::nullopt;
}

std::optional<std::string> readUserFile(std::span<const std::string> paths, std::size_t mostBytes)
{
    std::string failed;
    auto bytes = readFirstFile(paths, mostBytes, &failed);
    if (!bytes && errno != ENOMEM)
        addAlert(failed, false);
    return bytes;
}

bool writeUserFile(const std::string& path, std::string_view bytes)
{
    if (platform::writeFile(path, bytes))
        return true;
    addAlert(path, true);
    return false;
}

} // namespace sorvane::host
