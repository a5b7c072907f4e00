#include "CVuMeter.h"

#include "ImageStrip.h"

namespace sorvane::toolkit {

CVuMeter::CVuMeter(const CRect& viewRect, CControlListener* controlListener, int controlTag, CBitmap* onImage,
                   CBitmap* offImage, int ledCount, Direction meterDirection)
    : CControl(viewRect, controlListener, controlTag), on(onImage), leds(std::clamp(ledCount, 1, kMostLeds)),
      direction(meterDirection)
{
    setBackground(offImage);
    setMouseEnabled(false);
}

int CVuMeter::litLeds() const
{
    return imageAt(position(), leds + 1);
}

void CVuMeter::draw(CDrawContext& context)
{
    CControl::draw(context);
    if (!on)
        return;
    const float lit = static_cast<float>(litLeds()) / static_cast<float>(leds);
    CRect area = rect;
    if (direction == Direction::horizontal)
        area.right = rect.left + std::round(rect.width() * lit);
    else
        area.top = rect.bottom - std::round(rect.height() * lit);
    if (!area.isEmpty())
        on->draw(context, area, getBackgroundOffset() + area.origin() - rect.origin());
}

} // namespace sorvane::toolkit
