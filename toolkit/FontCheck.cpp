#include "FontCheck.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <vector>

namespace sorvane::toolkit {

namespace {

constexpr std::size_t kLargestFile = 32U << 20;
constexpr int kDeepestComposite = 8;
constexpr int kMostPoints = 3000;         ///< of a glyph with its components
constexpr int kSmallestAscent = 256;      ///< a size in pixels is spread over few units otherwise
constexpr int kLargestCoordinate = 16000; ///< so that sums of offsets stay within 16 bits

/// A part of the file. Reading beyond its end gives 0 and is remembered.
class Table {
public:
    explicit Table(std::string_view content = {}) : bytes(content) {}

    [[nodiscard]] std::size_t size() const { return bytes.size(); }
    [[nodiscard]] bool overread() const { return beyond; }
    [[nodiscard]] Table part(std::size_t from) const
    {
        return Table(from <= bytes.size() ? bytes.substr(from) : std::string_view());
    }
    [[nodiscard]] Table part(std::size_t from, std::size_t length) const
    {
        return from <= bytes.size() && length <= bytes.size() - from ? Table(bytes.substr(from, length)) : Table();
    }

    std::uint32_t u8(std::size_t at)
    {
        if (at >= bytes.size()) {
            beyond = true;
            return 0;
        }
        return static_cast<std::uint8_t>(bytes[at]);
    }
    std::uint32_t u16(std::size_t at) { return u8(at) << 8 | u8(at + 1); }
    std::uint32_t u32(std::size_t at) { return u16(at) << 16 | u16(at + 2); }
    int s16(std::size_t at) { return static_cast<std::int16_t>(u16(at)); }
    int s8(std::size_t at) { return static_cast<std::int8_t>(u8(at)); }

private:
    std::string_view bytes;
    bool beyond = false;
};

/// What a glyph and its components come to.
struct GlyphSize {
    int points = 0;
    int extent = 0; ///< the largest coordinate, without its sign
};

class FontCheck {
public:
    explicit FontCheck(std::string_view content) : file(content) {}

    bool isSound()
    {
        if (file.size() < 12 || file.size() > kLargestFile || !readTables())
            return false;
        const std::size_t hmetrics = hhea.u16(34);
        const std::size_t glyphs = maxp.u16(4);
        longOffsets = head.u16(50) == 1;
        if (head.size() < 54 || hhea.size() < 36 || maxp.size() < 6 || head.u16(50) > 1 || glyphs == 0)
            return false;
        const int ascent = hhea.s16(4);
        const int descent = hhea.s16(6);
        if (ascent < kSmallestAscent || descent > 0 || hmetrics == 0 || hmetrics > glyphs ||
            hmtx.size() < 4 * hmetrics + 2 * (glyphs - hmetrics) || loca.size() < (glyphs + 1) * (longOffsets ? 4 : 2))
            return false;
        return isCharacterMapSound() && isKerningSound() && areGlyphsSound(glyphs);
    }

private:
    bool readTables()
    {
        Table directory(file);
        const std::uint32_t version = directory.u32(0);
        if (version != 0x00010000U && version != 0x74727565U) // 1.0, "true"
            return false;
        const std::size_t count = directory.u16(4);
        if (count > 64 || file.size() < 12 + 16 * count)
            return false;
        const auto find = [&](std::string_view tag) -> Table {
            for (std::size_t i = 0; i < count; ++i)
                if (file.substr(12 + 16 * i, 4) == tag)
                    return directory.part(directory.u32(12 + 16 * i + 8), directory.u32(12 + 16 * i + 12));
            return Table();
        };
        if (find("GPOS").size() != 0 || find("CFF ").size() != 0)
            return false;
        // The text routines find a table by its place alone, so that one which doesn't fit must not be there at all.
        for (std::size_t i = 0; i < count; ++i) {
            const std::size_t at = directory.u32(12 + 16 * i + 8);
            const std::size_t length = directory.u32(12 + 16 * i + 12);
            if (at > file.size() || length > file.size() - at || (length == 0 && file.substr(12 + 16 * i, 4) != "glyf"))
                return false;
        }
        head = find("head");
        hhea = find("hhea");
        hmtx = find("hmtx");
        maxp = find("maxp");
        cmap = find("cmap");
        loca = find("loca");
        glyf = find("glyf");
        kern = find("kern");
        return cmap.size() >= 4 && glyf.size() > 0;
    }

    bool isCharacterMapSound()
    {
        const std::size_t count = cmap.u16(2);
        if (count > 64)
            return false;
        std::optional<std::size_t> chosen; // the last one that fits is read
        for (std::size_t i = 0; i < count; ++i) {
            const std::size_t record = 4 + 8 * i;
            const std::uint32_t platform = cmap.u16(record);
            const std::uint32_t encoding = cmap.u16(record + 2);
            if (platform == 0 || (platform == 3 && (encoding == 1 || encoding == 10)))
                chosen = cmap.u32(record + 4);
        }
        if (cmap.overread() || !chosen || *chosen == 0)
            return false;
        Table map = cmap.part(*chosen);
        switch (map.u16(0)) {
        case 0:
            return map.u16(2) >= 6 && map.size() >= map.u16(2);
        case 4:
            return areSegmentsSound(map);
        case 6:
            return map.size() >= 10 && map.size() >= 10 + 2 * static_cast<std::size_t>(map.u16(8));
        case 12:
            return map.size() >= 16 && (map.size() - 16) / 12 >= map.u32(12);
        default:
            return false;
        }
    }

    /// Format 4: its search is led by fields of its own, which must be what its count of segments says.
    static bool areSegmentsSound(Table& map)
    {
        const std::uint32_t doubled = map.u16(6);
        const std::size_t count = doubled / 2;
        if (count == 0 || doubled % 2 != 0 || map.size() < 16 + 8 * count)
            return false;
        const std::uint32_t floorPower = std::bit_floor(static_cast<std::uint32_t>(count));
        if (map.u16(8) != 2 * floorPower || map.u16(10) != static_cast<std::uint32_t>(std::countr_zero(floorPower)) ||
            map.u16(12) != 2 * (count - floorPower))
            return false;
        std::uint32_t before = 0;
        for (std::size_t i = 0; i < count; ++i) {
            const std::uint32_t end = map.u16(14 + 2 * i);
            const std::uint32_t start = map.u16(16 + 2 * count + 2 * i);
            const std::size_t offsetAt = 16 + 6 * count + 2 * i;
            const std::uint32_t offset = map.u16(offsetAt);
            if (start > end || (i > 0 && end <= before))
                return false;
            if (offset != 0 && offsetAt + offset + 2 * static_cast<std::size_t>(end - start) + 2 > map.size())
                return false;
            before = end;
        }
        return before == 0xFFFF && !map.overread();
    }

    bool isKerningSound()
    {
        if (kern.size() == 0)
            return true;
        if (kern.size() < 18)
            return false;
        const bool read = kern.u16(2) >= 1 && kern.u16(8) == 1;
        return !read || kern.size() >= 18 + 6 * static_cast<std::size_t>(kern.u16(10));
    }

    bool areGlyphsSound(std::size_t count)
    {
        sizes.assign(count, std::nullopt);
        for (std::size_t i = 0; i < count; ++i)
            if (!measure(i, 0))
                return false;
        return true;
    }

    /// Empty for a glyph that isn't sound.
    std::optional<GlyphSize> measure(std::size_t index, int depth)
    {
        if (index >= sizes.size() || depth > kDeepestComposite)
            return std::nullopt;
        if (sizes[index])
            return sizes[index];
        const std::size_t from = longOffsets ? loca.u32(4 * index) : 2 * loca.u16(2 * index);
        const std::size_t to = longOffsets ? loca.u32(4 * index + 4) : 2 * loca.u16(2 * index + 2);
        if (from > to || to > glyf.size())
            return std::nullopt;
        Table glyph = glyf.part(from, to - from);
        std::optional<GlyphSize> size = GlyphSize{};
        if (glyph.size() > 0) {
            const int contours = glyph.s16(0);
            size = contours >= 0 ? measureSimple(glyph, static_cast<std::size_t>(contours))
                                 : measureComposite(glyph, depth);
            for (std::size_t at = 2; size && at < 10; at += 2) // its box
                size->extent = std::max(size->extent, std::abs(glyph.s16(at)));
        }
        if (!size || glyph.overread() || size->points > kMostPoints || size->extent > kLargestCoordinate)
            return std::nullopt;
        return sizes[index] = size;
    }

    static std::optional<GlyphSize> measureSimple(Table& glyph, std::size_t contours)
    {
        if (contours == 0)
            return GlyphSize{};
        std::size_t points = 0;
        std::vector<std::size_t> lonely; // points that are a contour on their own
        for (std::size_t i = 0; i < contours && !glyph.overread(); ++i) {
            const std::size_t end = glyph.u16(10 + 2 * i) + std::size_t{1};
            if (end <= points)
                return std::nullopt;
            if (end == points + 1)
                lonely.push_back(points);
            points = end;
        }
        if (glyph.overread() || points > kMostPoints)
            return std::nullopt;
        std::size_t at = 12 + 2 * contours + glyph.u16(10 + 2 * contours);
        std::vector<std::uint32_t> flags;
        while (flags.size() < points && !glyph.overread()) {
            const std::uint32_t flag = glyph.u8(at++);
            const std::size_t repeats = (flag & 8) != 0 ? glyph.u8(at++) : 0;
            flags.insert(flags.end(), std::min(repeats + 1, points - flags.size()), flag);
        }
        constexpr std::uint32_t kOnCurve = 1;
        if (glyph.overread() || std::any_of(lonely.begin(), lonely.end(),
                                            [&](std::size_t point) { return (flags[point] & kOnCurve) == 0; }))
            return std::nullopt; // such a contour has no beginning
        GlyphSize size{static_cast<int>(points), 0};
        for (const auto& [shortBit, sameBit] : {std::pair{2U, 16U}, {4U, 32U}}) {
            int coordinate = 0;
            for (const std::uint32_t flag : flags) {
                if ((flag & shortBit) != 0) {
                    const auto step = static_cast<int>(glyph.u8(at++));
                    coordinate += (flag & sameBit) != 0 ? step : -step;
                } else if ((flag & sameBit) == 0) {
                    coordinate += glyph.s16(at);
                    at += 2;
                }
                size.extent = std::max(size.extent, std::abs(coordinate));
            }
        }
        return size;
    }

    std::optional<GlyphSize> measureComposite(Table& glyph, int depth)
    {
        constexpr std::uint32_t kWords = 1;
        constexpr std::uint32_t kOffsets = 2; // not numbers of points
        constexpr std::uint32_t kMore = 32;
        constexpr std::uint32_t kScaled = 8 | 64 | 128;
        GlyphSize size;
        std::uint32_t flags = kMore;
        for (std::size_t at = 10; (flags & kMore) != 0;) {
            flags = glyph.u16(at);
            const std::size_t component = glyph.u16(at + 2);
            const bool words = (flags & kWords) != 0;
            const int x = words ? glyph.s16(at + 4) : glyph.s8(at + 4);
            const int y = words ? glyph.s16(at + 6) : glyph.s8(at + 5);
            at += words ? 8 : 6;
            if (glyph.overread() || (flags & kOffsets) == 0 || (flags & kScaled) != 0)
                return std::nullopt;
            const std::optional<GlyphSize> part = measure(component, depth + 1);
            if (!part)
                return std::nullopt;
            size.points += part->points + 1;
            size.extent = std::max(size.extent, part->extent + std::max(std::abs(x), std::abs(y)));
            if (size.points > kMostPoints || size.extent > kLargestCoordinate)
                return std::nullopt;
        }
        return size;
    }

    std::string_view file;
    Table head, hhea, hmtx, maxp, cmap, loca, glyf, kern;
    bool longOffsets = false;
    std::vector<std::optional<GlyphSize>> sizes;
};

} // namespace

bool isSoundFont(std::string_view file)
{
    return FontCheck(file).isSound();
}

} // namespace sorvane::toolkit
