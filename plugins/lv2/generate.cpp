// Makes the Turtle files of the LV2 bundle: generate SHARE BUNDLE VERSION BINARY

#include "Lv2Bundle.h"

#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace {

template <typename Write>
void writeFile(const std::string& path, const Write& write)
{
    std::ofstream out(path, std::ios::binary);
    write(out);
    out.close();
    if (!out)
        throw std::runtime_error(path + ": can't be written");
}

} // namespace

int main(int count, char** arguments)
{
    if (count != 5) {
        std::fputs("usage: generate SHARE BUNDLE VERSION BINARY\n", stderr);
        return 2;
    }
    try {
        const std::string folder = arguments[2];
        sorvane::lv2::Lv2Bundle bundle(arguments[1], arguments[3]);
        std::filesystem::remove_all(folder + "/presets"); // one that was renamed must not stay
        std::filesystem::create_directories(folder + "/presets");
        writeFile(folder + "/manifest.ttl", [&](std::ostream& out) { bundle.writeManifest(out, arguments[4]); });
        writeFile(folder + "/sorvane.ttl", [&](std::ostream& out) { bundle.writePlugins(out); });
        for (const auto& preset : bundle.getPresets())
            writeFile(folder + '/' + preset.file, [&](std::ostream& out) { bundle.writePreset(out, preset); });
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 4;
    }
    return 0;
}
