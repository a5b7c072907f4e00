#pragma once

#include "Tags.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sorvane::core {

/// The names and numbers of all tags, looked up both ways. Process-wide, read-only once made; any thread.
class TagTable {
public:
    /// The table of SORVANE_TAGS.
    static const TagTable& instance();

    /// Parses the text of an enumeration: names parted by commas, `name=N` sets the running number, which starts at 0
    /// and rises by one after each name. Characters up to the blank are skipped round a name.
    explicit TagTable(std::string_view enumeration);

    /// \return the number of the tag of exactly this name, case included; none for an unknown one
    [[nodiscard]] std::optional<std::int32_t> number(std::string_view name) const;

    /// \return the number if the name is that of a parameter (0 to 91); none for the editor's tags, counts and unknown
    /// names
    [[nodiscard]] std::optional<std::int32_t> parameter(std::string_view name) const;

    /// \return the first name with this number; empty for none
    [[nodiscard]] std::string_view name(std::int32_t number) const;

    [[nodiscard]] std::size_t size() const { return names.size(); }

private:
    std::vector<std::string> names;
    std::vector<std::int32_t> numbers;
};

} // namespace sorvane::core
