#pragma once

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace sorvane::test {

/// An X server without a screen, for as long as the object is there; DISPLAY names it.
class TestDisplay {
public:
    TestDisplay()
    {
        output =
            ::popen("echo $$; exec Xvfb -displayfd 1 -screen 0 1280x900x24 -nolisten tcp -noreset 2>/dev/null", "r");
        if (output == nullptr)
            return;
        if (std::fscanf(output, "%d %d", &process, &number) == 2) // NOLINT(cert-err34-c)
            ::setenv("DISPLAY", std::string(":").append(std::to_string(number)).c_str(),
                     1); // NOLINT(concurrency-mt-unsafe)
    }
    ~TestDisplay()
    {
        stop();
        ::unsetenv("DISPLAY"); // NOLINT(concurrency-mt-unsafe)
    }
    TestDisplay(const TestDisplay&) = delete;
    TestDisplay& operator=(const TestDisplay&) = delete;

    [[nodiscard]] bool isRunning() const { return number >= 0; }
    /// As a server that crashes. DISPLAY then names one that nobody has: the next server, of a test that runs beside
    /// this one, may take the number at once.
    void stop()
    {
        if (output == nullptr)
            return;
        ::setenv("DISPLAY", ":59999", 1); // NOLINT(concurrency-mt-unsafe)
        if (process > 0)
            ::kill(process, SIGKILL);
        ::pclose(output);
        output = nullptr;
    }
    /// Moves, presses and types as a user would, in the words of xdotool.
    static bool act(const std::string& words)
    {
        return std::system(("xdotool " + words).c_str()) == 0; // NOLINT(concurrency-mt-unsafe)
    }

private:
    std::FILE* output = nullptr;
    int process = 0;
    int number = -1;
};

} // namespace sorvane::test
