#pragma once

#include "CBaseObject.h"

#include <algorithm>
#include <span>
#include <string>
#include <vector>

namespace sorvane::toolkit {

/// A thing that is dragged.
struct DragItem {
    enum class Kind { text, file };

    Kind kind = Kind::text;
    std::string data; ///< the text in UTF-8, or the file's path
};

/// What is dragged, for the views that it comes over.
class CDragContainer : public CBaseObject {
public:
    [[nodiscard]] std::span<const DragItem> getItems() const { return items; }
    /// The first of a kind, null when there is none.
    [[nodiscard]] const DragItem* first(DragItem::Kind kind) const
    {
        const auto found =
            std::find_if(items.begin(), items.end(), [&](const auto& item) { return item.kind == kind; });
        return found != items.end() ? &*found : nullptr;
    }

protected:
    CDragContainer() = default;

    std::vector<DragItem> items;
};

/// What a view fills and hands to CFrame::startDrag.
class CDropSource : public CDragContainer {
public:
    void add(DragItem::Kind kind, std::string data) { items.push_back({kind, std::move(data)}); }
};

} // namespace sorvane::toolkit
