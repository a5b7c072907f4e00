// Runs the tests as a user of their own, who has nothing: what they read and write, and the programs that they start,
// is in a folder that goes with the process.

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

namespace {

class OwnUser {
public:
    OwnUser()
    {
        if (std::getenv(kGiven) != nullptr)
            return; // a test's own process, which the test's user has started
        std::string folder = (std::filesystem::temp_directory_path() / "sorvane-tests-XXXXXX").string();
        if (::mkdtemp(folder.data()) == nullptr)
            std::abort();
        home = folder;
        for (const char* const variable :
             {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_DATA_DIRS", "SORVANE_DATA_FOLDER"}) {
            const std::filesystem::path place = home / variable;
            std::filesystem::create_directory(place);
            ::setenv(variable, place.c_str(), 1); // NOLINT(concurrency-mt-unsafe): the only thread yet
        }
        ::setenv(kGiven, "1", 1); // NOLINT(concurrency-mt-unsafe)
    }
    ~OwnUser()
    {
        std::error_code gone;
        if (!home.empty() && ::getpid() == owner) // a child that a test forked leaves it alone
            std::filesystem::remove_all(home, gone);
    }
    OwnUser(const OwnUser&) = delete;
    OwnUser& operator=(const OwnUser&) = delete;

private:
    static constexpr const char* kGiven = "SORVANE_TEST_USER";

    const pid_t owner = ::getpid();
    std::filesystem::path home;
};

} // namespace

int main(int count, char** arguments)
{
    // Static and first, so that it outlives all that the tests leave to the end of the process.
    static const OwnUser user;
    testing::InitGoogleTest(&count, arguments);
    return RUN_ALL_TESTS();
}
