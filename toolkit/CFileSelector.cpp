#include "CFileSelector.h"

#include "CFrame.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace sorvane::toolkit {

namespace {

constexpr float kWidth = 480.0F;
constexpr float kHeight = 360.0F;
constexpr float kNameHeight = 24.0F;
constexpr float kGap = 6.0F;
constexpr float kBarWidth = 8.0F; ///< shows where the list is scrolled to
constexpr float kIconRoom = 22.0F;

constexpr CColor kListFace = CColor::fromRgb(0x10161B);
constexpr CColor kListFrame = CColor::fromRgb(0x303840);
constexpr CColor kMarked = CColor::fromRgb(0x2C5878);
constexpr CColor kSign = CColor::fromRgb(0x4E9ACC);

std::string inHome(const std::string& path)
{
    const char* const home = std::getenv("HOME"); // NOLINT(concurrency-mt-unsafe): nobody writes it
    return home != nullptr && (path == "~" || path.starts_with("~/")) ? home + path.substr(1) : path;
}

bool isFolder(const std::string& path)
{
    std::error_code unknown;
    return std::filesystem::is_directory(path, unknown);
}

/// The folder of a path, or the nearest above it that is there; with a "/" at its end.
std::string nearestFolder(std::string path)
{
    while (!path.empty() && !isFolder(path))
        path.resize(path.rfind('/') == std::string::npos ? 0 : path.rfind('/'));
    if (!path.ends_with('/'))
        path += '/';
    return path;
}

bool hasExtension(const std::string& file, const std::string& extension)
{
    return extension.empty() || (file.size() > extension.size() && file.ends_with(extension) &&
                                 file[file.size() - extension.size() - 1] == '.');
}

} // namespace

class CFileSelector::NameEdit final : public CTextEdit {
public:
    using CTextEdit::CTextEdit;
    void editText(std::string_view newText)
    {
        setText(newText);
        openEdit(newText);
    }
    /// What is in the edit, which is closed.
    [[nodiscard]] std::string typed()
    {
        looseFocus();
        return getText();
    }

private:
    void editEnded(const std::string& newText, bool /*confirmed*/) override { setText(newText); }
};

void CFileSelector::show(CFrame& frame, Question question, Answer answer)
{
    auto* const dialog = new CFileSelector(frame, std::move(question), std::move(answer));
    frame.setModalView(dialog);
    dialog->start();
}

CFileSelector::CFileSelector(CFrame& dialogFrame, Question asked, Answer answer)
    : CDialog(dialogFrame, asked.title, kWidth, kHeight), question(std::move(asked)), whenAnswered(std::move(answer))
{
    setButtons({question.saving ? "Save" : "Open", "Cancel"});
}

void CFileSelector::start()
{
    const std::string path = inHome(question.startPath);
    if (!question.saving) {
        openFolder(path);
        return;
    }
    const std::size_t slash = path.rfind('/');
    const CRect area = inside();
    auto* const edit = new NameEdit({area.left, area.bottom - kNameHeight, area.right, area.bottom}, nullptr, -1);
    nameEdit = Shared<NameEdit>(edit);
    addView(edit);
    openFolder(slash == std::string::npos ? inHome("~") : path.substr(0, slash + 1));
    nameEdit->editText(path.substr(slash + 1)); // which is the whole of it when there is no slash
}

void CFileSelector::openFolder(std::string path)
{
    folder = nearestFolder(std::move(path));
    rows.clear();
    for (platform::FolderEntry& entry : platform::listFolder(folder))
        if (!entry.name.starts_with('.') && (entry.isFolder || hasExtension(entry.name, question.extension)))
            rows.push_back({std::move(entry), {}});
    std::sort(rows.begin(), rows.end(), [](const Row& a, const Row& b) {
        if (a.entry.isFolder != b.entry.isFolder)
            return a.entry.isFolder;
        return ::strverscmp(a.entry.name.c_str(), b.entry.name.c_str()) < 0; // 2 before 10
    });
    if (folder != "/")
        rows.insert(rows.begin(), Row{{"..", true}, {}});
    marked = -1;
    firstShown = 0;
    setDirty();
}

void CFileSelector::openParent()
{
    if (folder == "/")
        return;
    const std::string left = folder.substr(0, folder.size() - 1);
    openFolder(left.substr(0, left.rfind('/') + 1));
    for (std::size_t i = 0; i < rows.size(); ++i)
        if (folder + rows[i].entry.name == left)
            mark(static_cast<int>(i));
}

CRect CFileSelector::listRect() const
{
    const CRect area = inside();
    return {area.left, area.top + kLineHeight + kGap, area.right,
            area.bottom - (question.saving ? kNameHeight + kGap : 0.0F)};
}

int CFileSelector::rowsShown() const
{
    return std::max(1, static_cast<int>((listRect().height() - 2.0F) / kLineHeight));
}

void CFileSelector::drawInside(CDrawContext& context)
{
    const CRect area = inside();
    drawLine(context, {area.left, area.top, area.right, area.top + kLineHeight}, folder, folderLabel, kDimmedColour);
    const CRect list = listRect();
    context.setFillColor(kListFace);
    context.drawRect(list, DrawStyle::filled);
    context.setFrameColor(kListFrame);
    context.drawRect({list.left, list.top, list.right - 1, list.bottom - 1});
    const CRect clip = context.getClipRect();
    context.setClipRect(clip.intersectedWith(list.insetBy(1.0F)));
    if (toBeReplaced.empty())
        drawRows(context, list);
    else
        drawLine(context, {list.left + kGap, list.top, list.right, list.bottom},
                 toBeReplaced.substr(toBeReplaced.rfind('/') + 1) + " is there already. Replace it?", note);
    context.setClipRect(clip);
}

void CFileSelector::drawRows(CDrawContext& context, const CRect& list)
{
    const auto count = static_cast<int>(rows.size());
    const int shown = rowsShown();
    for (int i = firstShown; i < std::min(count, firstShown + shown); ++i) {
        Row& row = rows[static_cast<std::size_t>(i)];
        const float top = list.top + 1.0F + static_cast<float>(i - firstShown) * kLineHeight;
        const CRect line{list.left + 1, top, list.right - kBarWidth - 2, top + kLineHeight};
        if (i == marked) {
            context.setFillColor(kMarked);
            context.drawRect(line, DrawStyle::filled);
        }
        if (row.entry.isFolder) {
            context.setFillColor(kSign);
            context.drawRect({line.left + 5, top + 5, line.left + 10, top + 7}, DrawStyle::filled);
            context.drawRect({line.left + 5, top + 7, line.left + 16, top + 14}, DrawStyle::filled);
        }
        drawLine(context, {line.left + kIconRoom, top, line.right, line.bottom}, row.entry.name, row.label);
    }
    if (count <= shown)
        return;
    const float height = list.height() - 2.0F;
    const auto at = [&](int row) {
        return list.top + 1.0F + height * static_cast<float>(row) / static_cast<float>(count);
    };
    context.setFillColor(kListFrame);
    context.drawRect(
        {list.right - kBarWidth - 1, std::floor(at(firstShown)), list.right - 2, std::ceil(at(firstShown + shown))},
        DrawStyle::filled);
}

void CFileSelector::scrollTo(int row)
{
    const auto last = static_cast<int>(rows.size()) - rowsShown();
    firstShown = std::clamp(row, 0, std::max(last, 0));
    setDirty();
}

void CFileSelector::mark(int row)
{
    marked = row;
    if (row < firstShown)
        scrollTo(row);
    if (row >= firstShown + rowsShown())
        scrollTo(row - rowsShown() + 1);
    const platform::FolderEntry& entry = rows[static_cast<std::size_t>(row)].entry;
    if (nameEdit && !entry.isFolder)
        nameEdit->editText(entry.name);
    setDirty();
}

void CFileSelector::moveMark(int by)
{
    if (!rows.empty())
        mark(std::clamp(marked + by, 0, static_cast<int>(rows.size()) - 1));
}

void CFileSelector::markTyped(char32_t character)
{
    // The next one that begins with it, whatever its case.
    const auto begins = [character](const Row& row) {
        const std::vector<std::uint32_t> codes = decodeUtf8(row.entry.name);
        const auto folded = [](std::uint32_t code) { return code >= 'A' && code <= 'Z' ? code + ('a' - 'A') : code; };
        return !codes.empty() && folded(codes.front()) == folded(character);
    };
    for (std::size_t i = 1; i <= rows.size(); ++i) {
        const std::size_t row = (static_cast<std::size_t>(marked + 1) + i - 1) % rows.size();
        if (begins(rows[row])) {
            mark(static_cast<int>(row));
            return;
        }
    }
}

std::string CFileSelector::pathOf(const std::string& typed) const
{
    return typed.starts_with('/') || typed == "~" || typed.starts_with("~/") ? inHome(typed) : folder + typed;
}

void CFileSelector::accept()
{
    if (marked >= 0 && rows[static_cast<std::size_t>(marked)].entry.isFolder) {
        const std::string entered = rows[static_cast<std::size_t>(marked)].entry.name;
        if (entered == "..")
            openParent();
        else
            openFolder(folder + entered);
    } else if (nameEdit) {
        acceptName();
    } else if (marked >= 0) {
        answerWith(folder + rows[static_cast<std::size_t>(marked)].entry.name);
    }
}

void CFileSelector::acceptName()
{
    const std::string typed = nameEdit->typed();
    if (typed.empty())
        return;
    std::string path = pathOf(typed);
    if (isFolder(path)) {
        openFolder(path);
        nameEdit->editText("");
        return;
    }
    if (!hasExtension(path, question.extension))
        path += "." + question.extension;
    std::error_code unknown;
    if (!std::filesystem::exists(path, unknown)) {
        answerWith(path);
        return;
    }
    toBeReplaced = path;
    nameEdit->setVisible(false);
    setButtons({"Replace", "Back"}, 1); // so that Return twice replaces nothing
}

void CFileSelector::answerWith(const std::optional<std::string>& path)
{
    const Answer answer = std::exchange(whenAnswered, {});
    dismiss();
    if (answer)
        answer(path);
}

void CFileSelector::buttonPressed(std::size_t button)
{
    if (!toBeReplaced.empty()) {
        if (button == 0) {
            answerWith(toBeReplaced);
            return;
        }
        toBeReplaced.clear();
        nameEdit->setVisible(true);
        setButtons({"Save", "Cancel"});
        return;
    }
    if (button == 0)
        accept();
    else
        answerWith(std::nullopt);
}

MouseResult CFileSelector::pressedInside(CPoint where, int buttons)
{
    const CRect list = listRect();
    if (!toBeReplaced.empty() || !list.contains(where))
        return MouseResult::handledNoMore;
    if (where.x >= list.right - kBarWidth - 2) {
        const float part = (where.y - list.top) / list.height();
        scrollTo(static_cast<int>(part * static_cast<float>(rows.size())) - rowsShown() / 2);
        return MouseResult::handledNoMore;
    }
    const int row = firstShown + static_cast<int>((where.y - list.top - 1.0F) / kLineHeight);
    if (row >= static_cast<int>(rows.size()))
        return MouseResult::handledNoMore;
    mark(row);
    if ((buttons & kDoubleClick) != 0)
        accept();
    return MouseResult::handledNoMore;
}

bool CFileSelector::onWheel(CPoint /*where*/, WheelAxis axis, float distance, int /*buttons*/)
{
    constexpr float kRowsPerNotch = 3.0F;
    if (axis == WheelAxis::vertical && toBeReplaced.empty())
        scrollTo(firstShown - static_cast<int>(std::round(distance * kRowsPerNotch)));
    return true;
}

void CFileSelector::keyToName(const KeyPress& key)
{
    if (!nameEdit->isEditing()) {
        nameEdit->editText(nameEdit->getText());
        nameEdit->onKeyDown({Key::end, 0, 0}); // so that it goes on
    }
    nameEdit->onKeyDown(key);
    if (key.key == Key::character && (key.modifiers & (kControl | kApple)) == 0)
        marked = -1; // the name counts from here on
    setDirty();
}

bool CFileSelector::onKeyDown(const KeyPress& key)
{
    const bool other = key.key == Key::enter || key.key == Key::escape || key.key == Key::tab;
    if (other || !toBeReplaced.empty())
        return CDialog::onKeyDown(key);
    switch (key.key) {
    case Key::up:
        if ((key.modifiers & kAlt) != 0)
            openParent();
        else
            moveMark(-1);
        return true;
    case Key::down:
        moveMark(1);
        return true;
    case Key::pageUp:
        moveMark(-rowsShown());
        return true;
    case Key::pageDown:
        moveMark(rowsShown());
        return true;
    default:
        break;
    }
    if (nameEdit)
        keyToName(key);
    else if (key.key == Key::home || key.key == Key::end)
        moveMark((key.key == Key::home ? -1 : 1) * static_cast<int>(rows.size()));
    else if (key.key == Key::backspace || key.key == Key::left)
        openParent();
    else if (key.key == Key::character)
        markTyped(key.character);
    return true;
}

} // namespace sorvane::toolkit
