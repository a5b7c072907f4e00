#include "DefaultBank.h"

#include "Files.h"
#include "InstallPath.h"
#include "UserFile.h"

#include <cerrno>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sorvane::editor {

namespace {

bool store(const host::PlugBaseJSON& effect, std::string_view bytes)
{
    const std::string path = effect.getDefaultBankPath();
    const std::size_t slash = path.rfind('/');
    return !bytes.empty() && slash != std::string::npos && platform::makeFolders(path.substr(0, slash)) &&
           platform::writeFile(path, bytes);
}

/// The default bank's bytes: the user's, else the package's.
std::optional<std::string> load(const host::PlugBaseJSON& effect)
{
    const std::string path = effect.getDefaultBankPath();
    std::vector<std::string> places{path};
    for (const std::string& folder : state::packageFolders())
        places.push_back(folder + path.substr(path.rfind('/')));
    return host::readFirstFile(places, host::kMostChunkBytes);
}

} // namespace

bool saveDefaultBank(host::PlugBaseJSON& effect)
{
    return store(effect, effect.copyChunk(false));
}

host::JSONTree readDefaultBank(host::PlugBaseJSON& effect)
{
    if (effect.getDefaultBankPath().find('/') == std::string::npos)
        return nullptr;
    std::optional<std::string> bytes = load(effect);
    const bool isMissing = !bytes && (errno == ENOENT || errno == ENOTDIR); // else it is the user's, and stays
    if (isMissing && saveDefaultBank(effect))
        bytes = load(effect);
    return bytes ? host::parseJSON(host::inflateChunk(*bytes)) : nullptr;
}

bool writeDefaultBank(const host::PlugBaseJSON& effect, const cJSON& root)
{
    return store(effect, host::printJSON(root, true));
}

} // namespace sorvane::editor
