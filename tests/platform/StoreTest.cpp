// Where a user's texts and files are looked for.

#include "Store.h"
#include "InstallPath.h"
#include "Resources.h"
#include "TestFolder.h"
#include "UserFolders.h"

#include <gtest/gtest.h>

#include <vector>

namespace sorvane::test {
namespace {

TEST(UserFolders, FollowTheEnvironment)
{
    const ScopedVariable home("HOME", "/home/someone/");
    struct Case {
        const char* value;
        std::string config;
        std::string data;
        std::vector<std::string> shared;
    };
    const std::vector<std::string> usual = {"/usr/local/share", "/usr/share"};
    const Case cases[] = {
        {nullptr, "/home/someone/.config", "/home/someone/.local/share", usual},
        {"", "/home/someone/.config", "/home/someone/.local/share", usual},
        {"relative/x", "/home/someone/.config", "/home/someone/.local/share", {}},
        {"/a b//", "/a b", "/a b", {"/a b"}},
    };
    for (const Case& c : cases) {
        const ScopedVariable config("XDG_CONFIG_HOME", c.value);
        const ScopedVariable data("XDG_DATA_HOME", c.value);
        const ScopedVariable shared("XDG_DATA_DIRS", c.value);
        EXPECT_EQ(platform::userConfigFolder(), c.config);
        EXPECT_EQ(platform::userDataFolder(), c.data);
        EXPECT_EQ(platform::sharedDataFolders(), c.shared);
    }
    const ScopedVariable shared("XDG_DATA_DIRS", ":/x:y::/z/:/x");
    EXPECT_EQ(platform::sharedDataFolders(), (std::vector<std::string>{"/x", "/z", "/x"}));
    const ScopedVariable own("SORVANE_DATA_FOLDER", "/own");
    EXPECT_EQ(state::packageFolders(),
              (std::vector<std::string>{"/own/Kestrune/Sorvane", "/x/Kestrune/Sorvane", "/z/Kestrune/Sorvane"}));
}

TEST(Store, KeepsEachTextInAFileOfTheUsers)
{
    const TestFolder folder;
    platform::Store& store = platform::Store::user();
    const ScopedVariable config("XDG_CONFIG_HOME", (folder / "not/yet").c_str());
    EXPECT_FALSE(store.read("globals"));
    EXPECT_TRUE(store.write("globals", "{}"));
    EXPECT_TRUE(store.write("globals", "{\"a\":1}"));
    EXPECT_EQ(contents(folder / "not/yet/Kestrune/Sorvane/globals"), "{\"a\":1}");
    EXPECT_EQ(store.read("globals"), "{\"a\":1}");
    makeFile(folder / "not/yet/Kestrune/Sorvane/big", std::string(platform::Store::kMostBytes + 1, 'x'));
    EXPECT_FALSE(store.read("big"));
    const ScopedVariable impossible("XDG_CONFIG_HOME", "/proc/none");
    EXPECT_FALSE(store.write("globals", "{}"));
    EXPECT_FALSE(store.read("globals"));
}

TEST(InstallPath, IsTheStoredPathOrTheUsersDataFolder)
{
    const TestFolder folder;
    const ScopedVariable config("XDG_CONFIG_HOME", folder.path.c_str());
    const ScopedVariable data("XDG_DATA_HOME", "/data");
    EXPECT_EQ(state::installFolder(), "/data/Kestrune/Sorvane");
    EXPECT_EQ(state::defaultBankPath(), "/data/Kestrune/Sorvane/Default Bank.bnk");
    const std::vector<std::pair<std::string, std::string>> stored = {{"", "/data/Kestrune/Sorvane"},
                                                                     {"/", "/data/Kestrune/Sorvane"},
                                                                     {"/\n", "/data/Kestrune/Sorvane"},
                                                                     {"/o", "/o"},
                                                                     {"/opt/my own/\r\n", "/opt/my own"}};
    for (const auto& [text, expected] : stored) {
        ASSERT_TRUE(platform::Store::user().write("Path", text));
        EXPECT_EQ(state::installFolder(), expected) << text;
        EXPECT_EQ(state::defaultBankPath(), expected + "/Default Bank.bnk");
        EXPECT_EQ(state::presetRootIn(state::installFolder()), expected + "/Presets/");
    }
    EXPECT_EQ(state::presetRootIn("/"), "/Presets/");
}

TEST(Resources, AreFoundByTypeAndName)
{
    const std::string_view found = platform::resource("json", "defaults");
    EXPECT_TRUE(found.starts_with("{\n") && found.ends_with("}\n")) << found;
    EXPECT_NE(platform::resource("json", "uisettings"), found);
    EXPECT_TRUE(platform::resource("json", "default").empty());
    EXPECT_TRUE(platform::resource("JSON", "defaults").empty());
    EXPECT_TRUE(platform::resource("", "").empty());
}

} // namespace
} // namespace sorvane::test
