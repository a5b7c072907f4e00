#pragma once

#include "CBaseObject.h"
#include "Font.h"

namespace sorvane::toolkit {

/// A font at a size, which controls share.
class CFontDesc : public CBaseObject {
public:
    /// \param name        of an embedded font
    /// \param logicalSize in logical pixels
    CFontDesc(std::string_view name, float logicalSize) : font(toolkit::getFont(name)), size(logicalSize) {}

    /// Null when there is no such font.
    [[nodiscard]] const Font* getFont() const { return font; }
    [[nodiscard]] float getSize() const { return size; }

private:
    const Font* font;
    float size;
};

} // namespace sorvane::toolkit
