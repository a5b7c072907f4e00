#include "CKnob.h"

#include "CFrame.h"

#include <cmath>
#include <numbers>

namespace sorvane::toolkit {

namespace {

constexpr float kSweep = 0.75F;         ///< of a turn, from the lowest value to the highest
constexpr float kLinearPixels = 200.0F; ///< of a straight drag from the lowest to the highest, logical
constexpr float kNoDirection = 1.0F;    ///< from the middle, logical pixels
constexpr float kWholeTurn = 2.0F * std::numbers::pi_v<float>;

} // namespace

void CKnob::setInset(float logicalPixels)
{
    inset = logicalPixels;
    setDirty();
}

void CKnob::draw(CDrawContext& context)
{
    CControl::draw(context);
    const float angle = (position() - 0.5F) * kSweep * kWholeTurn;
    const CPoint outward{std::sin(angle), -std::cos(angle)};
    const float radius = std::min(rect.width(), rect.height()) / 2.0F - inset;
    const auto at = [&](float distance) { return middle() + CPoint{outward.x * distance, outward.y * distance}; };
    if (handle) {
        const float width = handle->logicalWidth();
        const float height = handle->logicalHeight();
        const CPoint place = at(radius - std::max(width, height) / 2.0F) - CPoint{width / 2.0F, height / 2.0F};
        handle->draw(context, {place.x, place.y, place.x + width, place.y + height});
        return;
    }
    context.setFrameColor(handleColour);
    context.setLineWidth(2.0F);
    context.moveTo(at(radius * 0.4F));
    context.lineTo(at(radius));
}

float CKnob::turnAt(CPoint where) const
{
    const CPoint from = where - middle();
    if (std::hypot(from.x, from.y) < kNoDirection)
        return lastTurn;
    return std::atan2(from.x, -from.y) / kWholeTurn;
}

float CKnob::placeOf(CPoint where)
{
    if (linear)
        return -where.y / kLinearPixels;
    const float turn = turnAt(where);
    const float by = turn - std::exchange(lastTurn, turn);
    turned += by - std::round(by); // the shorter way
    return turned / kSweep;
}

float CKnob::dragBegins(CPoint where, int buttons)
{
    const KnobMode mode = getFrame() != nullptr ? getFrame()->getKnobMode() : KnobMode::linear;
    linear = mode == KnobMode::linear;
    turned = 0.0F;
    lastTurn = (position() - 0.5F) * kSweep; // the handle's, for a press in the middle
    lastTurn = turnAt(where);
    if (mode != KnobMode::circular || (buttons & kShift) != 0)
        return position();
    const float pointed = lastTurn / kSweep + 0.5F;
    moveTo(pointed);
    return pointed;
}

} // namespace sorvane::toolkit
