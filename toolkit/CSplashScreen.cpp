#include "CSplashScreen.h"

#include "CFrame.h"

namespace sorvane::toolkit {

CSplashScreen::CSplashScreen(const CRect& viewRect, CControlListener* controlListener, int controlTag, CBitmap* image,
                             const CRect& shownAt)
    : CControl(viewRect, controlListener, controlTag), shown(shownAt)
{
    setBackground(image);
}

void CSplashScreen::splash()
{
    CFrame* const owner = getFrame();
    if (owner == nullptr || splashView != nullptr || getBackground() == nullptr)
        return;
    const Shared<CSplashScreen> kept(this); // whatever is told that another modal view ends, or that this one opens
    splashView = new CDefaultSplashScreenView(owner->getViewSize(), *this, shown);
    owner->setModalView(splashView);
    if (splashView != nullptr)
        editTo(1.0F);
}

void CSplashScreen::unSplash()
{
    CFrame* const around = splashView != nullptr ? splashView->getFrame() : nullptr;
    if (around != nullptr && around->getModalView() == splashView)
        around->endModal();
}

void CSplashScreen::splashGone()
{
    splashView = nullptr;
    editTo(0.0F);
}

MouseResult CSplashScreen::onMouseDown(CPoint /*where*/, int buttons)
{
    if ((buttons & kLButton) == 0)
        return MouseResult::notHandled;
    splash();
    return MouseResult::handledNoMore;
}

void CSplashScreen::removed()
{
    unSplash();
    CControl::removed();
}

void CDefaultSplashScreenView::draw(CDrawContext& context)
{
    if (const CBitmap* const image = getBackground())
        image->draw(context, shown, owner->getBackgroundOffset());
}

MouseResult CDefaultSplashScreenView::onMouseDown(CPoint /*where*/, int /*buttons*/)
{
    owner->unSplash();
    return MouseResult::handledNoMore;
}

bool CDefaultSplashScreenView::onKeyDown(const KeyPress& key)
{
    if (key.key == Key::enter || key.key == Key::escape)
        owner->unSplash();
    return true;
}

void CDefaultSplashScreenView::removed()
{
    CView::removed();
    owner->splashGone();
}

} // namespace sorvane::toolkit
