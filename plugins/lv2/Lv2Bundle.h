#pragma once

#include "Lv2Ports.h"
#include "Plug.h"

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace sorvane::lv2 {

/// Writes the Turtle files that describe the plug-ins to hosts, from the parameter table.
class Lv2Bundle {
public:
    /// A preset file, or the factory bank.
    struct Preset {
        std::string uri;
        std::string name;
        std::string folder; ///< that it stands in; empty for the factory bank
        std::string file;   ///< in the bundle, as a relative URI
        std::string chunk;
    };

    /// \param share  the folder with "Factory Bank.bnk" and "Presets"
    /// \throw std::runtime_error  for a file that can't be read or holds no state, and for two that make one URI
    Lv2Bundle(const std::string& share, std::string version);

    [[nodiscard]] const std::vector<Preset>& getPresets() const { return presets; }

    /// "manifest.ttl": what there is in the bundle. \param binary  file name of the library
    void writeManifest(std::ostream& out, std::string_view binary) const;
    /// "sorvane.ttl": both plug-ins with their ports.
    void writePlugins(std::ostream& out) const;
    void writePreset(std::ostream& out, const Preset& preset);

private:
    void addPreset(const std::string& path, const std::string& folder, const std::string& name);
    void writePlugin(std::ostream& out, std::size_t channels) const;

    std::string version;
    std::vector<Preset> presets;
    std::unique_ptr<core::Plug> plug; ///< writePreset loads each preset into it
};

} // namespace sorvane::lv2
