#pragma once

#include "CView.h"

#include <span>
#include <vector>

namespace sorvane::toolkit {

/// A view that holds others, the first at the back, and hands events to the foremost that takes them. Children's
/// coordinates begin at its top left.
class CViewContainer : public CView {
public:
    using CView::CView;
    ~CViewContainer() override;

    /// Takes over the caller's use of a view, in front of the others. Null, itself and one that it has do nothing.
    void addView(CView* view);
    /// Drops it. A view of another container is left alone.
    void removeView(CView& view);
    void removeAll();
    [[nodiscard]] std::span<const Shared<CView>> getViews() const { return children; }

    void setBackgroundColor(CColor colour);

    void draw(CDrawContext& context) override;
    /// Also when a child that shows is dirty.
    [[nodiscard]] bool isDirty() const override;
    MouseResult onMouseDown(CPoint where, int buttons) override;
    MouseResult onMouseMoved(CPoint where, int buttons) override;
    MouseResult onMouseUp(CPoint where, int buttons) override;
    MouseResult onMouseExited(CPoint where, int buttons) override;
    bool onWheel(CPoint where, WheelAxis axis, float distance, int buttons) override;
    using CView::onWheel;
    void attached(CViewContainer& newParent) override;
    void removed() override;
    CMessageResult notify(CBaseObject* sender, const char* message) override;
    [[nodiscard]] bool isTypeOf(std::string_view name) const override
    {
        return name == "CViewContainer" || CView::isTypeOf(name);
    }

    /// The innermost view that shows there, itself when none of its children does.
    [[nodiscard]] CView* getViewAt(CPoint where);

private:
    friend class CFrame;

    [[nodiscard]] CPoint inside(CPoint where) const { return where - rect.origin(); }
    [[nodiscard]] CView* childAt(CPoint local, int buttons) const;
    [[nodiscard]] static bool meetsMouse(CView& view, CPoint local, int buttons);
    [[nodiscard]] static bool isOutOfUse(CView& view);
    [[nodiscard]] static bool isLeftToListener(CView& view, int buttons);
    void hover(CView* child, CPoint local, int buttons);
    void loose(const CView& child);
    /// Whether it is still a child of this container, which an event may have changed.
    [[nodiscard]] bool holds(const CView* child) const;

    std::vector<Shared<CView>> children;
    CView* pressed = nullptr; ///< the child that a press went to, until its release
    CView* hovered = nullptr; ///< the child under the mouse
    CColor backgroundColour{0, 0, 0, 0};
};

} // namespace sorvane::toolkit
