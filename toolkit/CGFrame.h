#pragma once

#include "CFrame.h"
#include "CGViewContainer.h"
#include "iVSTFrameCallbackInterface.h"

namespace sorvane::toolkit {

/// The frame of an editor, which offers clicks on controls to the host and tells when no view has the focus any more.
class CGFrame : public CFrame, public iCGinterface {
public:
    /// \param frameCallback  may be null; must outlive the frame
    CGFrame(const CRect& frameRect, host::iVSTFrameCallbackInterface* frameCallback, float drawScale = 1.0F)
        : CFrame(frameRect, drawScale), callback(frameCallback)
    {}

    [[nodiscard]] std::span<const Shared<CView>> getChildren() const override { return getViews(); }
    CMessageResult notify(CBaseObject* sender, const char* message) override
    {
        if (message == kMsgLooseFocus && callback != nullptr)
            callback->frameMessage(host::frameMessageLooseFocus, -1, false);
        return CFrame::notify(sender, message);
    }
    MouseResult onMouseDown(CPoint where, int buttons) override
    {
        std::int32_t tag = -1;
        if (callback != nullptr && callback->getControlTagAt(where.x, where.y, tag) &&
            callback->frameMessage(host::frameMessageClick, tag, (buttons & kRButton) != 0))
            return MouseResult::handled;
        return CFrame::onMouseDown(where, buttons);
    }
    [[nodiscard]] bool isTypeOf(std::string_view name) const override
    {
        return name == "CGFrame" || CFrame::isTypeOf(name);
    }

private:
    host::iVSTFrameCallbackInterface* callback;
};

} // namespace sorvane::toolkit
