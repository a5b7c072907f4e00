#pragma once

#include "CControlListener.h"
#include "CGFrame.h"
#include "CTextLabel.h"
#include "GalleryStrips.h"
#include "OGLFrame.h"
#include "iControlWrapper.h"

#include <memory>
#include <span>
#include <string>
#include <vector>

namespace sorvane::tools {

inline constexpr float kGalleryWidth = 1080.0F; ///< logical pixels
inline constexpr float kGalleryHeight = 860.0F;

/// One kind of drawing in a frame with a title.
struct GalleryPanel {
    const char* title;
    toolkit::CRect rect; ///< in the gallery
    /// Draws the inside, with the context's offset at the panel's top left; null for none.
    void (*draw)(toolkit::CDrawContext& context);
};
[[nodiscard]] std::span<const GalleryPanel> galleryPanels();
void drawPanel(toolkit::CDrawContext& context, const GalleryPanel& panel);

/// A line of small text.
void addGalleryLabel(toolkit::CViewContainer& panel, float left, float top, const char* text,
                     toolkit::CColor colour = toolkit::CColor::fromRgb(0x848484));

/// A frame with the panels and one control of each kind. What controls say is shown in a line at its foot.
class Gallery final : private toolkit::CControlListener {
public:
    /// \param openGl  draws by OpenGL where there is any
    Gallery(float scale, bool openGl);
    ~Gallery();
    Gallery(const Gallery&) = delete;
    Gallery& operator=(const Gallery&) = delete;

    [[nodiscard]] toolkit::CGFrame& getFrame() { return *frame; }
    /// Null unless it was asked for OpenGL.
    [[nodiscard]] toolkit::OGLFrame* getOpenGlFrame() { return openGlFrame; }

private:
    void addScales();
    void addPanels();
    void addControls();
    void addStates();
    void addPages();
    void addButtons(toolkit::CViewContainer& panel);
    void addMenus(toolkit::CViewContainer& panel);
    void addDialogs(toolkit::CViewContainer& panel);
    void openDialog(int tag);
    void say(const std::string& text);
    toolkit::CViewContainer* addPanel(const char* title, const toolkit::CRect& rect);

    void valueChanged(toolkit::CControl& control) override;

    toolkit::OGLFrame* openGlFrame = nullptr;
    toolkit::Shared<toolkit::CGFrame> frame;
    toolkit::CTextLabel* said = nullptr;
    GalleryStrips strips{[this](const std::string& text) { say(text); }};
    std::vector<toolkit::Shared<toolkit::iControlWrapper>> pages;
};

} // namespace sorvane::tools
