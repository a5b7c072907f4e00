#include "CTextEdit.h"

#include "CFrame.h"

#include <array>
#include <cmath>
#include <ctime>

namespace sorvane::toolkit {

namespace {

constexpr float kEditSize = 15.0F; ///< of the text, and the height of the caret
constexpr float kMargin = 3.0F;    ///< beside a text that is wider than the control

const Font* editFont()
{
    return getFont("OpenSans-Regular");
}

} // namespace

bool CTextEdit::showsCaret() const
{
    return editing && caret == anchor && std::time(nullptr) % 2 != 0;
}

bool CTextEdit::isDirty() const
{
    return CParamDisplay::isDirty() || showsCaret() != caretDrawn;
}

std::string CTextEdit::part(std::size_t from, std::size_t to) const
{
    return encodeUtf8(std::span(codes).subspan(from, to - from));
}

float CTextEdit::widthUpTo(std::size_t end) const
{
    return editFont() != nullptr ? measureText(*editFont(), kEditSize, part(0, end)).width : 0.0F;
}

float CTextEdit::textLeft() const
{
    const float spare = rect.width() - widthUpTo(codes.size());
    return spare >= 2.0F * kMargin ? rect.left + spare / 2.0F : rect.left + kMargin - scrolled;
}

void CTextEdit::bringCaretWithin()
{
    const float room = std::max(rect.width() - 2.0F * kMargin, 1.0F);
    const float whole = widthUpTo(codes.size());
    const float at = widthUpTo(caret);
    scrolled = std::clamp(scrolled, std::max(at - room, 0.0F), at);
    scrolled = std::min(scrolled, std::max(whole - room, 0.0F)); // no gap behind a text that became shorter
}

std::size_t CTextEdit::placeAt(float x) const
{
    const float left = textLeft();
    std::size_t place = 0;
    while (place < codes.size() && left + (widthUpTo(place) + widthUpTo(place + 1)) / 2.0F < x)
        ++place;
    return place;
}

void CTextEdit::draw(CDrawContext& context)
{
    if (editing) {
        drawEdit(context);
        return;
    }
    caretDrawn = false;
    CParamDisplay::draw(context);
}

void CTextEdit::drawEdit(CDrawContext& context)
{
    context.setFillColor({0, 0, 0, 255});
    context.drawRect(rect, DrawStyle::filled);
    context.setLineWidth(1.0F);
    context.setFrameColor({255, 255, 255, 255});
    context.drawRect({rect.left, rect.top, rect.right - 1, rect.bottom - 1});
    caretDrawn = showsCaret();
    if (editFont() == nullptr)
        return;
    const std::string whole = part(0, codes.size());
    const TextSize size = measureText(*editFont(), kEditSize, whole.empty() ? "-" : whole);
    const float left = textLeft();
    const float top = rect.top + (rect.height() - static_cast<float>(size.height)) / 2.0F;
    const CRect clip = context.getClipRect();
    context.setClipRect(clip.intersectedWith(rect.insetBy(1.0F)));
    if (caret != anchor) {
        context.setFillColor(CColor::fromRgb(0x7F7F7F));
        context.drawRect({left + widthUpTo(selectionBegin()), top, left + widthUpTo(selectionEnd()),
                          top + static_cast<float>(size.height)},
                         DrawStyle::filled);
    } else if (caretDrawn) {
        const float x = std::floor(left + widthUpTo(caret));
        const float middle = std::floor(rect.top + (rect.height() - kEditSize) / 2.0F);
        context.moveTo({x, middle});
        context.lineTo({x, middle + kEditSize - 1.0F});
    }
    drawLabelText(context, {left, top, left, top}, *editFont(), whole, kEditSize, TextAlignment::left, false, 0xFFFFFF);
    context.setClipRect(clip);
}

void CTextEdit::openEdit(std::string_view initial)
{
    codes = decodeUtf8(initial);
    codes.resize(std::min(codes.size(), kLongest));
    anchor = 0;
    caret = codes.size();
    bringCaretWithin();
    editing = true;
    if (getFrame() != nullptr)
        getFrame()->setFocusView(this);
    setDirty();
}

void CTextEdit::closeEdit(bool confirmed)
{
    if (!std::exchange(editing, false))
        return;
    selecting = false;
    editEnded(part(0, codes.size()), confirmed);
    if (getFrame() != nullptr && getFrame()->getFocusView() == this)
        getFrame()->setFocusView(nullptr);
    setDirty();
}

void CTextEdit::editEnded(const std::string& newText, bool confirmed)
{
    if (!confirmed || newText == text)
        return;
    beginEdit();
    text = newText;
    if (listener != nullptr)
        listener->valueChanged(*this);
    endEdit();
}

void CTextEdit::takeFocus()
{
    if (!editing)
        openEdit(text);
}

void CTextEdit::looseFocus()
{
    closeEdit(false);
}

void CTextEdit::removed()
{
    closeEdit(false);
    CParamDisplay::removed();
}

MouseResult CTextEdit::onMouseDown(CPoint where, int buttons)
{
    if ((buttons & kLButton) == 0)
        return MouseResult::notHandled;
    if (!editing || (buttons & kDoubleClick) != 0) {
        openEdit(editing ? part(0, codes.size()) : text);
        return MouseResult::handledNoMore;
    }
    selecting = true;
    moveCaret(placeAt(where.x), (buttons & kShift) != 0);
    return MouseResult::handled;
}

MouseResult CTextEdit::onMouseMoved(CPoint where, int /*buttons*/)
{
    if (selecting)
        moveCaret(placeAt(where.x), true);
    return MouseResult::handled;
}

MouseResult CTextEdit::onMouseUp(CPoint /*where*/, int /*buttons*/)
{
    selecting = false;
    return MouseResult::handled;
}

void CTextEdit::moveCaret(std::size_t to, bool select)
{
    caret = std::min(to, codes.size());
    if (!select)
        anchor = caret;
    bringCaretWithin();
    setDirty();
}

void CTextEdit::replaceSelection(std::span<const std::uint32_t> with)
{
    const std::size_t begin = selectionBegin();
    codes.erase(codes.begin() + static_cast<std::ptrdiff_t>(begin),
                codes.begin() + static_cast<std::ptrdiff_t>(selectionEnd()));
    const std::size_t room = std::min(with.size(), kLongest - codes.size());
    codes.insert(codes.begin() + static_cast<std::ptrdiff_t>(begin), with.begin(),
                 with.begin() + static_cast<std::ptrdiff_t>(room));
    moveCaret(begin + room, false);
}

bool CTextEdit::onDrop(const CDragContainer& dragged, CPoint /*where*/)
{
    const DragItem* const item = dragged.first(DragItem::Kind::text);
    if (item == nullptr || getFrame() == nullptr)
        return false;
    getFrame()->setFocusView(this);
    onPaste(item->data);
    return true;
}

void CTextEdit::onPaste(std::string_view pasted)
{
    if (!editing)
        return;
    std::vector<std::uint32_t> line;
    for (const std::uint32_t code : decodeUtf8(pasted.substr(0, 4 * kLongest)))
        if (code >= ' ' && code != 0x7F)
            line.push_back(code);
    replaceSelection(line);
}

bool CTextEdit::onShortcut(char32_t character)
{
    switch (character) {
    case U'a':
        anchor = 0;
        moveCaret(codes.size(), true);
        return true;
    case U'c':
    case U'x':
        if (caret == anchor || getFrame() == nullptr)
            return true;
        getFrame()->setClipboard(part(selectionBegin(), selectionEnd()));
        if (character == U'x')
            replaceSelection({});
        return true;
    case U'v':
        if (getFrame() != nullptr)
            getFrame()->requestClipboard();
        return true;
    default:
        return false;
    }
}

bool CTextEdit::onKeyDown(const KeyPress& key)
{
    if (!editing)
        return false;
    const bool select = (key.modifiers & kShift) != 0;
    switch (key.key) {
    case Key::enter:
        closeEdit(true);
        return true;
    case Key::escape:
        closeEdit(false);
        return true;
    case Key::left:
        moveCaret(caret != anchor && !select ? selectionBegin() : caret - std::min<std::size_t>(caret, 1), select);
        return true;
    case Key::right:
        moveCaret(caret != anchor && !select ? selectionEnd() : caret + 1, select);
        return true;
    case Key::home:
        moveCaret(0, select);
        return true;
    case Key::end:
        moveCaret(codes.size(), select);
        return true;
    case Key::backspace:
    case Key::remove:
        if (caret == anchor)
            moveCaret(key.key == Key::remove ? caret + 1 : caret - std::min<std::size_t>(caret, 1), true);
        replaceSelection({});
        return true;
    case Key::character:
        if ((key.modifiers & (kControl | kApple)) != 0)
            return onShortcut(key.character);
        if (key.character < U' ' || key.character == 0x7F)
            return false;
        replaceSelection(std::array{std::uint32_t{key.character}});
        return true;
    default:
        return false;
    }
}

} // namespace sorvane::toolkit
