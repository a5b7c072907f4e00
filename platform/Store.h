#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace sorvane::platform {

/// A user's named texts, which outlive the process. Any thread but the audio thread.
class Store {
public:
    static constexpr std::size_t kMostBytes = 1 << 20; ///< of one text, far above any that is written

    Store() = default;
    virtual ~Store() = default;
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    /// \param name  a plain file name
    /// \return nothing when there is no such text, or when it can't be read
    [[nodiscard]] virtual std::optional<std::string> read(const std::string& name) = 0;
    /// Replaces a text as a whole or leaves it as it was. \return whether it is stored
    [[nodiscard]] virtual bool write(const std::string& name, std::string_view text) = 0;

    /// The user's own: one file each in Kestrune/Sorvane below the configuration folder, which is asked for each time.
    /// Never destroyed.
    static Store& user();
};

} // namespace sorvane::platform
