// Whole files: that a save is the old file or the new one whatever comes between, and what is read and listed.

#include "Files.h"
#include "TestFolder.h"

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <map>
#include <random>
#include <thread>

namespace sorvane::test {
namespace {

namespace fs = std::filesystem;
using platform::readFile;
using platform::writeFile;

constexpr std::size_t kMegabyte = 1 << 20;

unsigned rightsOf(const std::string& path)
{
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0U;
}

/// What a check gave in a child process, which may give up its rights: 0 for true.
int inChild(const std::function<bool()>& check)
{
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(check() ? 0 : 1);
    int status = -1;
    ::waitpid(child, &status, 0);
    return status;
}

TEST(Files, ReadsPlainFilesWholeAndNothingElse)
{
    const TestFolder folder;
    const std::string file = folder / "file";
    std::string bytes(3 * kMegabyte + 7, '\0');
    std::generate(bytes.begin(), bytes.end(), std::minstd_rand(1));
    for (const std::string& content : {std::string(), std::string("\0", 1), bytes}) {
        ASSERT_TRUE(writeFile(file, content));
        EXPECT_EQ(contents(file), content);
        EXPECT_EQ(readFile(file, content.size()), content);
    }
    EXPECT_FALSE(readFile(file, bytes.size() - 1));
    EXPECT_EQ(errno, EFBIG);
    EXPECT_TRUE(readFile("/proc/self/status", kMegabyte)) << "its size is 0 as the system tells it";
    EXPECT_FALSE(readFile("/proc/self/status", 10));

    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    const std::map<std::string, int> refused = {{folder.path.string(), EISDIR},
                                                {folder / "pipe", EINVAL},
                                                {"/dev/zero", EINVAL},
                                                {folder / "none", ENOENT},
                                                {"", ENOENT},
                                                {file + std::string("\0x", 2), EINVAL},
                                                {folder / "none/file", ENOENT},
                                                {file + "/file", ENOTDIR}};
    for (const auto& [path, reason] : refused) {
        errno = 0;
        EXPECT_FALSE(readFile(path, kMegabyte)) << path;
        EXPECT_EQ(errno, reason) << path;
        if (path == folder / "none" || path == "/dev/zero")
            continue; // can be written; a fault must not reach the machine's own, and the pipe shows the same
        errno = 0;
        EXPECT_FALSE(writeFile(path, "x")) << path;
        EXPECT_EQ(errno, reason) << path;
    }
    EXPECT_EQ(contents(file), bytes);
    EXPECT_EQ(folder.count(), 2);
}

TEST(Files, WriteKeepsRightsAndLinks)
{
    const TestFolder folder;
    const std::string file = folder / "file";
    const mode_t before = ::umask(027);
    EXPECT_TRUE(writeFile(file, "new"));
    EXPECT_EQ(rightsOf(file), 0640U);
    for (const mode_t rights : {0600U, 0755U, 0666U}) {
        ASSERT_EQ(::chmod(file.c_str(), rights), 0);
        EXPECT_TRUE(writeFile(file, std::to_string(rights)));
        EXPECT_EQ(rightsOf(file), rights);
    }
    ::umask(before);

    fs::create_directory(folder / "sub");
    fs::create_symlink("../file", folder / "sub/link");
    fs::create_symlink("sub/link", folder / "chain");
    fs::create_symlink("sub/later", folder / "dangling");
    fs::create_symlink("circle", folder / "circle");
    EXPECT_TRUE(writeFile(folder / "chain", "through"));
    EXPECT_EQ(contents(file), "through");
    EXPECT_EQ(rightsOf(file), 0666U);
    EXPECT_TRUE(writeFile(folder / "dangling", "made"));
    EXPECT_EQ(contents(folder / "sub/later"), "made");
    EXPECT_TRUE(fs::is_symlink(folder / "chain") && fs::is_symlink(folder / "sub/link") &&
                fs::is_symlink(folder / "dangling"));
    EXPECT_FALSE(writeFile(folder / "circle", "x"));
    EXPECT_EQ(errno, ELOOP);
    EXPECT_EQ(folder.count(), 5) << "no temporary file stays";
}

TEST(Files, FailedWriteLeavesTheOldFile)
{
    const TestFolder folder;
    const std::string file = folder / "file";
    makeFile(file, "old");
    // A disk that is full after some bytes.
    EXPECT_EQ(inChild([&] {
                  const rlimit limit = {100000, 100000};
                  std::signal(SIGXFSZ, SIG_IGN);
                  return ::setrlimit(RLIMIT_FSIZE, &limit) == 0 && !writeFile(file, std::string(kMegabyte, 'x')) &&
                         errno == EFBIG;
              }),
              0);
    EXPECT_EQ(contents(file), "old");
    EXPECT_EQ(folder.count(), 1);

    const auto asNobody = [] { return ::geteuid() != 0 || ::seteuid(65534) == 0; };
    ASSERT_EQ(::chmod(file.c_str(), 0666), 0);
    ASSERT_EQ(::chmod(folder.path.c_str(), 0555), 0);
    EXPECT_EQ(inChild([&] { return asNobody() && !writeFile(file, "x") && errno == EACCES; }), 0);
    ASSERT_EQ(::chmod(folder.path.c_str(), 0777), 0);
    ASSERT_EQ(::chmod(file.c_str(), 0444), 0);
    EXPECT_EQ(inChild([&] { return asNobody() && !writeFile(file, "x") && errno == EACCES; }), 0)
        << "a file that its owner protected";
    EXPECT_EQ(contents(file), "old");
    EXPECT_EQ(folder.count(), 1);
}

/// A content that tells by its first byte what the rest must be.
std::string wholeText(char c)
{
    return std::string(20000 + 500 * static_cast<std::size_t>(c), c);
}

[[noreturn]] void saveForever(const std::string& file, char first)
{
    for (char c = first;; c = static_cast<char>(c == first + 9 ? first : c + 1))
        if (!writeFile(file, wholeText(c)))
            ::_exit(1);
}

TEST(Files, KilledAndCompetingWritersNeverTearAFile)
{
    const char* const wanted = std::getenv("SORVANE_KILLS");
    const int kills = wanted != nullptr ? std::atoi(wanted) : 150;
    const TestFolder folder;
    const std::string file = folder / "file";
    makeFile(file, wholeText('a'));
    std::minstd_rand random(7);
    std::map<char, int> seen;
    for (int round = 0; round < kills / 2; ++round) {
        std::array<pid_t, 2> writers{};
        for (std::size_t w = 0; w < writers.size(); ++w) {
            writers[w] = ::fork();
            if (writers[w] == 0)
                saveForever(file, w == 0 ? 'a' : 'p');
        }
        const auto stop = std::chrono::steady_clock::now() + std::chrono::microseconds(random() % 12000);
        bool whole = true;
        do {
            const std::string text = contents(file);
            whole = !text.empty() && text == wholeText(text[0]);
            ++seen[text.empty() ? '\0' : text[0]];
        } while (whole && std::chrono::steady_clock::now() < stop);
        for (const pid_t writer : writers) {
            ::kill(writer, SIGKILL);
            int status = 0;
            ::waitpid(writer, &status, 0);
            EXPECT_TRUE(WIFSIGNALED(status)) << "a save failed";
        }
        const std::string left = contents(file);
        ASSERT_TRUE(whole && !left.empty() && left == wholeText(left[0])) << "round " << round;
        for (const platform::FolderEntry& entry : platform::listFolder(folder.path.string()))
            if (entry.name != "file")
                fs::remove(folder / entry.name);
    }
    EXPECT_GT(seen.size(), 4U) << "both wrote while the file was watched";
}

TEST(Files, FoldersAreListedAndMade)
{
    const TestFolder folder;
    EXPECT_TRUE(platform::makeFolders(folder / "a/b/c/"));
    EXPECT_TRUE(platform::makeFolders(folder / "a/b"));
    makeFile(folder / "a/.hidden \xC3\xBC", "x");
    fs::create_symlink("b", folder / "a/to folder");
    fs::create_symlink(".hidden \xC3\xBC", folder / "a/to file");
    fs::create_symlink("nowhere", folder / "a/to nothing");
    std::map<std::string, bool> listed;
    for (const platform::FolderEntry& entry : platform::listFolder(folder / "a"))
        EXPECT_TRUE(listed.emplace(entry.name, entry.isFolder).second);
    const std::map<std::string, bool> expected = {
        {"b", true}, {".hidden \xC3\xBC", false}, {"to folder", true}, {"to file", false}, {"to nothing", false}};
    EXPECT_EQ(listed, expected);
    EXPECT_TRUE(platform::listFolder(folder / "a/b/c").empty());
    EXPECT_TRUE(platform::listFolder(folder / "none").empty());
    EXPECT_TRUE(platform::listFolder(folder / "a/to file").empty());
    EXPECT_FALSE(platform::makeFolders(folder / "a/to file/d"));
    EXPECT_FALSE(platform::makeFolders(folder / "a/to file"));
    EXPECT_FALSE(platform::makeFolders(""));
    EXPECT_FALSE(platform::makeFolders("/proc/none"));
}

} // namespace
} // namespace sorvane::test
