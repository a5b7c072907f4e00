#pragma once

#include "CControl.h"

namespace sorvane::toolkit {

class CDefaultSplashScreenView;

/// An area that shows nothing until a click on it lays its background image over the frame, where it takes all events
/// until the next click, Return or Escape. The value is the highest meanwhile, and the lowest else; each change is an
/// edit.
class CSplashScreen : public CControl {
public:
    /// \param shownAt  where the image is shown, in coordinates of the frame
    CSplashScreen(const CRect& viewRect, CControlListener* controlListener, int controlTag, CBitmap* image,
                  const CRect& shownAt);

    /// Opens it. Nothing without a frame or an image, or when it is open.
    void splash();
    /// Closes it.
    void unSplash();
    [[nodiscard]] bool isOpen() const { return splashView != nullptr; }

    void draw(CDrawContext& /*context*/) override {}
    MouseResult onMouseDown(CPoint where, int buttons) override;
    /// Closes it too.
    void removed() override;
    [[nodiscard]] bool isTypeOf(std::string_view name) const override
    {
        return name == "CSplashScreen" || CControl::isTypeOf(name);
    }

private:
    friend class CDefaultSplashScreenView;

    /// Its view has left the frame, whoever saw to that.
    void splashGone();

    CRect shown;
    CDefaultSplashScreenView* splashView = nullptr; ///< of the frame's
};

/// What a splash screen lays over the whole of its frame.
class CDefaultSplashScreenView : public CView {
public:
    /// \param shownAt  in coordinates of the frame
    CDefaultSplashScreenView(const CRect& frameRect, CSplashScreen& splashScreen, const CRect& shownAt)
        : CView(frameRect), owner(&splashScreen), shown(shownAt)
    {
        setBackground(splashScreen.getBackground());
    }

    void draw(CDrawContext& context) override;
    MouseResult onMouseDown(CPoint where, int buttons) override;
    bool onKeyDown(const KeyPress& key) override;
    void removed() override;
    [[nodiscard]] bool isTypeOf(std::string_view name) const override
    {
        return name == "CDefaultSplashScreenView" || CView::isTypeOf(name);
    }

private:
    Shared<CSplashScreen> owner;
    CRect shown;
};

} // namespace sorvane::toolkit
