#pragma once

namespace sorvane::toolkit {

class CControl;

/// Whom controls tell what the user does to them. User interface thread, but for the end of a wheel edit.
class CControlListener {
public:
    virtual void valueChanged(CControl& control) = 0;
    /// A press with modifier keys that the control leaves to the listener.
    virtual void controlModifierClicked(CControl& /*control*/, int /*buttons*/) {}
    virtual void controlBeginEdit(CControl& /*control*/) {}
    /// On a thread of its own, without the frame's lock, when the edit was one by wheel.
    virtual void controlEndEdit(CControl& /*control*/) {}

protected:
    ~CControlListener() = default;
};

} // namespace sorvane::toolkit
