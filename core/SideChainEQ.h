#pragma once

#include "TrimoraEQ.h"

#include <atomic>
#include <cstdint>
#include <span>

namespace sorvane::core {

/// A high-pass or low-pass of the side-chain, or the shelf in its place.
struct SideChainEdge {
    bool on = false;
    bool isShelf = false;
    float frequencyHz = 1000.0F;
    std::int32_t slope = 12; ///< dB per octave of a filter, 6 to 24
    float gainDb = 0.0F;     ///< of a shelf
};

struct SideChainPeak {
    bool on = false;
    float gainDb = 0.0F;
    float frequencyHz = 1000.0F;
    float q = 1.0F;
};

/// The filters that one channel's detector hears through. Threads as for DF1Cascade.
struct SideChainEQ {
    dsp::TrimoraEQ scLPF, scHPF, scPeak;

    /// Updating thread.
    void design(const SideChainEdge& highPass, const SideChainEdge& lowPass, const SideChainPeak& peak) noexcept;
    /// While no block runs.
    void setRate(float rateHz) noexcept;
    void reset() noexcept;
    /// Audio thread.
    void beginBlock() noexcept;
    void process(std::span<double> samples) noexcept;
    /// Both channels, side by side where their filters are alike.
    static void processPair(SideChainEQ& first, std::span<double> firstSamples, SideChainEQ& second,
                            std::span<double> secondSamples) noexcept;

    /// There is a design that the audio thread hasn't taken: one value to ask in each block, where the filters lie far
    /// apart.
    std::atomic<bool> isDesigned{false};
};

} // namespace sorvane::core
