// Chunks as sessions, presets and undo may hold them. The input's first byte is whether it is loaded as a preset and
// how what comes of it is saved.

#include "EditedEffect.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

using sorvane::test::EditedEffect;

void check(const EditedEffect& effect)
{
    for (std::int32_t tag = 0; tag < sorvane::core::kNumParams; ++tag) {
        const float normal = effect.getParameter(tag);
        if (!(normal >= 0.0F && normal <= 1.0F) || !std::isfinite(effect.getParameterValue(tag)))
            std::abort();
    }
    if (effect.getCurrentBank() < 0 || effect.getCurrentBank() >= EditedEffect::kNumBanks)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
        return 0;
    const bool isPreset = (data[0] & 1) != 0;
    const std::string_view chunk(reinterpret_cast<const char*>(data) + 1, size - 1);
    EditedEffect effect("/nowhere");
    effect.setCompressionLevel(std::array{0, 1, 5, 9}[data[0] >> 1 & 3]);
    effect.load(chunk, isPreset);
    check(effect);

    // What it is saved as loads, and from then on comes back the same.
    EditedEffect second("/nowhere");
    EditedEffect third("/nowhere");
    second.setCompressionLevel(9);
    third.setCompressionLevel(9);
    second.load(effect.copyChunk(false));
    check(second);
    third.load(second.copyChunk(false));
    if (third.copyChunk(false) != second.copyChunk(false) || third.programName() != effect.programName())
        std::abort();
    return 0;
}
