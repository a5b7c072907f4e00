#pragma once

#include "CView.h"

namespace sorvane::toolkit {

/// Which of some images stands for a position from 0 to 1: the first for 0, the last for 1, and between them the
/// nearest. Positions outside, and none, count as the nearer end, and as 0. 0 when there are no images.
[[nodiscard]] int imageAt(float position, int imageCount);

/// How the background of a view is cut into images of one height, one below the other.
class ImageStrip {
public:
    /// \param imageHeight  in logical pixels; 0 for the height of the view
    /// \param imageCount   0 for as many as the bitmap holds
    explicit ImageStrip(int imageHeight = 0, int imageCount = 0) : heightOfOneImage(imageHeight), count(imageCount) {}

    /// How many images there are in a view's background, 0 without one.
    [[nodiscard]] int countIn(const CView& view) const;
    /// Draws one into a view, at its top left.
    /// \param index  0 for the topmost
    void draw(CDrawContext& context, const CView& view, int index) const
    {
        draw(context, view, index, view.getViewSize());
    }
    /// Draws one at the top left of an area instead.
    void draw(CDrawContext& context, const CView& view, int index, CRect area) const;
    /// Draws the one for a position.
    void drawAt(CDrawContext& context, const CView& view, float position) const
    {
        draw(context, view, imageAt(position, countIn(view)));
    }

private:
    [[nodiscard]] float heightIn(const CView& view) const
    {
        return heightOfOneImage > 0 ? static_cast<float>(heightOfOneImage) : view.getViewSize().height();
    }

    int heightOfOneImage;
    int count;
};

} // namespace sorvane::toolkit
