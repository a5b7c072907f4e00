#pragma once

#include "CControl.h"

namespace sorvane::toolkit {

/// A handle that is dragged along the control, horizontally with more to the right or vertically with more at the top.
/// Without a handle image it fills the control up to the value. With Shift a drag is ten times finer, and so is the wheel.
class CSlider : public CControl {
public:
    enum class Direction { horizontal, vertical };

    /// \param handleImage  may be null
    CSlider(const CRect& viewRect, CControlListener* controlListener, int controlTag, Direction sliderDirection,
            CBitmap* handleImage = nullptr)
        : CControl(viewRect, controlListener, controlTag), direction(sliderDirection), handle(handleImage)
    {}

    void draw(CDrawContext& context) override;
    MouseResult onMouseDown(CPoint where, int buttons) override;
    MouseResult onMouseMoved(CPoint where, int buttons) override;
    MouseResult onMouseUp(CPoint where, int buttons) override;
    bool onWheel(CPoint where, float distance, int buttons) override;
    using CView::onWheel;
    [[nodiscard]] bool isTypeOf(std::string_view name) const override
    {
        return name == "CSlider" || CControl::isTypeOf(name);
    }

    void setBarColor(CColor colour) { barColour = colour; }

protected:
    /// The value's place in its range, 0 to 1.
    [[nodiscard]] float position() const;
    /// Logical pixels from the lowest value to the highest.
    [[nodiscard]] float range() const;

    Direction direction;

private:
    Shared<CBitmap> handle;
    CColor barColour{78, 154, 204, 255};
    bool dragging = false;
    bool fine = false;
    CPoint dragStart;
    float startPosition = 0.0F;
};

} // namespace sorvane::toolkit
