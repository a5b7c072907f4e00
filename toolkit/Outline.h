#pragma once

#include "Geometry.h"

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace sorvane::toolkit {

/// A place in pixels of a device, whose centres lie at halves.
struct DevicePoint {
    double x = 0.0;
    double y = 0.0;
};

/// Closed contours to be filled by the nonzero rule.
class Outline {
public:
    void clear();
    /// Joins \p corners to a contour; fewer than three, or one that isn't a number, add nothing.
    void addPolygon(std::span<const DevicePoint> corners);
    /// An axis-aligned ellipse. \param inside  turns it the other way round, as the hole of one around it
    void addEllipse(DevicePoint centre, double radiusX, double radiusY, bool inside = false);
    /// The band of a width along a path, mitred at joints and half a width longer at each end.
    void addBand(std::span<const DevicePoint> path, double width);

    /// Gives the rows in which it covers anything inside of \p clip, top to bottom: y, the first pixel's x, and for
    /// each pixel the covered part of its area, 0 to 255. At most one run a row. Where contours overlap at their edges,
    /// the covered parts add up, to 255 at most.
    using RowFunction = std::function<void(int y, int left, std::span<const std::uint8_t> coverage)>;
    void rasterise(const PixelRect& clip, const RowFunction& row) const;

    /// The pixels that it may cover.
    [[nodiscard]] PixelRect bounds() const;

private:
    std::vector<DevicePoint> points;
    std::vector<std::size_t> ends; ///< of the contours in points
};

} // namespace sorvane::toolkit
