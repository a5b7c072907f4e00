#pragma once

#include "CDialog.h"
#include "CTextEdit.h"
#include "Files.h"

#include <functional>
#include <optional>

namespace sorvane::toolkit {

/// Asks for a file to open or to save as: a list of the folders and of the files of one kind, gone through by mouse,
/// wheel and keys, and for saving a name. Before a file is replaced the user is asked.
class CFileSelector final : public CDialog {
public:
    struct Question {
        std::string title;
        std::string startPath; ///< a file to save as, or a folder to begin in; a leading "~" is the user's home
        std::string extension; ///< the one kind of file that is listed; without the dot
        bool saving = false;
    };
    /// \param path  of the file; nothing when the user cancels
    using Answer = std::function<void(const std::optional<std::string>& path)>;

    /// Becomes the modal view of a frame, in place of the one that it has.
    /// \param answer  is called once, with the dialog gone already; never when the frame closes before
    static void show(CFrame& frame, Question question, Answer answer);

    bool onWheel(CPoint where, WheelAxis axis, float distance, int buttons) override;
    bool onKeyDown(const KeyPress& key) override;
    [[nodiscard]] bool isTypeOf(std::string_view name) const override
    {
        return name == "CFileSelector" || CViewContainer::isTypeOf(name);
    }

private:
    /// Keeps what was typed, however its edit ends.
    class NameEdit;
    struct Row {
        platform::FolderEntry entry;
        LabelSlot label;
    };

    CFileSelector(CFrame& dialogFrame, Question asked, Answer answer);

    void drawInside(CDrawContext& context) override;
    void buttonPressed(std::size_t button) override;
    MouseResult pressedInside(CPoint where, int buttons) override;

    void start();
    void openFolder(std::string path);
    void openParent();
    void mark(int row);
    void moveMark(int by);
    void markTyped(char32_t character);
    void scrollTo(int row);
    void accept();
    void acceptName();
    void answerWith(const std::optional<std::string>& path);
    void keyToName(const KeyPress& key);
    [[nodiscard]] CRect listRect() const;
    [[nodiscard]] int rowsShown() const;
    [[nodiscard]] std::string pathOf(const std::string& typed) const;
    void drawRows(CDrawContext& context, const CRect& list);

    Question question;
    Answer whenAnswered;
    std::string folder; ///< ends with "/"
    LabelSlot folderLabel;
    std::vector<Row> rows; ///< folders first
    int marked = -1;
    int firstShown = 0;
    Shared<NameEdit> nameEdit; ///< null unless saving
    std::string toBeReplaced;  ///< what the user is asked about
    LabelSlot note;
};

} // namespace sorvane::toolkit
