#pragma once

#include "CDrawContext.h"

namespace sorvane::toolkit {

/// Frames around a control, which a host or the user asks for. The control draws them last.
class CHighlightControl {
public:
    virtual ~CHighlightControl() = default;
    virtual void setHighlight(bool on, CColor colour)
    {
        highlight = on;
        highlightColour = colour;
    }
    virtual void setMark(bool on, CColor colour)
    {
        mark = on;
        markColour = colour;
    }
    /// One frame for the highlight, two for the mark, within the rectangle.
    virtual void drawHighlight(CDrawContext& context, const CRect& rect)
    {
        const CRect frame{rect.left, rect.top, rect.right - 1.0F, rect.bottom - 1.0F};
        context.setLineWidth(1.0F);
        if (highlight) {
            context.setFrameColor(highlightColour);
            context.drawRect(frame);
        }
        if (mark) {
            context.setFrameColor(markColour);
            context.drawRect(frame);
            context.drawRect(frame.insetBy(1.0F));
        }
    }

private:
    bool highlight = false;
    CColor highlightColour;
    bool mark = false;
    CColor markColour;
};

} // namespace sorvane::toolkit
