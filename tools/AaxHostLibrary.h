#pragma once

#include "AaxHostDescription.h"

#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace sorvane::tools {

/// A plug-in file, loaded and described through its exports. Outlives its instances; the file is unloaded with it.
class AaxLibrary final : private aax::HostServices {
public:
    /// Throws Failure (input) for what is no such plug-in, or one of another interface version.
    explicit AaxLibrary(const std::string& path);
    ~AaxLibrary() override;
    AaxLibrary(const AaxLibrary&) = delete;
    AaxLibrary& operator=(const AaxLibrary&) = delete;

    [[nodiscard]] const CollectionRecord& description() const { return collection; }
    /// The one effect of the file.
    [[nodiscard]] const EffectRecord& effect() const { return *collection.effects.front(); }
    /// Registers with another collection than this host's own.
    aax::Result registerWith(aax::Collection* other) const { return registerPlugin(other); }
    /// Whether no instance lives.
    [[nodiscard]] bool canUnloadNow() const { return canUnload() == aax::AAX_SUCCESS; }
    /// An export by name; null for none.
    [[nodiscard]] void* symbol(const char* name) const;
    /// The lines that the plug-in wrote to the log.
    [[nodiscard]] std::vector<std::string> traces() const;

private:
    struct Closer {
        void operator()(void* library) const noexcept;
    };

    void trace(std::uint32_t priority, const char* text) override;
    template <typename Function>
    [[nodiscard]] Function find(const char* name) const;

    std::string file;
    std::unique_ptr<void, Closer> handle;
    aax::Result (*registerPlugin)(aax::Collection*) = nullptr;
    aax::Result (*canUnload)() = nullptr;
    aax::Result (*shutdown)() = nullptr;
    CollectionRecord collection;
    mutable std::mutex traceLock;
    std::vector<std::string> lines;
};

} // namespace sorvane::tools
