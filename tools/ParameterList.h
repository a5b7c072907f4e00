#pragma once

#include "Plug.h"

#include <iosfwd>

namespace sorvane::tools {

/// Lists the effect's parameters as a table for people, or as a JSON array for scripts.
void listParameters(const core::Plug& plug, bool json, std::ostream& out);

} // namespace sorvane::tools
