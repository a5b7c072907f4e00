#pragma once

#include "CDIB.h"

#include <string>
#include <string_view>

namespace sorvane::toolkit {

/// The image of a PNG file; null when it can't be read, or is larger than 4096 by 4096. Its colours are multiplied by
/// its alpha. Without transparency the image is opaque.
[[nodiscard]] Shared<CDIB> readPng(std::string_view file);

/// The PNG file of an image; empty when there is no memory for it, or nothing to show.
[[nodiscard]] std::string writePng(const CDIB& image);

} // namespace sorvane::toolkit
