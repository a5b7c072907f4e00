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

UIPreferences::UIPreferences(host::PlugBaseJSON& owner, UIPrefs& shown, std::function<void()> changed)
    : effect(owner), uiPrefs(shown), notify(std::move(changed))
{
    uiPrefs.setDefaults();
    effect.markChunkDirty();
}

void UIPreferences::setOption(const std::string& category, const std::string& entry, std::int32_t option)
{
    uiPrefs.setUISetting(category.c_str(), entry.c_str(), option);
    notify();
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
    const cJSON* const stored = cJSON_GetObjectItem(bank.get(), kMember);
    if (stored == nullptr)
        return;
    uiPrefs.mergeCategory(category.c_str(), stored);
    notify();
}

void UIPreferences::restoreAllDefaults()
{
    const host::JSONTree bank = readDefaultBank(effect);
    const cJSON* const stored = cJSON_GetObjectItem(bank.get(), kMember);
    if (stored == nullptr)
        return;
    uiPrefs.merge(stored);
    notify();
}

void UIPreferences::pasteAllSettings(const std::string& category)
{
    if (clipboard.empty())
        return;
    uiPrefs.propagate(clipboard.c_str(), category.c_str());
    notify();
}

void UIPreferences::propagateToAll(const std::string& category)
{
    uiPrefs.propagate(category.c_str(), nullptr);
    notify();
}

} // namespace sorvane::editor
