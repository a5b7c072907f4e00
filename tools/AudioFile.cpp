#include "AudioFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>

namespace sorvane::tools {

namespace fs = std::filesystem;

namespace {

constexpr int kMostRateHz = 1000000;

std::uint32_t littleEndian(const std::array<char, 4>& bytes)
{
    std::uint32_t number = 0;
    for (std::size_t i = 4; i-- > 0;)
        number = number << 8 | static_cast<unsigned char>(bytes[i]);
    return number;
}

/// Bytes that the data chunk of a WAV file promises beyond the file's end. The library takes such a file for a shorter
/// one and says nothing. Sizes of 0 and from 2^32 - 2^12 are what programs write that don't know the length yet.
std::uint64_t missingBytes(const std::string& path)
{
    std::error_code error;
    const std::uint64_t size = fs::file_size(path, error);
    std::ifstream in(path, std::ios::binary);
    std::array<char, 4> id{};
    std::array<char, 4> length{};
    const auto readChunk = [&] { return in.read(id.data(), 4) && in.read(length.data(), 4); };
    if (error || !readChunk() || std::string_view(id.data(), 4) != "RIFF" || !in.read(id.data(), 4))
        return 0;
    std::uint64_t at = 12;
    while (readChunk()) {
        const std::uint64_t bytes = littleEndian(length);
        at += 8;
        if (std::string_view(id.data(), 4) == "data")
            return bytes < 0xFFFFF000U && at + bytes > size ? at + bytes - size : 0;
        at += bytes + bytes % 2;
        in.seekg(static_cast<std::streamoff>(at));
    }
    return 0;
}

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

int containerOf(const std::string& path, int inputFormat)
{
    const std::string extension = lowered(fs::path(path).extension().string());
    const int fromInput = inputFormat & SF_FORMAT_TYPEMASK;
    if (extension == ".wav") {
        const bool alreadyWav =
            fromInput == SF_FORMAT_WAVEX || fromInput == SF_FORMAT_RF64 || fromInput == SF_FORMAT_WAV;
        return alreadyWav ? fromInput : SF_FORMAT_WAV;
    }
    if (extension == ".flac")
        return SF_FORMAT_FLAC;
    if (extension == ".aif" || extension == ".aiff")
        return SF_FORMAT_AIFF;
    if (extension == ".w64")
        return SF_FORMAT_W64;
    if (extension == ".caf")
        return SF_FORMAT_CAF;
    return fromInput;
}

std::string containerName(int format)
{
    SF_FORMAT_INFO info{.format = format & SF_FORMAT_TYPEMASK, .name = nullptr, .extension = nullptr};
    sf_command(nullptr, SFC_GET_FORMAT_INFO, &info, sizeof info);
    return info.name != nullptr ? info.name : "this container";
}

/// Where a name leads, for a link as for a file that doesn't exist yet.
fs::path resolved(const std::string& path)
{
    std::error_code error;
    const fs::path target = fs::weakly_canonical(path, error);
    return error ? fs::path(path) : target;
}

} // namespace

namespace {

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

} // namespace

AudioReader::AudioReader(std::string filePath) : name(std::move(filePath))
{
    std::error_code error;
    if (fs::is_directory(name, error))
        throw Failure(ExitCode::input, name + ": is a folder");
    if (!fs::exists(name, error))
        throw Failure(ExitCode::input, name + ": no such file");
    file.reset(sf_open(name.c_str(), SFM_READ, &info));
    if (!file)
        throw Failure(ExitCode::input, name + ": not an audio file that can be read (" + reasonOf(nullptr) + ")");
    if (info.channels != 1 && info.channels != 2)
        throw Failure(ExitCode::input,
                      name + ": " + std::to_string(info.channels) + " channels; mono and stereo are supported");
    if (info.samplerate < 1 || info.samplerate > kMostRateHz)
        throw Failure(ExitCode::input,
                      name + ": a rate of " + std::to_string(info.samplerate) + " Hz; 1 Hz to 1 MHz are supported");
    if (const std::uint64_t missing = missingBytes(name); missing > 0)
        throw Failure(ExitCode::input,
                      name + ": cut short: its last " + std::to_string(missing) + " bytes are missing");
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
    : name(filePath), target(resolved(filePath).string())
{
    requireWritable(name);
    const std::string path = target + ".part" + std::to_string(getpid());
    const int descriptor = ::open(path.c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, 0666);
    if (descriptor < 0)
        fail(std::generic_category().message(errno));
    temporary = path;

    SF_INFO info{};
    info.format = format;
    info.channels = channels;
    info.samplerate = rate;
    // Plain WAV ends at 4 GiB; the larger form of it is read everywhere that such files are.
    const std::int64_t mostFrames = 0xF0000000LL / (std::int64_t{channels} * sampleBytes(format));
    const int container = format & SF_FORMAT_TYPEMASK;
    if ((container == SF_FORMAT_WAV || container == SF_FORMAT_WAVEX) && frames.value_or(0) > mostFrames)
        info.format = SF_FORMAT_RF64 | (format & SF_FORMAT_SUBMASK);
    file.reset(sf_open_fd(descriptor, SFM_WRITE, &info, SF_TRUE));
    if (!file)
        fail(reasonOf(nullptr));
    sf_command(file.get(), SFC_SET_CLIPPING, nullptr, SF_TRUE);
    steps = stepsOf(format);
    channelCount = static_cast<std::size_t>(channels);
}

AudioWriter::~AudioWriter()
{
    file.reset();
    if (!temporary.empty())
        ::unlink(temporary.c_str());
}

void AudioWriter::fail(const std::string& reason) const
{
    // A failed constructor runs no destructor.
    if (!temporary.empty())
        ::unlink(temporary.c_str());
    throw Failure(ExitCode::output, name + ": can't be written (" + reason + ")");
}

void AudioWriter::write(const double* interleaved, std::int64_t frames)
{
    if (steps > 0.0) { // the library cuts towards minus infinity when it clips
        rounded.assign(interleaved, interleaved + static_cast<std::size_t>(frames) * channelCount);
        for (double& sample : rounded)
            sample = std::nearbyint(sample * steps) / steps;
        interleaved = rounded.data();
    }
    if (sf_writef_double(file.get(), interleaved, frames) != frames)
        fail(reasonOf(file.get()));
}

void AudioWriter::commit()
{
    sf_write_sync(file.get());
    if (sf_close(file.release()) != 0)
        fail("the file could not be completed");
    std::error_code error;
    const auto permissions = fs::status(target, error).permissions();
    if (!error && fs::exists(target))
        fs::permissions(temporary, permissions, error); // a file that is replaced keeps its rights
    fs::rename(temporary, target, error);
    if (error)
        fail(error.message());
    temporary.clear();
}

int outputFormat(const std::string& path, const std::string& wanted, int inputFormat)
{
    const int container = containerOf(path, inputFormat);
    int samples = inputFormat & SF_FORMAT_SUBMASK;
    if (wanted == "float")
        samples = SF_FORMAT_FLOAT;
    else if (wanted == "double")
        samples = SF_FORMAT_DOUBLE;
    else if (wanted == "pcm16")
        samples = SF_FORMAT_PCM_16;
    else if (wanted == "pcm24")
        samples = SF_FORMAT_PCM_24;

    SF_INFO info{};
    info.channels = 1;
    info.samplerate = 48000;
    info.format = container | samples;
    if (sf_format_check(&info) == SF_FALSE)
        throw Failure(ExitCode::usage, path + ": " + containerName(container) + " can't hold " +
                                           (wanted == "KEEP" ? "the input's sample format" : wanted) +
                                           "; choose another with --format");
    return info.format;
}

bool clips(int format)
{
    const int samples = format & SF_FORMAT_SUBMASK;
    return samples != SF_FORMAT_FLOAT && samples != SF_FORMAT_DOUBLE;
}

void requireWritable(const std::string& path)
{
    const auto refuse = [&](const std::string& reason) {
        throw Failure(ExitCode::output, path + ": can't be written (" + reason + ")");
    };
    const fs::path target = resolved(path);
    const fs::path folder = target.has_parent_path() ? target.parent_path() : fs::path(".");
    std::error_code error;
    if (fs::exists(target, error) && !fs::is_regular_file(target, error))
        refuse("not a plain file");
    if (!fs::is_directory(folder, error))
        refuse("no folder " + folder.string());
    if (::access(folder.c_str(), W_OK) != 0)
        refuse("folder " + folder.string() + ": " + std::generic_category().message(errno));
}

} // namespace sorvane::tools
