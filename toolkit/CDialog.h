#pragma once

#include "CViewContainer.h"
#include "LabelSlot.h"

#include <string>
#include <vector>

namespace sorvane::toolkit {

/// A box with a title and a row of buttons in the middle of a frame, whose modal view it is until it is dismissed.
/// Return presses the button that Tab leads to, Escape the last.
class CDialog : public CViewContainer {
public:
    void draw(CDrawContext& context) override;
    MouseResult onMouseDown(CPoint where, int buttons) override;
    MouseResult onMouseMoved(CPoint where, int buttons) override;
    MouseResult onMouseUp(CPoint where, int buttons) override;
    bool onWheel(CPoint where, WheelAxis axis, float distance, int buttons) override;
    using CView::onWheel;
    bool onKeyDown(const KeyPress& key) override;

protected:
    static constexpr float kTextSize = 12.0F;
    static constexpr float kLineHeight = 18.0F;
    static constexpr float kMargin = 14.0F;
    static constexpr std::uint32_t kTextColour = 0xD8D8D8;
    static constexpr std::uint32_t kDimmedColour = 0x87A7BF;

    /// \param width, height  of the box in logical pixels, if the frame has room for it
    CDialog(CFrame& dialogFrame, std::string dialogTitle, float width, float height);

    /// \param first  the one that Return presses
    void setButtons(std::vector<std::string> titles, std::size_t first = 0);
    /// The box without title and buttons, in coordinates of the frame.
    [[nodiscard]] CRect inside() const;
    virtual void drawInside(CDrawContext& context) = 0;
    virtual void buttonPressed(std::size_t button) = 0;
    /// A press inside of the box that met no button and no child.
    virtual MouseResult pressedInside(CPoint where, int buttons);
    /// Leaves the frame. The caller's own use keeps the dialog until it returns.
    void dismiss();

    static void drawLine(CDrawContext& context, const CRect& line, std::string_view text, LabelSlot& slot,
                         std::uint32_t colour = kTextColour);
    [[nodiscard]] CFrame& owner() const { return frameOfDialog; }

private:
    struct Button {
        std::string title;
        LabelSlot label;
    };

    [[nodiscard]] CRect buttonRect(std::size_t button) const;

    CFrame& frameOfDialog;
    std::string title;
    LabelSlot titleLabel;
    CRect box;
    std::vector<Button> buttonRow;
    std::size_t chosen = 0;
};

} // namespace sorvane::toolkit
