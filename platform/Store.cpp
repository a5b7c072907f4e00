#include "Store.h"

#include "Files.h"
#include "NeverDestroyed.h"
#include "UserFolders.h"

namespace sorvane::platform {

namespace {

class UserStore final : public Store {
public:
    [[nodiscard]] std::optional<std::string> read(const std::string& name) override
    {
        const std::string folder = storeFolder();
        return folder.empty() ? std::nullopt : readFile(folder + name, kMostBytes);
    }

    [[nodiscard]] bool write(const std::string& name, std::string_view text) override
    {
        const std::string folder = storeFolder();
        return !folder.empty() && makeFolders(folder) && writeFile(folder + name, text);
    }

private:
    static std::string storeFolder()
    {
        const std::string folder = userConfigFolder();
        return folder.empty() ? folder : folder + "/Kestrune/Sorvane/";
    }
};

} // namespace

Store& Store::user()
{
    static NeverDestroyed<UserStore> store;
    return store.get();
}

} // namespace sorvane::platform
