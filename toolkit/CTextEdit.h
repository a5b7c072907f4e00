#pragma once

#include "CTextLabel.h"

#include <cstdint>
#include <vector>

namespace sorvane::toolkit {

/// A text that a click opens for editing: keys, selection with Shift or the mouse, Control with A, C, X and V. Return
/// confirms; Escape, or a click elsewhere, leaves it as it was. A text that is wider than the control moves with the
/// caret.
class CTextEdit : public CParamDisplay {
public:
    static constexpr std::size_t kLongest = 255; ///< characters

    using CParamDisplay::CParamDisplay;

    [[nodiscard]] bool isEditing() const { return editing; }

    void draw(CDrawContext& context) override;
    /// Also when the caret has to come or go.
    [[nodiscard]] bool isDirty() const override;
    MouseResult onMouseDown(CPoint where, int buttons) override;
    MouseResult onMouseMoved(CPoint where, int buttons) override;
    MouseResult onMouseUp(CPoint where, int buttons) override;
    bool onKeyDown(const KeyPress& key) override;
    /// Opens the edit with a text that is dropped, for the user to confirm; while it is open already, pastes it.
    bool onDrop(const CDragContainer& dragged, CPoint where) override;
    void onPaste(std::string_view pasted) override;
    void takeFocus() override;
    void looseFocus() override;
    /// Ends the edit as Escape does.
    void removed() override;
    [[nodiscard]] bool isTypeOf(std::string_view name) const override
    {
        return name == "CTextEdit" || CParamDisplay::isTypeOf(name);
    }

protected:
    /// Opens the edit with a text, all of it selected.
    void openEdit(std::string_view initial);
    /// The edit is over. The base takes a confirmed text that differs, and tells the listener.
    virtual void editEnded(const std::string& newText, bool confirmed);

private:
    void closeEdit(bool confirmed);
    void drawEdit(CDrawContext& context);
    void moveCaret(std::size_t to, bool select);
    void replaceSelection(std::span<const std::uint32_t> with);
    bool onShortcut(char32_t character);
    [[nodiscard]] std::string part(std::size_t from, std::size_t to) const;
    [[nodiscard]] float widthUpTo(std::size_t end) const;
    /// Where the text begins: centred, or moved so that the caret is within.
    [[nodiscard]] float textLeft() const;
    void bringCaretWithin();
    [[nodiscard]] std::size_t placeAt(float x) const;
    [[nodiscard]] std::size_t selectionBegin() const { return std::min(caret, anchor); }
    [[nodiscard]] std::size_t selectionEnd() const { return std::max(caret, anchor); }
    [[nodiscard]] bool showsCaret() const;

    bool editing = false;
    bool selecting = false; ///< with the mouse
    bool caretDrawn = false;
    std::vector<std::uint32_t> codes; ///< of the text in the edit
    std::size_t caret = 0;
    std::size_t anchor = 0; ///< where the selection began
    float scrolled = 0.0F;  ///< what of a wide text is left of the control
};

} // namespace sorvane::toolkit
