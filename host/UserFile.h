#pragma once

#include <cstdio>
#include <memory>
#include <string>

namespace sorvane::host {

struct FileCloser {
    void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};

/// An open file that closes itself.
using UserFile = std::unique_ptr<std::FILE, FileCloser>;

/// Opens a file that the user loads from or saves to. A file that can't be opened raises an alert which says so.
/// \param mode  as for fopen; one with "w" means saving
/// \return null on failure; the caller gives up quietly
[[nodiscard]] UserFile openUserFile(const std::string& path, const char* mode);

} // namespace sorvane::host
