#include "OutputFile.h"

#include "Files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <system_error>
#include <utility>

namespace sorvane::tools {

namespace fs = std::filesystem;

namespace {

constexpr int kMostLinks = 40; ///< that are followed, as the kernel does

std::string messageOf(int error)
{
    return std::generic_category().message(error);
}

/// Where a name leads: through links, and also when nothing is there yet.
fs::path resolved(const std::string& path)
{
    std::error_code error;
    fs::path target = fs::absolute(path, error);
    for (int links = 0; links < kMostLinks && fs::is_symlink(target, error); ++links)
        target = target.parent_path() / fs::read_symlink(target, error);
    const fs::path canonical = fs::weakly_canonical(target, error);
    return error ? target : canonical;
}

fs::path folderOf(const fs::path& target)
{
    return target.has_parent_path() ? target.parent_path() : fs::path(".");
}

/// Gives a file the owner and rights of the one that it replaces, else those that the user grants to new ones.
void setRights(int file, const std::string& target)
{
    struct stat old {};
    if (::stat(target.c_str(), &old) == 0)
        return platform::passOwnership(file, old);
    const mode_t withheld = ::umask(0);
    ::umask(withheld);
    (void)!::fchmod(file, 0666U & ~withheld); // some file systems have none
}

} // namespace

OutputFile::OutputFile(std::string filePath) : name(std::move(filePath)), target(resolved(name).string())
{
    requireWritable(name);
    std::string path = (folderOf(target) / ".sorvane-XXXXXX").string();
    file = ::mkostemp(path.data(), O_CLOEXEC);
    if (file < 0)
        fail(messageOf(errno));
    temporary = path;
}

OutputFile::~OutputFile()
{
    if (file >= 0)
        ::close(file);
    if (!temporary.empty())
        ::unlink(temporary.c_str());
}

std::size_t OutputFile::write(const void* bytes, std::size_t count) noexcept
{
    std::size_t done = 0;
    while (done < count && !failed()) {
        const ssize_t written = ::write(file, static_cast<const char*>(bytes) + done, count - done);
        if (written >= 0)
            done += static_cast<std::size_t>(written);
        else if (errno != EINTR)
            firstError = errno;
    }
    return done;
}

void OutputFile::commit()
{
    if (failed())
        fail({});
    setRights(file, target);
    // A network file system may tell of a full disk only now.
    if ((::fsync(file) != 0 && errno != EINVAL) || ::close(std::exchange(file, -1)) != 0 ||
        std::rename(temporary.c_str(), target.c_str()) != 0)
        fail(messageOf(errno));
    temporary.clear();
}

void OutputFile::fail(const std::string& reason) const
{
    throw Failure(ExitCode::output, name + ": can't be written (" + (failed() ? messageOf(firstError) : reason) + ")");
}

void writeFile(const std::string& path, std::string_view bytes)
{
    if (path == "-") {
        std::cout << bytes;
        return;
    }
    OutputFile file(path);
    file.write(bytes.data(), bytes.size());
    file.commit();
}

void requireWritable(const std::string& path)
{
    const auto refuse = [&](const std::string& reason) {
        throw Failure(ExitCode::output, path + ": can't be written (" + reason + ")");
    };
    if (path == "-")
        return;
    const fs::path target = resolved(path);
    const fs::path folder = folderOf(target);
    std::error_code error;
    const bool isThere = fs::exists(target, error);
    if (error)
        refuse(error.message());
    if (isThere && !fs::is_regular_file(target, error))
        refuse("not a plain file");
    if (isThere && ::access(target.c_str(), W_OK) != 0)
        refuse(messageOf(errno));
    if (!fs::is_directory(folder, error))
        refuse("no folder " + folder.string());
    if (::access(folder.c_str(), W_OK) != 0)
        refuse("folder " + folder.string() + ": " + messageOf(errno));
}

bool isSameFile(const std::string& a, const std::string& b)
{
    std::error_code error;
    return fs::equivalent(a, b, error) || resolved(a) == resolved(b);
}

} // namespace sorvane::tools
