#pragma once

#include "CDragControl.h"
#include "ImageStrip.h"

namespace sorvane::toolkit {

/// A knob, whose handle goes round from seven o'clock over the top to five. How a drag turns it is the frame's to say.
class CKnob : public CDragControl {
public:
    /// \param handleImage  goes round upright; null for a line from the middle
    CKnob(const CRect& viewRect, CControlListener* controlListener, int controlTag, CBitmap* handleImage = nullptr)
        : CDragControl(viewRect, controlListener, controlTag), handle(handleImage)
    {}

    void draw(CDrawContext& context) override;
    [[nodiscard]] bool isTypeOf(std::string_view name) const override
    {
        return name == "CKnob" || CControl::isTypeOf(name);
    }

    void setHandleColor(CColor colour) { handleColour = colour; }
    /// Logical pixels between the handle's way round and the control's sides.
    void setInset(float logicalPixels);

private:
    [[nodiscard]] CPoint middle() const { return {(rect.left + rect.right) / 2, (rect.top + rect.bottom) / 2}; }
    /// From the top, clockwise, -1/2 to 1/2 of a turn. The last in the middle, where there is no direction.
    [[nodiscard]] float turnAt(CPoint where) const;
    [[nodiscard]] float placeOf(CPoint where) override;
    float dragBegins(CPoint where, int buttons) override;

    Shared<CBitmap> handle;
    CColor handleColour{78, 154, 204, 255};
    float inset = 3.0F;
    bool linear = true; ///< the drag that goes on
    float lastTurn = 0.0F;
    float turned = 0.0F; ///< by the drag, in turns
};

/// A knob with an image for each of its places.
class CAnimKnob : public CKnob {
public:
    CAnimKnob(const CRect& viewRect, CControlListener* controlListener, int controlTag, ImageStrip strip,
              CBitmap* images)
        : CKnob(viewRect, controlListener, controlTag), imageStrip(strip)
    {
        setBackground(images);
    }

    void draw(CDrawContext& context) override { imageStrip.drawAt(context, *this, position()); }
    [[nodiscard]] bool isTypeOf(std::string_view name) const override
    {
        return name == "CAnimKnob" || CKnob::isTypeOf(name);
    }

private:
    ImageStrip imageStrip;
};

} // namespace sorvane::toolkit
