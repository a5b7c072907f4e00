// A PNG file as an embedded or a user's one would be: an image comes of it or nothing, and what was read can be
// written.

#include "Png.h"

#include <zlib.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize);

namespace {

std::uint32_t bigEndian(const std::uint8_t* bytes)
{
    return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 | std::uint32_t{bytes[2]} << 8 | bytes[3];
}

/// Gives each chunk the checksum that its content has, since a wrong one ends the reading.
void mendChecksums(std::uint8_t* data, std::size_t size)
{
    constexpr std::size_t kSignature = 8;
    constexpr std::size_t kAroundContent = 12; // length and kind before it, the checksum after it
    for (std::size_t at = kSignature; at + kAroundContent <= size;) {
        const std::size_t length = bigEndian(data + at);
        if (length > size - at - kAroundContent)
            return;
        const auto sum = static_cast<std::uint32_t>(crc32(0, data + at + 4, static_cast<uInt>(length + 4)));
        for (std::size_t i = 0; i < 4; ++i)
            data[at + 8 + length + i] = static_cast<std::uint8_t>(sum >> (24 - 8 * i));
        at += kAroundContent + length;
    }
}

} // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned /*seed*/)
{
    const std::size_t mutated = LLVMFuzzerMutate(data, size, maxSize);
    mendChecksums(data, mutated);
    return mutated;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace sorvane::toolkit;
    const Shared<CDIB> image = readPng({reinterpret_cast<const char*>(data), size});
    if (image && image->getWidth() * image->getHeight() < 1 << 16 && !readPng(writePng(*image)))
        std::abort();
    return 0;
}
