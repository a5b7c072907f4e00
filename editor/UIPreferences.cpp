#include "UIPreferences.h"

#include "DefaultBank.h"

namespace sorvane::editor {

namespace {

constexpr const char* kMember = "uiprefs";

/// Puts a copy in the place of a member. \return whether there was such a member
bool replaceMember(cJSON* object, const char* name, host::JSONTree copy)
{
    if (!copy || cJSON_GetObjectItem(object, name) == nullptr ||
        cJSON_ReplaceItemInObject(object, name, copy.get()) == 0)
        return false;
    (void)copy.release(); // is the object's now
    return true;
}

} // namespace

UIPreferences::UIPreferences(host::PlugBaseJSON& owner, UIPrefs& shown) : effect(owner), uiPrefs(shown)
{
    uiPrefs.setDefaults();
}

void UIPreferences::saveAsDefault(const std::string& category)
{
    const host::JSONTree bank = readDefaultBank(effect);
    cJSON* const stored = cJSON_GetObjectItem(bank.get(), kMember);
    if (replaceMember(stored, category.c_str(), uiPrefs.copyCategory(category.c_str())))
        writeDefaultBank(effect, *bank);
}

void UIPreferences::saveAllAsDefault()
{
    const host::JSONTree bank = readDefaultBank(effect);
    if (replaceMember(bank.get(), kMember, uiPrefs.copy()))
        writeDefaultBank(effect, *bank);
}

void UIPreferences::restoreDefault(const std::string& category)
{
    const host::JSONTree bank = readDefaultBank(effect);
    uiPrefs.mergeCategory(category.c_str(), cJSON_GetObjectItem(bank.get(), kMember));
}

void UIPreferences::restoreAllDefaults()
{
    const host::JSONTree bank = readDefaultBank(effect);
    uiPrefs.merge(cJSON_GetObjectItem(bank.get(), kMember));
}

void UIPreferences::pasteAllSettings(const std::string& category)
{
    if (!clipboard.empty())
        uiPrefs.propagate(clipboard.c_str(), category.c_str());
}

} // namespace sorvane::editor
