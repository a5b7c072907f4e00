#include "CTextLabel.h"

namespace sorvane::toolkit {

CParamDisplay::CParamDisplay(const CRect& viewRect, CControlListener* controlListener, int controlTag)
    : CControl(viewRect, controlListener, controlTag), font(toolkit::getFont("OpenSans-Regular"))
{}

void CParamDisplay::setText(std::string_view newText)
{
    if (text == newText)
        return;
    text = newText;
    setDirty();
}

void CParamDisplay::setFont(const Font* newFont, float size)
{
    if (newFont != nullptr)
        font = newFont;
    fontSize = size;
    setDirty();
}

void CParamDisplay::setFontColor(CColor colour)
{
    fontColour = colour;
    setDirty();
}

void CParamDisplay::setAlignment(TextAlignment newAlignment)
{
    alignment = newAlignment;
    setDirty();
}

void CParamDisplay::draw(CDrawContext& context)
{
    CControl::draw(context);
    drawLabel(context, rect, text);
}

void CParamDisplay::drawLabel(CDrawContext& context, const CRect& area, std::string_view shownText)
{
    if (font == nullptr || fontColour.alpha == 0)
        return;
    const std::uint32_t colour = std::uint32_t{fontColour.alpha} << 24 | std::uint32_t{fontColour.red} << 16 |
                                 std::uint32_t{fontColour.green} << 8 | fontColour.blue;
    drawLabelText(context, area, *font, shownText, fontSize, alignment, true, colour, &label);
}

} // namespace sorvane::toolkit
