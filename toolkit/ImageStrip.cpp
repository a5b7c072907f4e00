#include "ImageStrip.h"

namespace sorvane::toolkit {

int imageAt(float position, int imageCount)
{
    if (imageCount < 2 || !(position > 0.0F))
        return 0;
    return roundToPixel(std::min(position, 1.0F) * static_cast<float>(imageCount - 1));
}

int ImageStrip::countIn(const CView& view) const
{
    const CBitmap* const images = view.getBackground();
    const float height = heightIn(view);
    if (images == nullptr || !(height > 0.0F))
        return 0;
    // By less than half a pixel an image may be short, as scaled ones are.
    const int held = floorToPixel((images->logicalHeight() - view.getBackgroundOffset().y + 0.5F) / height);
    return std::max(0, count > 0 ? std::min(count, held) : held);
}

void ImageStrip::draw(CDrawContext& context, const CView& view, int index, CRect area) const
{
    const CBitmap* const images = view.getBackground();
    if (images == nullptr)
        return;
    const float height = heightIn(view);
    area.bottom = std::min(area.bottom, area.top + height); // without the image below it
    images->draw(context, area, view.getBackgroundOffset() + CPoint{0.0F, static_cast<float>(index) * height});
}

} // namespace sorvane::toolkit
