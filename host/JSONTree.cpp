#include "JSONTree.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

namespace sorvane::host {

namespace {

/// The longest number: sign, 60 digits of one below 1e60, and the 0 behind it.
using NumberText = std::array<char, 72>;

void printNumber(double value, NumberText& text)
{
    constexpr double kAlmost = std::numeric_limits<double>::epsilon();
    constexpr double kMostInteger = std::numeric_limits<std::int32_t>::max();
    char* const first = text.data();
    char* const last = first + text.size() - 1;
    const double magnitude = std::abs(value);
    std::to_chars_result end{};
    if (!std::isfinite(value))
        end.ptr = std::copy_n("null", 4, first);
    else if (magnitude < kMostInteger && std::abs(std::trunc(value) - value) <= kAlmost)
        end = std::to_chars(first, last, static_cast<std::int32_t>(value));
    else if (magnitude < 1.0e60 && std::abs(std::floor(value) - value) <= kAlmost)
        end = std::to_chars(first, last, std::floor(value), std::chars_format::fixed, 0);
    else if (magnitude < 1.0e-6 || magnitude > 1.0e9)
        end = std::to_chars(first, last, value, std::chars_format::scientific, 6);
    else
        end = std::to_chars(first, last, value, std::chars_format::fixed, 10);
    *end.ptr = '\0';
}

/// Gives every number below an item the text that it is to be printed as, which the printer then takes as it stands.
bool fixNumbers(cJSON* item)
{
    for (; item != nullptr; item = item->next) {
        if (cJSON_IsNumber(item)) {
            NumberText text;
            printNumber(item->valuedouble, text);
            const std::size_t bytes = std::strlen(text.data()) + 1;
            item->valuestring = static_cast<char*>(cJSON_malloc(bytes));
            if (item->valuestring == nullptr)
                return false;
            std::memcpy(item->valuestring, text.data(), bytes);
            item->type = (item->type & ~0xFF) | cJSON_Raw; // the upper bits say who owns the key
        }
        if (!fixNumbers(item->child))
            return false;
    }
    return true;
}

/// Gives the thread the C locale for its lifetime.
class PlainNumbers {
public:
    PlainNumbers() : plain(newlocale(LC_ALL_MASK, "C", nullptr)), before(uselocale(plain)) {}
    ~PlainNumbers()
    {
        uselocale(before);
        if (plain != nullptr)
            freelocale(plain);
    }
    PlainNumbers(const PlainNumbers&) = delete;
    PlainNumbers& operator=(const PlainNumbers&) = delete;

private:
    locale_t plain; ///< null leaves the thread's own
    locale_t before;
};

} // namespace

JSONTree parseJSON(std::string_view text)
{
    // Each value costs the parser some 100 bytes: text that is all commas would take gigabytes.
    constexpr std::ptrdiff_t kMostValues = 250000;
    const auto startsValue = [](char c) { return c == ',' || c == '[' || c == '{'; };
    if (std::count_if(text.begin(), text.end(), startsValue) > kMostValues)
        return nullptr;
    const PlainNumbers plain; // the parser reads numbers as the locale has them
    while (!text.empty() && static_cast<unsigned char>(text.front()) <= 32)
        text.remove_prefix(1);
    return JSONTree(cJSON_ParseWithLengthOpts(text.data(), text.size(), nullptr, 0));
}

std::string printJSON(const cJSON& tree, bool formatted)
{
    const JSONTree fixed(cJSON_Duplicate(&tree, 1));
    if (!fixed || !fixNumbers(fixed.get()))
        return {};
    constexpr int kFirstBytes = 8192;
    const std::unique_ptr<char, decltype(&cJSON_free)> text(cJSON_PrintBuffered(fixed.get(), kFirstBytes, formatted),
                                                            &cJSON_free);
    return text ? text.get() : std::string();
}

const char* textMember(const cJSON* object, const char* key)
{
    return cJSON_GetStringValue(cJSON_GetObjectItem(object, key));
}

} // namespace sorvane::host
