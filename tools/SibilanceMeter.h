#pragma once

#include "BLTEQ.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace sorvane::tools {

/// What a render did to the fricatives of a voice, and what it left alone. Mean levels in dBFS.
struct Sibilance {
    double before = 0.0; ///< 5 to 10 kHz in the fricatives
    double after = 0.0;
    double vowelChangeDb = 0.0; ///< of 5 to 10 kHz in the vowels
    double lowChangeDb = 0.0;   ///< below 3 kHz, all through
};

/// Measures the energy of a signal in frames of 10 ms, between 5 and 10 kHz and below 3 kHz. Channels are summed by
/// energy.
class SibilanceMeter {
public:
    /// \param rateHz  22050 and above; below that there is no such band
    SibilanceMeter(int rateHz, int channels);
    [[nodiscard]] static bool measures(int rateHz) { return rateHz >= 22050; }

    void add(std::span<const double> interleaved);

    /// Compares two signals that lie at the same place in time. A frame is a fricative when the first signal is audible
    /// in it and has more energy between 5 and 10 kHz than below 3 kHz, a vowel when it has at least 15 dB less.
    /// \return false when there is no fricative or no vowel
    [[nodiscard]] static bool compare(const SibilanceMeter& before, const SibilanceMeter& after, Sibilance& result);

private:
    struct Filters {
        dsp::BLTEQ highPass, lowPass, low;
    };
    struct Frame {
        double band = 0.0; ///< mean squares
        double low = 0.0;
    };

    std::size_t frameSamples;
    std::vector<std::unique_ptr<Filters>> channelFilters;
    std::vector<double> band; // of one channel after the other
    std::vector<double> low;
    std::vector<Frame> frames;
    Frame current;
    std::size_t filled = 0;
};

} // namespace sorvane::tools
