#pragma once

#include "CDialog.h"

#include <functional>

namespace sorvane::toolkit {

/// A box with a warning, or a question to the user.
class CMessageBox final : public CDialog {
public:
    /// \param button  the index of the one that was pressed
    using Answer = std::function<void(std::size_t button)>;

    /// Becomes the modal view of a frame, in place of the one that it has.
    /// \param text     lines are broken where it says so and where they are too long
    /// \param buttons  at least one; Escape stands for the last
    /// \param answer   is called once, with the box gone already; never when the frame closes before. May be empty
    static void show(CFrame& frame, std::string title, std::string_view text, std::vector<std::string> buttons = {"OK"},
                     Answer answer = {});

    [[nodiscard]] bool isTypeOf(std::string_view name) const override
    {
        return name == "CMessageBox" || CViewContainer::isTypeOf(name);
    }

private:
    CMessageBox(CFrame& dialogFrame, std::string dialogTitle, std::vector<std::string> brokenLines,
                std::vector<std::string> buttons, Answer answer);

    void drawInside(CDrawContext& context) override;
    void buttonPressed(std::size_t button) override;

    std::vector<std::string> lines;
    std::vector<LabelSlot> labels; ///< of the lines
    Answer whenAnswered;
};

} // namespace sorvane::toolkit
