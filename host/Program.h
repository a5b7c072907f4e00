#pragma once

#include "Relaxed.h"
#include "Tags.h"

#include <array>
#include <string_view>

namespace sorvane::host {

/// A named set of normalised values, one a parameter: the program, and each of the A/B banks.
/// The values may be read and set on any thread; the name belongs to the user interface thread.
class Program {
public:
    /// A program "None" at the factory values.
    Program();

    /// \param text  cut to 63 bytes, between two characters if it is UTF-8; null is the empty name
    void setName(const char* text);
    [[nodiscard]] const char* getName() const { return name.data(); }

    std::array<dsp::Relaxed<float>, core::kNumParams> values;

private:
    std::array<char, 64> name{}; // the last byte stays 0
};

} // namespace sorvane::host
