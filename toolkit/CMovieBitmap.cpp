#include "CMovieBitmap.h"

namespace sorvane::toolkit {

int CAutoAnimation::imageDue() const
{
    const int count = imageStrip.countIn(*this);
    if (!start || count == 0)
        return 0;
    return static_cast<int>((std::chrono::steady_clock::now() - *start) / kImageTime % count);
}

bool CAutoAnimation::isDirty() const
{
    return CControl::isDirty() || (isPlaying() && imageDue() != shownImage);
}

void CAutoAnimation::setDirty(bool on)
{
    CControl::setDirty(on);
    if (on)
        return;
    if (!isPlaying())
        start.reset();
    else if (!start)
        start = std::chrono::steady_clock::now();
    shownImage = imageDue();
}

MouseResult CAutoAnimation::onMouseDown(CPoint /*where*/, int buttons)
{
    if ((buttons & kLButton) == 0)
        return MouseResult::notHandled;
    editTo(isPlaying() ? 0.0F : 1.0F);
    return MouseResult::handledNoMore;
}

CSpecialDigit::CSpecialDigit(const CRect& viewRect, CControlListener* controlListener, int controlTag, int digitCount,
                             int imageHeight, CBitmap* images)
    : CControl(viewRect, controlListener, controlTag), digits(std::clamp(digitCount, 1, kMostDigits)),
      imageStrip(imageHeight, 10)
{
    vmax = std::pow(10.0F, static_cast<float>(digits)) - 1.0F;
    setBackground(images);
    setMouseEnabled(false);
}

void CSpecialDigit::draw(CDrawContext& context)
{
    const float width = rect.width() / static_cast<float>(digits);
    const double most = std::pow(10.0, digits) - 1.0;
    long number = value > 0.0F ? std::lround(std::min<double>(value, most)) : 0;
    for (int place = digits - 1; place >= 0; --place, number /= 10) {
        const float left = rect.left + static_cast<float>(place) * width;
        imageStrip.draw(context, *this, static_cast<int>(number % 10), {left, rect.top, left + width, rect.bottom});
    }
}

} // namespace sorvane::toolkit
