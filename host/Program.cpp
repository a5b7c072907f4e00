#include "Program.h"

#include "Parameters.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace sorvane::host {

namespace {

bool continuesCharacter(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
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
    std::string_view wanted = text != nullptr ? std::string_view(text, strnlen(text, name.size())) : "";
    if (wanted.size() >= name.size()) {
        std::size_t end = name.size() - 1;
        // A character of UTF-8 has at most three bytes behind its first; more are no UTF-8 and are cut where they are.
        for (int back = 0; back < 3 && continuesCharacter(wanted[end]); ++back)
            --end;
        wanted = wanted.substr(0, continuesCharacter(wanted[end]) ? name.size() - 1 : end);
    }
    std::array<char, 64> stored{};
    std::copy(wanted.begin(), wanted.end(), stored.begin());
    const std::lock_guard lock(nameLock);
    name = stored;
}

std::string Program::getName() const
{
    const std::lock_guard lock(nameLock);
    return name.data();
}

} // namespace sorvane::host
