#pragma once

#include "CControl.h"
#include "ImageStrip.h"

#include <chrono>
#include <optional>

namespace sorvane::toolkit {

/// Shows the image that stands for its value, and leaves the mouse to what is behind it.
class CMovieBitmap : public CControl {
public:
    CMovieBitmap(const CRect& viewRect, CControlListener* controlListener, int controlTag, ImageStrip strip,
                 CBitmap* images)
        : CControl(viewRect, controlListener, controlTag), imageStrip(strip)
    {
        setBackground(images);
        setMouseEnabled(false);
    }

    void draw(CDrawContext& context) override { imageStrip.drawAt(context, *this, position()); }
    [[nodiscard]] bool isTypeOf(std::string_view name) const override
    {
        return name == "CMovieBitmap" || CControl::isTypeOf(name);
    }

private:
    ImageStrip imageStrip;
};

/// Plays its images over and over while its value is above the lowest, and shows nothing else. A click starts it, and
/// another stops it.
class CAutoAnimation : public CControl {
public:
    static constexpr std::chrono::milliseconds kImageTime{40};

    CAutoAnimation(const CRect& viewRect, CControlListener* controlListener, int controlTag, ImageStrip strip,
                   CBitmap* images)
        : CControl(viewRect, controlListener, controlTag), imageStrip(strip)
    {
        setBackground(images);
    }

    [[nodiscard]] bool isPlaying() const { return value > vmin; }

    void draw(CDrawContext& context) override
    {
        if (isPlaying())
            imageStrip.draw(context, *this, shownImage);
    }
    /// Also when the next image is due.
    [[nodiscard]] bool isDirty() const override;
    /// Off, as it is about to be painted, goes on to the image that is due.
    void setDirty(bool on = true) override;
    MouseResult onMouseDown(CPoint where, int buttons) override;
    [[nodiscard]] bool isTypeOf(std::string_view name) const override
    {
        return name == "CAutoAnimation" || CControl::isTypeOf(name);
    }

private:
    /// The image that is due, of as many as there are.
    [[nodiscard]] int imageDue() const;

    ImageStrip imageStrip;
    std::optional<std::chrono::steady_clock::time_point> start; ///< of the first image
    int shownImage = 0;
};

/// A number without sign in images of the digits 0 to 9, its units at the right. The value is the number.
class CSpecialDigit : public CControl {
public:
    static constexpr int kMostDigits = 7; ///< which a float still tells apart

    /// \param digitCount   places, 1 to kMostDigits; the control is cut into as many columns
    /// \param imageHeight  of a digit, in logical pixels; 0 for that of the view
    CSpecialDigit(const CRect& viewRect, CControlListener* controlListener, int controlTag, int digitCount,
                  int imageHeight, CBitmap* images);

    void draw(CDrawContext& context) override;
    [[nodiscard]] bool isTypeOf(std::string_view name) const override
    {
        return name == "CSpecialDigit" || CControl::isTypeOf(name);
    }

private:
    int digits;
    ImageStrip imageStrip;
};

} // namespace sorvane::toolkit
