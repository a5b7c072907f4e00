// sorvane-gallery: everything that the view toolkit draws, in one window or picture.

#include "Failure.h"
#include "Gallery.h"
#include "HeadlessWindow.h"
#include "NativeWindow.h"
#include "OutputFile.h"
#include "Png.h"

#include <CLI/CLI.hpp>

#include <cstdint>
#include <cstdio>
#include <exception>
#include <memory>
#include <string>

namespace {

using namespace sorvane;

std::unique_ptr<platform::NativeWindow> openWindow(float scale, std::uintptr_t parent)
{
    platform::NativeWindow::Request request;
    request.parent = parent;
    request.width = toolkit::roundToPixel(tools::kGalleryWidth * scale);
    request.height = toolkit::roundToPixel(tools::kGalleryHeight * scale);
    request.title = "Sorvane gallery";
    auto window = platform::NativeWindow::open(request);
    if (!window)
        throw tools::Failure(tools::ExitCode::output, parent == 0
                                                          ? "no display to open a window on"
                                                          : "no display, or no window of that number to open in");
    return window;
}

std::string plainPicture(float scale)
{
    tools::Gallery gallery(scale, false);
    platform::HeadlessWindow window(toolkit::roundToPixel(tools::kGalleryWidth * scale),
                                    toolkit::roundToPixel(tools::kGalleryHeight * scale));
    gallery.getFrame().open(window);
    gallery.getFrame().idle();
    std::string png = toolkit::writePng(gallery.getFrame().getPicture());
    gallery.getFrame().close();
    return png;
}

/// Needs a display.
std::string openGlPicture(float scale)
{
    const auto window = openWindow(scale, 0);
    tools::Gallery gallery(scale, true);
    gallery.getFrame().open(*window);
    const toolkit::Shared<toolkit::CDIB> picture = gallery.getOpenGlFrame()->takePicture();
    gallery.getFrame().close();
    if (!picture)
        throw tools::Failure(tools::ExitCode::output, "the display has no OpenGL to draw by");
    return toolkit::writePng(*picture);
}

/// Runs until the user closes the window or its parent goes.
void showWindow(float scale, bool openGl, std::uintptr_t parent)
{
    const auto window = openWindow(scale, parent);
    tools::Gallery gallery(scale, openGl);
    toolkit::CGFrame& frame = gallery.getFrame();
    frame.open(*window);
    constexpr int kFrameMs = 16;
    while (!frame.isClosed()) {
        window->awaitEvents(kFrameMs);
        window->processEvents();
        frame.idle();
    }
    frame.close();
}

int run(int argc, char** argv)
{
    CLI::App app("Shows what the view toolkit draws.");
    float scale = 1.0F;
    std::string pngPath;
    std::string way = "gl";
    std::uintptr_t parent = 0;
    app.add_option("--way", way, "gl: by OpenGL, where there is any; plain: in memory")
        ->check(CLI::IsMember({"gl", "plain"}))
        ->capture_default_str();
    app.add_option("--scale", scale, "pixels per logical pixel")->check(CLI::Range(0.5F, 4.0F))->capture_default_str();
    app.add_option("--png", pngPath, "draw it to a file and end; - is standard output");
    app.add_option("--parent", parent, "number of the window to open in");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : static_cast<int>(tools::ExitCode::usage);
    }
    if (pngPath.empty())
        showWindow(scale, way == "gl", parent);
    else
        tools::writeFile(pngPath, way == "gl" ? openGlPicture(scale) : plainPicture(scale));
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        return run(argc, argv);
    } catch (const tools::Failure& failure) {
        std::fprintf(stderr, "sorvane-gallery: %s\n", failure.what());
        return static_cast<int>(failure.exitCode());
    } catch (const std::exception& error) { // no memory, say
        std::fprintf(stderr, "sorvane-gallery: %s\n", error.what());
        return static_cast<int>(tools::ExitCode::output);
    }
}
