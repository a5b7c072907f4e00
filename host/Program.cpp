#include "Program.h"

#include "Parameters.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace sorvane::host {

namespace {

/// Bytes that a character of UTF-8 with this first byte has; 1 for a byte that begins none.
std::size_t claimedBytes(unsigned char first)
{
    if (first >= 0xF0 && first < 0xF5)
        return 4;
    if (first >= 0xE0 && first < 0xF0)
        return 3;
    return first >= 0xC2 && first < 0xE0 ? 2 : 1;
}

bool isCharacter(std::string_view bytes)
{
    const auto continues = [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80; };
    const auto first = static_cast<unsigned char>(bytes.front());
    return bytes.size() == claimedBytes(first) && (bytes.size() > 1 || first < 0x80) &&
           std::all_of(bytes.begin() + 1, bytes.end(), continues);
}

} // namespace

Program::Program()
{
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] = core::factoryParameters()[i].normal;
    setName("None");
}

void Program::setName(const char* text)
{
    std::string_view rest = text != nullptr ? std::string_view(text, strnlen(text, name.size())) : "";
    std::array<char, 64> stored{};
    std::size_t used = 0;
    while (!rest.empty()) {
        std::string_view character = rest.substr(0, claimedBytes(static_cast<unsigned char>(rest.front())));
        if (used + claimedBytes(static_cast<unsigned char>(rest.front())) >= stored.size())
            break;
        // Hosts may have names in other encodings; files hold nothing but UTF-8.
        const bool isWhole = isCharacter(character);
        character = isWhole ? character : "?";
        std::copy(character.begin(), character.end(), stored.begin() + static_cast<std::ptrdiff_t>(used));
        used += character.size();
        rest.remove_prefix(isWhole ? character.size() : 1);
    }
    const std::lock_guard lock(nameLock);
    name = stored;
}

std::string Program::getName() const
{
    const std::lock_guard lock(nameLock);
    return name.data();
}

} // namespace sorvane::host
