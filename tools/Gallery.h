#pragma once

#include "CDrawContext.h"

namespace sorvane::tools {

inline constexpr float kGalleryWidth = 1080.0F; ///< logical pixels
inline constexpr float kGalleryHeight = 720.0F;

/// The panels of the gallery, each with one kind of drawing.
struct GalleryPanel {
    const char* title;
    toolkit::CRect rect; ///< in the gallery
    /// Draws the inside, with the context's offset at the panel's top left.
    void (*draw)(toolkit::CDrawContext& context);
};
[[nodiscard]] std::span<const GalleryPanel> galleryPanels();

/// Background and title, then every panel.
void drawGallery(toolkit::CDrawContext& context);

} // namespace sorvane::tools
