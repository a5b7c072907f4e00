#include "AudioFile.h"

#include "StatedLength.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <system_error>

namespace sorvane::tools {

namespace fs = std::filesystem;

namespace {

constexpr int kMostRateHz = 1000000;

std::string reasonOf(SNDFILE* file)
{
    return sf_strerror(file);
}

std::string lowered(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(c < 128 ? std::tolower(c) : c); });
    return text;
}

/// A container by the extension of its files.
struct Container {
    const char* extension;
    int format;
    int codec = 0; ///< the only one that it holds, where samples aren't plain numbers
};

constexpr Container kContainers[] = {
    {"wav", SF_FORMAT_WAV},
    {"rf64", SF_FORMAT_RF64},
    {"w64", SF_FORMAT_W64},
    {"flac", SF_FORMAT_FLAC},
    {"aif", SF_FORMAT_AIFF},
    {"aiff", SF_FORMAT_AIFF},
    {"aifc", SF_FORMAT_AIFF},
    {"caf", SF_FORMAT_CAF},
    {"au", SF_FORMAT_AU},
    {"snd", SF_FORMAT_AU},
    {"ogg", SF_FORMAT_OGG, SF_FORMAT_VORBIS},
    {"oga", SF_FORMAT_OGG, SF_FORMAT_VORBIS},
    {"opus", SF_FORMAT_OGG, SF_FORMAT_OPUS},
    {"mp3", SF_FORMAT_MPEG, SF_FORMAT_MPEG_LAYER_III},
};

Container containerOf(const std::string& path, int inputFormat)
{
    const std::string extension = lowered(fs::path(path).extension().string());
    const int fromInput = inputFormat & SF_FORMAT_TYPEMASK;
    if (extension.empty())
        return {"", fromInput};
    std::string known;
    for (const Container& container : kContainers) {
        known += std::string(known.empty() ? "" : ", ") + container.extension;
        if (extension.substr(1) != container.extension)
            continue;
        const bool otherWav = fromInput == SF_FORMAT_WAVEX || fromInput == SF_FORMAT_RF64;
        return container.format == SF_FORMAT_WAV && otherWav ? Container{"", fromInput} : container;
    }
    throw Failure(ExitCode::usage, path + ": no such kind of audio file; known are " + known);
}

std::string containerName(int format)
{
    SF_FORMAT_INFO info{.format = format & SF_FORMAT_TYPEMASK, .name = nullptr, .extension = nullptr};
    sf_command(nullptr, SFC_GET_FORMAT_INFO, &info, sizeof info);
    return info.name != nullptr ? info.name : "this container";
}

/// Bytes of one sample as the file holds it.
int sampleBytes(int format)
{
    switch (format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_DOUBLE:
        return 8;
    case SF_FORMAT_FLOAT:
    case SF_FORMAT_PCM_32:
        return 4;
    case SF_FORMAT_PCM_24:
        return 3;
    case SF_FORMAT_PCM_16:
        return 2;
    default:
        return 1;
    }
}

/// Steps from 0 to full scale of an integer format, 0 for any other.
double stepsOf(int format)
{
    switch (format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_PCM_16:
    case SF_FORMAT_PCM_24:
    case SF_FORMAT_PCM_32:
        return std::exp2(8.0 * sampleBytes(format) - 1.0);
    case SF_FORMAT_PCM_S8:
    case SF_FORMAT_PCM_U8:
        return 128.0;
    default:
        return 0.0;
    }
}

/// The nearest whole number, the even one of two; beyond +-2^51 what it is. Without a call, so that a loop of it goes
/// into vectors.
double nearestWhole(double x)
{
    constexpr double kToWhole = 0x1.8p52; // adding it leaves no bits for a fraction
    return std::abs(x) < 0x1p51 ? x + kToWhole - kToWhole : x;
}

int descriptorOf(void* output)
{
    return static_cast<OutputFile*>(output)->descriptor();
}

/// libsndfile's way to an OutputFile, so that no failed write escapes: some of its codecs forget them.
SF_VIRTUAL_IO outputCalls()
{
    return {
        .get_filelen = [](void* output) -> sf_count_t {
            struct stat status {};
            return ::fstat(descriptorOf(output), &status) == 0 ? status.st_size : -1;
        },
        .seek = [](sf_count_t offset, int whence, void* output) -> sf_count_t {
            return ::lseek(descriptorOf(output), offset, whence);
        },
        .read = [](void* bytes, sf_count_t count, void* output) -> sf_count_t {
            return ::read(descriptorOf(output), bytes, static_cast<std::size_t>(count));
        },
        .write = [](const void* bytes, sf_count_t count, void* output) -> sf_count_t {
            auto* const file = static_cast<OutputFile*>(output);
            return static_cast<sf_count_t>(file->write(bytes, static_cast<std::size_t>(count)));
        },
        .tell = [](void* output) -> sf_count_t { return ::lseek(descriptorOf(output), 0, SEEK_CUR); },
    };
}

/// Whether the codec takes this format, number of channels and rate: libsndfile's own check leaves out rates.
bool canEncode(SF_INFO info)
{
    SF_VIRTUAL_IO nowhere{
        .get_filelen = [](void*) -> sf_count_t { return 0; },
        .seek = [](sf_count_t offset, int, void*) -> sf_count_t { return offset; },
        .read = [](void*, sf_count_t, void*) -> sf_count_t { return 0; },
        .write = [](const void*, sf_count_t count, void*) -> sf_count_t { return count; },
        .tell = [](void*) -> sf_count_t { return 0; },
    };
    return SoundFile(sf_open_virtual(&nowhere, SFM_WRITE, &info, nullptr)) != nullptr;
}

} // namespace

AudioReader::AudioReader(std::string filePath) : name(std::move(filePath))
{
    std::error_code error;
    if (fs::is_directory(name, error))
        throw Failure(ExitCode::input, name + ": is a folder");
    if (!fs::exists(name, error))
        throw Failure(ExitCode::input, name + ": no such file");
    if (!fs::is_regular_file(name, error)) // a pipe would wait, and can't be read from its beginning again
        throw Failure(ExitCode::input, name + ": not a plain file");
    file.reset(sf_open(name.c_str(), SFM_READ, &info));
    if (!file)
        throw Failure(ExitCode::input, name + ": not an audio file that can be read (" + reasonOf(nullptr) + ")");
    if (info.channels != 1 && info.channels != 2)
        throw Failure(ExitCode::input,
                      name + ": " + std::to_string(info.channels) + " channels; mono and stereo are supported");
    if (info.samplerate < 1 || info.samplerate > kMostRateHz)
        throw Failure(ExitCode::input,
                      name + ": a rate of " + std::to_string(info.samplerate) + " Hz; 1 Hz to 1 MHz are supported");
    if (const std::string missing = missingPart(name); !missing.empty())
        throw Failure(ExitCode::input, name + ": cut short: " + missing);
}

std::optional<std::int64_t> AudioReader::frames() const
{
    if (info.frames >= SF_COUNT_MAX || info.frames < 0)
        return std::nullopt;
    return info.frames;
}

std::int64_t AudioReader::read(double* interleaved, std::int64_t frames)
{
    const std::int64_t got = sf_readf_double(file.get(), interleaved, frames);
    position += got;
    if (got < frames) {
        if (sf_error(file.get()) != SF_ERR_NO_ERROR)
            throw Failure(ExitCode::input, name + ": can't be read beyond frame " + std::to_string(position) + " (" +
                                               reasonOf(file.get()) + ")");
        if (const auto promised = this->frames(); promised && position < *promised)
            throw Failure(ExitCode::input, name + ": cut short: " + std::to_string(position) + " of " +
                                               std::to_string(*promised) + " frames are there");
    }
    return got;
}

AudioWriter::AudioWriter(const std::string& filePath, int format, int channels, int rate,
                         std::optional<std::int64_t> frames)
    : output(filePath), steps(stepsOf(format)), channelCount(static_cast<std::size_t>(channels))
{
    SF_INFO info{};
    info.format = format;
    info.channels = channels;
    info.samplerate = rate;
    const int container = format & SF_FORMAT_TYPEMASK;
    const std::int64_t mostFrames = 0xF0000000LL / (std::int64_t{channels} * sampleBytes(format));
    if (frames.value_or(0) > mostFrames) {
        if (container == SF_FORMAT_AIFF)
            throw Failure(ExitCode::usage, filePath + ": AIFF ends at 4 GiB; choose wav, w64 or caf");
        // Plain WAV ends there too; the larger form of it is read everywhere that such files are.
        if (container == SF_FORMAT_WAV || container == SF_FORMAT_WAVEX)
            info.format = SF_FORMAT_RF64 | (format & SF_FORMAT_SUBMASK);
    }
    SF_VIRTUAL_IO calls = outputCalls();
    file.reset(sf_open_virtual(&calls, SFM_WRITE, &info, &output));
    if (!file)
        output.fail(reasonOf(nullptr));
    sf_command(file.get(), SFC_SET_CLIPPING, nullptr, SF_TRUE);
}

void AudioWriter::write(const double* interleaved, std::int64_t frames)
{
    if (steps > 0.0) { // the library cuts towards minus infinity when it clips
        rounded.resize(static_cast<std::size_t>(frames) * channelCount);
        std::transform(interleaved, interleaved + rounded.size(), rounded.begin(),
                       [this, step = 1.0 / steps](double sample) { return nearestWhole(sample * steps) * step; });
        interleaved = rounded.data();
    }
    if (sf_writef_double(file.get(), interleaved, frames) != frames || output.failed())
        output.fail(reasonOf(file.get()));
}

void AudioWriter::commit()
{
    if (sf_close(file.release()) != 0)
        output.fail("the file could not be completed");
    output.commit();
}

int outputFormat(const std::string& path, const std::string& wanted, const SF_INFO& input)
{
    if (path == "-")
        throw Failure(ExitCode::usage, "-: audio can't go to standard output; name a file");
    const Container container = containerOf(path, input.format);
    int samples = input.format & SF_FORMAT_SUBMASK;
    if (wanted == "float")
        samples = SF_FORMAT_FLOAT;
    else if (wanted == "double")
        samples = SF_FORMAT_DOUBLE;
    else if (wanted == "pcm16")
        samples = SF_FORMAT_PCM_16;
    else if (wanted == "pcm24")
        samples = SF_FORMAT_PCM_24;
    else if (container.codec != 0)
        samples = container.codec;

    SF_INFO info{};
    info.channels = input.channels;
    info.samplerate = input.samplerate;
    info.format = container.format | samples;
    const std::string name = containerName(container.format);
    if (sf_format_check(&info) == SF_FALSE)
        throw Failure(ExitCode::usage, path + ": " + name + " can't hold " +
                                           (wanted == "KEEP" ? "the input's sample format" : wanted) +
                                           (container.codec != 0 ? "" : "; choose another with --format"));
    if (!canEncode(info))
        throw Failure(ExitCode::usage,
                      path + ": " + name + " can't hold a rate of " + std::to_string(info.samplerate) + " Hz");
    return info.format;
}

bool clips(int format)
{
    const int samples = format & SF_FORMAT_SUBMASK;
    return samples != SF_FORMAT_FLOAT && samples != SF_FORMAT_DOUBLE;
}

} // namespace sorvane::tools
