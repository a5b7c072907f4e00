#pragma once

#include "CControl.h"
#include "CDIB.h"

namespace sorvane::toolkit {

/// A control that builds its picture in memory: one image to draw in, one to draw from, both as large as the control.
class nControl : public CControl {
public:
    nControl(const CRect& viewRect, CControlListener* controlListener, int controlTag)
        : CControl(viewRect, controlListener, controlTag)
    {
        makeImages();
    }

    void setViewSize(const CRect& newRect, bool repaint = true) override
    {
        CControl::setViewSize(newRect, repaint);
        makeImages();
    }

protected:
    int width = 0;
    int height = 0;
    Shared<CDIB> work;  ///< for the control's own drawing
    Shared<CDIB> shown; ///< what draw puts on the screen

private:
    void makeImages()
    {
        width = roundToPixel(rect.width());
        height = roundToPixel(rect.height());
        work = Shared<CDIB>::adopt(new CDIB(width, height, false));
        shown = Shared<CDIB>::adopt(new CDIB(width, height, false));
    }
};

/// An nControl in the class tree of the graphs.
class cnControl : public nControl {
public:
    using nControl::nControl;
};

} // namespace sorvane::toolkit
