// A repaint of a whole page as full as an editor's: 200 labels, 60 images, 4 curves of 1,000 points, 2 filled areas.

#include "CFrame.h"
#include "CGLContext.h"
#include "CTextLabel.h"
#include "GLContext.h"
#include "HeadlessWindow.h"
#include "NativeWindow.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <string>
#include <vector>

namespace {

using namespace sorvane;
using namespace sorvane::toolkit;

constexpr CRect kSize{0, 0, 1200, 800};

class Curves final : public CView {
public:
    Curves() : CView(kSize)
    {
        for (int curve = 0; curve < 4; ++curve) {
            std::vector<CPoint>& points = curves.emplace_back();
            for (int i = 0; i < 1000; ++i) {
                const float x = static_cast<float>(i);
                points.push_back({x * 1.2F, 150.0F * static_cast<float>(curve + 1) +
                                                60.0F * std::sin(x * 0.02F * static_cast<float>(curve + 1))});
            }
        }
    }
    void draw(CDrawContext& context) override
    {
        context.setLineWidth(1.5F);
        context.setFrameColor({78, 154, 204, 255});
        for (const auto& points : curves)
            context.drawLines(points);
        context.setFillColor({78, 154, 204, 80});
        for (int area = 0; area < 2; ++area) {
            std::vector<CPoint> points = curves[static_cast<std::size_t>(area)];
            points.push_back({1200, 790});
            points.push_back({0, 790});
            context.drawPolygon(points, DrawStyle::filled);
        }
    }

private:
    std::vector<std::vector<CPoint>> curves;
};

class Picture final : public CView {
public:
    Picture(const CRect& viewRect, CBitmap& image) : CView(viewRect) { setBackground(&image); }
};

Shared<CFrame> page(float scale = 1.0F)
{
    auto frame = Shared<CFrame>::adopt(new CFrame(kSize, scale));
    frame->setBackgroundColor({8, 12, 16, 255});
    auto image = Shared<CDIB>::adopt(new CDIB(80, 40));
    fill(*image, 0x80402010U);
    for (int i = 0; i < 60; ++i) {
        const int row = i / 12;
        const auto x = static_cast<float>(i % 12 * 100);
        const auto y = static_cast<float>(row * 150);
        frame->addView(new Picture({x, y, x + 80, y + 40}, *image));
    }
    frame->addView(new Curves);
    for (int i = 0; i < 200; ++i) {
        const int row = i / 20;
        const auto x = static_cast<float>(i % 20 * 60);
        const auto y = static_cast<float>(row * 78);
        frame->addView(new CTextLabel({x, y, x + 60, y + 16}, std::string("label ").append(std::to_string(i))));
    }
    return frame;
}

/// At a scale in percent: of 100, 1200 by 800 pixels.
void repaintInMemory(benchmark::State& state)
{
    const float scale = static_cast<float>(state.range(0)) / 100.0F;
    platform::HeadlessWindow window(roundToPixel(1200 * scale), roundToPixel(800 * scale));
    const Shared<CFrame> frame = page(scale);
    frame->open(window);
    frame->idle();
    while (state.KeepRunning()) {
        frame->invalidRect(kSize);
        frame->idle();
    }
    frame->close();
}
BENCHMARK(repaintInMemory)->Arg(50)->Arg(100)->Arg(150)->Arg(200)->Unit(benchmark::kMillisecond);

void idleWithNothingDirty(benchmark::State& state)
{
    platform::HeadlessWindow window(1200, 800);
    const Shared<CFrame> frame = page();
    frame->open(window);
    frame->idle();
    while (state.KeepRunning())
        frame->idle();
    frame->close();
}
BENCHMARK(idleWithNothingDirty)->Unit(benchmark::kMicrosecond);

void repaintByOpenGL(benchmark::State& state)
{
    platform::NativeWindow::Request request;
    request.width = 1200;
    request.height = 800;
    const auto window = platform::NativeWindow::open(request);
    const auto gl = window ? platform::GLContext::open(window->getHandle(), 1200, 800, false) : nullptr;
    if (!gl || !gl->makeCurrent()) {
        state.SkipWithError("no display with OpenGL");
        return;
    }
    const Shared<CFrame> frame = page();
    {
        CGLContext context(gl->functions(), 1200, 800, 1.0F);
        while (state.KeepRunning()) {
            context.beginFrame();
            frame->draw(context);
            context.endFrame();
            gl->swap();
        }
    }
    gl->release();
}
BENCHMARK(repaintByOpenGL)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace
