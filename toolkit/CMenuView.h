#pragma once

#include "COptionMenu.h"
#include "LabelSlot.h"

#include <optional>

namespace sorvane::toolkit {

/// An open menu with the sub-menus that are open from it: a modal view over the whole frame. The mouse, by clicks or by
/// a drag, and the keys choose. What is longer than the frame is scrolled by the wheel, by clicks on the arrows at its
/// ends and by the keys. Choosing, Escape and a click elsewhere close it.
class CMenuView : public CView {
public:
    CMenuView(CFrame& menuFrame, COptionMenu& menu, const CRect& below);

    void draw(CDrawContext& context) override;
    MouseResult onMouseDown(CPoint where, int buttons) override;
    MouseResult onMouseMoved(CPoint where, int buttons) override;
    MouseResult onMouseUp(CPoint where, int buttons) override;
    bool onWheel(CPoint where, float distance, int buttons) override;
    using CView::onWheel;
    bool onKeyDown(const KeyPress& key) override;

    /// Whether it was opened from that menu.
    [[nodiscard]] bool isOf(const COptionMenu& menu) const { return root.get() == &menu; }

private:
    /// One menu on the screen.
    struct Level {
        Shared<COptionMenu> menu;
        CRect area;
        float scrolled = 0.0F;
        int marked = -1;               ///< the item under the mouse or reached by keys
        std::vector<LabelSlot> labels; ///< of the items' titles, which may have any sign of their font
    };
    struct Place {
        std::size_t level = 0;
        int item = -1;
    };

    void openLevel(COptionMenu& menu, CPoint at, float leftOf);
    void drawLevel(CDrawContext& context, Level& level);
    [[nodiscard]] CRect itemRect(const Level& level, int item) const;
    /// What of a level is hidden below its area.
    [[nodiscard]] static float hiddenBelow(const Level& level);
    /// -1 on the arrow at the upper end, 1 on the one at the lower, 0 elsewhere.
    [[nodiscard]] static int arrowAt(const Level& level, CPoint where);
    static void drawArrows(CDrawContext& context, const Level& level);
    /// Closes the sub-menus of a level and moves what it shows.
    void scroll(std::size_t levelIndex, float by);
    void showMarked(Level& level);
    [[nodiscard]] std::optional<Place> placeAt(CPoint where) const;
    void mark(const Place& place);
    void moveMark(int step);
    void openSubMenu(Level& level);
    void choose(const Place& place);
    void dismiss();

    CFrame& owner;
    Shared<COptionMenu> root;
    std::vector<Level> levels;
    bool armed = false; ///< by a press on it, or a drag from what opened it: the release chooses
};

} // namespace sorvane::toolkit
