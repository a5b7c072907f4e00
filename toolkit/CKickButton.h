#pragma once

#include "CPressControl.h"
#include "ImageStrip.h"

namespace sorvane::toolkit {

/// A button with images of its states one below the other in its background.
class CImageButton : public CPressControl {
public:
    /// \param imageHeight  of one state, in logical pixels; 0 for that of the view
    CImageButton(const CRect& viewRect, CControlListener* controlListener, int controlTag, int imageHeight,
                 CBitmap* images)
        : CPressControl(viewRect, controlListener, controlTag), imageStrip(imageHeight)
    {
        setBackground(images);
    }

protected:
    /// \param state  0 for the topmost image
    void drawState(CDrawContext& context, int state) { imageStrip.draw(context, *this, state); }

private:
    ImageStrip imageStrip;
};

/// A button that is on while it is pressed: the highest goes to the listener at the press, the lowest at the release.
/// Two images.
class CKickButton : public CImageButton {
public:
    using CImageButton::CImageButton;

    void draw(CDrawContext& context) override { drawState(context, value > vmin ? 1 : 0); }
    [[nodiscard]] bool isTypeOf(std::string_view name) const override
    {
        return name == "CKickButton" || CControl::isTypeOf(name);
    }

private:
    void pressBegins(CPoint where, int buttons) override;
    void pressMoves(CPoint where, int buttons) override;
    void pressEnds(bool givenUp) override;
    void kick(float newValue);
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

/// A button that is the other of on and off while it is pressed, and stays so when released on it. A press that is
/// given up changes nothing.
class CMovieButton : public CImageButton {
public:
    using CImageButton::CImageButton;

    void draw(CDrawContext& context) override { drawState(context, value > vmin ? 1 : 0); }
    [[nodiscard]] bool isTypeOf(std::string_view name) const override
    {
        return name == "CMovieButton" || CControl::isTypeOf(name);
    }

private:
    void pressBegins(CPoint where, int buttons) override;
    void pressMoves(CPoint where, int buttons) override;
    void pressEnds(bool givenUp) override;

    float valueBefore = 0.0F;
};

} // namespace sorvane::toolkit
