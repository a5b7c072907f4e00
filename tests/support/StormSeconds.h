#pragma once

#include <cstdlib>

namespace sorvane::test {

/// How long the tests that set everything against everything go on: SORVANE_STORM_SECONDS, or \p usual.
inline double stormSeconds(double usual)
{
    const char* const wanted = std::getenv("SORVANE_STORM_SECONDS");
    return wanted != nullptr ? std::atof(wanted) : usual;
}

} // namespace sorvane::test
