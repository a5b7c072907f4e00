#pragma once

#include <cjson/cJSON.h>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace sorvane::host {

struct JSONDeleter {
    void operator()(cJSON* tree) const noexcept { cJSON_Delete(tree); }
};

/// A parsed JSON text, or one that is being put together. Null stands for text that couldn't be parsed.
using JSONTree = std::unique_ptr<cJSON, JSONDeleter>;

/// Parses the first value of a text; what follows it is ignored, and so is everything up to the blank in front.
/// \param text  needs no final 0; nothing outside of it is read
/// \return null when it isn't JSON, ends too early, is nested deeper than 1000 levels, holds more than 250,000 values,
///         or there is no memory. Numbers have a decimal point whatever the locale says
[[nodiscard]] JSONTree parseJSON(std::string_view text);

/// Prints a tree with numbers in the one form that all our files and hosts' sessions hold: 0; whole numbers without
/// decimals; "%e" for magnitudes below 1e-6 or above 1e9; ten decimals for all others. The decimal point is the point
/// whatever the locale says. What isn't finite is printed as null, since JSON has no word for it.
/// \param formatted  a member a line, indented with tabs; else without any blank
/// \return empty without memory
[[nodiscard]] std::string printJSON(const cJSON& tree, bool formatted);

/// Text of a member of an object; null if there is none or it isn't text. Keys match without regard to ASCII case.
[[nodiscard]] const char* textMember(const cJSON* object, const char* key);

} // namespace sorvane::host
