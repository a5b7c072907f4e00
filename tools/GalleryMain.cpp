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
#include <string>

namespace {

using namespace sorvane;

void writePicture(float scale, const std::string& path)
{
    tools::Gallery gallery(scale);
    platform::HeadlessWindow window(toolkit::roundToPixel(tools::kGalleryWidth * scale),
                                    toolkit::roundToPixel(tools::kGalleryHeight * scale));
    gallery.getFrame().open(window);
    gallery.getFrame().idle();
    tools::writeFile(path, toolkit::writePng(gallery.getFrame().getPicture()));
    gallery.getFrame().close();
}

/// Runs until the user closes the window or its parent goes.
void showWindow(float scale, std::uintptr_t parent)
{
    platform::NativeWindow::Request request;
    request.parent = parent;
    request.width = toolkit::roundToPixel(tools::kGalleryWidth * scale);
    request.height = toolkit::roundToPixel(tools::kGalleryHeight * scale);
    request.title = "Sorvane gallery";
    const auto window = platform::NativeWindow::open(request);
    if (!window)
        throw tools::Failure(tools::ExitCode::output, parent == 0
                                                          ? "no display to open a window on; --png FILE draws to a file"
                                                          : "no display, or no window of that number to open in");
    tools::Gallery gallery(scale);
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

} // namespace

int main(int argc, char** argv)
{
    CLI::App app("Shows what the view toolkit draws.");
    float scale = 1.0F;
    std::string pngPath;
    app.add_option("--scale", scale, "pixels per logical pixel")->check(CLI::Range(0.5F, 4.0F))->capture_default_str();
    std::uintptr_t parent = 0;
    app.add_option("--png", pngPath, "draw it to a file and end; - is standard output");
    app.add_option("--parent", parent, "number of the window to open in");
    try {
        app.parse(argc, argv);
        if (pngPath.empty())
            showWindow(scale, parent);
        else
            writePicture(scale, pngPath);
        return 0;
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : static_cast<int>(tools::ExitCode::usage);
    } catch (const tools::Failure& failure) {
        std::fprintf(stderr, "sorvane-gallery: %s\n", failure.what());
        return static_cast<int>(failure.exitCode());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "sorvane-gallery: %s\n", error.what());
        return static_cast<int>(tools::ExitCode::output);
    }
}
