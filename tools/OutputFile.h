#pragma once

#include "Failure.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace sorvane::tools {

/// A file that appears under its name only when it is complete: it is written under a short name in the same folder and
/// renamed by commit. Whatever ends the writing earlier leaves no file, and an older one of that name as it was. A link
/// is written through to where it leads; a file that is replaced keeps its rights.
class OutputFile {
public:
    /// Throws Failure (output).
    explicit OutputFile(std::string filePath);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// Writes at the current place. \return bytes written; with fewer than \p count, failed says so from then on
    std::size_t write(const void* bytes, std::size_t count) noexcept;
    [[nodiscard]] bool failed() const { return firstError != 0; }
    [[nodiscard]] int descriptor() const { return file; }

    /// Throws Failure (output) when a write failed, too.
    void commit();
    /// Throws Failure (output) with the error of the first failed write, else with \p reason.
    [[noreturn]] void fail(const std::string& reason) const;

private:
    std::string name;      // as the user wrote it
    std::string target;    // where it ends, links followed
    std::string temporary; // empty when there is none to remove
    int file = -1;
    int firstError = 0;
};

/// Writes the whole of a file or nothing; `-` is standard output. Throws Failure (output).
void writeFile(const std::string& path, std::string_view bytes);

/// What goes to \p path must be possible; asked before hours of work. Throws Failure (output).
void requireWritable(const std::string& path);

/// Whether two names lead to one file, by links of either kind too. It doesn't need to be there yet.
[[nodiscard]] bool isSameFile(const std::string& a, const std::string& b);

} // namespace sorvane::tools
