#pragma once

#include <string>

namespace sorvane::tools {

/// Whether an audio file is as long as it says itself. The library that decodes takes one that is cut short for a
/// shorter one and says nothing.
///
/// Knows WAV (RIFF, RIFX, RF64), W64, AIFF, CAF and AU by the size of the samples, and Ogg by the mark of its last
/// page.
/// \param path  a plain file
/// \return what is missing, for people; empty for a whole file and for one that states no length
[[nodiscard]] std::string missingPart(const std::string& path);

} // namespace sorvane::tools
