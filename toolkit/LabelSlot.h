#pragma once

#include "LabelText.h"

#include <utility>

namespace sorvane::toolkit {

/// Keeps the image of a text that is drawn time and again, for drawLabelText.
class LabelSlot {
public:
    LabelSlot() = default;
    LabelSlot(LabelSlot&& other) noexcept : image(std::exchange(other.image, nullptr)) {}
    LabelSlot& operator=(LabelSlot&& other) noexcept
    {
        std::swap(image, other.image);
        return *this;
    }
    LabelSlot(const LabelSlot&) = delete;
    LabelSlot& operator=(const LabelSlot&) = delete;
    ~LabelSlot() { releaseLabel(image); }

    [[nodiscard]] CDIB** get() { return &image; }

private:
    CDIB* image = nullptr;
};

} // namespace sorvane::toolkit
