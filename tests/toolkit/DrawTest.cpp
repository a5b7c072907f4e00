// Drawing into memory, against plain counts of samples and of pixels.

#include "CBitmap.h"
#include "CDIBDraw.h"
#include "CDrawContext.h"
#include "Png.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace {

using namespace sorvane::toolkit;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

/// How often a polygon winds around a place.
int windings(std::span<const DevicePoint> polygon, double x, double y)
{
    int count = 0;
    for (std::size_t i = 0; i < polygon.size(); ++i) {
        const DevicePoint a = polygon[i];
        const DevicePoint b = polygon[(i + 1) % polygon.size()];
        if ((a.y <= y) != (b.y <= y) && a.x + (y - a.y) / (b.y - a.y) * (b.x - a.x) < x)
            count += a.y < b.y ? 1 : -1;
    }
    return count;
}

std::vector<int> coverageOf(const Outline& outline, int size)
{
    std::vector<int> coverage(static_cast<std::size_t>(size * size));
    outline.rasterise({0, 0, size, size}, [&](int y, int left, std::span<const std::uint8_t> run) {
        for (std::size_t i = 0; i < run.size(); ++i)
            coverage[static_cast<std::size_t>(y * size + left) + i] = run[i];
    });
    return coverage;
}

TEST(Outline, CoversTheAreaOfPolygonsAndBands)
{
    constexpr int kSize = 24;
    constexpr int kSamples = 32;
    std::mt19937 random(7);
    std::uniform_real_distribution<double> place(-14.0, 38.0); // partly outside on all sides
    for (int round = 0; round < 60; ++round) {
        const bool band = round % 2 != 0;
        std::vector<DevicePoint> points;
        Outline outline;
        if (band) {
            const DevicePoint a{place(random), place(random)};
            const DevicePoint b{place(random), place(random)};
            const double width = 0.5 + round * 0.1;
            outline.addBand(std::array{a, b}, width);
            const double length = std::hypot(b.x - a.x, b.y - a.y);
            const double x = (b.x - a.x) / length * width / 2;
            const double y = (b.y - a.y) / length * width / 2;
            points = {{a.x - x - y, a.y - y + x},
                      {b.x + x - y, b.y + y + x},
                      {b.x + x + y, b.y + y - x},
                      {a.x - x + y, a.y - y - x}};
        } else {
            for (int i = 0; i < 3; ++i) // a triangle doesn't cross itself
                points.push_back({place(random), place(random)});
            outline.addPolygon(points);
        }
        const std::vector<int> covered = coverageOf(outline, kSize);
        for (int y = 0; y < kSize; ++y)
            for (int x = 0; x < kSize; ++x) {
                int inside = 0;
                for (int row = 0; row < kSamples; ++row)
                    for (int column = 0; column < kSamples; ++column) {
                        const int count = windings(points, x + (column + 0.5) / kSamples, y + (row + 0.5) / kSamples);
                        inside += count != 0 ? 1 : 0;
                    }
                ASSERT_NEAR(covered[static_cast<std::size_t>(y * kSize + x)], inside * 255.0 / (kSamples * kSamples),
                            9.0)
                    << round << ": " << x << ' ' << y;
            }
    }
    // A path along a curve keeps its width through all its joints.
    std::vector<DevicePoint> curve;
    for (int i = 0; i <= 400; ++i)
        curve.push_back({2.0 + i * 0.05, 12.0 + 6.0 * std::sin(i * 0.02)});
    Outline outline;
    outline.addBand(curve, 1.5);
    double area = 0.0;
    for (const int covered : coverageOf(outline, kSize))
        area += covered / 255.0;
    double length = 1.5;
    for (std::size_t i = 1; i < curve.size(); ++i)
        length += std::hypot(curve[i].x - curve[i - 1].x, curve[i].y - curve[i - 1].y);
    EXPECT_NEAR(area, length * 1.5, 0.3);
    // What has no area, or no place, draws nothing.
    Outline none;
    none.addPolygon(std::array{DevicePoint{1, 1}, DevicePoint{5, 5}});
    none.addPolygon(std::array{DevicePoint{1, 1}, DevicePoint{5, kNan}, DevicePoint{9, 9}});
    none.addBand(std::array{DevicePoint{HUGE_VAL, 0}, DevicePoint{-HUGE_VAL, kNan}}, 2.0);
    none.addEllipse({4, 4}, kNan, 3);
    for (const int covered : coverageOf(none, kSize))
        EXPECT_EQ(covered, 0);
}

/// The picture as text: one letter a pixel.
std::string drawn(float scale, int width, int height, const std::function<void(CDrawContext&)>& draw)
{
    CDIB image(width, height, false);
    COffscreenContext context(image, scale);
    context.setFrameColor({255, 0, 0, 255});
    context.setFillColor({0, 255, 0, 255});
    draw(context);
    std::string text;
    for (int y = 0; y < height; ++y) {
        for (const Pixel pixel : image.row(y))
            text += pixel == 0xFFFF0000 ? 'r' : pixel == 0xFF00FF00 ? 'g' : pixel == 0xFF000000 ? '.' : '?';
        text += '\n';
    }
    return text;
}

TEST(Pixel, AddsAndMultipliesEachPartOnItsOwn)
{
    std::mt19937 random(11);
    for (int i = 0; i < 20000; ++i) {
        const auto a = static_cast<Pixel>(random());
        const auto b = static_cast<Pixel>(random());
        const std::uint32_t by = random() % 256;
        for (int shift = 0; shift < 32; shift += 8) {
            const std::uint32_t x = a >> shift & 0xFFU;
            const std::uint32_t y = b >> shift & 0xFFU;
            ASSERT_EQ(addedPixel(a, b) >> shift & 0xFFU, std::min(x + y, 255U)) << std::hex << a << ' ' << b;
            ASSERT_EQ(multipliedPixel(a, by) >> shift & 0xFFU, std::lround(x * by / 255.0)) << std::hex << a;
        }
    }
}

TEST(CDrawContext, PutsRectanglesAndStraightLinesOnWholePixels)
{
    const auto frame = [](CDrawContext& context) { context.drawRect({1, 1, 4, 3}, DrawStyle::filledAndStroked); };
    EXPECT_EQ(drawn(1, 6, 5, frame), "......\n.rrrr.\n.rggr.\n.rrrr.\n......\n");
    EXPECT_EQ(drawn(2, 10, 8, frame),
              "..........\n..........\n..rrrrrrrr\n..rrrrrrrr\n..rrggggrr\n..rrggggrr\n..rrrrrrrr\n..rrrrrrrr\n");
    const auto lines = [](CDrawContext& context) {
        context.setOffset({1, 0});
        context.moveTo({3, 1});
        context.lineTo({0, 1}); // backwards covers the same
        context.lineTo({0, 2});
        context.setClipRect({-1, 3, 1, 9});
        context.drawRect({-1, 2, 5, 4}, DrawStyle::filled);
        EXPECT_EQ(context.getClipRect(), (CRect{-1, 3, 1, 5}));
    };
    EXPECT_EQ(drawn(1, 6, 5, lines), "......\n.rrrr.\n.r....\ngg....\n......\n");
    // At a fraction all edges are whole pixels still.
    const std::string scaled = drawn(1.5F, 9, 9, [](CDrawContext& context) {
        context.drawRect({1, 1, 4, 4}, DrawStyle::filledAndStroked);
        context.moveTo({0, 5});
        context.lineTo({5, 5});
        context.drawRect({NAN, 0, 3, 3}, DrawStyle::filledAndStroked);
        context.drawRect({3, 3, 1, 1}, DrawStyle::filledAndStroked);
    });
    EXPECT_EQ(scaled.find('?'), std::string::npos) << scaled;
}

TEST(CDrawContext, DrawsImagesPixelForPixelAndPartByPart)
{
    CDIB source(4, 4);
    for (int i = 0; i < 16; ++i)
        source.getPixels()[i] = 0xFF000000U | static_cast<Pixel>(i * 10 + 1);
    CDIB image(12, 12);
    COffscreenContext plain(image);
    const auto at = [&](int x, int y) { return image.row(y)[static_cast<std::size_t>(x)]; };
    source.draw(plain, {2.4F, 3, 5.4F, 9}, {1, 1});
    for (int y = 0; y < 12; ++y)
        for (int x = 0; x < 12; ++x) {
            const bool inside = x >= 2 && x < 5 && y >= 3 && y < 6; // it has no more
            EXPECT_EQ(at(x, y), inside ? source.row(y - 3 + 1)[static_cast<std::size_t>(x - 2 + 1)] : 0U)
                << x << ' ' << y;
        }
    // Twice the density takes half the room; on a device of twice the scale, one for one.
    source.setDensity(2.0F);
    fill(image, 0);
    COffscreenContext fine(image, 2.0F);
    source.draw(fine, {1, 1, 3, 3});
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x)
            EXPECT_EQ(at(2 + x, 2 + y), source.row(y)[static_cast<std::size_t>(x)]);
    // Alpha: half of it over white, to a rounding.
    fill(image, 0xFFFFFFFFU);
    fill(source, premultiplied({200, 100, 0, 128}));
    source.draw(plain, {0, 0, 2, 2}, {}, 128);
    const double part = 128.0 / 255 * 128.0 / 255;
    for (const auto& [shift, value] : {std::pair{16, 200.0}, {8, 100.0}, {0, 0.0}})
        EXPECT_NEAR(at(0, 0) >> shift & 0xFFU, value * part + 255 * (1 - part), 1.5);
    // Within itself, and across the edges.
    CDIB moved(4, 1);
    for (int i = 0; i < 4; ++i)
        moved.getPixels()[i] = static_cast<Pixel>(i + 1);
    moved.copyFrom(moved, {-1, 0, 4, 1}, 0, 0);
    EXPECT_EQ(moved.row(0)[1], 1U);
    EXPECT_EQ(moved.row(0)[3], 3U);
}

TEST(DistanceHalo, EqualsTheDistanceToTheNearestPixel)
{
    std::mt19937 random(3);
    Coverage shape{17, 11, std::vector<std::uint8_t>(17 * 11)};
    for (std::uint8_t& covered : shape.values)
        covered = random() % 9 == 0 ? 255 : 0;
    for (const int radius : {1, 2, 5}) {
        const Coverage halo = distanceHalo(shape, radius);
        ASSERT_EQ(halo.width, 17 + 2 * radius);
        ASSERT_EQ(halo.height, 11 + 2 * radius);
        for (int y = 0; y < halo.height; ++y)
            for (int x = 0; x < halo.width; ++x) {
                double nearest = 1e9;
                for (int i = 0; i < 17 * 11; ++i)
                    if (shape.values[static_cast<std::size_t>(i)] != 0)
                        nearest = std::min(nearest, std::hypot(i % 17 + radius - x, i / 17 + radius - y));
                const double expected = 255.0 * std::clamp(1.0 + radius - nearest, 0.0, 1.0);
                EXPECT_NEAR(halo.values[static_cast<std::size_t>(y * halo.width + x)], expected, 1.6) << x << ' ' << y;
            }
    }
}

TEST(Png, KeepsAnImageAndRefusesWhatIsNone)
{
    std::mt19937 random(9);
    for (const bool hasAlpha : {false, true}) {
        CDIB image(19, 7, hasAlpha);
        for (int i = 0; i < 19 * 7; ++i) {
            const auto alpha = static_cast<std::uint8_t>(hasAlpha ? random() % 256 : 255U);
            const auto part = [&] { return static_cast<std::uint8_t>(random()); };
            image.getPixels()[i] = premultiplied({part(), part(), part(), alpha});
        }
        const std::string file = writePng(image);
        const Shared<CDIB> read = readPng(file);
        ASSERT_TRUE(read);
        EXPECT_EQ(read->isOpaque(), !hasAlpha);
        for (int i = 0; i < 19 * 7; ++i)
            EXPECT_EQ(read->getPixels()[i], image.getPixels()[i]) << std::hex << image.getPixels()[i];
        for (const std::size_t length : {std::size_t{0}, std::size_t{8}, std::size_t{33}, file.size() / 2})
            EXPECT_FALSE(readPng(std::string_view(file).substr(0, length))) << length;
        std::string huge = file;
        huge[16] = 0x7F; // its width
        EXPECT_FALSE(readPng(huge));
    }
    EXPECT_TRUE(writePng(CDIB(0, 5)).empty());
    EXPECT_EQ(getBitmap(0), nullptr);
    EXPECT_EQ(getBitmap(99999), nullptr);
    ASSERT_NE(getBitmap(101), nullptr);
    EXPECT_EQ(getBitmap(101), getBitmap(101));
    auto own = Shared<CDIB>::adopt(new CDIB(1, 1));
    addBitmap(77, *own);
    EXPECT_EQ(getBitmap(77), own.get());
    releaseBitmaps();
    EXPECT_EQ(own->useCount(), 1);
}

} // namespace
