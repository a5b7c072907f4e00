#pragma once

#include "CControl.h"
#include "iControl.h"

namespace sorvane::toolkit {

/// A control that hands everything on to an iControl, so that a page can stand in a list of controls. No container
/// holds it: whoever made it deletes it by forget.
class iControlWrapper final : public CControl {
public:
    /// \param wrapped  must outlive the wrapper
    explicit iControlWrapper(iControl& wrapped)
        : CControl(wrapped.getViewSize(), nullptr, wrapped.getTag()), target(wrapped)
    {}

    [[nodiscard]] int getTag() const override { return target.getTag(); }
    [[nodiscard]] float getValue() const override { return target.getValue(); }
    void setValue(float newValue) override { target.setValue(newValue); }
    void setDirty(bool on = true) override { target.setDirty(on); }
    void setViewSize(const CRect& newRect, bool invalidate = true) override { target.setViewSize(newRect, invalidate); }
    [[nodiscard]] const CRect& getViewSize() const override { return target.getViewSize(); }
    void setMouseableArea(const CRect& area) override { target.setMouseableArea(area); }
    void setBackground(CBitmap* bitmap) override { target.setBackground(bitmap); }

private:
    iControl& target;
};

} // namespace sorvane::toolkit
