#pragma once

#include "BiquadSection.h"
#include "EQ.h"
#include "Mailbox.h"

#include <array>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <span>

namespace sorvane::dsp {

/// A filter that runs: up to kMaxStages direct form 1 sections in series, in double precision.
///
/// A new set of coefficients goes over to the audio thread whole, the newest only. There every coefficient slides in a
/// straight line over 1000 samples from where it stands to its new value. Frozen at any moment the sections are stable,
/// but a steep filter that slides far and fast can overshoot much: sixteen sections from 8 kHz to 1 kHz by some 60 dB.
///
/// Audio thread: beginBlock, isIdentity, processDouble, processTogether, processInSeries.
/// While no block runs: setSampleRate, clearState.
/// Everything else: the thread that updates the parameters or draws the response, one call at a time, which the caller
/// sees to; beside a running block it is safe. Nothing allocates.
class DF1Cascade : public EQ {
public:
    DF1Cascade() noexcept { increment.fill({0.0, 0.0, 0.0, 0.0, 0.0}); }

    /// Clears the state; a different rate redesigns the filter at the next update. A NaN is ignored.
    /// \param hertz  1e3 to 1e6, of the samples that processDouble gets
    /// \return whether the rate in force changed
    bool setSampleRate(float hertz) noexcept;
    [[nodiscard]] float getSampleRate() const noexcept { return sampleRate; }

    /// Forgets the past input and output; the coefficients, and a slide under way, stay.
    void clearState() noexcept;

    /// Takes the newest coefficients over. Call it once a block, before the other two of the audio thread.
    void beginBlock() noexcept;

    /// Whether the filter passes its input unchanged (or, as a difference, gives silence) or is sliding there.
    [[nodiscard]] bool isIdentity() const noexcept { return identity; }

    /// Filters in place. An identity costs nothing once its slide is over.
    void processDouble(std::span<double> buffer) noexcept;

    /// A filter with the signal that it runs over, in place.
    struct Lane {
        DF1Cascade* filter = nullptr; ///< never null in a call
        std::span<double> buffer;
    };
    static constexpr std::size_t kMostLanes = 4;
    /// Runs up to four filters over signals of one length, as processDouble would one after the other. Those with as
    /// many sections run side by side, sliding or not: two in the time of one, four in little more.
    static void processTogether(std::span<const Lane> lanes) noexcept;

    /// Runs two filters in series on one signal or two, side by side where they are alike: the second one follows the
    /// first a few samples behind.
    /// \param first   at most two, in front of those of \p second
    /// \param second  as many, on the same signals
    static void processInSeries(std::span<const Lane> first, std::span<const Lane> second) noexcept;

    /// The coefficients that were handed over last, of the active sections.
    [[nodiscard]] std::span<const BiquadSection> getCoefficients() const noexcept
    {
        return std::span(published.sections).first(published.count);
    }

    /// Magnitude, linear, of the sections that were handed over last, not of the slide towards them, and of H(z) for a
    /// difference too.
    /// \param phase  if given, takes the sum of the sections' phases in radians, each within -pi to pi
    [[nodiscard]] double magnitudeAt(double hertz, double* phase = nullptr) const noexcept;

    /// Complex response of the same; (1, 1) on a pole.
    [[nodiscard]] std::complex<double> responseAt(double hertz) const noexcept;

protected:
    /// Hands a new set of coefficients over. Sections beyond them stop at once; one that rejoins starts from the state
    /// and the coefficients that it had.
    /// \param sections  at most kMaxStages; none passes the signal unchanged
    void setCoefficients(std::span<const BiquadSection> sections) noexcept;
    /// Marks the coefficients that are handed over next as those of an identity.
    void setIdentity(bool newIdentity) noexcept { published.identity = newIdentity; }
    /// Slides the active sections to unity.
    void resetCoefficients() noexcept;
    /// Makes the filter a single unity section, an identity.
    void switchOff() noexcept;

private:
    struct CoefficientSet {
        std::array<BiquadSection, kMaxStages> sections{};
        std::size_t count = 1;
        bool identity = false;
        bool difference = false;
    };
    struct SectionState {
        double x1 = 0.0;
        double x2 = 0.0;
        double y1 = 0.0;
        double y2 = 0.0;
    };
    /// Filters that are alike in all that the course of a block depends on: one, two or four.
    using Lanes = std::span<const Lane>;
    using Sections = std::array<BiquadSection, kMaxStages> DF1Cascade::*;
    template <std::size_t width>
    struct Coefficients;
    template <std::size_t width>
    struct RunningSection;
    template <std::size_t width>
    struct SlidingSection;

    void publish() noexcept;
    [[nodiscard]] bool rests() const noexcept { return identity && rampCounter <= 0; } // and needn't run
    [[nodiscard]] bool runsLike(const DF1Cascade& other) const noexcept;
    template <std::size_t width>
    [[nodiscard]] static std::size_t lanesIn(Lanes lanes) noexcept;
    template <std::size_t width>
    [[nodiscard]] static const Lane& laneAt(Lanes lanes, std::size_t place) noexcept;
    [[nodiscard]] static std::size_t mostTogether() noexcept;
    [[nodiscard]] static bool areAlike(Lanes lanes) noexcept;
    static void process(Lanes lanes) noexcept;
    static void runDifference(Lanes lanes) noexcept;
    static void runSections(Lanes lanes) noexcept;
    template <template <std::size_t> class Section>
    static void runAll(Lanes lanes, std::size_t from, std::size_t to) noexcept;
    template <typename Section, std::size_t count>
    static void run(Lanes lanes, std::size_t stage, std::size_t from, std::size_t to) noexcept;
    void comeToRest() noexcept;

    float sampleRate = 44100.0F;
    CoefficientSet published;
    Mailbox<CoefficientSet> mailbox;

    // The audio thread's.
    std::array<SectionState, kMaxStages> state{};
    std::array<BiquadSection, kMaxStages> current{};
    std::array<BiquadSection, kMaxStages> target{};
    std::array<BiquadSection, kMaxStages> increment;
    std::size_t stageCount = 1;
    std::int64_t rampCounter = 0; // samples of the slide still to go, negative once target is reached
    bool identity = false;
    bool subtractsInput = false;
};

} // namespace sorvane::dsp
