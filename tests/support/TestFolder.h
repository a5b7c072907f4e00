#pragma once

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <system_error>

namespace sorvane::test {

/// An empty folder that goes with the test.
class TestFolder {
public:
    TestFolder()
    {
        std::string folder = (std::filesystem::temp_directory_path() / "sorvane-folder-XXXXXX").string();
        if (::mkdtemp(folder.data()) == nullptr)
            std::abort();
        path = folder;
    }
    ~TestFolder()
    {
        std::error_code gone;
        std::filesystem::remove_all(path, gone);
    }
    TestFolder(const TestFolder&) = delete;
    TestFolder& operator=(const TestFolder&) = delete;

    [[nodiscard]] std::string operator/(std::string_view name) const { return (path / name).string(); }
    [[nodiscard]] std::ptrdiff_t count() const
    {
        return std::distance(std::filesystem::directory_iterator(path), std::filesystem::directory_iterator());
    }

    std::filesystem::path path;
};

inline std::string contents(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline void makeFile(const std::string& path, std::string_view bytes)
{
    std::ofstream(path, std::ios::binary) << bytes;
}

/// Sets a variable of the environment, or unsets it with null, for its lifetime.
class ScopedVariable {
public:
    ScopedVariable(const char* variable, const char* value) : name(variable)
    {
        const char* const old = std::getenv(name); // NOLINT(concurrency-mt-unsafe): as below
        wasSet = old != nullptr;
        before = wasSet ? old : "";
        set(value);
    }
    ~ScopedVariable() { set(wasSet ? before.c_str() : nullptr); }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;

private:
    void set(const char* value) const
    {
        // NOLINTBEGIN(concurrency-mt-unsafe): no other thread reads the environment meanwhile
        if (value != nullptr)
            ::setenv(name, value, 1);
        else
            ::unsetenv(name);
        // NOLINTEND(concurrency-mt-unsafe)
    }

    const char* name;
    std::string before;
    bool wasSet = false;
};

} // namespace sorvane::test
