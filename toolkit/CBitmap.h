#pragma once

#include "CBaseObject.h"
#include "Geometry.h"

namespace sorvane::toolkit {

class CDrawContext;
class CDIB;

/// An image that views share.
class CBitmap : public CBaseObject {
public:
    [[nodiscard]] int getWidth() const { return width; }
    [[nodiscard]] int getHeight() const { return height; }

    /// Pixels of the image for each logical pixel: 2 for an image that is drawn at half its size.
    [[nodiscard]] float getDensity() const { return density; }
    void setDensity(float pixelsPerLogicalPixel) { density = pixelsPerLogicalPixel > 0 ? pixelsPerLogicalPixel : 1; }
    [[nodiscard]] float logicalWidth() const { return static_cast<float>(width) / density; }
    [[nodiscard]] float logicalHeight() const { return static_cast<float>(height) / density; }

    /// Draws the part of it that begins at \p offset into \p rect.
    /// \param alpha  0 to 255, of the whole
    virtual void draw(CDrawContext& context, const CRect& rect, CPoint offset = {}, int alpha = 255) const = 0;

protected:
    CBitmap(int widthPixels, int heightPixels) : width(widthPixels), height(heightPixels) {}

private:
    int width;
    int height;
    float density = 1.0F;
};

/// The image of an id: a process-wide list is searched first, then the embedded PNG of that number is read into it.
/// Null for id 0 and where there is none or it can't be read. The list keeps it to releaseBitmaps; whoever keeps it
/// longer remembers it. Any thread.
[[nodiscard]] CDIB* getBitmap(int id);

/// Puts an image into the list under an id, in place of any that is there.
void addBitmap(int id, CDIB& bitmap);

/// Drops the list's uses, when the last editor goes.
void releaseBitmaps();

} // namespace sorvane::toolkit
