#include "CMessageBox.h"

#include "CFrame.h"

#include <algorithm>
#include <array>

namespace sorvane::toolkit {

namespace {

constexpr float kWidth = 420.0F;
constexpr float kIconRoom = 48.0F;
constexpr float kOtherHeight = 64.0F; ///< title and buttons
constexpr std::size_t kMostLines = 20;
constexpr std::size_t kMostCharacters = 4000;
constexpr CColor kSign = CColor::fromRgb(0xE0A040);

/// Lines no wider than a width, broken behind blanks where there are any.
std::vector<std::string> brokenAt(std::string_view text, const Font& font, float size, float width)
{
    std::vector<std::string> lines;
    std::vector<std::uint32_t> codes = decodeUtf8(text.substr(0, 4 * kMostCharacters));
    codes.resize(std::min(codes.size(), kMostCharacters));
    std::size_t begin = 0;
    while (begin < codes.size() && lines.size() < kMostLines) {
        std::size_t end = begin;
        std::size_t blank = begin; // behind the last one
        const auto line = [&](std::size_t to) { return encodeUtf8(std::span(codes).subspan(begin, to - begin)); };
        while (end < codes.size() && codes[end] != '\n' &&
               (end == begin || measureText(font, size, line(end + 1)).width <= width)) {
            ++end;
            if (codes[end - 1] == ' ')
                blank = end;
        }
        if (end < codes.size() && codes[end] != '\n' && codes[end] != ' ' && blank > begin)
            end = blank;
        lines.push_back(line(end));
        begin = end;
        if (begin < codes.size() && (codes[begin] == '\n' || codes[begin] == ' '))
            ++begin;
    }
    return lines;
}

} // namespace

void CMessageBox::show(CFrame& frame, std::string title, std::string_view text, std::vector<std::string> buttons,
                       Answer answer)
{
    const Font* const font = getFont("OpenSans-Regular");
    const float room = std::min(kWidth, frame.getViewSize().width()) - 2.0F * kMargin - kIconRoom;
    std::vector<std::string> lines;
    if (font != nullptr)
        lines = brokenAt(text, *font, kTextSize, std::max(room, 20.0F));
    if (buttons.empty())
        buttons.emplace_back("OK");
    frame.setModalView(
        new CMessageBox(frame, std::move(title), std::move(lines), std::move(buttons), std::move(answer)));
}

CMessageBox::CMessageBox(CFrame& dialogFrame, std::string dialogTitle, std::vector<std::string> brokenLines,
                         std::vector<std::string> buttons, Answer answer)
    : CDialog(dialogFrame, std::move(dialogTitle), kWidth,
              kOtherHeight + std::max(48.0F, static_cast<float>(brokenLines.size()) * kLineHeight) + kMargin),
      lines(std::move(brokenLines)), labels(lines.size()), whenAnswered(std::move(answer))
{
    setButtons(std::move(buttons));
}

void CMessageBox::drawInside(CDrawContext& context)
{
    const CRect area = inside();
    const CPoint icon{area.left, area.top + 4.0F};
    context.setFillColor(kSign);
    context.drawPolygon(std::array<CPoint, 3>{icon + CPoint{16, 0}, icon + CPoint{32, 28}, icon + CPoint{0, 28}},
                        DrawStyle::filled);
    context.setFillColor({0, 0, 0, 255});
    context.drawRect({icon.x + 15, icon.y + 10, icon.x + 17, icon.y + 20}, DrawStyle::filled);
    context.drawRect({icon.x + 15, icon.y + 22, icon.x + 17, icon.y + 24}, DrawStyle::filled);
    float top = area.top;
    for (std::size_t i = 0; i < lines.size(); ++i, top += kLineHeight)
        drawLine(context, {area.left + kIconRoom, top, area.right, top + kLineHeight}, lines[i], labels[i]);
}

void CMessageBox::buttonPressed(std::size_t button)
{
    const Answer answer = std::exchange(whenAnswered, {});
    dismiss();
    if (answer)
        answer(button);
}

} // namespace sorvane::toolkit
