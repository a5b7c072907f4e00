#include "CGLContext.h"

#include "PixelFont.h"

#include <GL/glext.h>

#include <algorithm>

namespace sorvane::toolkit {

CGLContext::CGLContext(const platform::GLFunctions& functions, int widthPixels, int heightPixels, float scale)
    : CDrawContext({0, 0, widthPixels, heightPixels}, scale), gl(functions), width(widthPixels), height(heightPixels)
{
    gl.getIntegerv(GL_MAX_TEXTURE_SIZE, &largestTexture);
}

CGLContext::~CGLContext()
{
    flushTextures();
}

void CGLContext::beginFrame()
{
    gl.viewport(0, 0, width, height);
    gl.clearColor(0.0F, 0.0F, 0.0F, 1.0F);
    gl.clear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    gl.matrixMode(GL_PROJECTION);
    gl.loadIdentity();
    gl.ortho(0.0, width, height, 0.0, -1.0, 1.0);
    gl.matrixMode(GL_MODELVIEW);
    gl.loadIdentity();
    gl.disable(GL_DITHER);
    gl.shadeModel(GL_FLAT); // one colour a quad: a renderer in software reckons it for each pixel else
    gl.enable(GL_BLEND);
    gl.blendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA); // all colours are multiplied by their alpha
    gl.enable(GL_TEXTURE_2D);
    gl.texEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_MODULATE);
    gl.pixelStorei(GL_UNPACK_ALIGNMENT, 1);
    gl.enableClientState(GL_VERTEX_ARRAY);
    gl.enableClientState(GL_TEXTURE_COORD_ARRAY);
    resetClipRect();
}

void CGLContext::endFrame()
{
    for (auto texture = textures.begin(); texture != textures.end();) {
        if (texture->second.image->useCount() > 1) {
            ++texture;
            continue;
        }
        gl.deleteTextures(1, &texture->second.name);
        texture = textures.erase(texture);
    }
}

void CGLContext::flushTextures()
{
    for (const auto& [image, texture] : textures)
        gl.deleteTextures(1, &texture.name);
    textures.clear();
}

Shared<CDIB> CGLContext::readPicture() const
{
    auto picture = Shared<CDIB>::adopt(new CDIB(width, height, false));
    std::vector<Pixel> pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    gl.readPixels(0, 0, width, height, GL_BGRA, GL_UNSIGNED_BYTE, pixels.data());
    for (int y = 0; y < height; ++y) { // from the bottom
        const auto* const from = &pixels[static_cast<std::size_t>(height - 1 - y) * static_cast<std::size_t>(width)];
        std::transform(from, from + width, picture->row(y).begin(), [](Pixel pixel) { return pixel | 0xFF000000U; });
    }
    return picture;
}

void CGLContext::setNearest() const
{
    gl.texParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    gl.texParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    gl.texParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    gl.texParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
}

void CGLContext::bind(const CDIB& image)
{
    Texture& texture = textures[&image];
    if (texture.name == 0) {
        texture.image = Shared<const CDIB>(&image);
        gl.genTextures(1, &texture.name);
        gl.bindTexture(GL_TEXTURE_2D, texture.name);
        setNearest();
    } else {
        gl.bindTexture(GL_TEXTURE_2D, texture.name);
    }
    if (texture.revision == image.getRevision())
        return;
    texture.revision = image.getRevision();
    gl.texImage2D(GL_TEXTURE_2D, 0, image.isOpaque() ? GL_RGB8 : GL_RGBA8, image.getWidth(), image.getHeight(), 0,
                  GL_BGRA, GL_UNSIGNED_BYTE, image.getPixels());
}

void CGLContext::addQuad(const PixelRect& pixels, float left, float top, float right, float bottom)
{
    const auto x0 = static_cast<float>(pixels.left);
    const auto y0 = static_cast<float>(pixels.top);
    const auto x1 = static_cast<float>(pixels.right);
    const auto y1 = static_cast<float>(pixels.bottom);
    corners.insert(corners.end(),
                   {{x0, y0, left, top}, {x1, y0, right, top}, {x1, y1, right, bottom}, {x0, y1, left, bottom}});
}

void CGLContext::drawQuads(Pixel colour)
{
    const auto part = [colour](int shift) { return static_cast<GLubyte>(colour >> shift & 0xFFU); };
    gl.color4ub(part(16), part(8), part(0), part(24));
    gl.vertexPointer(2, GL_FLOAT, sizeof(Corner), &corners.data()->x);
    gl.texCoordPointer(2, GL_FLOAT, sizeof(Corner), &corners.data()->s);
    gl.drawArrays(GL_QUADS, 0, static_cast<GLsizei>(corners.size()));
    corners.clear();
}

void CGLContext::fillPixels(const PixelRect& pixels, Pixel colour)
{
    if (pixels.isEmpty())
        return;
    addQuad(pixels, 0, 0, 0, 0);
    fillQuads(colour);
}

void CGLContext::fillQuads(Pixel colour)
{
    if (corners.empty())
        return;
    const bool opaque = colour >> 24 == 0xFFU; // for which what is there needn't be read
    gl.disable(GL_TEXTURE_2D);
    if (opaque)
        gl.disable(GL_BLEND);
    drawQuads(colour);
    if (opaque)
        gl.enable(GL_BLEND);
    gl.enable(GL_TEXTURE_2D);
}

void CGLContext::drawWithCoverage(const std::vector<std::uint8_t>& values, int textureWidth, int textureHeight,
                                  Pixel colour)
{
    GLuint name = 0;
    gl.genTextures(1, &name);
    gl.bindTexture(GL_TEXTURE_2D, name);
    setNearest();
    gl.texImage2D(GL_TEXTURE_2D, 0, GL_INTENSITY8, textureWidth, textureHeight, 0, GL_LUMINANCE, GL_UNSIGNED_BYTE,
                  values.data());
    drawQuads(colour);
    gl.deleteTextures(1, &name);
}

void CGLContext::fillOutline(const Outline& shape, Pixel colour, const PixelRect& within)
{
    const PixelRect box = shape.bounds().intersectedWith(within);
    if (box.isEmpty())
        return;
    const auto stride = static_cast<std::size_t>(box.width());
    covered.assign(stride * static_cast<std::size_t>(box.height()), 0);
    shape.rasterise(within, [&](int y, int left, std::span<const std::uint8_t> coverage) {
        std::copy(coverage.begin(), coverage.end(),
                  &covered[static_cast<std::size_t>(y - box.top) * stride + static_cast<std::size_t>(left - box.left)]);
    });
    std::vector<PixelRect> edges;
    for (int top = box.top; top < box.bottom; top += kTile)
        for (int left = box.left; left < box.right; left += kTile)
            sortTile(box, PixelRect{left, top, left + kTile, top + kTile}.intersectedWith(box), edges);
    fillQuads(colour);
    drawEdges(box, edges, colour);
}

void CGLContext::sortTile(const PixelRect& box, const PixelRect& tile, std::vector<PixelRect>& edges)
{
    const std::uint8_t first = covered[coveredAt(box, tile.left, tile.top)];
    bool even = first == 0 || first == 255;
    for (int y = tile.top; even && y < tile.bottom; ++y) {
        const std::uint8_t* const row = &covered[coveredAt(box, tile.left, y)];
        even = std::all_of(row, row + tile.width(), [first](std::uint8_t value) { return value == first; });
    }
    if (!even)
        edges.push_back(tile);
    else if (first == 255)
        addSolid(tile);
}

void CGLContext::addSolid(const PixelRect& tile)
{
    // With the one to the left of it as one.
    const auto right = static_cast<float>(tile.left);
    const auto top = static_cast<float>(tile.top);
    if (corners.size() >= 4 && corners[corners.size() - 3].x == right && corners[corners.size() - 3].y == top) {
        corners[corners.size() - 3].x = corners[corners.size() - 2].x = static_cast<float>(tile.right);
        return;
    }
    addQuad(tile, 0, 0, 0, 0);
}

void CGLContext::drawEdges(const PixelRect& box, const std::vector<PixelRect>& edges, Pixel colour)
{
    constexpr int kMostColumns = 32;
    const auto count = static_cast<int>(edges.size());
    const int columns = std::min(count, kMostColumns);
    if (columns == 0)
        return;
    const int atlasWidth = columns * kTile;
    const int atlasHeight = (count + columns - 1) / columns * kTile;
    if (atlasWidth > largestTexture || atlasHeight > largestTexture)
        return;
    std::vector<std::uint8_t> atlas(static_cast<std::size_t>(atlasWidth) * static_cast<std::size_t>(atlasHeight));
    for (int i = 0; i < count; ++i) {
        const PixelRect& tile = edges[static_cast<std::size_t>(i)];
        const int left = i % columns * kTile;
        const int top = i / columns * kTile;
        for (int y = 0; y < tile.height(); ++y)
            std::copy_n(&covered[coveredAt(box, tile.left, tile.top + y)], tile.width(),
                        &atlas[static_cast<std::size_t>(top + y) * static_cast<std::size_t>(atlasWidth) +
                               static_cast<std::size_t>(left)]);
        const auto s = [&](int x) { return static_cast<float>(x) / static_cast<float>(atlasWidth); };
        const auto t = [&](int y) { return static_cast<float>(y) / static_cast<float>(atlasHeight); };
        addQuad(tile, s(left), t(top), s(left + tile.width()), t(top + tile.height()));
    }
    drawWithCoverage(atlas, atlasWidth, atlasHeight, colour);
}

void CGLContext::drawCoverage(const Coverage& coverage, int left, int top, Pixel colour)
{
    const PixelRect pixels{left, top, left + coverage.width, top + coverage.height};
    const PixelRect seen = pixels.intersectedWith(clipPixels());
    if (seen.isEmpty())
        return;
    std::vector<std::uint8_t> values;
    values.reserve(static_cast<std::size_t>(seen.width()) * static_cast<std::size_t>(seen.height()));
    for (int y = seen.top; y < seen.bottom; ++y) {
        const auto row = coverage.values.begin() + static_cast<std::ptrdiff_t>(y - top) * coverage.width;
        values.insert(values.end(), row + (seen.left - left), row + (seen.right - left));
    }
    if (seen.width() > largestTexture || seen.height() > largestTexture)
        return;
    addQuad(seen, 0, 0, 1, 1);
    drawWithCoverage(values, seen.width(), seen.height(), colour);
}

void CGLContext::drawTexels(const TexelMap& map, std::uint32_t alpha)
{
    const CDIB& image = map.bitmap;
    if (image.getWidth() > largestTexture || image.getHeight() > largestTexture)
        return;
    bind(image);
    // The map's places are those of pixels' middles, a quad's those of its edges.
    const double left = map.left - 0.5 * map.stepX;
    const double top = map.top - 0.5 * map.stepY;
    const auto s = [&](double x) { return static_cast<float>(x / image.getWidth()); };
    const auto t = [&](double y) { return static_cast<float>(y / image.getHeight()); };
    addQuad(map.pixels, s(left), t(top), s(left + map.pixels.width() * map.stepX),
            t(top + map.pixels.height() * map.stepY));
    drawQuads(alpha * 0x01010101U);
}

const BakedFont& CGLContext::bakedFont(const Font& face, float pixels)
{
    for (const auto& baked : bakedFonts)
        if (&baked->getFont() == &face && baked->getSize() == pixels)
            return *baked;
    return *bakedFonts.emplace_back(std::make_unique<BakedFont>(face, pixels));
}

void CGLContext::addGlyph(const BakedGlyph& glyph, const CDIB& atlas, int left, int top)
{
    const PixelRect pixels{left, top, left + glyph.area.width(), top + glyph.area.height()};
    const PixelRect seen = pixels.intersectedWith(clipPixels());
    if (seen.isEmpty())
        return;
    const auto s = [&](int x) {
        return static_cast<float>(glyph.area.left + x - left) / static_cast<float>(atlas.getWidth());
    };
    const auto t = [&](int y) {
        return static_cast<float>(glyph.area.top + y - top) / static_cast<float>(atlas.getHeight());
    };
    addQuad(seen, s(seen.left), t(seen.top), s(seen.right), t(seen.bottom));
}

void CGLContext::drawText(std::string_view text, CPoint point, const Font& textFont, std::uint32_t colour, float size,
                          int haloRadius)
{
    const bool plain =
        std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    const float pixels = size * getDrawScale();
    if (!plain || haloRadius > 0 || !(pixels > 0.0F)) {
        CDrawContext::drawText(text, point, textFont, colour, size, haloRadius);
        return;
    }
    const BakedFont& baked = bakedFont(textFont, pixels);
    if (baked.getAtlas().getWidth() > largestTexture) {
        CDrawContext::drawText(text, point, textFont, colour, size, haloRadius);
        return;
    }
    const DevicePoint at = toDevice(point);
    const int left = roundToPixel(at.x);
    const int top = roundToPixel(at.y);
    bind(baked.getAtlas());
    baked.layOut(text,
                 [&](const BakedGlyph& glyph, int x, int y) { addGlyph(glyph, baked.getAtlas(), left + x, top + y); });
    if (!corners.empty())
        drawQuads(colour);
}

void CGLContext::drawPixelText(std::string_view text, float x, float y, std::uint32_t colour)
{
    if (!pixelFont)
        pixelFont = std::make_unique<BakedPixelFont>(getBitmap(PixelFont::kLargerStrip));
    const DevicePoint at = toDevice({x, y});
    bind(pixelFont->getAtlas());
    pixelFont->layOut(text, [&](const BakedGlyph& glyph, int left, int top) {
        addGlyph(glyph, pixelFont->getAtlas(), roundToPixel(at.x) + left, roundToPixel(at.y) + top);
    });
    if (!corners.empty())
        drawQuads(0xFF000000U | (colour & 0xFFU) << 16 | (colour & 0xFF00U) | (colour >> 16 & 0xFFU));
}

} // namespace sorvane::toolkit
