#include "LoadedFile.h"

#include <dlfcn.h>

#include <cstdlib>
#include <cstring>
#include <memory>

namespace sorvane::platform {

namespace {

const char kHere = 0; ///< an address in the file that is asked for

/// The path that the loader knows it by; without a slash for a program that was found by its name.
const char* loadedName() noexcept
{
    Dl_info info{};
    return dladdr(&kHere, &info) != 0 && info.dli_fname != nullptr ? info.dli_fname : "";
}

} // namespace

std::string loadedFile()
{
    const auto follow = [](const char* path) {
        return std::unique_ptr<char, decltype(&std::free)>(::realpath(path, nullptr), &std::free);
    };
    auto path = follow(std::strchr(loadedName(), '/') != nullptr ? loadedName() : "");
    if (path == nullptr)
        path = follow("/proc/self/exe");
    return path != nullptr ? path.get() : std::string();
}

void keepLoaded() noexcept
{
    if (void* const library = dlopen(loadedName(), RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE))
        dlclose(library); // the mark stays
}

} // namespace sorvane::platform
