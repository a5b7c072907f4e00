#pragma once

#include "OutputFile.h"

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
    /// Format, channels and rate as libsndfile says them.
    [[nodiscard]] const SF_INFO& description() const { return info; }
    /// \return frames that the header says; none for a stream of open length
    [[nodiscard]] std::optional<std::int64_t> frames() const;

private:
    std::string name;
    SF_INFO info{};
    SoundFile file;
    std::int64_t position = 0;
};

/// An audio file that appears only when it is complete; see OutputFile.
class AudioWriter {
public:
    /// \param format  of libsndfile, container and sample format
    /// Throws Failure (output); (usage) for more frames than the container holds.
    AudioWriter(const std::string& filePath, int format, int channels, int rate, std::optional<std::int64_t> frames);

    /// Samples are rounded and clipped where the format holds integers. Throws Failure (output).
    void write(const double* interleaved, std::int64_t frames);
    /// Completes the file. Throws Failure (output).
    void commit();

private:
    OutputFile output;
    double steps = 0.0; // of full scale in an integer format, 0 in any other
    std::size_t channelCount = 1;
    std::vector<double> rounded;
    SoundFile file; // writes to the output until it is closed
};

/// The format that an output gets.
/// \param path    its extension chooses the container; without one it is that of the input
/// \param wanted  KEEP, float, double, pcm16 or pcm24
/// \param input   what the input holds
/// Throws Failure (usage) when there is no such container or it can't hold such samples, channels or rate.
[[nodiscard]] int outputFormat(const std::string& path, const std::string& wanted, const SF_INFO& input);

/// Whether samples above full scale are cut in this format.
[[nodiscard]] bool clips(int format);

} // namespace sorvane::tools
