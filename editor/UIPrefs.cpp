#include "UIPrefs.h"

#include <cmath>
#include <cstdio>
#include <string>

namespace sorvane::editor {

namespace {

cJSON* member(const cJSON* object, const char* key)
{
    return cJSON_IsObject(object) ? cJSON_GetObjectItem(object, key) : nullptr;
}

/// Finds a member where it stands when both trees are in the same order, else anywhere.
const cJSON* findMember(const cJSON* object, const cJSON* expected, const char* name)
{
    const bool isExpected = expected != nullptr && std::string_view(expected->string) == name;
    return isExpected ? expected : member(object, name);
}

void copyValue(cJSON* entry, const cJSON* source)
{
    cJSON* const value = member(entry, "value");
    const cJSON* const number = member(source, "value");
    if (cJSON_IsNumber(value) && cJSON_IsNumber(number) && std::isfinite(number->valuedouble))
        cJSON_SetNumberValue(value, number->valuedouble);
}

/// Calls \p take(live member, source member) for each member of the live object that the source has too.
template <typename Take>
void matchMembers(cJSON* live, const cJSON* source, Take take)
{
    if (!cJSON_IsObject(live) || !cJSON_IsObject(source))
        return;
    const cJSON* expected = source->child;
    for (cJSON* item = live->child; item != nullptr; item = item->next)
        if (const cJSON* const match = findMember(source, expected, item->string)) {
            take(item, match);
            expected = match->next;
        }
}

void mergeEntries(cJSON* live, const cJSON* source)
{
    matchMembers(live, source, copyValue);
}

void propagateTo(const cJSON* source, cJSON* target)
{
    for (const cJSON* entry = source->child; entry != nullptr; entry = entry->next) {
        const cJSON* const kind = member(entry, "category");
        if (!cJSON_IsNumber(kind))
            continue;
        for (cJSON* other = target->child; other != nullptr; other = other->next) {
            const cJSON* const otherKind = member(other, "category");
            if (cJSON_IsNumber(otherKind) && otherKind->valueint == kind->valueint)
                copyValue(other, entry);
        }
    }
}

} // namespace

UIPrefs::UIPrefs(std::string_view text)
{
    while (!text.empty() && static_cast<unsigned char>(text.front()) <= 32)
        text.remove_prefix(1);
    const char* stopped = text.data();
    tree.reset(cJSON_ParseWithLengthOpts(text.data(), text.size(), &stopped, 0));
    if (!tree) {
        const auto parsed = static_cast<std::size_t>(stopped - text.data());
        std::fprintf(stderr, "uiprefs error ptr:\n\n%s\n", std::string(text.substr(parsed)).c_str());
    }
}

std::int32_t UIPrefs::getUISetting(const char* section, const char* key) const
{
    const std::lock_guard lock(mutex);
    const cJSON* const value = member(member(member(tree.get(), section), key), "value");
    return cJSON_IsNumber(value) ? value->valueint : 0;
}

void UIPrefs::setUISetting(const char* section, const char* key, std::int32_t value)
{
    const std::lock_guard lock(mutex);
    if (cJSON* const number = member(member(member(tree.get(), section), key), "value"))
        cJSON_SetNumberValue(number, value);
}

host::JSONTree UIPrefs::copy() const
{
    const std::lock_guard lock(mutex);
    return host::JSONTree(cJSON_Duplicate(tree.get(), 1));
}

host::JSONTree UIPrefs::copyCategory(const char* category) const
{
    const std::lock_guard lock(mutex);
    return host::JSONTree(cJSON_Duplicate(member(tree.get(), category), 1));
}

void UIPrefs::merge(const cJSON* source)
{
    const std::lock_guard lock(mutex);
    matchMembers(tree.get(), source, mergeEntries);
}

void UIPrefs::mergeCategory(const char* category, const cJSON* source)
{
    const std::lock_guard lock(mutex);
    mergeEntries(member(tree.get(), category), member(source, category));
}

void UIPrefs::setDefaults()
{
    const std::lock_guard lock(mutex);
    for (cJSON* category = tree ? tree->child : nullptr; category != nullptr; category = category->next)
        for (cJSON* entry = category->child; entry != nullptr; entry = entry->next) {
            const cJSON* const value = member(entry, "value");
            if (!cJSON_IsNumber(value))
                continue;
            cJSON_DeleteItemFromObject(entry, "default");
            cJSON_AddNumberToObject(entry, "default", value->valuedouble);
        }
}

void UIPrefs::propagate(const char* source, const char* target)
{
    const std::lock_guard lock(mutex);
    const cJSON* const from = member(tree.get(), source);
    const cJSON* const only = target != nullptr ? member(tree.get(), target) : nullptr;
    if (from == nullptr || (target != nullptr && only == nullptr))
        return;
    for (cJSON* category = tree->child; category != nullptr; category = category->next)
        if (category != from && (only == nullptr || category == only))
            propagateTo(from, category);
}

} // namespace sorvane::editor
