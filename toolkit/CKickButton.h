#pragma once

#include "CControl.h"
#include "ImageStrip.h"

namespace sorvane::toolkit {

/// A button with images of its states one below the other in its background.
class CImageButton : public CControl {
public:
    /// \param imageHeight  of one state, in logical pixels; 0 for that of the view
    CImageButton(const CRect& viewRect, CControlListener* controlListener, int controlTag, int imageHeight,
                 CBitmap* images)
        : CControl(viewRect, controlListener, controlTag), imageStrip(imageHeight)
    {
        setBackground(images);
    }

protected:
    /// \param state  0 for the topmost image
    void drawState(CDrawContext& context, int state) { imageStrip.draw(context, *this, state); }

private:
    ImageStrip imageStrip;
};

/// A button that is on while it is pressed: the highest goes to the listener at the press, the lowest at the release. Two images.
class CKickButton : public CImageButton {
public:
    using CImageButton::CImageButton;

    void draw(CDrawContext& context) override { drawState(context, value > vmin ? 1 : 0); }
    MouseResult onMouseDown(CPoint where, int buttons) override;
    MouseResult onMouseMoved(CPoint where, int buttons) override;
    MouseResult onMouseUp(CPoint where, int buttons) override;
    [[nodiscard]] bool isTypeOf(std::string_view name) const override
    {
        return name == "CKickButton" || CControl::isTypeOf(name);
    }

private:
    void press(bool on);
};

/// A button that each click turns on or off. Two images.
class COnOffButton : public CImageButton {
public:
    using CImageButton::CImageButton;

    void draw(CDrawContext& context) override { drawState(context, value > vmin ? 1 : 0); }
    MouseResult onMouseDown(CPoint where, int buttons) override;
    [[nodiscard]] bool isTypeOf(std::string_view name) const override
    {
        return name == "COnOffButton" || CControl::isTypeOf(name);
    }
};

/// A button that is the other of on and off while it is pressed, and stays so when released on it.
class CMovieButton : public CImageButton {
public:
    using CImageButton::CImageButton;

    void draw(CDrawContext& context) override { drawState(context, value > vmin ? 1 : 0); }
    MouseResult onMouseDown(CPoint where, int buttons) override;
    MouseResult onMouseMoved(CPoint where, int buttons) override;
    MouseResult onMouseUp(CPoint where, int buttons) override;
    [[nodiscard]] bool isTypeOf(std::string_view name) const override
    {
        return name == "CMovieButton" || CControl::isTypeOf(name);
    }

private:
    float valueBefore = 0.0F;
};

} // namespace sorvane::toolkit
