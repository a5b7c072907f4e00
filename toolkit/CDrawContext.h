#pragma once

#include "CDIBDraw.h"
#include "Font.h"

#include <span>
#include <string_view>

namespace sorvane::toolkit {

/// What of a shape is drawn.
enum class DrawStyle { stroked, filled, filledAndStroked };

/// Draws in logical pixels. The context's offset is added and the result multiplied by its scale.
///
/// All ways of drawing share what is decided here: which pixels of the device a shape covers, and how far. Rectangles,
/// and lines between whole coordinates that run along a row or column, lie on whole pixels; other shapes are smoothed
/// at their edges. A line's coordinates name pixels: a line of width 1 from (2, 3) to (5, 3) covers the four pixels of
/// row 3 from column 2 to 5.
///
/// Only the thread that draws may call it.
class CDrawContext : public CBaseObject {
public:
    void moveTo(CPoint point) { position = point; }
    /// From where the last moveTo or lineTo ended, in the frame colour.
    void lineTo(CPoint point);
    /// A line through all points, joined, in the frame colour.
    void drawLines(std::span<const CPoint> points);
    void drawPolygon(std::span<const CPoint> points, DrawStyle style);
    /// Stroked, the frame runs through the pixels of left, top, right and bottom; filled, right and bottom don't belong
    /// to it.
    void drawRect(const CRect& rect, DrawStyle style = DrawStyle::stroked);
    /// As drawRect, for the ellipse that touches the sides.
    void drawEllipse(const CRect& rect, DrawStyle style = DrawStyle::stroked);

    /// Nothing is drawn outside of it, nor outside of the device.
    void setClipRect(const CRect& rect);
    [[nodiscard]] CRect getClipRect() const;
    void resetClipRect();

    /// In the context's font and size; 0 without a font.
    [[nodiscard]] float getStringWidth(std::string_view text) const;
    /// Centred, in the context's font, size and font colour.
    void drawString(std::string_view text, const CRect& rect);
    /// With its top left at a point. \param colour  0xAARRGGBB, not multiplied by its alpha even where that is 0
    virtual void drawText(std::string_view text, CPoint point, const Font& font, std::uint32_t colour, float size,
                          int haloRadius = 0);
    /// In the larger pixel font, where this way of drawing has it ready. \param colour  0xBBGGRR
    virtual void drawPixelText(std::string_view /*text*/, float /*x*/, float /*y*/, std::uint32_t /*colour*/) {}

    /// Whether text that changes is best given to drawText, which has glyphs ready.
    [[nodiscard]] virtual bool hasBakedText() const { return false; }

    /// Draws the part of an image that begins at \p sourceOffset into \p destination, pixels as they are next to those
    /// that they are mapped to.
    /// \param sourceScale  pixels of the image per logical pixel, divided by its density
    /// \param alpha        0 to 1
    void drawBitmap(const CDIB& bitmap, const CRect& destination, CPoint sourceOffset = {}, float sourceScale = 1.0F,
                    float alpha = 1.0F);

    void setFrameColor(CColor colour) { frameColour = colour; }
    void setFillColor(CColor colour) { fillColour = colour; }
    [[nodiscard]] CColor getFillColor() const { return fillColour; }
    void setFontColor(CColor colour) { fontColour = colour; }
    void setFont(const Font* newFont, float newSize);
    void setLineWidth(float logicalPixels) { lineWidth = logicalPixels; }
    [[nodiscard]] CPoint getOffset() const { return offset; }
    void setOffset(CPoint newOffset) { offset = newOffset; }

    /// Pixels of the device per logical pixel.
    [[nodiscard]] float getDrawScale() const { return drawScale; }

protected:
    /// \param device  the pixels that can be drawn to
    CDrawContext(const PixelRect& devicePixels, float scale)
        : device(devicePixels), clip(devicePixels), drawScale(scale > 0.0F ? scale : 1.0F)
    {}

    /// Where each pixel of a device takes its colour from in an image.
    struct TexelMap {
        const CDIB& bitmap;
        PixelRect pixels; ///< of the device
        double left, top; ///< in the image, of the middle of the first pixel
        double stepX, stepY;
    };

    virtual void fillPixels(const PixelRect& pixels, Pixel colour) = 0;
    virtual void fillOutline(const Outline& shape, Pixel colour, const PixelRect& within) = 0;
    /// \param alpha  0 to 255
    virtual void drawTexels(const TexelMap& map, std::uint32_t alpha) = 0;
    /// \param colour  each part is multiplied by the coverage and added over what is there
    virtual void drawCoverage(const Coverage& coverage, int left, int top, Pixel colour) = 0;

    [[nodiscard]] const PixelRect& clipPixels() const { return clip; }
    [[nodiscard]] DevicePoint toDevice(CPoint point) const;
    [[nodiscard]] PixelRect toPixels(const CRect& rect) const;

private:
    void strokeRect(const CRect& rect);
    void strokePath(std::span<const CPoint> points, bool closed);
    [[nodiscard]] bool strokeStraight(CPoint from, CPoint to);
    [[nodiscard]] int strokePixels() const { return std::max(1, roundToPixel(lineWidth * drawScale)); }

    PixelRect device;
    PixelRect clip;
    float drawScale;
    CPoint offset;
    CPoint position;
    CColor frameColour{0, 0, 0, 255};
    CColor fillColour{255, 255, 255, 255};
    CColor fontColour{255, 255, 255, 255};
    float lineWidth = 1.0F;
    const Font* font = nullptr;
    float fontSize = 12.0F;
    Outline outline;
};

/// Draws into an image in memory.
class COffscreenContext : public CDrawContext {
public:
    /// \param target  must outlive the context
    explicit COffscreenContext(CDIB& target, float scale = 1.0F) : CDrawContext(target.bounds(), scale), image(target)
    {}

protected:
    void fillPixels(const PixelRect& pixels, Pixel colour) override;
    void fillOutline(const Outline& shape, Pixel colour, const PixelRect& within) override;
    void drawTexels(const TexelMap& map, std::uint32_t alpha) override;
    void drawCoverage(const Coverage& coverage, int left, int top, Pixel colour) override;

private:
    CDIB& image;
};

/// Fills with the context's fill colour and its alpha; a rectangle less than 1 wide or high draws nothing.
void fillWithAlpha(CDrawContext& context, const CRect& rect);

} // namespace sorvane::toolkit
