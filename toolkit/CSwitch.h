#pragma once

#include "CPressControl.h"
#include "ImageStrip.h"

namespace sorvane::toolkit {

/// A switch of some positions side by side: a press or a drag sets the one under the mouse, the wheel the next. Its
/// images stand for its values.
class CSwitch : public CPressControl {
public:
    bool onWheel(CPoint where, float distance, int buttons) override;
    using CView::onWheel;
    void draw(CDrawContext& context) override { imageStrip.drawAt(context, *this, position()); }

protected:
    /// \param positions  0 for as many as there are images
    CSwitch(const CRect& viewRect, CControlListener* controlListener, int controlTag, ImageStrip strip, int positions,
            CBitmap* images)
        : CPressControl(viewRect, controlListener, controlTag), imageStrip(strip), maxPositions(positions)
    {
        setBackground(images);
    }

    /// Where along the control a point lies, 0 to 1 from the lowest position to the highest.
    [[nodiscard]] virtual float along(CPoint where) const = 0;

private:
    void pressBegins(CPoint where, int buttons) override { pressMoves(where, buttons); }
    void pressMoves(CPoint where, int buttons) override;
    [[nodiscard]] int positionCount() const { return maxPositions > 0 ? maxPositions : imageStrip.countIn(*this); }

    ImageStrip imageStrip;
    int maxPositions;
};

/// The lowest value at the top.
class CVerticalSwitch : public CSwitch {
public:
    CVerticalSwitch(const CRect& viewRect, CControlListener* controlListener, int controlTag, ImageStrip strip,
                    int positions, CBitmap* images)
        : CSwitch(viewRect, controlListener, controlTag, strip, positions, images)
    {}
    [[nodiscard]] bool isTypeOf(std::string_view name) const override
    {
        return name == "CVerticalSwitch" || CControl::isTypeOf(name);
    }

private:
    [[nodiscard]] float along(CPoint where) const override { return (where.y - rect.top) / rect.height(); }
};

/// The lowest value at the left.
class CHorizontalSwitch : public CSwitch {
public:
    CHorizontalSwitch(const CRect& viewRect, CControlListener* controlListener, int controlTag, ImageStrip strip,
                      int positions, CBitmap* images)
        : CSwitch(viewRect, controlListener, controlTag, strip, positions, images)
    {}
    [[nodiscard]] bool isTypeOf(std::string_view name) const override
    {
        return name == "CHorizontalSwitch" || CControl::isTypeOf(name);
    }

private:
    [[nodiscard]] float along(CPoint where) const override { return (where.x - rect.left) / rect.width(); }
};

/// A switch that rests in the middle of its range and springs back there: a press on its first half gives the lowest
/// value, one on its second the highest, as long as it is held. Three images: lowest, at rest, highest.
class CRockerSwitch : public CPressControl {
public:
    enum class Direction { horizontal, vertical };

    /// \param imageHeight  of one of the images, in logical pixels; 0 for that of the view
    CRockerSwitch(const CRect& viewRect, CControlListener* controlListener, int controlTag, int imageHeight,
                  CBitmap* images, Direction rockerDirection);

    void draw(CDrawContext& context) override { imageStrip.drawAt(context, *this, position()); }
    /// Both bring it to the middle of the new range.
    void setMin(float newMin) override;
    void setMax(float newMax) override;
    /// A step up or down is a press of either half.
    bool onWheel(CPoint where, float distance, int buttons) override;
    using CView::onWheel;
    [[nodiscard]] bool isTypeOf(std::string_view name) const override
    {
        return name == "CRockerSwitch" || CControl::isTypeOf(name);
    }

private:
    void pressBegins(CPoint where, int buttons) override;
    void pressMoves(CPoint where, int buttons) override;
    void pressEnds(bool givenUp) override;
    void rest();
    [[nodiscard]] float halfAt(CPoint where) const;

    ImageStrip imageStrip;
    Direction direction;
    float held = 0.0F; ///< the half that is pressed, 0 or 1
};

} // namespace sorvane::toolkit
