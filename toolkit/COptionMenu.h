#pragma once

#include "CTextLabel.h"

#include <string>
#include <vector>

namespace sorvane::toolkit {

class COptionMenu;

/// A line of a menu.
struct CMenuItem {
    std::string title;
    bool checked = false;
    bool enabled = true;
    bool separator = false;
    Shared<COptionMenu> subMenu;
};

/// A control that opens a menu and shows the title of the item chosen last; its value is that item's index, or -1 for
/// none. The wheel steps through the items.
class COptionMenu : public CParamDisplay {
public:
    COptionMenu(const CRect& viewRect, CControlListener* controlListener, int controlTag);

    void addEntry(std::string title, bool checked = false, bool enabled = true);
    void addSeparator();
    /// Takes over the caller's use of a menu.
    void addSubMenu(std::string title, COptionMenu* menu);
    void removeAllEntries();
    [[nodiscard]] const std::vector<CMenuItem>& getEntries() const { return entries; }
    /// Null when there is none of that index.
    [[nodiscard]] CMenuItem* getEntry(int index);
    /// The index of the item that the value stands for, -1 for none.
    [[nodiscard]] int getCurrent() const;

    /// Opens the menu below a rectangle of the frame, its own when that is empty. Nothing without a frame or items.
    void popup(const CRect& below = {});
    /// What is shown in place of the background while the menu is open; null for the background.
    void setOpenBackground(CBitmap* bitmap) { openBackground = Shared<CBitmap>(bitmap); }
    /// An item was chosen, of this menu or of one below it, whose value is its index from then on. The base tells the
    /// listener with that menu, whose own listener is asked first.
    virtual void itemChosen(COptionMenu& menu, int index);

    void draw(CDrawContext& context) override;
    MouseResult onMouseDown(CPoint where, int buttons) override;
    bool onWheel(CPoint where, float distance, int buttons) override;
    using CView::onWheel;
    [[nodiscard]] bool isTypeOf(std::string_view name) const override
    {
        return name == "COptionMenu" || CParamDisplay::isTypeOf(name);
    }

private:
    void add(CMenuItem item);
    [[nodiscard]] bool isOpen() const;

    std::vector<CMenuItem> entries;
    Shared<CBitmap> openBackground;
};

} // namespace sorvane::toolkit
