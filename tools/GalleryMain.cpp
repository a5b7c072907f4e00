// sorvane-gallery: everything that the view toolkit draws, in one picture.

#include "Failure.h"
#include "Gallery.h"
#include "HeadlessWindow.h"
#include "OutputFile.h"
#include "Png.h"

#include <CLI/CLI.hpp>

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

} // namespace

int main(int argc, char** argv)
{
    CLI::App app("Shows what the view toolkit draws.");
    float scale = 1.0F;
    std::string pngPath;
    app.add_option("--scale", scale, "pixels per logical pixel")->check(CLI::Range(0.5F, 4.0F))->capture_default_str();
    app.add_option("--png", pngPath, "draw it to a file and end; - is standard output")->required();
    try {
        app.parse(argc, argv);
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
