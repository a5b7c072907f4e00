#pragma once

#include "Relaxed.h"
#include "Tags.h"

#include <array>
#include <mutex>
#include <string>

namespace sorvane::host {

/// A named set of normalised values, one a parameter: the program, and each of the A/B banks.
/// Values may be read and set on any thread, the name on any but the audio thread.
class Program {
public:
    /// A program "None" at the factory values.
    Program();

    /// \param text  UTF-8, cut to 63 bytes between two characters; a byte that isn't becomes "?". Null is the empty
    ///         name
    void setName(const char* text);
    [[nodiscard]] std::string getName() const;

    std::array<dsp::Relaxed<float>, core::kNumParams> values;

private:
    mutable std::mutex nameLock;
    std::array<char, 64> name{}; // the last byte stays 0
};

} // namespace sorvane::host
