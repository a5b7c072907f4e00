// Reading audio files, with the tool's own look into those that are cut short.

#include "AudioFile.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <string>
#include <vector>

/// The codec that leaks when its library refuses a file is none of ours. What we would forget to close is allocated
/// elsewhere.
extern "C" const char* __lsan_default_suppressions() // NOLINT(bugprone-reserved-identifier): the sanitizer's name
{
    return "leak:libvorbis\nleak:libogg\nleak:libopus\nleak:libFLAC\nleak:libmpg123\n";
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace sorvane::tools;
    static const int descriptor = memfd_create("input", 0);
    static const std::string path = "/proc/self/fd/" + std::to_string(descriptor);
    if (ftruncate(descriptor, 0) != 0 || pwrite(descriptor, data, size, 0) != static_cast<ssize_t>(size))
        return 0;
    try {
        AudioReader reader(path);
        std::vector<double> interleaved(std::size_t{2} * 4096);
        while (reader.read(interleaved.data(), 4096) == 4096) {
        }
    } catch (const Failure&) { // told as it should be
    }
    return 0;
}
