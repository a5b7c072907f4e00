#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace sorvane::test {

/// The detector written down one sample at a time, without regard to speed: an oracle that shares no code with the one
/// under test. What comes before a comparison is computed in the order of the definition, since a last bit may decide
/// between attack and release.
class PlainDetector {
public:
    struct Settings {
        double thresholdDb = 0.0;
        double slope = 0.0; ///< the ratio parameter, 0 to 2
        double kneePercent = 0.0;
        double ceilingDb = 0.0;
        double attackMs = 0.0;
        double releaseMs = 0.0;
        double fastReleaseMs = 0.0;
        double rmsMs = 0.0;
        double holdMs = 0.0;
        double lookaheadMs = 0.0;
        bool upward = false;
        bool dualRelease = false;
        bool smoothing = false;
        double rateHz = 44100.0;
    };

    /// One sample's gain, and what the envelope did: 1 attack, 2 slow release, 4 fast release, 8 hold.
    struct Result {
        double gain = 1.0;
        std::int32_t code = 0;
    };

    void set(const Settings& wanted)
    {
        settings = wanted;
        attack = coefficient(settings.attackMs);
        slowRelease = coefficient(settings.releaseMs);
        fastRelease = coefficient(settings.fastReleaseMs);
        rms = coefficient(settings.rmsMs);
        following = coefficient(kFollowMs);
        inverseThreshold = std::pow(10.0, settings.thresholdDb / -20.0);
        window = static_cast<std::size_t>(std::min(16384.0, std::floor(samplesOf(settings.lookaheadMs))));
    }

    void reset()
    {
        stages = Stages();
        tick = 0;
        meanSquare = envelope = 0.0;
        held = 0;
        preSmoother = postSmoother = {};
        gains.assign(kRing, 1.0);
        means.assign(kRing, 1.0);
        written = 0;
        gainSum = static_cast<double>(longAverage);
        meanSum = static_cast<double>(shortAverage);
        follower = 1.0;
    }

    /// To be called ahead of each block: where a new look-ahead comes in force.
    void beginBlock()
    {
        if (window != averagedWindow)
            rebuildAverages();
    }

    Result process(double sample)
    {
        Result result;
        double level = slidingMaximum(std::abs(sample));
        if (settings.dualRelease)
            level = releaseInTwoSpeeds(level, result.code);
        else if (settings.upward)
            level = smooth(preSmoother, level, result.code);
        double reductionDb = limitToCeiling(curveDb(level));
        if (!settings.dualRelease && !settings.upward)
            reductionDb = smooth(postSmoother, reductionDb, result.code);
        result.gain = std::pow(10.0, -reductionDb / 20.0);
        if (settings.smoothing)
            result.gain = follow(average(result.gain));
        return result;
    }

private:
    static constexpr std::size_t kRing = 16384;
    static constexpr std::size_t kMask = kRing - 1;
    static constexpr double kFollowMs = 0.05;

    struct Smoother {
        double attack = 0.0;
        double peak = 0.0;
    };

    /// Delays of 1, 2, 4 ... 8192 samples.
    struct Stages {
        Stages()
        {
            for (std::size_t k = 0; k < cells.size(); ++k)
                cells[k].assign(std::size_t{1} << k, 0.0);
        }
        std::array<std::vector<double>, 14> cells;
    };

    [[nodiscard]] double samplesOf(double ms) const { return ms * settings.rateHz * 0.001; }

    [[nodiscard]] double coefficient(double ms) const
    {
        const double samples = samplesOf(ms);
        return samples == 0.0 ? 1.0 : 1.0 - std::exp(-2.0 / samples);
    }

    /// Drops what is tiny, so that a decay ends in zero.
    static double flushed(double x) { return x + 1e-30 - 1e-30; }

    /// Largest of the last `window` levels. Each stage joins its input with its delayed input; the last one in use is
    /// shortened until the whole is as long as the window. Stages keep what they hold when the window changes.
    double slidingMaximum(double level)
    {
        std::size_t reach = 1;
        for (std::vector<double>& cells : stages.cells) {
            if (reach >= window)
                break;
            const std::size_t length = std::min(reach, window - reach);
            const double delayed = cells[(tick + cells.size() - length) % cells.size()];
            cells[tick % cells.size()] = level;
            level = std::max(level, delayed);
            reach *= 2;
        }
        tick = (tick + 1) % reach;
        return level;
    }

    double releaseInTwoSpeeds(double x, std::int32_t& code)
    {
        meanSquare = flushed(meanSquare + (x * x - meanSquare) * rms);
        if (x >= envelope) {
            code = 1;
            held = static_cast<std::int64_t>(samplesOf(settings.holdMs));
            envelope += (x - envelope) * attack;
        } else if (held > 0) {
            code = 8;
            --held;
        } else {
            const bool peak = envelope * envelope > 4.0 * meanSquare;
            code = peak ? 4 : 2;
            envelope -= envelope * (peak ? fastRelease : slowRelease);
        }
        envelope = flushed(envelope);
        return envelope;
    }

    double smooth(Smoother& smoother, double x, std::int32_t& code) const
    {
        smoother.attack = flushed(smoother.attack + (x - smoother.attack) * attack);
        code = smoother.attack >= smoother.peak ? 1 : 2;
        if (code == 1)
            smoother.peak = smoother.attack;
        else
            smoother.peak -= smoother.peak * slowRelease;
        smoother.peak = flushed(smoother.peak);
        return smoother.peak;
    }

    /// Gain reduction over level: none, a parabola round the threshold, a straight line.
    [[nodiscard]] double curveDb(double level) const
    {
        const double aboveDb = 20.0 * std::log10(std::max(level * inverseThreshold, 1e-10));
        // Half the knee, each step held in 32 bits.
        auto knee = static_cast<float>(static_cast<float>(settings.kneePercent * settings.ceilingDb) * 0.01);
        double slope = settings.slope;
        if (settings.upward) {
            knee = static_cast<float>(knee * ((2.0 - slope) * 0.5));
            slope = slope / (slope - 2.00001);
        }
        if (aboveDb >= knee)
            return slope * aboveDb;
        if (aboveDb >= -knee)
            return (slope / (4.0 * knee) * aboveDb + slope / 2.0) * aboveDb + slope * knee / 4.0;
        return 0.0;
    }

    [[nodiscard]] double limitToCeiling(double db) const
    {
        const double ceiling = settings.ceilingDb;
        double limited = ceiling;
        if (std::abs(db) < 2.0 * ceiling) {
            const double part = std::abs(db) * (0.5 / ceiling);
            limited = ceiling * ((2.0 - part) * part);
        }
        return db < 0.0 ? -limited : limited;
    }

    void rebuildAverages()
    {
        averagedWindow = window;
        longAverage = 3 * window / 4;
        shortAverage = window / 4;
        gainSum = 0.0;
        for (std::size_t back = 1; back <= longAverage; ++back)
            gainSum += gains[(written - back) & kMask];
        meanSum = 0.0;
        double sum = gainSum; // of as many gains, moving back in time
        for (std::size_t back = 1; back <= shortAverage; ++back) {
            const double mean = sum / static_cast<double>(longAverage);
            means[(written - back) & kMask] = mean;
            meanSum += mean;
            sum += gains[(written - back - longAverage) & kMask] - gains[(written - back) & kMask];
        }
    }

    /// Two moving averages, of three quarters and of one quarter of the look-ahead.
    double average(double gain)
    {
        const std::size_t place = written & kMask;
        if (averagedWindow > 3) {
            gainSum = flushed(gainSum + gain - gains[(written - longAverage) & kMask]);
            gains[place] = gain;
            const double mean = gainSum / static_cast<double>(longAverage);
            meanSum = flushed(meanSum + mean - means[(written - shortAverage) & kMask]);
            means[place] = mean;
            gain = meanSum / static_cast<double>(shortAverage);
        }
        ++written;
        return gain;
    }

    double follow(double gain)
    {
        follower += (gain - follower) * following;
        return follower;
    }

    Settings settings;
    double attack = 1.0;
    double slowRelease = 1.0;
    double fastRelease = 1.0;
    double rms = 1.0;
    double following = 1.0;
    double inverseThreshold = 1.0;
    std::size_t window = 0;
    Stages stages;
    std::size_t tick = 0;
    double meanSquare = 0.0;
    double envelope = 0.0;
    std::int64_t held = 0;
    Smoother preSmoother;
    Smoother postSmoother;
    std::size_t averagedWindow = 0;
    std::size_t longAverage = 0;
    std::size_t shortAverage = 0;
    std::vector<double> gains = std::vector<double>(kRing, 1.0);
    std::vector<double> means = std::vector<double>(kRing, 1.0);
    std::size_t written = 0;
    double gainSum = 0.0;
    double meanSum = 0.0;
    double follower = 1.0;
};

} // namespace sorvane::test
