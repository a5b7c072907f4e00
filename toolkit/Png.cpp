#include "Png.h"

#include <png.h>

#include <cstdint>
#include <vector>

namespace sorvane::toolkit {

namespace {

constexpr png_uint_32 kLargestSide = 4096;

/// Frees what the library holds of an image that was begun.
struct Image : png_image {
    Image() : png_image{} { version = PNG_IMAGE_VERSION; }
    Image(const Image&) = delete;
    Image& operator=(const Image&) = delete;
    ~Image() { png_image_free(this); }
};

} // namespace

Shared<CDIB> readPng(std::string_view file)
{
    Image png;
    if (png_image_begin_read_from_memory(&png, file.data(), file.size()) == 0)
        return {};
    if (png.width == 0 || png.height == 0 || png.width > kLargestSide || png.height > kLargestSide)
        return {};
    const bool hasAlpha = (png.format & PNG_FORMAT_FLAG_ALPHA) != 0;
    png.format = PNG_FORMAT_BGRA;
    std::vector<std::uint8_t> bytes(PNG_IMAGE_SIZE(png));
    if (png_image_finish_read(&png, nullptr, bytes.data(), 0, nullptr) == 0)
        return {};
    auto image = Shared<CDIB>::adopt(new CDIB(static_cast<int>(png.width), static_cast<int>(png.height), hasAlpha));
    for (std::size_t i = 0; i < bytes.size() / 4; ++i) {
        const std::uint8_t* const part = &bytes[4 * i];
        image->getPixels()[i] = premultiplied({part[2], part[1], part[0], part[3]});
    }
    return image;
}

std::string writePng(const CDIB& image)
{
    if (image.getWidth() == 0 || image.getHeight() == 0)
        return {};
    Image png;
    png.width = static_cast<png_uint_32>(image.getWidth());
    png.height = static_cast<png_uint_32>(image.getHeight());
    png.format = image.isOpaque() ? PNG_FORMAT_RGB : PNG_FORMAT_RGBA;
    std::vector<std::uint8_t> bytes;
    bytes.reserve(PNG_IMAGE_SIZE(png));
    for (int y = 0; y < image.getHeight(); ++y)
        for (const Pixel pixel : image.row(y)) {
            const std::uint32_t alpha = image.isOpaque() ? 255U : pixel >> 24;
            for (const int shift : {16, 8, 0}) {
                const std::uint32_t part = pixel >> shift & 0xFFU;
                bytes.push_back(static_cast<std::uint8_t>(
                    alpha == 0 ? 0U : std::min((part * 255 + alpha / 2) / alpha, std::uint32_t{255})));
            }
            if (!image.isOpaque())
                bytes.push_back(static_cast<std::uint8_t>(alpha));
        }
    std::string file(PNG_IMAGE_PNG_SIZE_MAX(png), '\0');
    png_alloc_size_t size = file.size();
    if (png_image_write_to_memory(&png, file.data(), &size, 0, bytes.data(), 0, nullptr) == 0)
        return {};
    file.resize(size);
    return file;
}

} // namespace sorvane::toolkit
