#include "CDialog.h"

#include "CFrame.h"

#include <algorithm>
#include <cmath>

namespace sorvane::toolkit {

namespace {

constexpr float kTitleHeight = 24.0F;
constexpr float kButtonWidth = 88.0F;
constexpr float kButtonHeight = 24.0F;
constexpr float kGap = 8.0F; ///< between buttons

constexpr CColor kShade{0, 0, 0, 140};
constexpr CColor kFace = CColor::fromRgb(0x1B232A);
constexpr CColor kTitleFace = CColor::fromRgb(0x222C34);
constexpr CColor kBorder = CColor::fromRgb(0x46545F);
constexpr CColor kChosen = CColor::fromRgb(0x2C5878);

} // namespace

CDialog::CDialog(CFrame& dialogFrame, std::string dialogTitle, float width, float height)
    : CViewContainer(dialogFrame.getViewSize()), frameOfDialog(dialogFrame), title(std::move(dialogTitle))
{
    const CRect& room = getViewSize();
    width = std::min(width, room.width());
    height = std::min(height, room.height());
    const float left = std::floor((room.width() - width) / 2.0F);
    const float top = std::floor((room.height() - height) / 2.0F);
    box = {left, top, left + width, top + height};
}

void CDialog::setButtons(std::vector<std::string> titles, std::size_t first)
{
    buttonRow.clear();
    for (std::string& text : titles)
        buttonRow.push_back({std::move(text), {}});
    chosen = first;
    setDirty();
}

CRect CDialog::inside() const
{
    return {box.left + kMargin, box.top + kTitleHeight + kGap, box.right - kMargin,
            box.bottom - kButtonHeight - 2.0F * kGap};
}

CRect CDialog::buttonRect(std::size_t button) const
{
    const auto fromRight = static_cast<float>(buttonRow.size() - button);
    const float left = box.right - kMargin - fromRight * kButtonWidth - (fromRight - 1.0F) * kGap;
    return {left, box.bottom - kGap - kButtonHeight, left + kButtonWidth, box.bottom - kGap};
}

void CDialog::drawLine(CDrawContext& context, const CRect& line, std::string_view text, LabelSlot& slot,
                       std::uint32_t colour)
{
    if (const Font* const font = getFont("OpenSans-Regular"))
        drawLabelText(context, line, *font, text, kTextSize, TextAlignment::left, true, colour, slot.get());
}

void CDialog::draw(CDrawContext& context)
{
    context.setFillColor(kShade);
    context.drawRect(rect, DrawStyle::filled);
    context.setLineWidth(1.0F);
    context.setFillColor(kFace);
    context.drawRect(box, DrawStyle::filled);
    context.setFillColor(kTitleFace);
    context.drawRect({box.left, box.top, box.right, box.top + kTitleHeight}, DrawStyle::filled);
    context.setFrameColor(kBorder);
    context.drawRect({box.left, box.top, box.right - 1, box.bottom - 1});
    const Font* const bold = getFont("DSP-Bold");
    if (bold != nullptr)
        drawLabelText(context, {box.left + kMargin, box.top, box.right, box.top + kTitleHeight}, *bold, title,
                      kTextSize, TextAlignment::left, true, kDimmedColour, titleLabel.get());
    for (std::size_t i = 0; i < buttonRow.size(); ++i) {
        const CRect area = buttonRect(i);
        context.setFillColor(i == chosen ? kChosen : kTitleFace);
        context.drawRect(area, DrawStyle::filled);
        context.drawRect({area.left, area.top, area.right - 1, area.bottom - 1});
        if (bold != nullptr)
            drawLabelText(context, area, *bold, buttonRow[i].title, kTextSize, TextAlignment::centre, true, kTextColour,
                          buttonRow[i].label.get());
    }
    const CRect clip = context.getClipRect();
    context.setClipRect(clip.intersectedWith(inside()));
    drawInside(context);
    context.setClipRect(clip);
    CViewContainer::draw(context);
}

MouseResult CDialog::onMouseDown(CPoint where, int buttons)
{
    for (std::size_t i = 0; i < buttonRow.size(); ++i)
        if (buttonRect(i).contains(where)) {
            chosen = i;
            setDirty();
            buttonPressed(i);
            return MouseResult::handledNoMore;
        }
    const MouseResult result = CViewContainer::onMouseDown(where, buttons);
    if (result == MouseResult::handled || result == MouseResult::handledNoMore)
        return result;
    return inside().contains(where) ? pressedInside(where, buttons) : MouseResult::handledNoMore;
}

MouseResult CDialog::pressedInside(CPoint /*where*/, int /*buttons*/)
{
    return MouseResult::handledNoMore;
}

MouseResult CDialog::onMouseMoved(CPoint where, int buttons)
{
    CViewContainer::onMouseMoved(where, buttons);
    return MouseResult::handled;
}

MouseResult CDialog::onMouseUp(CPoint where, int buttons)
{
    CViewContainer::onMouseUp(where, buttons);
    return MouseResult::handled;
}

bool CDialog::onWheel(CPoint /*where*/, WheelAxis /*axis*/, float /*distance*/, int /*buttons*/)
{
    return true;
}

bool CDialog::onKeyDown(const KeyPress& key)
{
    const std::size_t count = buttonRow.size();
    if (count == 0)
        return true;
    switch (key.key) {
    case Key::tab:
        chosen = (chosen + ((key.modifiers & kShift) != 0 ? count - 1 : 1)) % count;
        setDirty();
        break;
    case Key::enter:
        buttonPressed(chosen);
        break;
    case Key::escape:
        buttonPressed(count - 1);
        break;
    default:
        break;
    }
    return true;
}

void CDialog::dismiss()
{
    if (frameOfDialog.getModalView() == this)
        frameOfDialog.endModal();
}

} // namespace sorvane::toolkit
