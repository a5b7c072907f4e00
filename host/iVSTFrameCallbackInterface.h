#pragma once

#include <cstdint>

namespace sorvane::host {

/// Messages of iVSTFrameCallbackInterface. Others are of no concern to a host.
enum FrameMessage : std::int32_t {
    frameMessageClick = 0,   ///< on a control
    frameMessageResized = 1, ///< the editor's window has another size
    frameMessageLooseFocus = 3,
};

/// What stands round an editor's frame: the host's view while it has one. User interface thread.
class iVSTFrameCallbackInterface {
public:
    iVSTFrameCallbackInterface() = default;
    virtual ~iVSTFrameCallbackInterface() = default;
    iVSTFrameCallbackInterface(const iVSTFrameCallbackInterface&) = delete;
    iVSTFrameCallbackInterface& operator=(const iVSTFrameCallbackInterface&) = delete;

    /// \param x, y  in pixels of the frame
    /// \param tag   gets the tag of the control there
    /// \return false where there is none
    virtual bool getControlTagAt(float x, float y, std::int32_t& tag) = 0;
    /// \param message  a FrameMessage
    /// \param tag      of the control that was clicked, else -1
    /// \param isSecondaryButton  whether the click is that of the secondary mouse button, whichever side it is on
    /// \return whether the message has been dealt with: a click then goes no further
    virtual bool frameMessage(std::int32_t message, std::int32_t tag, bool isSecondaryButton) = 0;
};

} // namespace sorvane::host
