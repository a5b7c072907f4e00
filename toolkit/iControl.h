#pragma once

#include "CView.h"

namespace sorvane::toolkit {

/// The face of a control for a container, which has a tag and a value like one.
class iControl {
public:
    virtual ~iControl() = default;
    [[nodiscard]] virtual int getTag() const { return controlTag; }
    [[nodiscard]] virtual float getValue() const { return controlValue; }
    virtual void setValue(float value) { controlValue = value; }
    virtual void setDirty(bool on) = 0;
    virtual void setViewSize(const CRect& rect, bool invalidate) = 0;
    virtual void setMouseableArea(const CRect& area) = 0;
    virtual void setBackground(CBitmap* bitmap) = 0;
    [[nodiscard]] virtual const CRect& getViewSize() const = 0;

protected:
    explicit iControl(int tag) : controlTag(tag) {}

    int controlTag;
    float controlValue = 0.0F;
};

} // namespace sorvane::toolkit
