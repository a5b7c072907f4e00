#pragma once

#include "CControl.h"
#include "CFontDesc.h"
#include "LabelText.h"

#include <string>

namespace sorvane::toolkit {

/// A control that shows a text.
class CParamDisplay : public CControl {
public:
    CParamDisplay(const CRect& viewRect, CControlListener* controlListener, int controlTag);

    virtual void setText(std::string_view newText);
    [[nodiscard]] const std::string& getText() const { return text; }
    /// A null font leaves it as it is. \param size  logical pixels
    void setFont(const Font* newFont, float size);
    void setFont(const CFontDesc& newFont) { setFont(newFont.getFont(), newFont.getSize()); }
    void setFontColor(CColor colour);
    void setAlignment(TextAlignment newAlignment);

    void draw(CDrawContext& context) override;
    [[nodiscard]] bool isTypeOf(std::string_view name) const override
    {
        return name == "CParamDisplay" || CControl::isTypeOf(name);
    }

protected:
    ~CParamDisplay() override { releaseLabel(label); }

    void drawLabel(CDrawContext& context, const CRect& area, std::string_view shownText);

    std::string text;
    const Font* font;
    float fontSize = 12.0F;
    CColor fontColour{216, 216, 216, 255};
    TextAlignment alignment = TextAlignment::centre;

private:
    CDIB* label = nullptr;
};

/// A text that stays, and takes no mouse.
class CTextLabel : public CParamDisplay {
public:
    CTextLabel(const CRect& viewRect, std::string_view shownText) : CParamDisplay(viewRect, nullptr, -1)
    {
        text = shownText;
        setMouseEnabled(false);
    }
    [[nodiscard]] bool isTypeOf(std::string_view name) const override
    {
        return name == "CTextLabel" || CParamDisplay::isTypeOf(name);
    }
};

} // namespace sorvane::toolkit
