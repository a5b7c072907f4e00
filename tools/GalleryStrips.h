#pragma once

#include "CControlListener.h"
#include "CMovieBitmap.h"
#include "CVuMeter.h"

#include <functional>
#include <string>

namespace sorvane::tools {

/// Knobs, switches and displays made of images, for the gallery: the displays follow the knobs.
class GalleryStrips final : private toolkit::CControlListener {
public:
    /// \param sayText  is told what controls say
    explicit GalleryStrips(std::function<void(const std::string&)> sayText) : say(std::move(sayText)) {}

    /// \param panel  of 1056 by 128; goes before this object does
    /// \param scale  pixels of an image for each logical one
    void addTo(toolkit::CViewContainer& panel, float scale);

private:
    void addKnobs(toolkit::CViewContainer& panel);
    void addSliders(toolkit::CViewContainer& panel);
    void addSwitches(toolkit::CViewContainer& panel);
    void addDisplays(toolkit::CViewContainer& panel);
    void addOverlays(toolkit::CViewContainer& panel);
    void showLevel(float level);

    void valueChanged(toolkit::CControl& control) override;

    std::function<void(const std::string&)> say;
    float density = 1.0F;
    toolkit::CMovieBitmap* movie = nullptr; ///< of the panel, as what follows
    toolkit::CSpecialDigit* digits = nullptr;
    toolkit::CVuMeter* rowMeter = nullptr;
    toolkit::CVuMeter* columnMeter = nullptr;
};

} // namespace sorvane::tools
