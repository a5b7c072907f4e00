#pragma once

#include "CDIB.h"
#include "Font.h"

#include <cstdint>
#include <string_view>

namespace sorvane::toolkit {

class CDrawContext;

enum class TextAlignment { left, centre, right };

inline constexpr std::uint32_t kHaloColour = 0x202020; ///< what lies under a text with a halo

/// The image of a text: each channel the colour times the coverage / 256, alpha the coverage; with a radius, larger by
/// it on each side and the halo under the text. \param colour  0xRRGGBB
[[nodiscard]] Shared<CDIB> makeTextImage(const Coverage& coverage, std::uint32_t colour, int haloRadius);

/// Draws a text in UTF-8 into a rectangle, of which it may stick out.
///
/// \param size        in logical pixels
/// \param colour      0xAARRGGBB; an alpha of 0 counts as 255
/// \param cacheSlot   of the view, null at first: keeps the image between draws, shared with all views that show the
///                    same. The view gives it to releaseLabel in the end. Null for a text that changes with each draw.
/// \param haloRadius  in logical pixels, 0 for none
/// \param spacing     is added between glyphs, in logical pixels
/// \return the drawn width in logical pixels; 0 for an empty text
float drawLabelText(CDrawContext& context, const CRect& rect, const Font& font, std::string_view text, float size,
                    TextAlignment alignment, bool centreVertically, std::uint32_t colour, CDIB** cacheSlot = nullptr,
                    int haloRadius = 0, float spacing = 0.0F);

/// Drops a view's use of its image, null too, which goes with the last one. Any thread.
void releaseLabel(const CDIB* image);

} // namespace sorvane::toolkit
