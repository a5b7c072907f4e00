#pragma once

#include "CControl.h"

namespace sorvane::toolkit {

/// A level in a row of LEDs: as many as its value says show the image of all LEDs on, the others that of all off. It
/// takes no mouse.
class CVuMeter : public CControl {
public:
    enum class Direction { horizontal, vertical };
    static constexpr int kMostLeds = 10'000;

    /// \param onImage, offImage  may be null, which shows nothing
    /// \param ledCount           1 to kMostLeds
    CVuMeter(const CRect& viewRect, CControlListener* controlListener, int controlTag, CBitmap* onImage,
             CBitmap* offImage, int ledCount, Direction meterDirection);

    /// From the left, or from the bottom.
    [[nodiscard]] int litLeds() const;

    void draw(CDrawContext& context) override;
    [[nodiscard]] bool isTypeOf(std::string_view name) const override
    {
        return name == "CVuMeter" || CControl::isTypeOf(name);
    }

private:
    Shared<CBitmap> on;
    int leds;
    Direction direction;
};

} // namespace sorvane::toolkit
