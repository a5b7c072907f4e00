#include "TagTable.h"

#include <algorithm>
#include <charconv>

namespace sorvane::core {

namespace {

#define SORVANE_TEXT(...) #__VA_ARGS__
#define SORVANE_TEXT_OF(...) SORVANE_TEXT(__VA_ARGS__)
constexpr std::string_view kEnumeration = SORVANE_TEXT_OF(SORVANE_TAGS);

constexpr bool isBlank(char c)
{
    return static_cast<unsigned char>(c) <= 32;
}

std::string_view skipBlanks(std::string_view text)
{
    const auto first = std::find_if_not(text.begin(), text.end(), isBlank);
    return text.substr(static_cast<std::size_t>(first - text.begin()));
}

} // namespace

const TagTable& TagTable::instance()
{
    static const TagTable table(kEnumeration);
    return table;
}

TagTable::TagTable(std::string_view enumeration)
{
    std::int32_t running = 0;
    while (!enumeration.empty()) {
        const std::size_t comma = std::min(enumeration.find(','), enumeration.size());
        const std::string_view entry = skipBlanks(enumeration.substr(0, comma));
        enumeration.remove_prefix(std::min(comma + 1, enumeration.size()));

        const auto nameEnd = std::find_if(entry.begin(), entry.end(), [](char c) { return isBlank(c) || c == '='; });
        const std::string_view name = entry.substr(0, static_cast<std::size_t>(nameEnd - entry.begin()));
        if (name.empty())
            continue;
        if (std::string_view rest = skipBlanks(entry.substr(name.size())); rest.starts_with('=')) {
            rest = skipBlanks(rest.substr(1));
            std::from_chars(rest.data(), rest.data() + rest.size(), running);
        }
        names.emplace_back(name);
        numbers.push_back(running++);
    }
}

std::optional<std::int32_t> TagTable::number(std::string_view name) const
{
    const auto found = std::find(names.begin(), names.end(), name);
    if (found == names.end())
        return std::nullopt;
    return numbers[static_cast<std::size_t>(found - names.begin())];
}

std::optional<std::int32_t> TagTable::parameter(std::string_view name) const
{
    // kNumPrograms shares the number of a parameter, so the name that belongs to the number decides.
    const auto found = number(name);
    if (!found || !isParameter(*found) || this->name(*found) != name)
        return std::nullopt;
    return found;
}

std::string_view TagTable::name(std::int32_t number) const
{
    const auto found = std::find(numbers.begin(), numbers.end(), number);
    return found == numbers.end() ? std::string_view{} : names[static_cast<std::size_t>(found - numbers.begin())];
}

} // namespace sorvane::core
