// Parameter settings as a user types them and as files hold them. First byte: which of the two.

#include "ParameterSettings.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <vector>

namespace {

using namespace sorvane;

/// Whatever was accepted can be set as it stands.
void check(const tools::ParameterSetting& setting)
{
    if (!core::isParameter(setting.tag) || !std::isfinite(setting.value))
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
        return 0;
    const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
    try {
        if (data[0] == '{')
            for (const tools::ParameterSetting& setting : tools::parseSettings(text, "input"))
                check(setting);
        else
            check(tools::parseSetting(text, data[0] == 'n'));
    } catch (const tools::Failure& failure) {
        if (std::string_view(failure.what()).empty())
            std::abort();
    }
    return 0;
}
