#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace sorvane::host {

/// Reads the first file of some places that there is one at; one that can't be read ends the search.
/// \param paths      at least one
/// \param mostBytes  a longer file can't be read
/// \param failed     unless null, is given the path that couldn't be read: the first one when there is no file anywhere
/// \return nothing on failure, and then errno tells why: ENOENT or ENOTDIR when there is none anywhere
[[nodiscard]] std::optional<std::string> readFirstFile(std::span<const std::string> paths, std::size_t mostBytes,
                                                       std::string* failed = nullptr);

/// As readFirstFile, for a file that the user loads: a failure raises an alert, but for want of memory.
/// \return nothing on failure, and then the caller gives up quietly
[[nodiscard]] std::optional<std::string> readUserFile(std::span<const std::string> paths, std::size_t mostBytes);

/// Writes a file that the user saves, whole or not at all. A failure raises an alert.
/// \return whether the file holds the bytes
bool writeUserFile(const std::string& path, std::string_view bytes);

} // namespace sorvane::host
