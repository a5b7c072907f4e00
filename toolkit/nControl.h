#pragma once

#include "CControl.h"
#include "CDIB.h"

namespace sorvane::toolkit {

/// A control that builds its picture in memory: one image to draw in, one to draw from, both as large as the control
/// and black when its size changes.
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
    int width = 0; ///< of the images
    int height = 0;
    Shared<CDIB> work;  ///< for the control's own drawing
    Shared<CDIB> shown; ///< what draw puts on the screen

private:
    void makeImages()
    {
        auto image = Shared<CDIB>::adopt(new CDIB(roundToPixel(rect.width()), roundToPixel(rect.height()), false));
        if (work && image->bounds() == work->bounds())
            return;
        width = image->getWidth();
        height = image->getHeight();
        work = std::move(image);
        shown = Shared<CDIB>::adopt(new CDIB(width, height, false));
    }
};

/// An nControl in the class tree of the graphs.
class cnControl : public nControl {
public:
    using nControl::nControl;
};

} // namespace sorvane::toolkit
