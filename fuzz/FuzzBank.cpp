// The default bank's file as anybody may have written it, and what the preferences pane does with it.

#include "DefaultBank.h"
#include "EditedEffect.h"
#include "UIPreferences.h"

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace sorvane;
    static const test::TestFolder folder;
    static test::EditedEffect effect(folder.path.string());
    std::filesystem::create_directories(std::filesystem::path(effect.bankPath).parent_path());
    test::makeFile(effect.bankPath, {reinterpret_cast<const char*>(data), size});

    editor::UIPreferences pane(effect, effect.ed->getUIPrefs(), [] {});
    pane.restoreDefault("Graph");
    pane.restoreAllDefaults();
    const bool hadPreferences = cJSON_HasObjectItem(editor::readDefaultBank(effect).get(), "uiprefs") != 0;
    pane.saveAsDefault("Analyser");
    pane.saveAllAsDefault();
    const std::string saved = test::contents(effect.bankPath);
    if (!hadPreferences && saved != std::string_view(reinterpret_cast<const char*>(data), size))
        std::abort(); // a file that it can't use stays as it is
    if (hadPreferences && !host::parseJSON(saved))
        std::abort();
    return 0;
}
