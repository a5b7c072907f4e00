#include "StatedLength.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <optional>
#include <string_view>
#include <system_error>

namespace sorvane::tools {

namespace {

constexpr int kMostChunks = 100000;

/// How the chunks of a container lie in the file.
struct ChunkLayout {
    std::string_view magic;     ///< the file's first bytes
    std::string_view samples;   ///< how the id of the chunk with the samples begins
    std::uint64_t first;        ///< place of the first chunk
    std::size_t idBytes;        ///< in front of the size
    std::size_t sizeBytes;      ///< of the size itself
    std::uint64_t alignment;    ///< of the next chunk
    bool bigEndian = false;     ///< size
    bool countsItsHead = false; ///< the size includes id and size
};

constexpr std::array kLayouts = {
    ChunkLayout{"RIFF", "data", 12, 4, 4, 2},
    ChunkLayout{"RF64", "data", 12, 4, 4, 2},
    ChunkLayout{"RIFX", "data", 12, 4, 4, 2, true},
    ChunkLayout{"FORM", "SSND", 12, 4, 4, 2, true},
    ChunkLayout{"riff", "data", 40, 16, 8, 8, false, true},
    ChunkLayout{"caff", "data", 8, 4, 8, 1, true},
};

/// The next bytes of a file, and numbers in them.
class Bytes {
public:
    explicit Bytes(std::ifstream& in) : stream(in) {}

    bool read(std::uint64_t place, std::size_t count)
    {
        bytes.assign(count, 0);
        stream.clear();
        stream.seekg(static_cast<std::streamoff>(place));
        return static_cast<bool>(stream.read(bytes.data(), static_cast<std::streamsize>(count)));
    }
    [[nodiscard]] std::string_view text() const { return bytes; }
    [[nodiscard]] std::uint64_t number(std::size_t at, std::size_t count, bool bigEndian) const
    {
        std::uint64_t result = 0;
        for (std::size_t i = 0; i < count; ++i)
            result = result << 8 | static_cast<unsigned char>(bytes[bigEndian ? at + i : at + count - 1 - i]);
        return result;
    }

private:
    std::ifstream& stream;
    std::string bytes;
};

/// Programs that can't go back to fill in the length leave all ones there, or 2 GiB, or some less of either.
bool isKnown(std::uint64_t length, std::size_t bytes)
{
    if (bytes == 8)
        return length < std::uint64_t{1} << 63;
    return length < 0xFFFFF000U && (length < 0x7F000000U || length > 0x80000000U);
}

std::uint64_t beyond(std::uint64_t fileSize, std::uint64_t place, std::uint64_t length)
{
    const std::uint64_t there = fileSize - std::min(place, fileSize);
    return length - std::min(length, there);
}

std::uint64_t missingOfChunks(Bytes& bytes, const ChunkLayout& layout, std::uint64_t fileSize)
{
    const std::size_t head = layout.idBytes + layout.sizeBytes;
    std::optional<std::uint64_t> longLength; // of the samples in an RF64 file, whose own field is too narrow
    std::uint64_t at = layout.first;
    for (int chunk = 0; chunk < kMostChunks && bytes.read(at, head); ++chunk) {
        std::uint64_t length = bytes.number(layout.idBytes, layout.sizeBytes, layout.bigEndian);
        const bool hasSamples = bytes.text().starts_with(layout.samples);
        const bool hasLongLength = layout.magic == "RF64" && bytes.text().starts_with("ds64");
        if (layout.countsItsHead)
            length -= std::min<std::uint64_t>(length, head);
        at += head;
        if (hasSamples && longLength && !isKnown(length, layout.sizeBytes))
            return isKnown(*longLength, 8) ? beyond(fileSize, at, *longLength) : 0;
        if (hasSamples)
            return isKnown(length, layout.sizeBytes) ? beyond(fileSize, at, length) : 0;
        if (length > fileSize) // the chunks end here, and no sum below overflows
            return 0;
        if (hasLongLength && bytes.read(at, 16))
            longLength = bytes.number(8, 8, false);
        at += (length + layout.alignment - 1) / layout.alignment * layout.alignment;
    }
    return 0;
}

/// AU has one head, in the byte order of the machine that wrote it.
std::uint64_t missingOfAu(Bytes& bytes, std::uint64_t fileSize)
{
    if (!bytes.read(0, 12))
        return 0;
    const bool bigEndian = bytes.text().starts_with(".snd");
    const std::uint64_t length = bytes.number(8, 4, bigEndian);
    return length != 0xFFFFFFFFU ? beyond(fileSize, bytes.number(4, 4, bigEndian), length) : 0;
}

/// The last page of an Ogg file is there to its end and marked as the last.
bool endsWithLastPage(Bytes& bytes, std::uint64_t fileSize)
{
    constexpr std::uint64_t kLongestPage = 65307;
    constexpr std::size_t kHead = 27;
    constexpr unsigned char kEndOfStream = 4;
    const std::uint64_t from = fileSize - std::min(fileSize, kLongestPage);
    if (!bytes.read(from, static_cast<std::size_t>(fileSize - from)))
        return true;
    using namespace std::string_view_literals;
    const std::string_view tail = bytes.text();
    const std::size_t page = tail.rfind("OggS\0"sv);
    if (page == std::string_view::npos || tail.size() - page < kHead)
        return false;
    const std::size_t segments = static_cast<unsigned char>(tail[page + kHead - 1]);
    if (tail.size() - page < kHead + segments)
        return false;
    const std::size_t body =
        std::accumulate(tail.begin() + static_cast<std::ptrdiff_t>(page + kHead),
                        tail.begin() + static_cast<std::ptrdiff_t>(page + kHead + segments), std::size_t{0},
                        [](std::size_t sum, char length) { return sum + static_cast<unsigned char>(length); });
    return tail.size() - page >= kHead + segments + body &&
           (static_cast<unsigned char>(tail[page + 5]) & kEndOfStream) != 0;
}

} // namespace

std::string missingPart(const std::string& path)
{
    std::error_code error;
    const std::uint64_t fileSize = std::filesystem::file_size(path, error);
    std::ifstream in(path, std::ios::binary);
    Bytes bytes(in);
    if (error || !bytes.read(0, 4))
        return {};
    const std::string magic(bytes.text());
    if (magic == "OggS")
        return endsWithLastPage(bytes, fileSize) ? "" : "its last page is missing";
    std::uint64_t missing = 0;
    if (magic == ".snd" || magic == "dns.")
        missing = missingOfAu(bytes, fileSize);
    for (const ChunkLayout& layout : kLayouts)
        if (magic == layout.magic)
            missing = missingOfChunks(bytes, layout, fileSize);
    return missing == 0 ? "" : "its last " + std::to_string(missing) + " bytes are missing";
}

} // namespace sorvane::tools
