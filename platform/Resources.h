#pragma once

#include <string_view>

namespace sorvane::platform {

/// The bytes of a file that is built into the binary; empty when there is none. Any thread.
/// \param type  its folder below resources/
/// \param name  its file name without the extension
[[nodiscard]] std::string_view resource(std::string_view type, std::string_view name);

} // namespace sorvane::platform
