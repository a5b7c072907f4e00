#pragma once

#include "BiquadSection.h"
#include "EQ.h"

#include <array>
#include <cstddef>
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

/// Compares the energy of two signals in frames of 10 ms, between 5 and 10 kHz and below 3 kHz. Channels are summed by
/// energy.
///
/// A frame is a fricative when the first signal is audible in it and has more energy between 5 and 10 kHz than below
/// 3 kHz, a vowel when it has at least 15 dB less. Fast because all channels of both signals run through the filters
/// side by side, a frame at a time.
class SibilanceMeter {
public:
    /// \param rateHz        22050 and above; below that there is no such band
    /// \param channelCount  of each signal, 1 or 2
    SibilanceMeter(int rateHz, int channelCount);
    [[nodiscard]] static bool measures(int rateHz) { return rateHz >= 22050; }

    /// Takes the next interleaved samples of both signals; what is not a finite number counts as silence. Samples that
    /// one signal is ahead of the other wait for it.
    void add(std::span<const double> before, std::span<const double> after);

    /// Compares all frames that are complete.
    /// \return false when there is no fricative or no vowel
    [[nodiscard]] bool compare(Sibilance& result) const;

private:
    /// Channels of both signals: the first before and after, the second before and after.
    static constexpr std::size_t kSignals = 4;
    /// Beside one another: between 5 and 10 kHz of all, then below 3 kHz of all.
    using Values = std::array<double, 2 * kSignals>;
    template <std::size_t lanes>
    struct Section {
        std::array<double, lanes> b0{}, b1{}, b2{}, a1{}, a2{};
        std::array<double, lanes> x1{}, x2{}, y1{}, y2{};
        void set(std::size_t firstLane, const dsp::BiquadSection& section);
    };
    static constexpr std::size_t kSections = 8; ///< of order 2
    template <std::size_t lanes>
    using Filter = std::array<Section<lanes>, kSections>;
    struct Energies {
        double before = 0.0;
        double after = 0.0;
        std::size_t frames = 0;
        void add(double frameBefore, double frameAfter);
    };
    struct Kernel;

    template <std::size_t lanes>
    static void design(Filter<lanes>& filter, std::size_t firstLane, dsp::FilterType type, float hertz, int rateHz);
    void place(std::span<const double> interleaved, std::size_t signal, std::size_t& end);
    void measureFrame(Values* samples);

    std::size_t frameSamples;
    std::size_t channels;
    Filter<2 * kSignals> edges;  // high-pass of 5 kHz, low-pass of 3 kHz
    Filter<kSignals> lowPass;    // of 10 kHz, behind the high-pass
    std::vector<Values> waiting; // samples that no frame has taken yet
    std::size_t beforeEnd = 0;   // in them, of each signal
    std::size_t afterEnd = 0;
    Energies fricatives, vowels, lows;
};

} // namespace sorvane::tools
