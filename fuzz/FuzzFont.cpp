// A TrueType file: it is refused, or every character of it can be measured and drawn.

#include "Font.h"

#include <algorithm>
#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace sorvane::toolkit;
    const auto font = Font::parse({reinterpret_cast<const char*>(data), size});
    if (!font)
        return 0;
    constexpr std::string_view text = "AV. gj\xC3\xA4\xC4\x84\xEF\x84\xA9\xF0\x9F\x98\x80";
    for (const float pixels : {11.0F, 40.0F}) {
        static_cast<void>(measureText(*font, pixels, text));
        static_cast<void>(renderText(*font, pixels, text, 0.5F));
    }
    for (std::uint32_t code = 0; code < 0x10FFFF; code += 0x3FD) // some of each plane
        static_cast<void>(font->boxOf(font->findGlyph(code)));
    return 0;
}
