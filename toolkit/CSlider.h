#pragma once

#include "CDragControl.h"

#include <optional>

namespace sorvane::toolkit {

/// A handle that is dragged along the control, horizontally with more to the right or vertically with more at the top.
/// Without a handle image it fills the control up to the value.
class CSlider : public CDragControl {
public:
    enum class Direction { horizontal, vertical };

    /// \param handleImage  may be null
    CSlider(const CRect& viewRect, CControlListener* controlListener, int controlTag, Direction sliderDirection,
            CBitmap* handleImage = nullptr)
        : CDragControl(viewRect, controlListener, controlTag), direction(sliderDirection), handle(handleImage)
    {}

    void draw(CDrawContext& context) override;
    [[nodiscard]] bool isTypeOf(std::string_view name) const override
    {
        return name == "CSlider" || CControl::isTypeOf(name);
    }

    void setBarColor(CColor colour) { barColour = colour; }
    /// Whether there is more to the left, or at the bottom.
    void setInverted(bool on);
    /// Between which places the handle's left, or top, moves, in logical pixels from the control's. It takes the whole
    /// control until this is called.
    void setHandlePositions(float lowest, float highest);
    /// Shifts the handle image.
    void setHandleOffset(CPoint offset);

protected:
    /// Logical pixels from the lowest value to the highest.
    [[nodiscard]] float range() const;

    Direction direction;

private:
    struct Way {
        float from, to;
    };
    /// Of the handle's left, or top, from the control's.
    [[nodiscard]] Way way() const;
    /// Whether the value grows with the coordinate.
    [[nodiscard]] bool growsOnward() const { return (direction == Direction::horizontal) != inverted; }
    [[nodiscard]] float placeOf(CPoint where) override;

    Shared<CBitmap> handle;
    CColor barColour{78, 154, 204, 255};
    bool inverted = false;
    std::optional<Way> handleWay;
    CPoint handleOffset;
};

/// A slider that moves up and down.
class CVerticalSlider : public CSlider {
public:
    CVerticalSlider(const CRect& viewRect, CControlListener* controlListener, int controlTag,
                    CBitmap* handleImage = nullptr)
        : CSlider(viewRect, controlListener, controlTag, Direction::vertical, handleImage)
    {}
    [[nodiscard]] bool isTypeOf(std::string_view name) const override
    {
        return name == "CVerticalSlider" || CSlider::isTypeOf(name);
    }
};

/// A slider that moves left and right.
class CHorizontalSlider : public CSlider {
public:
    CHorizontalSlider(const CRect& viewRect, CControlListener* controlListener, int controlTag,
                      CBitmap* handleImage = nullptr)
        : CSlider(viewRect, controlListener, controlTag, Direction::horizontal, handleImage)
    {}
    [[nodiscard]] bool isTypeOf(std::string_view name) const override
    {
        return name == "CHorizontalSlider" || CSlider::isTypeOf(name);
    }
};

} // namespace sorvane::toolkit
