#include "Files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <filesystem>
#include <new>
#include <system_error>

namespace sorvane::platform {

namespace {

constexpr int kNone = -1;

/// A file descriptor that closes itself and leaves errno as it was.
class Descriptor {
public:
    explicit Descriptor(int opened) : descriptor(opened) {}
    ~Descriptor()
    {
        const int reason = errno;
        if (descriptor != kNone)
            ::close(descriptor);
        errno = reason;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    [[nodiscard]] bool isOpen() const { return descriptor != kNone; }
    [[nodiscard]] int get() const { return descriptor; }

    /// Some file systems tell only here that there was no room.
    [[nodiscard]] bool close()
    {
        const int closing = descriptor;
        descriptor = kNone;
        return ::close(closing) == 0;
    }

private:
    int descriptor;
};

bool fail(int reason)
{
    errno = reason;
    return false;
}

/// A 0 in a path would name another file than the one that was asked for.
bool isPath(const std::string& path)
{
    return path.find('\0') == std::string::npos || fail(EINVAL);
}

bool isPlain(const struct stat& status)
{
    return S_ISREG(status.st_mode) || fail(S_ISDIR(status.st_mode) ? EISDIR : EINVAL);
}

bool readAll(int descriptor, std::size_t mostBytes, std::string& bytes)
{
    std::array<char, 65536> buffer; // NOLINT(*-member-init): filled by read
    for (;;) {
        const ssize_t count = ::read(descriptor, buffer.data(), buffer.size());
        if (count == 0)
            return true;
        if (count < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        if (static_cast<std::size_t>(count) > mostBytes - bytes.size())
            return fail(EFBIG);
        bytes.append(buffer.data(), static_cast<std::size_t>(count));
    }
}

bool writeAll(int descriptor, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
        if (count > 0)
            bytes.remove_prefix(static_cast<std::size_t>(count));
        else if (count == 0)
            return fail(ENOSPC);
        else if (errno != EINTR)
            return false;
    }
    return true;
}

std::string folderOf(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "" : path.substr(0, slash + 1);
}

/// Where a chain of symbolic links ends, also when nothing is there yet. Empty for a circle.
std::string followLinks(std::string path)
{
    constexpr int kMostLinks = 40; // as the kernel
    for (int links = 0; links < kMostLinks; ++links) {
        std::array<char, PATH_MAX> target; // NOLINT(*-member-init): filled by readlink
        const ssize_t length = ::readlink(path.c_str(), target.data(), target.size());
        if (length <= 0)
            return path;
        const std::string_view next(target.data(), static_cast<std::size_t>(length));
        path = next[0] == '/' ? "" : folderOf(path);
        path += next;
    }
    errno = ELOOP;
    return {};
}

/// An empty file of a name of its own, so that two writers never share one.
int createBeside(const std::string& path, mode_t mode, std::string& created)
{
    static std::atomic<unsigned> serial{0};
    constexpr int kMostTries = 10000; // past what killed processes left
    for (int tries = 0; tries < kMostTries; ++tries) {
        created = folderOf(path) + ".sorvane-" + std::to_string(::getpid()) + '-' + std::to_string(serial++);
        const int descriptor = ::open(created.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
        if (descriptor != kNone || errno != EEXIST)
            return descriptor;
    }
    return kNone;
}

/// \param old  the file that is to be replaced, or null
bool replace(const std::string& path, const struct stat* old, std::string_view bytes)
{
    const mode_t rights = old != nullptr ? old->st_mode & 0777 : 0666;
    std::string temporary;
    Descriptor file(createBeside(path, rights, temporary));
    if (!file.isOpen())
        return false;
    if (old != nullptr)
        passOwnership(file.get(), *old);
    if (writeAll(file.get(), bytes) && ::fsync(file.get()) == 0 && file.close() &&
        ::rename(temporary.c_str(), path.c_str()) == 0)
        return true;
    const int reason = errno;
    ::unlink(temporary.c_str());
    return fail(reason);
}

} // namespace

std::optional<std::string> readFile(const std::string& path, std::size_t mostBytes)
{
    // Looked at before it is opened: to open a device is to do something to it.
    struct stat status {};
    if (!isPath(path) || ::stat(path.c_str(), &status) != 0 || !isPlain(status))
        return std::nullopt;
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!file.isOpen() || ::fstat(file.get(), &status) != 0 || !isPlain(status))
        return std::nullopt;
    const auto size = static_cast<std::size_t>(status.st_size);
    if (size > mostBytes) {
        errno = EFBIG;
        return std::nullopt;
    }
    std::string bytes;
    try {
        bytes.reserve(size);
        if (!readAll(file.get(), mostBytes, bytes))
            return std::nullopt;
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
        return std::nullopt;
    }
    return bytes;
}

void passOwnership(int file, const struct stat& old)
{
    constexpr auto kAnyOwner = static_cast<uid_t>(-1);
    mode_t rights = old.st_mode & 0777;
    // A member of the group can't give a file away, but to the group.
    if (::fchown(file, old.st_uid, old.st_gid) != 0 && ::fchown(file, kAnyOwner, old.st_gid) != 0)
        rights &= ~static_cast<mode_t>(070);
    (void)!::fchmod(file, rights); // some file systems have no rights
}

bool writeFile(const std::string& path, std::string_view bytes)
{
    if (!isPath(path))
        return false;
    const std::string target = followLinks(path);
    if (target.empty())
        return fail(path.empty() ? ENOENT : ELOOP);
    struct stat old {};
    if (::stat(target.c_str(), &old) != 0)
        return errno == ENOENT && replace(target, nullptr, bytes);
    return isPlain(old) && ::faccessat(AT_FDCWD, target.c_str(), W_OK, AT_EACCESS) == 0 && replace(target, &old, bytes);
}

std::vector<FolderEntry> listFolder(const std::string& path)
{
    std::vector<FolderEntry> entries;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(path, error), end; !error && entry != end; entry.increment(error)) {
        std::error_code unknown; // a link that leads nowhere is no folder
        entries.push_back({entry->path().filename().string(), entry->is_directory(unknown)});
    }
    errno = error.value();
    return entries;
}

bool makeFolders(const std::string& path)
{
    std::error_code error;
    std::filesystem::create_directories(path, error);
    std::error_code unknown;
    if (std::filesystem::is_directory(path, unknown))
        return true;
    return fail(error ? error.value() : ENOTDIR);
}

} // namespace sorvane::platform
