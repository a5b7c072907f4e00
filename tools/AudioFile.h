#pragma once

#include "Failure.h"

#include <sndfile.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace sorvane::tools {

struct SoundFileCloser {
    void operator()(SNDFILE* file) const noexcept { sf_close(file); }
};
using SoundFile = std::unique_ptr<SNDFILE, SoundFileCloser>;

/// A mono or stereo audio file, read from its beginning as doubles.
class AudioReader {
public:
    /// Throws Failure (input): no audio file, cut short, other channel counts, a rate that the effect doesn't take.
    explicit AudioReader(std::string filePath);

    /// Reads up to \p frames interleaved frames. \return frames read, fewer only at the end
    /// Throws Failure (input) where the file ends before its header says or can't be read on.
    std::int64_t read(double* interleaved, std::int64_t frames);

    [[nodiscard]] const std::string& path() const { return name; }
    [[nodiscard]] int channels() const { return info.channels; }
    [[nodiscard]] int rate() const { return info.samplerate; }
    [[nodiscard]] int format() const { return info.format; }
    /// \return frames that the header says; none for a stream of open length
    [[nodiscard]] std::optional<std::int64_t> frames() const;

private:
    std::string name;
    SF_INFO info{};
    SoundFile file;
    std::int64_t position = 0;
};

/// An audio file that appears under its name only when it is complete: it is written beside it and renamed by commit.
/// Whatever ends the writing earlier leaves no file, and an older one of that name as it was.
class AudioWriter {
public:
    /// \param format  of libsndfile, container and sample format
    /// Throws Failure (output).
    AudioWriter(const std::string& filePath, int format, int channels, int rate, std::optional<std::int64_t> frames);
    ~AudioWriter();
    AudioWriter(const AudioWriter&) = delete;
    AudioWriter& operator=(const AudioWriter&) = delete;

    /// Samples are rounded and clipped where the format holds integers. Throws Failure (output).
    void write(const double* interleaved, std::int64_t frames);
    /// Completes the file. Throws Failure (output).
    void commit();

private:
    [[noreturn]] void fail(const std::string& reason) const;

    std::string name;      // as the user wrote it
    std::string target;    // where it ends, links followed
    std::string temporary; // beside the target; empty when there is none to remove
    double steps = 0.0;    // of full scale in an integer format, 0 in any other
    std::size_t channelCount = 1;
    std::vector<double> rounded;
    SoundFile file;
};

/// The format that an output gets.
/// \param path    its extension chooses the container; one that isn't known keeps that of the input
/// \param wanted  KEEP, float, double, pcm16 or pcm24
/// Throws Failure (usage) when the container can't hold such samples.
[[nodiscard]] int outputFormat(const std::string& path, const std::string& wanted, int inputFormat);

/// Whether samples above full scale are cut in this format.
[[nodiscard]] bool clips(int format);

/// What goes to \p path must be possible; asked before hours of work. Throws Failure (output).
void requireWritable(const std::string& path);

} // namespace sorvane::tools
