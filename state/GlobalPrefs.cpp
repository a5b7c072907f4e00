#include "GlobalPrefs.h"

#include "NeverDestroyed.h"

#include <algorithm>
#include <array>

namespace sorvane::state {

namespace {

constexpr const char* kGlobals = "globals";
constexpr std::size_t kMostGlobalsBytes = 8192;

/// A parsed text that is an object; null for any other.
host::JSONTree parseObject(std::string_view text)
{
    host::JSONTree tree = host::parseJSON(text);
    return cJSON_IsObject(tree.get()) ? std::move(tree) : nullptr;
}

bool addNumber(cJSON& object, const char* key, std::int32_t number)
{
    return cJSON_AddNumberToObject(&object, key, number) != nullptr;
}

/// The option that a preference of the schema has at first; null if it names none.
const cJSON* defaultOption(const cJSON* preference)
{
    const cJSON* const value = cJSON_GetObjectItem(preference, "value");
    return cJSON_IsNumber(value) ? value : nullptr;
}

} // namespace

GlobalPrefs::GlobalPrefs(platform::Store& userStore) : store(userStore)
{
    readValues();
}

void GlobalPrefs::readValues()
{
    std::array<char, kMostGlobalsBytes> text; // NOLINT(*-member-init): filled by the read
    if (readRegistryValue(kGlobals, text))
        values = parseObject(text.data());
    wasRead = true;
}

void GlobalPrefs::freeTrees()
{
    const std::lock_guard lock(mutex);
    values.reset();
    defaults.reset();
    wasRead = false;
}

GlobalPrefs& GlobalPrefs::instance()
{
    static platform::NeverDestroyed<GlobalPrefs> preferences(platform::Store::user());
    struct AtExit {
        ~AtExit() { preferences.get().freeTrees(); }
    };
    static const AtExit atExit;
    return preferences.get();
}

void GlobalPrefs::initGlobalPrefs(std::string_view defaultsText)
{
    const std::lock_guard lock(mutex);
    if (!wasRead)
        readValues();
    if (!defaults || defaults->child == nullptr) {
        defaults = parseObject(defaultsText);
        if (!defaults)
            defaults.reset(cJSON_CreateObject());
    }
    if (values)
        return;
    values.reset(cJSON_CreateObject());
    if (!values || !defaults)
        return;
    const cJSON* preference = nullptr;
    cJSON_ArrayForEach(preference, defaults.get())
    {
        const cJSON* const option = defaultOption(preference);
        addNumber(*values, preference->string, option != nullptr ? option->valueint : 0);
    }
    writeValues();
}

std::int32_t GlobalPrefs::getGlobalPref(const char* key) const
{
    constexpr std::int32_t kNothingStored = -1;
    constexpr std::int32_t kUnknown = -2;
    constexpr std::int32_t kNoDefault = -3;
    const std::lock_guard lock(mutex);
    if (!values)
        return kNothingStored;
    const cJSON* const stored = cJSON_GetObjectItem(values.get(), key);
    if (cJSON_IsNumber(stored))
        return stored->valueint;
    if (!defaults)
        return 0;
    const cJSON* const preference = cJSON_GetObjectItem(defaults.get(), key);
    if (preference == nullptr)
        return kUnknown;
    const cJSON* const option = defaultOption(preference);
    return option != nullptr ? option->valueint : kNoDefault;
}

void GlobalPrefs::setGlobalPref(const char* key, std::int32_t index)
{
    const std::lock_guard lock(mutex);
    if (!values || key == nullptr)
        return;
    cJSON* const stored = cJSON_GetObjectItem(values.get(), key);
    if (cJSON_IsNumber(stored))
        cJSON_SetNumberValue(stored, index);
    else if (stored == nullptr)
        addNumber(*values, key, index);
    else // what somebody wrote there is no index
        cJSON_ReplaceItemInObject(values.get(), std::string(stored->string).c_str(), cJSON_CreateNumber(index));
    writeValues();
}

/// With the mutex held.
void GlobalPrefs::writeValues()
{
    const std::string text = host::printJSON(*values, false);
    if (!text.empty())
        writeRegistryValue(kGlobals, text);
}

std::int32_t GlobalPrefs::prefCount() const
{
    const std::lock_guard lock(mutex);
    return cJSON_GetArraySize(defaults.get());
}

const cJSON* GlobalPrefs::preference(std::int32_t row) const
{
    const std::lock_guard lock(mutex);
    return cJSON_GetArrayItem(defaults.get(), row);
}

const char* GlobalPrefs::prefName(std::int32_t row) const
{
    const cJSON* const member = preference(row);
    return member != nullptr ? member->string : nullptr;
}

std::int32_t GlobalPrefs::prefPage(std::int32_t row) const
{
    const cJSON* const page = cJSON_GetObjectItem(preference(row), "page");
    return cJSON_IsNumber(page) ? page->valueint : 0;
}

std::int32_t GlobalPrefs::prefValueCount(std::int32_t row) const
{
    return cJSON_GetArraySize(cJSON_GetObjectItem(preference(row), "values"));
}

const char* GlobalPrefs::prefValueText(std::int32_t row, std::int32_t option) const
{
    return cJSON_GetStringValue(cJSON_GetArrayItem(cJSON_GetObjectItem(preference(row), "values"), option));
}

bool GlobalPrefs::readRegistryValue(const std::string& name, std::span<char> buffer) const
{
    constexpr std::size_t kLeastBytes = 2;
    const std::optional<std::string> text = store.read(name);
    if (!text || text->size() < kLeastBytes || text->size() >= buffer.size())
        return false;
    std::copy(text->begin(), text->end(), buffer.begin());
    buffer[text->size()] = '\0';
    return true;
}

void GlobalPrefs::writeRegistryValue(const std::string& name, std::string_view text)
{
    (void)store.write(name, text);
}

} // namespace sorvane::state
