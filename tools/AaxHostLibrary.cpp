#include "AaxHostLibrary.h"

#include "AAX_Exports.h"
#include "Failure.h"

#include <dlfcn.h>

#include <filesystem>

namespace sorvane::tools {

namespace {

[[noreturn]] void refuse(const std::string& path, const std::string& why)
{
    throw Failure(ExitCode::input, path + ": " + why);
}

} // namespace

void AaxLibrary::Closer::operator()(void* library) const noexcept
{
    ::dlclose(library);
}

AaxLibrary::AaxLibrary(const std::string& path) : file(path)
{
    // A path with a slash, so that no folder of the system's is searched.
    handle.reset(::dlopen(std::filesystem::absolute(path).c_str(), RTLD_NOW | RTLD_LOCAL));
    if (!handle)
        refuse(path, std::string("can't be loaded: ") + ::dlerror()); // NOLINT(concurrency-mt-unsafe): per thread
    const auto startup = find<aax::Result (*)(aax::HostServices*)>("ACFStartup");
    const auto getVersion = find<aax::Result (*)(std::uint32_t*)>("ACFGetSDKVersion");
    shutdown = find<aax::Result (*)()>("ACFShutdown");
    canUnload = find<aax::Result (*)()>("ACFCanUnloadNow");
    registerPlugin = find<aax::Result (*)(aax::Collection*)>("ACFRegisterPlugin");

    std::uint32_t version = 0;
    if (getVersion(&version) != aax::AAX_SUCCESS || version != aax::kInterfaceVersion)
        refuse(path, "speaks version " + std::to_string(version) + " of the interface; this host speaks " +
                         std::to_string(aax::kInterfaceVersion));
    if (startup(this) != aax::AAX_SUCCESS)
        refuse(path, "doesn't start");
    if (const aax::Result result = registerPlugin(&collection);
        result != aax::AAX_SUCCESS || collection.effects.empty()) {
        shutdown();
        refuse(path, "doesn't describe itself: result " + std::to_string(result));
    }
}

AaxLibrary::~AaxLibrary()
{
    shutdown();
}

void* AaxLibrary::symbol(const char* name) const
{
    return ::dlsym(handle.get(), name);
}

template <typename Function>
Function AaxLibrary::find(const char* name) const
{
    void* const address = symbol(name);
    if (address == nullptr)
        refuse(file, std::string("no AAX plug-in: it doesn't export ") + name);
    return reinterpret_cast<Function>(address);
}

std::vector<std::string> AaxLibrary::traces() const
{
    const std::lock_guard guard(traceLock);
    return lines;
}

void AaxLibrary::trace(std::uint32_t, const char* text)
{
    const std::lock_guard guard(traceLock);
    lines.emplace_back(text);
}

} // namespace sorvane::tools
