#pragma once

#include "BakedFont.h"
#include "CDrawContext.h"
#include "GLFunctions.h"

#include <map>
#include <memory>
#include <vector>

namespace sorvane::toolkit {

/// Draws by OpenGL 1, with images as textures and text from baked glyphs. Which pixels a shape covers, and how far, is
/// reckoned as for every other context; what is smoothed is drawn as a texture of its coverage.
///
/// It is made, used and destroyed while one and the same OpenGL context is current.
class CGLContext final : public CDrawContext {
public:
    CGLContext(const platform::GLFunctions& functions, int widthPixels, int heightPixels, float scale);
    ~CGLContext() override;

    /// Sets the projection and clears all to black.
    void beginFrame();
    /// Lets go of textures that were used for this frame alone.
    void endFrame();
    /// Drops all textures, which come back as they are drawn.
    void flushTextures();
    /// What was drawn, before it is shown.
    [[nodiscard]] Shared<CDIB> readPicture() const;

    [[nodiscard]] bool hasBakedText() const override { return true; }
    /// Text with bytes of 0x80 or above, or with a halo, is drawn from an image of its own.
    void drawText(std::string_view text, CPoint point, const Font& textFont, std::uint32_t colour, float size,
                  int haloRadius = 0) override;
    void drawPixelText(std::string_view text, float x, float y, std::uint32_t colour) override;

protected:
    void fillPixels(const PixelRect& pixels, Pixel colour) override;
    void fillOutline(const Outline& shape, Pixel colour, const PixelRect& within) override;
    void drawTexels(const TexelMap& map, std::uint32_t alpha) override;
    void drawCoverage(const Coverage& coverage, int left, int top, Pixel colour) override;

private:
    static constexpr int kTile = 16; ///< pixels a side

    struct Texture {
        GLuint name = 0;
        std::uint32_t revision = 0;
        Shared<const CDIB> image; ///< kept, so that no other can take its place
    };
    struct Corner {
        float x, y; ///< pixels
        float s, t; ///< texture
    };

    void bind(const CDIB& image);
    void setNearest() const;
    void addQuad(const PixelRect& pixels, float left, float top, float right, float bottom);
    void addGlyph(const BakedGlyph& glyph, const CDIB& atlas, int left, int top);
    void drawQuads(Pixel colour);
    /// Without a texture.
    void fillQuads(Pixel colour);
    /// Draws the quads of \p corners, whose texture is a coverage.
    void drawWithCoverage(const std::vector<std::uint8_t>& values, int textureWidth, int textureHeight, Pixel colour);
    /// What of a shape is covered whole is filled; only tiles with its edges need a texture, which is dear to draw.
    void sortTile(const PixelRect& box, const PixelRect& tile, std::vector<PixelRect>& edges);
    void addSolid(const PixelRect& tile);
    void drawEdges(const PixelRect& box, const std::vector<PixelRect>& edges, Pixel colour);
    static std::size_t coveredAt(const PixelRect& box, int x, int y)
    {
        return static_cast<std::size_t>(y - box.top) * static_cast<std::size_t>(box.width()) +
               static_cast<std::size_t>(x - box.left);
    }
    [[nodiscard]] const BakedFont& bakedFont(const Font& face, float pixels);

    const platform::GLFunctions& gl;
    int width;
    int height;
    std::map<const CDIB*, Texture> textures;
    std::vector<std::unique_ptr<BakedFont>> bakedFonts;
    std::unique_ptr<BakedPixelFont> pixelFont;
    std::vector<Corner> corners;
    std::vector<std::uint8_t> covered; ///< of the shape that is filled, row by row of its box
    GLint largestTexture = 0;
};

} // namespace sorvane::toolkit
