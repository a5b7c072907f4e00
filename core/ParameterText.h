#pragma once

#include "Parameters.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace sorvane::core {

/// Room that every text of a parameter fits in, its terminating 0 included.
inline constexpr std::size_t kParameterTextBytes = 64;

/// Text of a fixed size that grows at its end and is always terminated; what doesn't fit is cut. Numbers print as in
/// the C locale, whatever the process's locale says: hosts set one.
class FixedText {
public:
    FixedText& add(std::string_view text) noexcept;
    /// \p x with \p decimals digits behind the point, as printf's %.Nf rounds it
    FixedText& add(double x, int decimals) noexcept;
    FixedText& add(std::int32_t x) noexcept;

    [[nodiscard]] const char* c_str() const noexcept { return characters; }
    [[nodiscard]] std::string_view view() const noexcept { return {characters, length}; }
    /// \param destination  room for kParameterTextBytes
    void copyTo(char* destination) const noexcept;

private:
    char characters[kParameterTextBytes] = {};
    std::size_t length = 0;
};

/// What the effect shows for a parameter's engineering value.
/// \param index   the parameter's tag
/// \param value   in the parameter's range
/// \param upward  kExcite of the parameter's channel, which changes what a ratio reads
[[nodiscard]] FixedText parameterText(std::int32_t index, double value, const ParamRecord& parameter, bool upward);

/// What the editor calls the values of a parameter that chooses among named things, from 0 upward; empty for any other.
[[nodiscard]] std::span<const std::string_view> valueNames(std::int32_t index);

} // namespace sorvane::core
