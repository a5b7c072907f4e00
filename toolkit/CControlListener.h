#pragma once

namespace sorvane::toolkit {

class CControl;

/// Whom controls tell what the user does to them. User interface thread, but for the end of a wheel edit.
class CControlListener {
public:
    virtual void valueChanged(CControl& control) = 0;
    /// A press with modifier keys or the right button, before the control gets it. \return whether the listener takes
    /// it
    virtual bool controlModifierClicked(CControl& /*control*/, int /*buttons*/) { return false; }
    virtual void controlBeginEdit(CControl& /*control*/) {}
    /// On a thread of its own when the edit was one by wheel: then it must neither take the lock of a frame, whose
    /// holder may be waiting for it, nor delete the control.
    virtual void controlEndEdit(CControl& /*control*/) {}

protected:
    ~CControlListener() = default;
};

} // namespace sorvane::toolkit
