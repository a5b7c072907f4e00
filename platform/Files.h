#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct stat;

namespace sorvane::platform {

/// Whole files and folders by their paths, which are bytes as the system takes them. Any thread but the audio thread.
/// What fails leaves the reason in errno.

/// A plain file's bytes. Never a device's or a pipe's, which may block or never end.
/// \param mostBytes  a longer file isn't read: EFBIG
[[nodiscard]] std::optional<std::string> readFile(const std::string& path, std::size_t mostBytes);

/// Gives the file that is to replace an old one the owner, group and rights of that; where the owner or group can't be
/// had, it isn't readable to more than before.
/// \param file  the new file's descriptor
/// \param old   of the old file, as stat tells it
void passOwnership(int file, const struct stat& old);

/// Makes a file hold these bytes, or leaves it as it was: at any moment, also when the process is killed or the disk is
/// full, it is the old one or the new one, whole. Of several writers at once the last one wins.
///
/// An old file passes its rights on, and one without the right to write is left alone. A symbolic link stays and its
/// target is written. Folders aren't made. A killed process may leave a ".sorvane-" file beside it.
/// \return whether it holds them now
[[nodiscard]] bool writeFile(const std::string& path, std::string_view bytes);

struct FolderEntry {
    std::string name;
    bool isFolder; ///< or a symbolic link to one
};

/// What a folder holds but "." and "..", in no order; empty when it can't be listed.
[[nodiscard]] std::vector<FolderEntry> listFolder(const std::string& path);

/// Makes a folder with all those above it. \return whether it is there now
bool makeFolders(const std::string& path);

} // namespace sorvane::platform
