#pragma once

#include "Store.h"

#include <map>
#include <mutex>
#include <optional>
#include <string>

namespace sorvane::test {

/// A store that goes with the test.
class MemoryStore final : public platform::Store {
public:
    [[nodiscard]] std::optional<std::string> read(const std::string& name) override
    {
        const std::lock_guard lock(mutex);
        const auto found = texts.find(name);
        return found != texts.end() ? std::optional(found->second) : std::nullopt;
    }

    [[nodiscard]] bool write(const std::string& name, std::string_view text) override
    {
        const std::lock_guard lock(mutex);
        ++writes;
        if (!isFull)
            texts[name] = text;
        return !isFull;
    }

    std::map<std::string, std::string> texts;
    int writes = 0;
    bool isFull = false; ///< refuses to write

private:
    std::mutex mutex;
};

} // namespace sorvane::test
