#include "AaxHostRender.h"

#include "AaxHostInstance.h"
#include "AudioFile.h"
#include "Parameters.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>

namespace sorvane::tools {

namespace {

std::string fourCharacters(std::int32_t code)
{
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        const char c = static_cast<char>(static_cast<std::uint32_t>(code) >> shift & 0xFFU);
        text += c >= ' ' && c < 127 ? c : '.';
    }
    return text;
}

void apply(const std::vector<ParameterSetting>& settings, AaxInstance& instance)
{
    for (const ParameterSetting& setting : settings) {
        aax::ParameterInfo info{};
        if (instance.model().getParameterInfo(setting.tag, info) == aax::AAX_SUCCESS)
            instance.automate(setting.tag, hostValue(setting, info.numSteps));
    }
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

    /// Fresh filters slide to their design; silence runs through until they are there.
    void settle(AaxInstance& instance)
    {
        for (std::int64_t left = input.rate() / 10; left > 0; left -= options.blockFrames)
            block.process(instance, std::min<std::int64_t>(left, options.blockFrames));
    }

    std::int64_t play(AaxInstance& instance, AudioWriter& output)
    {
        std::int64_t toSkip = instance.latency();
        std::int64_t toFlush = toSkip;
        std::int64_t written = 0;
        for (bool ended = false; !ended || toFlush > 0;) {
            std::int64_t frames = ended ? 0 : input.read(interleaved.data(), options.blockFrames);
            ended = frames < options.blockFrames;
            block.fill(interleaved, frames);
            const std::int64_t flushed = std::min(options.blockFrames - frames, toFlush);
            toFlush -= flushed;
            frames += flushed;
            if (side != nullptr)
                block.fillSideChain(interleaved, static_cast<std::size_t>(side->channels()),
                                    side->read(interleaved.data(), options.blockFrames));
            block.process(instance, frames);
            instance.deliverAutomation();
            for (std::size_t i = 0; i < peaks.size(); ++i)
                peaks[i] = std::max(peaks[i], instance.meters[i]);
            const std::int64_t skipped = std::min(toSkip, frames);
            toSkip -= skipped;
            block.interleave(interleaved, skipped, frames);
            output.write(interleaved.data(), frames - skipped);
            written += frames - skipped;
        }
        return written;
    }

    std::array<float, 6> peaks{}; ///< of each meter tap

private:
    const AaxRenderOptions& options;
    AudioReader& input;
    AudioReader* side;
    Block block;
    std::vector<double> interleaved;
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

void describeComponent(std::string& text, const ComponentRecord& component)
{
    text += "\ncomponent\n";
    for (const auto& [number, value] : component.properties->values) {
        char line[64];
        std::snprintf(line, sizeof line, "  property %-4d 0x%08X  %s\n", number, static_cast<unsigned>(value),
                      fourCharacters(value).c_str());
        text += line;
    }
    for (const FieldRecord& field : component.fields) {
        text += "  field " + std::to_string(field.field) + "  " + field.kind;
        if (!field.name.empty())
            text += " \"" + field.name + "\", type " + std::to_string(field.type) + ", channels " +
                    std::to_string(field.channelMask);
        if (field.bytes > 0)
            text += " of " + std::to_string(field.bytes) + " bytes";
        for (const std::int32_t tap : field.taps)
            text.append(1, ' ').append(fourCharacters(tap));
        text += "\n";
    }
}

void describeInstance(std::string& text, AaxInstance& instance)
{
    for (std::int32_t i = 0; i < instance.model().getNumberOfParameters(); ++i) {
        aax::ParameterInfo info{};
        std::string shown;
        if (instance.model().getParameterInfo(i, info) != aax::AAX_SUCCESS)
            continue;
        (void)instance.model().getParameterStringFromValue(info.identifier, info.defaultNormal, shown);
        char line[160];
        std::snprintf(line, sizeof line, "  %2d  \"%s\"  %-14s %s, %4d steps, %.6f = %s\n", i, info.identifier,
                      info.name, info.type == aax::ParameterType::continuous ? "continuous" : "discrete  ",
                      info.numSteps, info.defaultNormal, shown.c_str());
        text += line;
    }
    for (const AaxSavedChunk& chunk : instance.save())
        text += "  chunk \"" + fourCharacters(chunk.chunkId) + "\" " + chunk.name + ", " +
                std::to_string(chunk.bytes.size()) + " bytes\n";
    text += "  latency " + std::to_string(instance.latency()) + " samples at 48000 Hz\n";
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
    player.settle(instance);
    instance.deliverAutomation();
    instance.transport.playing = true;
    const std::int64_t frames = player.play(instance, output);
    output.commit();

    std::string text = options.input + ": " + std::to_string(frames) + " frames through " +
                       library.effect().identifier + "\n  latency  " + std::to_string(instance.latency()) +
                       " samples, compensated\n";
    for (const MeterRecord& meter : library.effect().meters) {
        char line[64];
        std::snprintf(
            line, sizeof line, "  %-8s %.4f at most\n", meter.name.c_str(),
            static_cast<double>(player.peaks[static_cast<std::size_t>(&meter - library.effect().meters.data())]));
        text += line;
    }
    return text + "  output   " + options.output + "\n";
}

std::string describeAax(const std::string& plugin)
{
    const AaxLibrary library(plugin);
    const CollectionRecord& package = library.description();
    const EffectRecord& effect = library.effect();
    std::string text = "package " + package.package + " version " + std::to_string(package.packageVersion) + " of " +
                       package.manufacturer + "\neffect " + effect.identifier + " \"" + effect.name + "\", category " +
                       std::to_string(effect.category) + "\n";
    for (const auto& [type, name] : effect.resources)
        text += "resource " + std::to_string(type) + " " + name + "\n";
    for (const MeterRecord& meter : effect.meters)
        text += "meter " + fourCharacters(meter.identifier) + " " + meter.name + ", type " +
                std::to_string(meter.properties->values[0].second) + ", orientation " +
                std::to_string(meter.properties->values[1].second) + "\n";
    AaxAudioThread audioThread;
    for (const ComponentRecord* component : effect.components) {
        describeComponent(text, *component);
        AaxInstance instance(
            library, audioThread,
            aax::channelCount(static_cast<std::uint32_t>(component->property(aax::propertyInputStemFormat))), 48000.0F);
        describeInstance(text, instance);
    }
    return text;
}

} // namespace sorvane::tools
