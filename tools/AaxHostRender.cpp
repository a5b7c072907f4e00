#include "AaxHostRender.h"

#include "AaxHostInstance.h"
#include "AudioFile.h"
#include "Parameters.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iomanip>
#include <memory>
#include <sstream>
#include <utility>

namespace sorvane::tools {

namespace {

void apply(const std::vector<ParameterSetting>& settings, AaxInstance& instance)
{
    for (const ParameterSetting& setting : settings) {
        aax::ParameterInfo info{};
        if (instance.model().getParameterInfo(setting.tag, info) == aax::AAX_SUCCESS)
            instance.automate(setting.tag, hostValue(setting, info.numSteps));
    }
}

void apply(const TimedEvent& event, AaxInstance& instance)
{
    apply(event.settings, instance);
    if (event.bypass)
        instance.setBypass(*event.bypass);
    if (event.offline)
        instance.notify(*event.offline ? "AXof" : "AXox");
    if (event.tempo)
        instance.transport.beatsPerMinute = *event.tempo;
    if (event.playing)
        instance.transport.playing = *event.playing;
}

/// One block: the channels of the file, the side-chain behind them, and the outputs.
class Block {
public:
    Block(std::int32_t frames, std::int32_t channelCount, bool hasSideChain)
        : size(static_cast<std::size_t>(frames)), channels(static_cast<std::size_t>(channelCount)),
          sideChain(hasSideChain ? channelCount : 0), samples(size * (2 * channels + 1))
    {
        for (std::size_t c = 0; c <= channels; ++c)
            inputs[c] = samples.data() + c * size;
        for (std::size_t c = 0; c < channels; ++c)
            outputs[c] = samples.data() + (channels + 1 + c) * size;
    }

    void fill(const std::vector<double>& interleaved, std::int64_t frames)
    {
        for (std::size_t c = 0; c < channels; ++c)
            for (std::size_t i = 0; i < size; ++i)
                inputs[c][i] =
                    i < static_cast<std::size_t>(frames) ? static_cast<float>(interleaved[i * channels + c]) : 0.0F;
    }
    /// The side-chain is one channel: that of a mono file, or the mean of both.
    void fillSideChain(const std::vector<double>& interleaved, std::size_t fileChannels, std::int64_t frames)
    {
        for (std::size_t i = 0; i < size; ++i) {
            double sum = 0.0;
            for (std::size_t c = 0; c < fileChannels && i < static_cast<std::size_t>(frames); ++c)
                sum += interleaved[i * fileChannels + c];
            inputs[channels][i] = static_cast<float>(sum / static_cast<double>(fileChannels));
        }
    }
    void process(AaxInstance& instance, std::int64_t frames)
    {
        instance.process(inputs.data(), outputs.data(), static_cast<std::int32_t>(frames), sideChain);
    }
    void interleave(std::vector<double>& interleaved, std::int64_t first, std::int64_t end) const
    {
        std::size_t at = 0;
        for (auto i = static_cast<std::size_t>(first); i < static_cast<std::size_t>(end); ++i)
            for (std::size_t c = 0; c < channels; ++c)
                interleaved[at++] = static_cast<double>(outputs[c][i]);
    }

private:
    std::size_t size;
    std::size_t channels;
    std::int32_t sideChain;
    std::vector<float> samples;
    std::array<float*, 3> inputs{};
    std::array<float*, 2> outputs{};
};

/// Reads, plays and writes until the input and what is delayed behind it have come out.
class Player {
public:
    Player(const AaxRenderOptions& renderOptions, AudioReader& inputFile, AudioReader* sideFile)
        : options(renderOptions), input(inputFile), side(sideFile),
          block(options.blockFrames, input.channels(), side != nullptr),
          interleaved(static_cast<std::size_t>(options.blockFrames) * 2)
    {}

    /// Does what is due before the first frame. Fresh filters slide to their design; silence runs through until they
    /// are there.
    void settle(AaxInstance& instance)
    {
        (void)beginBlock(instance);
        const bool playing = std::exchange(instance.transport.playing, false);
        for (std::int64_t left = input.rate() / 10; left > 0; left -= options.blockFrames)
            block.process(instance, std::min<std::int64_t>(left, options.blockFrames));
        instance.deliverAutomation();
        instance.transport.playing = playing;
    }

    std::int64_t play(AaxInstance& instance, AudioWriter& output)
    {
        std::int64_t toSkip = instance.latency();
        std::int64_t toFlush = toSkip;
        std::int64_t written = 0;
        for (bool ended = false; !ended || toFlush > 0;) {
            const std::int64_t wanted = beginBlock(instance);
            std::int64_t frames = ended ? 0 : input.read(interleaved.data(), wanted);
            ended = frames < wanted;
            block.fill(interleaved, frames);
            const std::int64_t flushed = std::min(wanted - frames, toFlush);
            toFlush -= flushed;
            frames += flushed;
            if (side != nullptr)
                block.fillSideChain(interleaved, static_cast<std::size_t>(side->channels()),
                                    side->read(interleaved.data(), wanted));
            sendMidi(instance, frames);
            block.process(instance, frames);
            instance.deliverAutomation();
            for (std::size_t i = 0; i < peaks.size(); ++i)
                peaks[i] = std::max(peaks[i], instance.meters[i]);
            const std::int64_t skipped = std::min(toSkip, frames);
            toSkip -= skipped;
            block.interleave(interleaved, skipped, frames);
            output.write(interleaved.data(), frames - skipped);
            written += frames - skipped;
            position += frames;
        }
        return written;
    }

    std::array<float, 6> peaks{}; ///< of each meter tap

private:
    [[nodiscard]] std::int64_t frameOf(const TimedEvent& event) const
    {
        return std::llround(event.atSeconds * input.rate());
    }
    /// Does what is due. \return frames until there is something to do again, at most those of a block
    std::int64_t beginBlock(AaxInstance& instance)
    {
        for (; nextEvent != options.events.end(); ++nextEvent) {
            if (frameOf(*nextEvent) > position && nextEvent->dividesBlocks())
                return std::min<std::int64_t>(frameOf(*nextEvent) - position, options.blockFrames);
            if (frameOf(*nextEvent) <= position)
                apply(*nextEvent, instance);
            else if (frameOf(*nextEvent) >= position + options.blockFrames)
                break;
        }
        return options.blockFrames;
    }
    void sendMidi(AaxInstance& instance, std::int64_t frames)
    {
        for (; nextMidi != options.events.end() && frameOf(*nextMidi) < position + frames; ++nextMidi)
            for (const TimedEvent::Message& message : nextMidi->midi)
                instance.midi.push_back({.timeStamp = static_cast<std::uint32_t>(frameOf(*nextMidi) - position),
                                         .length = static_cast<std::uint32_t>(message.size()),
                                         .data = {message[0], message[1], message[2], 0},
                                         .isImmediate = false});
    }

    const AaxRenderOptions& options;
    AudioReader& input;
    AudioReader* side;
    Block block;
    std::vector<double> interleaved;
    std::int64_t position = 0; ///< of the block in progress, in frames
    std::vector<TimedEvent>::const_iterator nextEvent = options.events.begin();
    std::vector<TimedEvent>::const_iterator nextMidi = options.events.begin();
};

std::vector<AaxSavedChunk> makeSession(const AaxRenderOptions& options, const AaxLibrary& library,
                                       AaxAudioThread& audioThread, const AudioReader& input)
{
    AaxInstance instance(library, audioThread, input.channels(), static_cast<float>(input.rate()));
    if (!options.sideChain.empty())
        apply({{.tag = core::kExtSC, .value = 1.0F, .normalised = true}}, instance);
    apply(options.settings, instance);
    return instance.save();
}

void describeInstance(std::ostream& text, AaxInstance& instance)
{
    for (std::int32_t i = 0; i < instance.model().getNumberOfParameters(); ++i) {
        aax::ParameterInfo info{};
        std::string shown;
        if (instance.model().getParameterInfo(i, info) != aax::AAX_SUCCESS || info.identifier == nullptr ||
            info.name == nullptr)
            continue;
        (void)instance.model().getParameterStringFromValue(info.identifier, info.defaultNormal, shown);
        text << "  " << std::setw(2) << i << "  \"" << info.identifier << "\"  " << std::left << std::setw(14)
             << info.name << std::right
             << (info.type == aax::ParameterType::continuous ? " continuous, " : " discrete  , ") << std::setw(4)
             << info.numSteps << " steps, " << std::fixed << info.defaultNormal << " = " << shown << '\n';
    }
    for (const AaxSavedChunk& chunk : instance.save())
        text << "  chunk \"" << fourCharacters(chunk.chunkId) << "\" " << chunk.name << ", " << chunk.bytes.size()
             << " bytes\n";
    text << "  latency " << instance.latency() << " samples at 48000 Hz\n";
}

} // namespace

double hostValue(const ParameterSetting& setting, std::int32_t hostSteps)
{
    constexpr std::int32_t kContinuous = 1000;
    const core::ParamRecord& record = core::factoryParameters()[static_cast<std::size_t>(setting.tag)];
    const float normal =
        setting.normalised ? setting.value : core::valueToNormal(setting.value, record.min, record.max, record.scale);
    if (hostSteps == kContinuous || record.scale == core::ScaleType::onOff)
        return static_cast<double>(normal);
    const float low = core::normalToValue(0.0F, record.min, record.max, record.scale);
    const float value = core::normalToValue(normal, record.min, record.max, record.scale);
    const double step = record.scale == core::ScaleType::octaveSlope ? 12.0
                        : record.scale == core::ScaleType::slope     ? 6.0
                                                                     : 1.0;
    return std::clamp((static_cast<double>(value) - static_cast<double>(low)) / step / (hostSteps - 1), 0.0, 1.0);
}

std::string renderThroughAax(const AaxRenderOptions& options)
{
    const AaxLibrary library(options.plugin);
    AaxAudioThread audioThread;
    AudioReader input(options.input);
    std::unique_ptr<AudioReader> side;
    if (!options.sideChain.empty()) {
        side = std::make_unique<AudioReader>(options.sideChain);
        if (side->rate() != input.rate())
            throw Failure(ExitCode::input, side->path() + ": its rate of " + std::to_string(side->rate()) +
                                               " Hz is not the input's of " + std::to_string(input.rate()) + " Hz");
    }
    const auto session = makeSession(options, library, audioThread, input);

    AaxInstance instance(library, audioThread, input.channels(), static_cast<float>(input.rate()));
    instance.notify("AXof");
    instance.restore(session);
    AudioWriter output(options.output, outputFormat(options.output, "KEEP", input.description()), input.channels(),
                       input.rate(), input.frames());
    Player player(options, input, side.get());
    instance.transport.playing = true;
    player.settle(instance);
    const std::int32_t latency = instance.latency();
    const std::int64_t frames = player.play(instance, output);
    output.commit();

    std::ostringstream text;
    text << options.input << ": " << frames << " frames through " << library.effect().identifier << "\n  latency  "
         << latency << " samples, compensated\n"
         << std::fixed << std::setprecision(4);
    const auto& meters = library.effect().meters;
    for (std::size_t i = 0; i < meters.size() && i < player.peaks.size(); ++i)
        text << "  " << std::left << std::setw(8) << meters[i].name << ' ' << player.peaks[i] << " at most\n";
    text << "  output   " << options.output << '\n';
    return text.str();
}

std::string describeAax(const std::string& plugin)
{
    const AaxLibrary library(plugin);
    std::ostringstream text;
    text << describe(library.description());
    AaxAudioThread audioThread;
    for (const ComponentRecord* const component : library.effect().components) {
        text << "instance of " << component->channels() << " channels\n";
        try {
            AaxInstance instance(library, audioThread, component->channels(), 48000.0F);
            describeInstance(text, instance);
        } catch (const Failure& failure) {
            text << "  none: " << failure.what() << '\n';
        }
    }
    return text.str();
}

} // namespace sorvane::tools
