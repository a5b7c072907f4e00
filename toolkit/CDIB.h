#pragma once

#include "CBitmap.h"
#include "Pixel.h"

#include <cstdint>
#include <span>
#include <vector>

namespace sorvane::toolkit {

/// A 32-bit image in memory, rows from the top, colours multiplied by alpha. Not for two threads at once.
class CDIB : public CBitmap {
public:
    static constexpr int kMaxSide = 16384; ///< larger ones are cut to it

    /// All pixels 0: black when opaque, else clear. Sides below 0 count as 0.
    CDIB(int widthPixels, int heightPixels, bool hasAlpha = true);

    [[nodiscard]] int getStride() const { return getWidth() * 4; } ///< bytes from row to row
    [[nodiscard]] Pixel* getPixels() { return pixels.data(); }
    [[nodiscard]] const Pixel* getPixels() const { return pixels.data(); }
    [[nodiscard]] std::span<Pixel> row(int y)
    {
        return {pixels.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(getWidth()),
                static_cast<std::size_t>(getWidth())};
    }
    [[nodiscard]] std::span<const Pixel> row(int y) const
    {
        return {pixels.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(getWidth()),
                static_cast<std::size_t>(getWidth())};
    }
    [[nodiscard]] PixelRect bounds() const { return {0, 0, getWidth(), getHeight()}; }

    /// Whether alpha is left out of account, as all of it is 255.
    [[nodiscard]] bool isOpaque() const { return opaque; }

    /// Whether it is drawn with one of its pixels on one of the device, whatever fraction its place or size has.
    [[nodiscard]] bool snaps() const { return snap; }
    void setSnap(bool on) { snap = on; }

    /// To be called after pixels were written through getPixels or row: copies of the image elsewhere are stale.
    void markDirty() { ++revision; }
    /// Changes with each markDirty.
    [[nodiscard]] std::uint32_t getRevision() const { return revision; }

    /// Copies a rectangle of another image, whole pixels as they are; what lies outside of either is left out.
    void copyFrom(const CDIB& source, const PixelRect& from, int left, int top);
    /// A new image like this one.
    [[nodiscard]] Shared<CDIB> copy() const;

    void draw(CDrawContext& context, const CRect& rect, CPoint offset = {}, int alpha = 255) const override;

private:
    std::vector<Pixel> pixels;
    bool opaque;
    bool snap = false;
    std::uint32_t revision = 1;
};

} // namespace sorvane::toolkit
