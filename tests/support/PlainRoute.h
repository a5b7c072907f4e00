#pragma once

#include "PlainDetector.h"
#include "Plug.h"
#include "Signals.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

namespace sorvane::test {

/// The effect's whole route written down one sample at a time, for a band that is the whole signal, no side-chain EQ
/// and no oversampling: an oracle that reads the parameters of an effect but runs none of its code.
class PlainRoute {
public:
    using Pair = std::array<double, 2>; ///< one sample of each channel

    /// One call of a block entry. A missing pointer is an empty signal.
    struct Block {
        std::size_t frames = 0;
        std::size_t channels = 2; ///< 1 for a mono instance
        std::array<Signal, 2> main;
        std::array<Signal, 2> side;
        bool singlePrecision = false;
    };

    /// The parameters as they stand come in force.
    void update(const core::Plug& plug);
    void resume(const core::Plug& plug);
    /// In force with the next update.
    void armAutoListen(std::int32_t mode) { autoListen = mode; }

    /// \return the outputs, one for each channel
    std::array<Signal, 2> process(const Block& block);

    /// What the effect leaves for the display; the order is that of its getters.
    [[nodiscard]] const std::vector<float>& displayRing(std::size_t index) const { return rings[index]; }
    [[nodiscard]] const std::vector<std::int32_t>& stateRing(std::size_t channel) const { return states[channel]; }
    [[nodiscard]] std::uint32_t ringPosition(std::size_t index) const { return positions[index]; }
    [[nodiscard]] double levelMeter(std::size_t channel) const { return meters[channel]; }
    /// All that was put out since resume, but the last block.
    [[nodiscard]] Signal outputSamples(std::size_t count, std::size_t channel) const;

private:
    enum class Heard { output, sideChain, firstSideChain, secondSideChain, first, second, passBand, difference };

    /// A straight line of 1000 samples from where the value stands to each new target.
    struct Ramp {
        double target = 1.0;
        double step = 0.0;
        int left = 0; ///< samples

        void start(double newTarget);
        void finish() { left = 0; }
        [[nodiscard]] double value() const { return target - left * step; }
        double next();
    };

    /// Admits samples while the zero crossings of the last 5.8 ms are many enough.
    struct NoiseGate {
        std::deque<int> crossings;
        int count = 0;
        double previous = 0.0;

        void reset(double rateHz);
        double process(double sample, double threshold);
    };

    struct Channel {
        Ramp input, makeup, dry, output;
        PlainDetector detector;
        NoiseGate gate;
        std::vector<double> bypassRing, wetRing, passRing;
    };

    /// What a block leaves for the display.
    struct Trace {
        std::array<Signal, 2> sideChain, output, gains;
        std::array<std::vector<std::int32_t>, 2> codes;
    };

    [[nodiscard]] std::int32_t listenCode(const core::Plug& plug) const;
    void updateChannel(const core::Plug& plug, std::size_t index, std::int32_t code);
    void beginBlock(const Block& block);
    Pair processFrame(const Pair& input, const Pair& external, Trace& trace);
    [[nodiscard]] Pair encoded(const Pair& leftRight) const;
    [[nodiscard]] Pair linked(const Pair& sideChain) const;
    [[nodiscard]] double rounded(double sample) const;
    double gainOf(std::size_t index, double level, Trace& trace);
    [[nodiscard]] Pair chosen(const Pair& output, const Pair& pass, const Pair& sideChain) const;
    Pair delayed(std::vector<double> Channel::*ring, const Pair& samples);
    void followMeters(const Pair& output);
    void feed(const Trace& trace, std::size_t frames);
    void feedRing(std::size_t ring, const Signal& samples, std::uint32_t position, std::size_t entries);

    double rateHz = 44100.0;
    std::int32_t autoListen = -1;

    // As the parameters ask.
    bool bypassed = false;
    bool midSide = false;
    bool wantsExternal = false;
    bool parallelDry = false;
    bool bandOnly = false;
    Heard heard = Heard::output;
    double ownShare = 1.0; ///< of a channel's side-chain in its detector's input
    double otherShare = 0.0;
    std::size_t delaySamples = 0;
    std::size_t step = 1; ///< samples for each display entry
    Pair balance{1.0, 1.0};
    std::array<double, 2> crossingThreshold{};
    double meterRelease = 1.0;

    // As the block is.
    bool encodes = false;
    bool hearsExternal = false;
    bool singlePrecision = false;
    std::size_t channelCount = 2;

    std::array<Channel, 2> channels;
    std::size_t delayPosition = 0;
    std::array<std::vector<float>, 6> rings;
    std::array<std::vector<std::int32_t>, 2> states;
    std::array<std::uint32_t, 4> positions{};
    Pair meters{};
    std::array<Signal, 2> outputRing;
    std::size_t outputPosition = 0;
};

} // namespace sorvane::test
