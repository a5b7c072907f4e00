#include "COptionMenu.h"

#include "CFrame.h"
#include "CMenuView.h"

namespace sorvane::toolkit {

COptionMenu::COptionMenu(const CRect& viewRect, CControlListener* controlListener, int controlTag)
    : CParamDisplay(viewRect, controlListener, controlTag)
{
    wheelInc = 1.0F;
}

void COptionMenu::add(CMenuItem item)
{
    entries.push_back(std::move(item));
    vmax = static_cast<float>(entries.size() - 1);
}

void COptionMenu::addEntry(std::string title, bool checked, bool enabled)
{
    add({std::move(title), checked, enabled, false, {}});
}

void COptionMenu::addSeparator()
{
    add({{}, false, false, true, {}});
}

void COptionMenu::addSubMenu(std::string title, COptionMenu* menu)
{
    add({std::move(title), false, true, false, Shared<COptionMenu>::adopt(menu)});
}

void COptionMenu::removeAllEntries()
{
    entries.clear();
    vmax = 0.0F;
    setDirty();
}

CMenuItem* COptionMenu::getEntry(int index)
{
    return index >= 0 && static_cast<std::size_t>(index) < entries.size() ? &entries[static_cast<std::size_t>(index)]
                                                                          : nullptr;
}

int COptionMenu::getCurrent() const
{
    return value >= 0.0F && value < static_cast<float>(entries.size()) ? static_cast<int>(value) : -1;
}

void COptionMenu::popup(const CRect& below)
{
    CFrame* const owner = getFrame();
    if (owner == nullptr || entries.empty())
        return;
    owner->setModalView(new CMenuView(*owner, *this, below.isEmpty() ? rect.movedBy(toFrame({})) : below));
}

void COptionMenu::itemChosen(COptionMenu& menu, int index)
{
    menu.setValue(static_cast<float>(index));
    CControlListener* const told = menu.getListener() != nullptr ? menu.getListener() : listener;
    if (told == nullptr)
        return;
    told->controlBeginEdit(menu);
    told->valueChanged(menu);
    told->controlEndEdit(menu);
    setDirty();
}

bool COptionMenu::isOpen() const
{
    const auto* const opened = getFrame() != nullptr ? dynamic_cast<CMenuView*>(getFrame()->getModalView()) : nullptr;
    return opened != nullptr && opened->isOf(*this);
}

void COptionMenu::draw(CDrawContext& context)
{
    if (openBackground && isOpen())
        openBackground->draw(context, rect, getBackgroundOffset());
    else
        CParamDisplay::draw(context);
    if (const CMenuItem* const current = getEntry(getCurrent()))
        drawLabel(context, rect, current->title);
}

MouseResult COptionMenu::onMouseDown(CPoint /*where*/, int buttons)
{
    if ((buttons & kLButton) == 0)
        return MouseResult::notHandled;
    popup();
    return MouseResult::handledNoMore;
}

bool COptionMenu::onWheel(CPoint /*where*/, float distance, int /*buttons*/)
{
    // Up is the item above, but for those that can't be chosen.
    const int step = distance > 0.0F ? -1 : 1;
    const int before = getCurrent();
    for (int index = before + step; CMenuItem* const item = getEntry(index); index += step)
        if (item->enabled && !item->separator && !item->subMenu)
            return wheelBy(static_cast<float>(index - before));
    return true;
}

} // namespace sorvane::toolkit
