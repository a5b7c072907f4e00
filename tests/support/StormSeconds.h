#pragma once

#include <cstdlib>

namespace sorvane::test {

/// What a variable of the environment says, or \p usual.
inline double secondsFrom(const char* variable, double usual)
{
    const char* const wanted = std::getenv(variable);
    return wanted != nullptr ? std::atof(wanted) : usual;
}

/// How long the tests that set everything against everything go on: SORVANE_STORM_SECONDS, or \p usual.
inline double stormSeconds(double usual)
{
    return secondsFrom("SORVANE_STORM_SECONDS", usual);
}

} // namespace sorvane::test
