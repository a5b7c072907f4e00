#include "Outline.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace sorvane::toolkit {

namespace {

constexpr double kFar = 1.0e6; ///< coordinates are cut to it, so that arithmetic on them stays exact enough

/// Signed areas that edges cover, pixel by pixel; their running sum along a row is the covered part.
class AreaBuffer {
public:
    explicit AreaBuffer(const PixelRect& pixels)
        : box(pixels), stride(static_cast<std::size_t>(pixels.width()) + 2),
          areas(stride * static_cast<std::size_t>(pixels.height())), spans(static_cast<std::size_t>(pixels.height()))
    {}

    void addEdge(DevicePoint from, DevicePoint to)
    {
        from = {from.x - box.left, from.y - box.top};
        to = {to.x - box.left, to.y - box.top};
        if (from.y == to.y)
            return;
        const double sign = from.y < to.y ? 1.0 : -1.0;
        if (sign < 0)
            std::swap(from, to);
        const double slope = (to.x - from.x) / (to.y - from.y);
        cutRows(from, to, slope);
        if (!(from.y < to.y))
            return;
        // What lies left of the box covers its rows in full, what lies right of it covers nothing.
        const double width = box.width();
        std::array<double, 4> ys{from.y, from.y, to.y, to.y};
        if (slope != 0.0) {
            const double atLeft = std::clamp(from.y - from.x / slope, from.y, to.y);
            const double atRight = std::clamp(from.y + (width - from.x) / slope, from.y, to.y);
            ys[1] = std::min(atLeft, atRight);
            ys[2] = std::max(atLeft, atRight);
        }
        for (std::size_t i = 0; i + 1 < ys.size(); ++i)
            if (ys[i] < ys[i + 1])
                addClipped({std::clamp(from.x + (ys[i] - from.y) * slope, 0.0, width), ys[i]},
                           {std::clamp(from.x + (ys[i + 1] - from.y) * slope, 0.0, width), ys[i + 1]}, sign);
    }

    void giveRows(const Outline::RowFunction& row) const
    {
        std::vector<std::uint8_t> coverage(static_cast<std::size_t>(box.width()));
        for (std::size_t y = 0; y < spans.size(); ++y) {
            const Span span = spans[y];
            if (span.first > span.last)
                continue;
            double sum = 0.0;
            const float* const area = &areas[y * stride];
            const auto width = static_cast<std::size_t>(box.width());
            std::size_t end = span.first;
            while (end < width) {
                const std::size_t x = end++;
                sum += static_cast<double>(area[x]);
                if (x < span.last || std::abs(sum) >= 1.0e-5) // up to the next edge; else nothing more follows
                    while (end < width && area[end] == 0.0F)
                        ++end;
                const double nearest = std::min(std::abs(sum), 1.0) * 255.0 + 0.5;
                std::fill(&coverage[x], coverage.data() + end, static_cast<std::uint8_t>(nearest));
                if (x >= span.last && std::abs(sum) < 1.0e-5)
                    break;
            }
            if (end > span.first)
                row(box.top + static_cast<int>(y), box.left + static_cast<int>(span.first),
                    std::span(coverage).subspan(span.first, end - span.first));
        }
    }

private:
    struct Span {
        std::size_t first = static_cast<std::size_t>(-1);
        std::size_t last = 0;
    };

    void cutRows(DevicePoint& from, DevicePoint& to, double slope) const
    {
        const double height = box.height();
        if (from.y < 0.0)
            from = {from.x - from.y * slope, 0.0};
        if (to.y > height)
            to = {to.x - (to.y - height) * slope, height};
    }

    /// An edge that lies in the box, from above to below.
    void addClipped(DevicePoint from, DevicePoint to, double sign)
    {
        const double slope = (to.x - from.x) / (to.y - from.y);
        const double width = box.width();
        double x = from.x;
        const int last = std::min(ceilToPixel(to.y), box.height());
        for (int y = floorToPixel(from.y); y < last; ++y) {
            const double part = std::min(y + 1.0, to.y) - std::max(y + 0.0, from.y);
            const double next = std::clamp(x + slope * part, 0.0, width);
            addToRow(static_cast<std::size_t>(y), std::min(x, next), std::max(x, next), part * sign);
            x = next;
        }
    }

    /// An edge within one row: it crosses the part \p height of the row between \p x0 and \p x1.
    void addToRow(std::size_t y, double x0, double x1, double height)
    {
        float* const area = &areas[y * stride];
        const auto first = static_cast<std::size_t>(x0);
        const auto end = static_cast<std::size_t>(std::ceil(x1));
        Span& span = spans[y];
        span.first = std::min(span.first, first);
        span.last = std::max(span.last, std::max(end, first + 1));
        const auto add = [area](std::size_t x, double value) { area[x] += static_cast<float>(value); };
        if (end <= first + 1) {
            const double middle = 0.5 * (x0 + x1) - static_cast<double>(first);
            add(first, height * (1.0 - middle));
            add(first + 1, height * middle);
            return;
        }
        // Across several pixels: a triangle in the first, a trapezium in each other, a triangle in the last.
        const double perPixel = 1.0 / (x1 - x0);
        double before = 0.0; // covered in the pixels so far, as a part of their area, of 1
        for (std::size_t x = first; x < end; ++x) {
            const double left = std::max(x0, static_cast<double>(x));
            const double right = std::min(x1, static_cast<double>(x + 1));
            const double crossed = (right - left) * perPixel; // part of the height that is crossed in this pixel
            const double reach = (left - x0) * perPixel;      // and before it
            const double covered = reach * 1.0 + crossed * (static_cast<double>(x + 1) - 0.5 * (left + right));
            add(x, height * (covered - before));
            before = covered;
        }
        add(end, height * (1.0 - before));
    }

    PixelRect box;
    std::size_t stride;
    std::vector<float> areas;
    std::vector<Span> spans;
};

DevicePoint cut(DevicePoint p)
{
    return {std::clamp(p.x, -kFar, kFar), std::clamp(p.y, -kFar, kFar)};
}

} // namespace

void Outline::clear()
{
    points.clear();
    ends.clear();
}

void Outline::addPolygon(std::span<const DevicePoint> corners)
{
    if (corners.size() < 3)
        return;
    for (const DevicePoint& p : corners)
        if (std::isnan(p.x) || std::isnan(p.y))
            return;
    for (const DevicePoint& p : corners)
        points.push_back(cut(p));
    ends.push_back(points.size());
}

void Outline::addEllipse(DevicePoint centre, double radiusX, double radiusY, bool inside)
{
    const double radius = std::max(radiusX, radiusY);
    if (!(radius > 0.0) || !(std::min(radiusX, radiusY) > 0.0) || radius > kFar)
        return;
    // Enough corners to stay within a fiftieth of a pixel of the curve.
    const int corners = std::clamp(static_cast<int>(std::ceil(std::numbers::pi / std::sqrt(0.04 / radius))), 8, 720);
    std::vector<DevicePoint> polygon;
    for (int i = 0; i < corners; ++i) {
        const double angle = 2.0 * std::numbers::pi * (inside ? -i : i) / corners;
        polygon.push_back({centre.x + radiusX * std::cos(angle), centre.y + radiusY * std::sin(angle)});
    }
    addPolygon(polygon);
}

void Outline::addBand(std::span<const DevicePoint> path, double width)
{
    std::vector<DevicePoint> line; // without repeated points, which have no direction
    for (const DevicePoint& p : path) {
        if (std::isnan(p.x) || std::isnan(p.y))
            return;
        const DevicePoint point = cut(p);
        if (line.empty() || std::hypot(point.x - line.back().x, point.y - line.back().y) > 1.0e-6)
            line.push_back(point);
    }
    if (line.empty() || !(width > 0.0) || width > kFar)
        return;
    const double half = 0.5 * width;
    if (line.size() == 1) { // a dot
        const DevicePoint p = line.front();
        addPolygon(std::array{DevicePoint{p.x - half, p.y - half}, DevicePoint{p.x + half, p.y - half},
                              DevicePoint{p.x + half, p.y + half}, DevicePoint{p.x - half, p.y + half}});
        return;
    }
    const auto direction = [&](std::size_t from) {
        const double dx = line[from + 1].x - line[from].x;
        const double dy = line[from + 1].y - line[from].y;
        const double length = std::hypot(dx, dy);
        return DevicePoint{dx / length, dy / length};
    };
    const DevicePoint first = direction(0);
    const DevicePoint last = direction(line.size() - 2);
    line.front() = {line.front().x - first.x * half, line.front().y - first.y * half};
    line.back() = {line.back().x + last.x * half, line.back().y + last.y * half};

    std::vector<DevicePoint> right; // of the way, in its order
    std::vector<DevicePoint> left;
    const auto offset = [&](DevicePoint p, double x, double y) {
        right.push_back({p.x - y, p.y + x});
        left.push_back({p.x + y, p.y - x});
    };
    DevicePoint before = first;
    for (std::size_t i = 0; i < line.size(); ++i) {
        const DevicePoint after = i + 1 < line.size() ? direction(i) : before;
        const double cosine = before.x * after.x + before.y * after.y;
        if (cosine > -0.5) { // a turn of less than 120 degrees, whose mitre is at most twice as long as half the width
            const double scale = half / (1.0 + cosine);
            offset(line[i], (before.x + after.x) * scale, (before.y + after.y) * scale);
        } else {
            offset(line[i], before.x * half, before.y * half);
            offset(line[i], after.x * half, after.y * half);
        }
        before = after;
    }
    right.insert(right.end(), left.rbegin(), left.rend());
    addPolygon(right);
}

PixelRect Outline::bounds() const
{
    if (points.empty())
        return {};
    double left = kFar;
    double top = kFar;
    double right = -kFar;
    double bottom = -kFar;
    for (const DevicePoint& p : points) {
        left = std::min(left, p.x);
        top = std::min(top, p.y);
        right = std::max(right, p.x);
        bottom = std::max(bottom, p.y);
    }
    return {floorToPixel(left), floorToPixel(top), ceilToPixel(right), ceilToPixel(bottom)};
}

void Outline::rasterise(const PixelRect& clip, const RowFunction& row) const
{
    const PixelRect box = bounds().intersectedWith(clip);
    if (box.isEmpty())
        return;
    AreaBuffer buffer(box);
    std::size_t begin = 0;
    for (const std::size_t end : ends) {
        for (std::size_t i = begin; i < end; ++i)
            buffer.addEdge(points[i], points[i + 1 < end ? i + 1 : begin]);
        begin = end;
    }
    buffer.giveRows(row);
}

} // namespace sorvane::toolkit
