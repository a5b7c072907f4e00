#pragma once

#include <string_view>

namespace sorvane::toolkit {

/// Whether a TrueType file is sound in all that the text routines read of it, which trust it from then on: tables that
/// lie within the file, a character map, metrics and kerning as long as they say, outlines of a bounded size.
/// Outlines must be of table glyf, kerning of table kern, and composite glyphs unscaled: nothing else is read.
[[nodiscard]] bool isSoundFont(std::string_view file);

} // namespace sorvane::toolkit
