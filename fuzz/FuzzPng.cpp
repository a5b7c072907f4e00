// A PNG file as an embedded or a user's one would be: an image comes of it or nothing, and what was read can be written.

#include "Png.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace sorvane::toolkit;
    const Shared<CDIB> image = readPng({reinterpret_cast<const char*>(data), size});
    if (image && image->getWidth() * image->getHeight() < 1 << 16 && !readPng(writePng(*image)))
        std::abort();
    return 0;
}
