// Dialogs in a window in memory, gone through as a user does.

#include "CFileSelector.h"
#include "CFrame.h"
#include "CMessageBox.h"
#include "HeadlessWindow.h"
#include "TestFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>

namespace {

using namespace sorvane;
using namespace sorvane::toolkit;

constexpr int kWidth = 700;
constexpr int kHeight = 500;

struct Opened {
    Opened() : window(kWidth, kHeight), frame(Shared<CFrame>::adopt(new CFrame({0, 0, kWidth, kHeight})))
    {
        frame->open(window);
    }
    ~Opened() { frame->close(); }
    Opened(const Opened&) = delete;
    Opened& operator=(const Opened&) = delete;

    void key(Key pressed, int modifiers = 0) { window.getListener()->windowKeyDown({pressed, 0, modifiers}); }
    void type(std::string_view text)
    {
        for (const std::uint32_t code : decodeUtf8(text))
            window.getListener()->windowKeyDown({Key::character, static_cast<char32_t>(code), 0});
    }
    void press(int x, int y, int more = 0)
    {
        window.getListener()->windowMouseDown(x, y, kLButton | more);
        window.getListener()->windowMouseUp(x, y, kLButton);
    }
    [[nodiscard]] bool isOpen() const { return frame->getModalView() != nullptr; }
    /// Pixels of the picture that differ from what was painted before.
    long repainted()
    {
        const long before = window.getPresented();
        frame->idle();
        return window.getPresented() - before;
    }

    platform::HeadlessWindow window;
    Shared<CFrame> frame;
};

TEST(CMessageBox, AnswersOnceByKeysAndMouse)
{
    Opened opened;
    std::string answers;
    const auto ask = [&](std::vector<std::string> buttons, std::string_view text = "Really?") {
        CMessageBox::show(*opened.frame, "Title", text, std::move(buttons),
                          [&](std::size_t button) { answers += std::to_string(button); });
        opened.frame->idle();
    };
    ask({"Yes", "No"});
    EXPECT_TRUE(opened.window.hasKeyboard());
    opened.press(5, 5); // beside it
    EXPECT_TRUE(opened.isOpen());
    opened.key(Key::enter);
    EXPECT_EQ(answers, "0");
    EXPECT_FALSE(opened.isOpen());
    EXPECT_FALSE(opened.window.hasKeyboard());
    EXPECT_GT(opened.repainted(), 400 * 100); // what was beneath it
    ask({"Yes", "No", "Never"});
    opened.key(Key::tab);
    opened.key(Key::tab, kShift);
    opened.key(Key::tab, kShift);
    opened.key(Key::enter);
    ask({"Yes", "No"});
    opened.key(Key::escape);
    EXPECT_EQ(answers, "021");
    // A text without end, without a blank, of bytes that are none; no button; one box in place of another.
    ask({}, std::string(100000, '\xFF') + "\n\n" + std::string(5000, 'W'));
    ask({"OK"}, "");
    opened.key(Key::enter);
    EXPECT_EQ(answers, "0210");
    CMessageBox::show(*opened.frame, "Title", "one that opens another", {"OK"}, [&](std::size_t) { ask({"OK"}); });
    opened.key(Key::enter);
    EXPECT_TRUE(opened.isOpen());
    opened.frame->close(); // with no answer
    EXPECT_EQ(answers, "0210");
}

class CFileSelectorTest : public testing::Test {
protected:
    CFileSelectorTest()
    {
        for (const char* const name : {"2 B.sor", "10 C.sor", "1 A.sor", ".hidden.sor", "other.txt", "x.SOR", "sor"})
            test::makeFile(folder / name, "old");
        std::filesystem::create_directories(folder / "Vox/Deep");
        test::makeFile(folder / "Vox/V.sor", "old");
    }
    void ask(const std::string& start, bool saving)
    {
        answer.reset();
        CFileSelector::show(*opened.frame, {"Title", start, "sor", saving},
                            [this](const std::optional<std::string>& path) { answer = path.value_or("cancelled"); });
        opened.frame->idle();
    }
    void keys(std::initializer_list<Key> pressed)
    {
        for (const Key key : pressed)
            opened.key(key);
        opened.frame->idle();
    }

    test::TestFolder folder;
    Opened opened;
    std::optional<std::string> answer;
};

TEST_F(CFileSelectorTest, OpensWhatKeysAndMouseLeadTo)
{
    ask(folder.path, false); // "..", Vox, then files by number
    keys({Key::down, Key::down, Key::down, Key::down, Key::enter});
    EXPECT_EQ(answer, folder / "2 B.sor");
    EXPECT_FALSE(opened.isOpen());

    ask(folder.path, false);
    keys({Key::end, Key::enter});
    EXPECT_EQ(answer, folder / "10 C.sor"); // no hidden file, and none of another kind
    ask(folder / "Vox/gone/too", false);    // begins in what is there of it
    keys({Key::end, Key::enter});
    EXPECT_EQ(answer, folder / "Vox/V.sor");
    ask(folder / "Vox", false);
    keys({Key::backspace, Key::down, Key::enter}); // where it came from is marked in the folder above
    EXPECT_EQ(answer, folder / "1 A.sor");
    ask(folder.path, false);
    opened.type("v");
    keys({Key::enter});
    opened.type("V");
    keys({Key::enter});
    EXPECT_EQ(answer, folder / "Vox/V.sor");

    ask(folder.path, false);
    keys({Key::enter}); // nothing is marked
    EXPECT_TRUE(opened.isOpen());
    keys({Key::tab, Key::enter});
    EXPECT_EQ(answer, "cancelled");
    ask(folder.path, false);
    opened.press(kWidth / 2, 140, kDoubleClick); // the first row: the folder above
    EXPECT_TRUE(opened.isOpen());
    opened.press(5, 5);
    opened.press(kWidth / 2, 340); // below the last row, or one of them
    opened.window.getListener()->windowWheel(kWidth / 2, 200, platform::WheelAxis::vertical, -5.0F, 0);
    keys({Key::pageDown, Key::pageUp, Key::home, Key::escape});
    EXPECT_EQ(answer, "cancelled");
    const test::ScopedVariable home("HOME", (folder / "Vox").c_str());
    ask("~", false);
    keys({Key::end, Key::enter});
    EXPECT_EQ(answer, folder / "Vox/V.sor");
}

TEST_F(CFileSelectorTest, SavesUnderANameAndAsksBeforeItReplaces)
{
    ask(folder / "New.sor", true);
    keys({Key::enter});
    EXPECT_EQ(answer, folder / "New.sor");
    ask(folder / "New.sor", true);
    opened.type("N\xC3\xA4"
                "me");             // in place of what was offered
    opened.press(kWidth / 2, 300); // a click in the list loses nothing
    opened.frame->idle();
    opened.type("s");
    keys({Key::enter});
    EXPECT_EQ(answer, folder / "N\xC3\xA4mes.sor");

    ask(folder / "1 A.sor", true);
    keys({Key::enter, Key::enter}); // Return twice replaces nothing
    EXPECT_FALSE(answer);
    ASSERT_TRUE(opened.isOpen());
    keys({Key::enter, Key::tab, Key::enter});
    EXPECT_EQ(answer, folder / "1 A.sor");
    ask(folder / "New.sor", true);
    keys({Key::down, Key::down, Key::enter, Key::end, Key::enter});
    EXPECT_EQ(answer, folder / "Vox/New.sor"); // a folder was entered on the way
    ask(folder / "New.sor", true);
    opened.type("Vox"); // a folder, which is entered
    keys({Key::enter});
    EXPECT_TRUE(opened.isOpen());
    keys({Key::enter}); // no name
    EXPECT_TRUE(opened.isOpen());
    opened.type("Deep/Z");
    keys({Key::enter});
    EXPECT_EQ(answer, folder / "Vox/Deep/Z.sor");
    ask("Plain", true); // of no folder
    opened.frame->close();
}

} // namespace
