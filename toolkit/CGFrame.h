#pragma once

#include "CFrame.h"
#include "CGViewContainer.h"

#include <cstdint>

namespace sorvane::toolkit {

/// What a frame asks of the editor.
class iVSTFrameCallbackInterface {
public:
    /// \return whether there is a control at a point of the frame; \p tag is its tag then
    virtual bool getControlTagAt(CPoint where, std::int32_t& tag) = 0;
    /// Messages that a frame sends, by number.
    static constexpr int kClicked = 0; ///< on the control of a tag: the host may take the click
    static constexpr int kFocusLost = 3;
    /// \param tag  for kClicked
    /// \return whether it was taken
    virtual bool frameMessage(int message, std::int32_t tag) = 0;

protected:
    ~iVSTFrameCallbackInterface() = default;
};

/// The frame of an editor.
class CGFrame : public CFrame, public iCGinterface {
public:
    /// \param frameCallback  may be null; must outlive the frame
    CGFrame(const CRect& frameRect, iVSTFrameCallbackInterface* frameCallback, float drawScale = 1.0F)
        : CFrame(frameRect, drawScale), callback(frameCallback)
    {}

    [[nodiscard]] std::span<const Shared<CView>> getChildren() const override { return getViews(); }
    CMessageResult notify(CBaseObject* sender, const char* message) override
    {
        if (message == kMsgLooseFocus && callback != nullptr)
            callback->frameMessage(iVSTFrameCallbackInterface::kFocusLost, 0);
        return CFrame::notify(sender, message);
    }
    MouseResult onMouseDown(CPoint where, int buttons) override
    {
        std::int32_t tag = 0;
        if (callback != nullptr && callback->getControlTagAt(where, tag) &&
            callback->frameMessage(iVSTFrameCallbackInterface::kClicked, tag))
            return MouseResult::handled;
        return CFrame::onMouseDown(where, buttons);
    }
    [[nodiscard]] bool isTypeOf(std::string_view name) const override
    {
        return name == "CGFrame" || CFrame::isTypeOf(name);
    }

private:
    iVSTFrameCallbackInterface* callback;
};

} // namespace sorvane::toolkit
