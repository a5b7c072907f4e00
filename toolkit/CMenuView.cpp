#include "CMenuView.h"

#include "CFrame.h"

#include <array>
#include <cmath>

namespace sorvane::toolkit {

namespace {

constexpr float kItemHeight = 20.0F;
constexpr float kSeparatorHeight = 7.0F;
constexpr float kPadding = 4.0F;   ///< above the first item and below the last
constexpr float kTextLeft = 22.0F; ///< room for the check mark
constexpr float kTextRight = 24.0F;
constexpr float kTextSize = 12.0F;
constexpr float kArrowHeight = 14.0F; ///< of the strip that shows that there is more

constexpr CColor kFace = CColor::fromRgb(0x1B232A);
constexpr CColor kFrame = CColor::fromRgb(0x46545F);
constexpr CColor kMarked = CColor::fromRgb(0x2C5878);
constexpr std::uint32_t kText = 0xD8D8D8;
constexpr std::uint32_t kDimmed = 0x606870;
constexpr CColor kSign = CColor::fromRgb(0x4E9ACC);

float heightOf(const CMenuItem& item)
{
    return item.separator ? kSeparatorHeight : kItemHeight;
}

bool canBeChosen(const CMenuItem& item)
{
    return item.enabled && !item.separator;
}

float heightOf(const COptionMenu& menu)
{
    float height = 2.0F * kPadding;
    for (const CMenuItem& item : menu.getEntries())
        height += heightOf(item);
    return height;
}

} // namespace

CMenuView::CMenuView(CFrame& menuFrame, COptionMenu& menu, const CRect& below)
    : CView(menuFrame.getViewSize()), owner(menuFrame), root(&menu)
{
    openLevel(menu, {below.left, below.bottom}, below.right);
    levels.front().marked = menu.getCurrent();
    showMarked(levels.front());
}

void CMenuView::openLevel(COptionMenu& menu, CPoint at, float leftOf)
{
    const Font* const font = getFont("OpenSans-Regular");
    float width = 60.0F;
    if (font != nullptr)
        for (const CMenuItem& item : menu.getEntries())
            width =
                std::max(width, std::ceil(measureText(*font, kTextSize, item.title).width) + kTextLeft + kTextRight);
    // Within the frame, on the other side of what it belongs to when there is no room.
    const CRect& room = getViewSize();
    width = std::min(width, room.width());
    const float height = std::min(heightOf(menu), room.height());
    if (at.x + width > room.right)
        at.x = std::max(room.left, std::min(leftOf, room.right) - width);
    at.y = std::clamp(at.y, room.top, room.bottom - height);
    levels.push_back({Shared<COptionMenu>(&menu), {at.x, at.y, at.x + width, at.y + height}, 0.0F, -1, {}});
    setDirty();
}

CRect CMenuView::itemRect(const Level& level, int item) const
{
    float top = level.area.top + kPadding - level.scrolled;
    const std::vector<CMenuItem>& entries = level.menu->getEntries();
    for (int i = 0; i < item; ++i)
        top += heightOf(entries[static_cast<std::size_t>(i)]);
    return {level.area.left, top, level.area.right, top + heightOf(entries[static_cast<std::size_t>(item)])};
}

void CMenuView::draw(CDrawContext& context)
{
    for (Level& level : levels)
        drawLevel(context, level);
}

void CMenuView::drawLevel(CDrawContext& context, Level& level)
{
    const Font* const font = getFont("OpenSans-Regular");
    const CRect& area = level.area;
    context.setLineWidth(1.0F);
    context.setFillColor(kFace);
    context.setFrameColor(kFrame);
    context.drawRect(area, DrawStyle::filled);
    context.drawRect({area.left, area.top, area.right - 1, area.bottom - 1});
    const CRect clip = context.getClipRect();
    context.setClipRect(clip.intersectedWith(area.insetBy(1.0F)));
    level.labels.resize(level.menu->getEntries().size());
    const auto count = static_cast<int>(level.labels.size());
    for (int i = 0; i < count; ++i) {
        const CMenuItem& item = level.menu->getEntries()[static_cast<std::size_t>(i)];
        const CRect line = itemRect(level, i);
        const float middle = std::floor((line.top + line.bottom) / 2.0F);
        if (item.separator) {
            context.setFrameColor(kFrame);
            context.moveTo({line.left + 6, middle});
            context.lineTo({line.right - 7, middle});
            continue;
        }
        if (i == level.marked && item.enabled) {
            context.setFillColor(kMarked);
            context.drawRect({line.left + 1, line.top, line.right - 1, line.bottom}, DrawStyle::filled);
        }
        context.setFrameColor(kSign);
        context.setFillColor(kSign);
        if (item.checked) {
            context.setLineWidth(2.0F);
            context.drawLines(std::array<CPoint, 3>{
                {{line.left + 7, middle}, {line.left + 10, middle + 3}, {line.left + 15, middle - 4}}});
            context.setLineWidth(1.0F);
        }
        if (item.subMenu)
            context.drawPolygon(
                std::array<CPoint, 3>{
                    {{line.right - 13, middle - 4}, {line.right - 8, middle}, {line.right - 13, middle + 4}}},
                DrawStyle::filled);
        if (font != nullptr)
            drawLabelText(context, {line.left + kTextLeft, line.top, line.right, line.bottom}, *font, item.title,
                          kTextSize, TextAlignment::left, true, item.enabled ? kText : kDimmed,
                          level.labels[static_cast<std::size_t>(i)].get());
    }
    drawArrows(context, level);
    context.setClipRect(clip);
}

void CMenuView::drawArrows(CDrawContext& context, const Level& level)
{
    const CRect& area = level.area;
    const float middle = std::floor((area.left + area.right) / 2.0F);
    const auto strip = [&](float top, float tip, float base) {
        context.setFillColor(kFace);
        context.drawRect({area.left + 1, top, area.right - 1, top + kArrowHeight}, DrawStyle::filled);
        context.setFillColor(kSign);
        context.drawPolygon(
            std::array<CPoint, 3>{{{middle - 5, top + base}, {middle, top + tip}, {middle + 5, top + base}}},
            DrawStyle::filled);
    };
    if (level.scrolled > 0.0F)
        strip(area.top + 1, 4, 9);
    if (hiddenBelow(level) > 0.0F)
        strip(area.bottom - 1 - kArrowHeight, 10, 5);
}

float CMenuView::hiddenBelow(const Level& level)
{
    return heightOf(*level.menu) - level.scrolled - level.area.height();
}

int CMenuView::arrowAt(const Level& level, CPoint where)
{
    if (level.scrolled > 0.0F && where.y < level.area.top + 1 + kArrowHeight)
        return -1;
    return hiddenBelow(level) > 0.0F && where.y >= level.area.bottom - 1 - kArrowHeight ? 1 : 0;
}

std::optional<CMenuView::Place> CMenuView::placeAt(CPoint where) const
{
    for (std::size_t level = levels.size(); level-- > 0;) {
        if (!levels[level].area.contains(where))
            continue;
        if (arrowAt(levels[level], where) != 0)
            return Place{level, -1};
        const auto count = static_cast<int>(levels[level].menu->getEntries().size());
        for (int i = 0; i < count; ++i)
            if (itemRect(levels[level], i).contains(where))
                return Place{level, i};
        return Place{level, -1};
    }
    return std::nullopt;
}

void CMenuView::openSubMenu(Level& level)
{
    const CMenuItem* const item = level.menu->getEntry(level.marked);
    if (item == nullptr || !item->enabled || !item->subMenu || item->subMenu->getEntries().empty())
        return;
    const CRect line = itemRect(level, level.marked);
    const Shared<COptionMenu> menu = item->subMenu;
    openLevel(*menu, {line.right, line.top - kPadding}, line.left);
}

void CMenuView::mark(const Place& place)
{
    Level& level = levels[place.level];
    if (level.marked == place.item && levels.size() <= place.level + 2)
        return;
    levels.resize(place.level + 1);
    levels.back().marked = place.item;
    openSubMenu(levels.back());
    setDirty();
}

MouseResult CMenuView::onMouseDown(CPoint where, int /*buttons*/)
{
    const std::optional<Place> place = placeAt(where);
    if (!place) {
        dismiss();
        return MouseResult::handledNoMore;
    }
    armed = true;
    const Level& level = levels[place->level];
    if (const int arrow = arrowAt(level, where); arrow != 0)
        scroll(place->level, static_cast<float>(arrow) * (level.area.height() - 2.0F * kArrowHeight - kItemHeight));
    else
        mark(*place);
    return MouseResult::handled;
}

MouseResult CMenuView::onMouseMoved(CPoint where, int buttons)
{
    if (const std::optional<Place> place = placeAt(where); place && place->item >= 0) {
        armed = armed || (buttons & (kLButton | kRButton)) != 0;
        mark(*place);
    }
    return MouseResult::handled;
}

MouseResult CMenuView::onMouseUp(CPoint where, int /*buttons*/)
{
    if (const std::optional<Place> place = placeAt(where); place && armed)
        choose(*place);
    return MouseResult::handled;
}

bool CMenuView::onWheel(CPoint where, float distance, int /*buttons*/)
{
    if (const std::optional<Place> place = placeAt(where); place)
        scroll(place->level, -2.0F * kItemHeight * distance);
    return true;
}

void CMenuView::scroll(std::size_t levelIndex, float by)
{
    levels.resize(levelIndex + 1);
    Level& level = levels.back();
    const float hidden = std::max(level.scrolled + hiddenBelow(level), 0.0F);
    level.scrolled = std::clamp(std::round(level.scrolled + by), 0.0F, hidden);
    setDirty();
}

void CMenuView::showMarked(Level& level)
{
    if (level.menu->getEntry(level.marked) == nullptr)
        return;
    const float hidden = std::max(level.scrolled + hiddenBelow(level), 0.0F);
    const CRect line = itemRect(level, level.marked);
    const float above = level.area.top + 1 + kArrowHeight - line.top;
    const float below = line.bottom - (level.area.bottom - 1 - kArrowHeight);
    level.scrolled = std::clamp(level.scrolled + std::max(below, 0.0F) - std::max(above, 0.0F), 0.0F, hidden);
}

void CMenuView::moveMark(int step)
{
    Level& level = levels.back();
    const auto count = static_cast<int>(level.menu->getEntries().size());
    for (int tried = 0, item = level.marked; tried < count; ++tried) {
        item = item < 0 && step < 0 ? count - 1 : (item + step + count) % count;
        if (!canBeChosen(level.menu->getEntries()[static_cast<std::size_t>(item)]))
            continue;
        level.marked = item;
        showMarked(level);
        break;
    }
    setDirty();
}

bool CMenuView::onKeyDown(const KeyPress& key)
{
    switch (key.key) {
    case Key::up:
        moveMark(-1);
        return true;
    case Key::down:
        moveMark(1);
        return true;
    case Key::right: {
        const std::size_t before = levels.size();
        openSubMenu(levels.back());
        if (levels.size() > before)
            moveMark(1);
        return true;
    }
    case Key::left:
        if (levels.size() > 1)
            levels.pop_back();
        setDirty();
        return true;
    case Key::enter:
        choose({levels.size() - 1, levels.back().marked});
        return true;
    case Key::escape:
        dismiss();
        return true;
    default:
        return true;
    }
}

void CMenuView::choose(const Place& place)
{
    const Shared<COptionMenu> menu = levels[place.level].menu;
    const CMenuItem* const item = menu->getEntry(place.item);
    if (item == nullptr || !canBeChosen(*item) || item->subMenu)
        return;
    const Shared<COptionMenu> chooser = root;
    dismiss();
    chooser->itemChosen(*menu, place.item);
}

void CMenuView::dismiss()
{
    owner.endModal();
}

} // namespace sorvane::toolkit
