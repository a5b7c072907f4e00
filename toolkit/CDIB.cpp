#include "CDIB.h"

#include "CDrawContext.h"

#include <cstring>

namespace sorvane::toolkit {

CDIB::CDIB(int widthPixels, int heightPixels, bool hasAlpha)
    : CBitmap(std::clamp(widthPixels, 0, kMaxSide), std::clamp(heightPixels, 0, kMaxSide)),
      pixels(static_cast<std::size_t>(getWidth()) * static_cast<std::size_t>(getHeight()),
             hasAlpha ? Pixel{0} : Pixel{0xFF000000U}),
      opaque(!hasAlpha)
{}

void CDIB::copyFrom(const CDIB& source, const PixelRect& from, int left, int top)
{
    const PixelRect wanted = from.intersectedWith(source.bounds());
    const int shiftX = left - from.left;
    const int shiftY = top - from.top;
    const PixelRect target =
        PixelRect{wanted.left + shiftX, wanted.top + shiftY, wanted.right + shiftX, wanted.bottom + shiftY}
            .intersectedWith(bounds());
    if (target.isEmpty())
        return;
    // Rows from below when they move down, since an image may be copied within itself.
    const bool upwards = shiftY > 0;
    for (int i = 0; i < target.height(); ++i) {
        const int y = upwards ? target.bottom - 1 - i : target.top + i;
        const auto sourceRow =
            source.row(y - shiftY)
                .subspan(static_cast<std::size_t>(target.left - shiftX), static_cast<std::size_t>(target.width()));
        Pixel* const to = row(y).data() + target.left;
        std::memmove(to, sourceRow.data(), sourceRow.size_bytes());
    }
    markDirty();
}

Shared<CDIB> CDIB::copy() const
{
    auto result = Shared<CDIB>::adopt(new CDIB(getWidth(), getHeight(), !opaque));
    result->pixels = pixels;
    result->setDensity(getDensity());
    result->snap = snap;
    return result;
}

void CDIB::draw(CDrawContext& context, const CRect& rect, CPoint offset, int alpha) const
{
    context.drawBitmap(*this, rect, offset, 1.0F, static_cast<float>(std::clamp(alpha, 0, 255)) / 255.0F);
}

} // namespace sorvane::toolkit
