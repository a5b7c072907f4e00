#include "Render.h"

#include "AudioFile.h"
#include "OfflineHost.h"
#include "OutputFile.h"
#include "ParameterText.h"
#include "StateFile.h"

#include <nlohmann/json.hpp>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <future>
#include <memory>
#include <utility>

namespace sorvane::tools {

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

double decibels(double gain)
{
    return 20.0 * std::log10(gain);
}

/// A bar on the terminal, once the work has taken a second. Standard error, so that output can be piped.
class ProgressBar {
public:
    explicit ProgressBar(std::optional<std::int64_t> total) : frames(total), onTerminal(isatty(STDERR_FILENO) == 1) {}
    ~ProgressBar()
    {
        if (shown)
            std::fputs("\r\033[K", stderr);
    }
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    void update(std::int64_t done)
    {
        constexpr int kWidth = 40;
        if (!onTerminal || !frames || *frames == 0 || secondsSince(start) < 1.0 || secondsSince(last) < 0.1)
            return;
        last = Clock::now();
        shown = true;
        const double part = std::min(1.0, static_cast<double>(done) / static_cast<double>(*frames));
        const auto filled = static_cast<std::size_t>(part * kWidth);
        const std::string bar = std::string(filled, '#') + std::string(kWidth - filled, '.');
        std::fprintf(stderr, "\r[%s] %d %%", bar.c_str(), static_cast<int>(part * 100.0));
        std::fflush(stderr);
    }

private:
    std::optional<std::int64_t> frames;
    bool onTerminal;
    bool shown = false;
    Clock::time_point start = Clock::now();
    Clock::time_point last = start;
};

/// One block as the effect takes it: a buffer a channel.
template <typename Sample>
class BlockBuffers {
public:
    BlockBuffers(std::int32_t frames, int channelCount)
        : channels(static_cast<std::size_t>(channelCount)), storage(static_cast<std::size_t>(frames) * 6),
          size(static_cast<std::size_t>(frames))
    {}

    /// \p place 0 and 1 main inputs, 2 and 3 side-chain, 4 and 5 outputs
    [[nodiscard]] Sample* buffer(std::size_t place) { return storage.data() + place * size; }

    /// \param interleaved  as many frames of the source
    void fill(std::size_t firstPlace, const double* interleaved, std::size_t sourceChannels, std::size_t frames)
    {
        for (std::size_t c = 0; c < channels; ++c)
            for (std::size_t i = 0; i < frames; ++i)
                buffer(firstPlace + c)[i] = sample(interleaved, sourceChannels, c, i);
    }

    /// Puts the outputs into as many interleaved frames.
    void interleave(double* interleaved, std::size_t frames)
    {
        for (std::size_t c = 0; c < channels; ++c)
            for (std::size_t i = 0; i < frames; ++i)
                interleaved[i * channels + c] = static_cast<double>(buffer(4 + c)[i]);
    }

    void process(core::Plug& plug, std::int32_t frames, bool hasSideChain)
    {
        std::array<Sample*, 4> inputs{};
        std::array<Sample*, 2> outputs{};
        for (std::size_t c = 0; c < channels; ++c) {
            inputs[c] = buffer(c);
            inputs[channels + c] = hasSideChain ? buffer(2 + c) : nullptr;
            outputs[c] = buffer(4 + c);
        }
        if constexpr (sizeof(Sample) == sizeof(float))
            plug.processReplacing(inputs.data(), outputs.data(), frames);
        else
            plug.processDoubleReplacing(inputs.data(), outputs.data(), frames);
    }

private:
    /// A mono file feeds both channels; a stereo one is averaged for one.
    [[nodiscard]] Sample sample(const double* interleaved, std::size_t sourceChannels, std::size_t c,
                                std::size_t i) const
    {
        if (sourceChannels == channels)
            return static_cast<Sample>(interleaved[i * channels + c]);
        if (sourceChannels == 1)
            return static_cast<Sample>(interleaved[i]);
        return static_cast<Sample>((interleaved[2 * i] + interleaved[2 * i + 1]) * 0.5);
    }

    std::size_t channels;
    std::vector<Sample> storage;
    std::size_t size;
};

void measure(std::vector<Level>& levels, std::span<const double> interleaved)
{
    const std::size_t channels = levels.size();
    for (std::size_t c = 0; c < channels; ++c) {
        Level level = levels[c];
        for (std::size_t i = c; i < interleaved.size(); i += channels) {
            const double sample = interleaved[i];
            if (!std::isfinite(sample)) {
                ++level.notFinite;
                continue;
            }
            level.peak = std::max(level.peak, std::abs(sample));
            level.sumOfSquares += sample * sample;
        }
        levels[c] = level;
    }
}

/// Reads as many frames as the buffer holds; what the file no longer has is silence.
/// \return frames that it had
std::int64_t readPadded(AudioReader& reader, std::span<double> interleaved)
{
    const std::int64_t got = reader.read(interleaved.data(), std::ssize(interleaved) / reader.channels());
    std::fill(interleaved.begin() + got * reader.channels(), interleaved.end(), 0.0);
    return got;
}

/// Reads, measures and writes while the effect is at work: on a thread of their own, or in turn where there is none to
/// be had.
constexpr std::launch kBesideTheEffect = std::launch::async | std::launch::deferred;

/// Whole blocks on their way through, interleaved.
struct Batch {
    std::vector<double> input;
    std::vector<double> sideChain;
    std::vector<double> output;
    std::int64_t inputFrames = 0; ///< of the file; silence stands behind them
    std::int64_t frames = 0;      ///< that go through the effect, 0 at the end
};

/// While the effect processes one batch, the rest of the work finishes the batch before and reads the next.
class Renderer {
public:
    explicit Renderer(const RenderOptions& renderOptions)
        : options(renderOptions), input(options.input),
          side(options.sideChain.empty() ? nullptr : std::make_unique<AudioReader>(options.sideChain)),
          plug(std::make_unique<core::Plug>(offlineHost, core::Plug::Start::factoryValues)),
          measuresSibilance(!options.raw && SibilanceMeter::measures(input.rate())),
          sibilance(std::max(input.rate(), 22050), input.channels())
    {
        if (side && side->rate() != input.rate())
            throw Failure(ExitCode::input, side->path() + ": its rate of " + std::to_string(side->rate()) +
                                               " Hz is not the input's of " + std::to_string(input.rate()) + " Hz");
        plug->setSampleRate(static_cast<float>(input.rate()));
        plug->setBlockSize(options.blockFrames);
        if (!options.state.empty())
            loadState(*plug, options.state);
        if (side)
            plug->setParameter(core::kExtSC, 1.0F);
        apply(options.settings, *plug);
        plug->resume();

        report.rateHz = input.rate();
        report.channels = input.channels();
        report.latencySamples = plug->getInitialDelay();
        toSkip = toFlush = options.raw ? 0 : report.latencySamples;
        report.midSide = input.channels() == 2 && plug->getParameterValue(core::kStereoMode) != 0.0F;
        const auto channels = static_cast<std::size_t>(input.channels());
        report.before.resize(channels);
        report.after.resize(channels);
    }

    template <typename Sample>
    bool run(const std::atomic<bool>& stop)
    {
        const int format = outputFormat(options.output, options.format, input.description());
        AudioWriter output(options.output, format, input.channels(), input.rate(), input.frames());
        BlockBuffers<Sample> block(options.blockFrames, input.channels());
        ProgressBar progress(input.frames());
        if (!options.raw)
            settle(block);
        const auto start = Clock::now();
        Batch now = emptyBatch();
        Batch other = emptyBatch();
        for (read(now); now.frames > 0; std::swap(now, other)) {
            auto rest = std::async(kBesideTheEffect, [&] {
                finish(other, output);
                read(other);
            });
            if (!process(now, block, stop, progress))
                return false; // waits for the rest
            rest.get();
        }
        finish(other, output);
        report.workSeconds = secondsSince(start);
        for (std::int32_t c = 0; c < input.channels(); ++c)
            report.lowestGain.push_back(plug->lowestGain(c));
        if (Sibilance found; measuresSibilance && sibilance.compare(found))
            report.sibilance = found;
        report.clipped = clips(format) && std::any_of(report.after.begin(), report.after.end(),
                                                      [](const Level& level) { return level.peak > 1.0; });
        output.commit();
        return true;
    }

    RenderReport report;

private:
    /// Fresh filters slide from a unity pass to their design. Silence runs through until they are there, so that a file
    /// doesn't begin with it.
    template <typename Sample>
    void settle(BlockBuffers<Sample>& block)
    {
        for (std::int64_t left = input.rate() / 10; left > 0; left -= options.blockFrames)
            block.process(*plug, static_cast<std::int32_t>(std::min<std::int64_t>(left, options.blockFrames)), false);
    }

    /// Long enough that a thread for each costs nothing beside it, short enough for the cache.
    [[nodiscard]] Batch emptyBatch() const
    {
        constexpr std::int64_t kFrames = 16384;
        const auto frames =
            static_cast<std::size_t>(std::max<std::int64_t>(kFrames / options.blockFrames, 1) * options.blockFrames);
        Batch batch;
        batch.input.resize(frames * static_cast<std::size_t>(input.channels()));
        batch.output.resize(batch.input.size());
        if (side)
            batch.sideChain.resize(frames * static_cast<std::size_t>(side->channels()));
        return batch;
    }

    /// Reads what the input still has, and behind it the silence that brings out what is delayed.
    void read(Batch& batch)
    {
        const auto most = static_cast<std::int64_t>(batch.input.size()) / input.channels();
        batch.inputFrames = 0;
        if (inputEnded)
            std::fill(batch.input.begin(), batch.input.end(), 0.0);
        else
            batch.inputFrames = readPadded(input, batch.input);
        inputEnded = batch.inputFrames < most;
        const std::int64_t flushed = std::min(most - batch.inputFrames, toFlush);
        toFlush -= flushed;
        batch.frames = batch.inputFrames + flushed;
        if (side)
            (void)readPadded(
                *side, std::span(batch.sideChain).first(static_cast<std::size_t>(batch.frames * side->channels())));
    }

    /// Sends a batch through the effect block by block. \return false when it is to stop
    template <typename Sample>
    bool process(Batch& batch, BlockBuffers<Sample>& block, const std::atomic<bool>& stop, ProgressBar& progress)
    {
        const auto channels = static_cast<std::size_t>(input.channels());
        const auto sideChannels = static_cast<std::size_t>(side ? side->channels() : 0);
        for (std::int64_t done = 0; done < batch.frames; done += options.blockFrames) {
            if (stop)
                return false;
            const std::int64_t frames = std::min<std::int64_t>(options.blockFrames, batch.frames - done);
            const auto at = static_cast<std::size_t>(done);
            const auto count = static_cast<std::size_t>(frames);
            block.fill(0, batch.input.data() + at * channels, channels, count);
            if (side)
                block.fill(2, batch.sideChain.data() + at * sideChannels, sideChannels, count);
            block.process(*plug, static_cast<std::int32_t>(frames), side != nullptr);
            block.interleave(batch.output.data() + at * channels, count);
            processed += frames;
            progress.update(processed);
        }
        return true;
    }

    /// Measures a batch and writes it, but for what lies before the input's first frame.
    void finish(const Batch& batch, AudioWriter& output)
    {
        const auto channels = static_cast<std::size_t>(input.channels());
        const std::int64_t skipped = std::min(toSkip, batch.frames);
        toSkip -= skipped;
        const std::int64_t written = batch.frames - skipped;
        const auto was = std::span(batch.input).first(static_cast<std::size_t>(batch.inputFrames) * channels);
        const auto is = std::span(batch.output)
                            .subspan(static_cast<std::size_t>(skipped) * channels)
                            .first(static_cast<std::size_t>(written) * channels);
        measure(report.before, was);
        measure(report.after, is);
        if (measuresSibilance)
            sibilance.add(was, is);
        output.write(is.data(), written);
        report.frames += written;
    }

    const RenderOptions& options;
    AudioReader input;
    std::unique_ptr<AudioReader> side;
    std::unique_ptr<core::Plug> plug;
    bool measuresSibilance;
    SibilanceMeter sibilance;
    bool inputEnded = false;
    std::int64_t toSkip = 0;
    std::int64_t toFlush = 0;
    std::int64_t processed = 0; // frames, by the effect
};

std::string channelName(const RenderReport& report, std::size_t channel, bool processing)
{
    if (report.channels == 1)
        return "mono";
    if (processing && report.midSide)
        return channel == 0 ? "mid" : "side";
    return channel == 0 ? "left" : "right";
}

double rms(const Level& level, std::int64_t frames)
{
    const std::int64_t counted = frames - level.notFinite;
    return counted > 0 ? std::sqrt(level.sumOfSquares / static_cast<double>(counted)) : 0.0;
}

std::string fixed(double x, int decimals)
{
    return core::FixedText().add(x, decimals).c_str();
}

std::string levelText(const Level& level, std::int64_t frames)
{
    const auto shown = [](double gain) { return gain > 0.0 ? fixed(decibels(gain), 1) : std::string("-inf"); };
    std::string text = "peak " + shown(level.peak) + " dBFS, RMS " + shown(rms(level, frames)) + " dBFS";
    if (level.notFinite > 0)
        text += " without " + std::to_string(level.notFinite) + " samples that are no finite number";
    return text;
}

/// Null for silence: JSON has no infinity.
nlohmann::ordered_json jsonDecibels(double gain)
{
    if (gain > 0.0)
        return decibels(gain);
    return nullptr;
}

double reductionDb(double lowestGain)
{
    return lowestGain < 1.0 ? -decibels(lowestGain) : 0.0;
}

} // namespace

std::optional<RenderReport> render(const RenderOptions& options, const std::atomic<bool>& stop)
{
    if (!options.report.empty())
        requireWritable(options.report);
    Renderer renderer(options);
    const bool complete = options.singlePrecision ? renderer.run<float>(stop) : renderer.run<double>(stop);
    if (!complete)
        return std::nullopt;
    return renderer.report;
}

std::string summary(const RenderReport& report, const RenderOptions& options)
{
    const double seconds = static_cast<double>(report.frames) / report.rateHz;
    std::string text = options.input + ": " + fixed(seconds, 2) + " s, " + std::to_string(report.channels) +
                       (report.channels == 1 ? " channel, " : " channels, ") + std::to_string(report.rateHz) + " Hz\n";
    text += "  latency         " + std::to_string(report.latencySamples) + " samples (" +
            fixed(1000.0 * report.latencySamples / report.rateHz, 1) + " ms)" +
            (options.raw ? ", left in the output\n" : ", compensated\n");
    for (std::size_t c = 0; c < report.lowestGain.size(); ++c)
        text += "  gain reduction  " + fixed(reductionDb(report.lowestGain[c]), 1) + " dB at most, " +
                channelName(report, c, true) + "\n";
    for (std::size_t c = 0; c < report.before.size(); ++c)
        text += "  before          " + levelText(report.before[c], report.frames) + ", " +
                channelName(report, c, false) + "\n";
    for (std::size_t c = 0; c < report.after.size(); ++c)
        text += "  after           " + levelText(report.after[c], report.frames) + ", " +
                channelName(report, c, false) + "\n";
    if (report.sibilance) {
        const Sibilance& s = *report.sibilance;
        text += "  sibilance       " + fixed(s.before, 1) + " dBFS before, " + fixed(s.after, 1) +
                " after: " + fixed(s.after - s.before, 1) + " dB (5 to 10 kHz in the fricatives)\n";
        text += "  vowels          " + fixed(s.vowelChangeDb, 2) + " dB (5 to 10 kHz), " + fixed(s.lowChangeDb, 2) +
                " dB below 3 kHz all through\n";
    }
    if (report.clipped)
        text += "  clipped         samples above full scale were cut; --format float keeps them\n";
    text += "  speed           " + fixed(seconds / std::max(report.workSeconds, 1e-9), 0) + " times real time\n";
    return text + "  output          " + options.output + "\n";
}

void writeReport(const RenderReport& report, const RenderOptions& options)
{
    nlohmann::ordered_json json;
    json["input"] = options.input;
    json["output"] = options.output;
    json["rateHz"] = report.rateHz;
    json["channels"] = report.channels;
    json["frames"] = report.frames;
    json["latencySamples"] = report.latencySamples;
    for (std::size_t c = 0; c < report.lowestGain.size(); ++c) {
        json["gainReductionChannels"].push_back(channelName(report, c, true));
        json["gainReductionDb"].push_back(reductionDb(report.lowestGain[c]));
        json["inputPeakDb"].push_back(jsonDecibels(report.before[c].peak));
        json["inputRmsDb"].push_back(jsonDecibels(rms(report.before[c], report.frames)));
        json["inputNotFinite"].push_back(report.before[c].notFinite);
        json["outputPeakDb"].push_back(jsonDecibels(report.after[c].peak));
        json["outputRmsDb"].push_back(jsonDecibels(rms(report.after[c], report.frames)));
    }
    if (report.sibilance) {
        json["sibilanceBeforeDb"] = report.sibilance->before;
        json["sibilanceAfterDb"] = report.sibilance->after;
        json["vowelChangeDb"] = report.sibilance->vowelChangeDb;
        json["lowChangeDb"] = report.sibilance->lowChangeDb;
    }
    json["clipped"] = report.clipped;
    json["secondsPerSecond"] = static_cast<double>(report.frames) / report.rateHz / std::max(report.workSeconds, 1e-9);

    writeFile(options.report, json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n");
}

} // namespace sorvane::tools
