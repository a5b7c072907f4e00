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
#include <memory>

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

/// One block on its way: the file's interleaved frames, and the effect's channels.
template <typename Sample>
class BlockBuffers {
public:
    BlockBuffers(std::int32_t frames, int channelCount)
        : channels(static_cast<std::size_t>(channelCount)), storage(static_cast<std::size_t>(frames) * 6),
          size(static_cast<std::size_t>(frames))
    {}

    /// \p place 0 and 1 main inputs, 2 and 3 side-chain, 4 and 5 outputs
    [[nodiscard]] Sample* buffer(std::size_t place) { return storage.data() + place * size; }

    void fill(std::size_t firstPlace, const std::vector<double>& interleaved, std::size_t sourceChannels,
              std::size_t frames)
    {
        for (std::size_t c = 0; c < channels; ++c)
            for (std::size_t i = 0; i < frames; ++i)
                buffer(firstPlace + c)[i] = sample(interleaved, sourceChannels, c, i);
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
    [[nodiscard]] Sample sample(const std::vector<double>& interleaved, std::size_t sourceChannels, std::size_t c,
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

void measure(std::vector<Level>& levels, const double* interleaved, std::int64_t frames)
{
    const std::size_t channels = levels.size();
    for (std::size_t i = 0; i < static_cast<std::size_t>(frames) * channels; ++i) {
        Level& level = levels[i % channels];
        if (!std::isfinite(interleaved[i])) {
            ++level.notFinite;
            continue;
        }
        level.peak = std::max(level.peak, std::abs(interleaved[i]));
        level.sumOfSquares += interleaved[i] * interleaved[i];
    }
}

/// Reads a block; what the file no longer has is silence.
std::int64_t readPadded(AudioReader& reader, std::vector<double>& interleaved, std::int64_t frames)
{
    const std::int64_t got = reader.read(interleaved.data(), frames);
    std::fill(interleaved.begin() + got * reader.channels(), interleaved.end(), 0.0);
    return got;
}

class Renderer {
public:
    explicit Renderer(const RenderOptions& renderOptions)
        : options(renderOptions), input(options.input),
          side(options.sideChain.empty() ? nullptr : std::make_unique<AudioReader>(options.sideChain)),
          plug(std::make_unique<core::Plug>(offlineHost, core::Plug::Start::factoryValues)),
          interleaved(static_cast<std::size_t>(options.blockFrames) * 2), sideInterleaved(interleaved.size()),
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
        while (const std::int64_t frames = nextBlock(block)) {
            if (stop)
                return false;
            block.process(*plug, static_cast<std::int32_t>(frames), side != nullptr);
            write(block, frames, output);
            progress.update(report.frames);
        }
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

    /// Reads what the input still has, and behind it the silence that brings out what is delayed.
    /// \return frames, 0 at the end
    template <typename Sample>
    std::int64_t nextBlock(BlockBuffers<Sample>& block)
    {
        std::int64_t frames = 0;
        if (inputEnded) {
            std::fill(interleaved.begin(), interleaved.end(), 0.0);
        } else {
            frames = readPadded(input, interleaved, options.blockFrames);
            inputEnded = frames < options.blockFrames;
            measure(report.before, interleaved.data(), frames);
            if (measuresSibilance)
                sibilance.add(std::span(interleaved).first(static_cast<std::size_t>(frames * input.channels())), {});
        }
        const std::int64_t flushed = std::min(options.blockFrames - frames, toFlush);
        toFlush -= flushed;
        frames += flushed;
        block.fill(0, interleaved, static_cast<std::size_t>(input.channels()), static_cast<std::size_t>(frames));
        if (side) {
            (void)readPadded(*side, sideInterleaved, options.blockFrames);
            block.fill(2, sideInterleaved, static_cast<std::size_t>(side->channels()),
                       static_cast<std::size_t>(frames));
        }
        return frames;
    }

    /// Writes the processed block but for what lies before the input's first frame.
    template <typename Sample>
    void write(BlockBuffers<Sample>& block, std::int64_t frames, AudioWriter& output)
    {
        const std::int64_t skipped = std::min(toSkip, frames);
        toSkip -= skipped;
        interleave(block, skipped, frames);
        measure(report.after, interleaved.data(), frames - skipped);
        if (measuresSibilance)
            sibilance.add({}, std::span(interleaved).first(static_cast<std::size_t>((frames - skipped) * input.channels())));
        output.write(interleaved.data(), frames - skipped);
        report.frames += frames - skipped;
    }

    template <typename Sample>
    void interleave(BlockBuffers<Sample>& block, std::int64_t first, std::int64_t end)
    {
        std::size_t at = 0;
        for (auto i = static_cast<std::size_t>(first); i < static_cast<std::size_t>(end); ++i)
            for (std::size_t c = 0; c < static_cast<std::size_t>(report.channels); ++c)
                interleaved[at++] = static_cast<double>(block.buffer(4 + c)[i]);
    }

    const RenderOptions& options;
    AudioReader input;
    std::unique_ptr<AudioReader> side;
    std::unique_ptr<core::Plug> plug;
    std::vector<double> interleaved; // a block of the input, then of the output
    std::vector<double> sideInterleaved;
    bool measuresSibilance;
    SibilanceMeter sibilance;
    bool inputEnded = false;
    std::int64_t toSkip = 0;
    std::int64_t toFlush = 0;
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
