// A host that does anything in any order: bytes are operations on one effect, whose output must stay finite.

#include "Plug.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

using namespace sorvane;

constexpr std::int32_t kMostFrames = 6000; // above the capacity that an effect starts with

/// The input's bytes as numbers; zeros behind its end.
class Bytes {
public:
    Bytes(const std::uint8_t* start, std::size_t size) : data(start), left(size) {}

    [[nodiscard]] bool empty() const { return left == 0; }

    template <typename Number>
    Number take()
    {
        Number number{};
        const std::size_t count = left < sizeof number ? left : sizeof number;
        if (count > 0)
            std::memcpy(&number, data, count);
        data += count;
        left -= count;
        return number;
    }

private:
    const std::uint8_t* data;
    std::size_t left;
};

template <typename Sample>
void playBlock(core::Plug& plug, Bytes& bytes)
{
    static std::array<std::array<Sample, kMostFrames>, 6> buffers;
    const auto places = bytes.take<std::uint32_t>();
    const std::int32_t frames = bytes.take<std::uint16_t>() % (kMostFrames + 1);
    const auto bad = bytes.take<Sample>(); // NaN, infinities, denormals and all the rest
    for (std::size_t c = 0; c < 4; ++c) {
        buffers[c].fill(Sample(0.25));
        buffers[c][bytes.take<std::uint16_t>() % kMostFrames] = std::abs(bad) < Sample(1e30) ? bad : Sample(bad * 0);
    }
    // Each pointer is one of the buffers, perhaps the same as another, or null.
    const auto pick = [&](unsigned slot) {
        const std::uint32_t place = places >> (4 * slot) & 7;
        return place < 6 ? buffers[place].data() : nullptr;
    };
    std::array<Sample*, 4> inputs = {pick(0), pick(1), pick(2), pick(3)};
    std::array<Sample*, 2> outputs = {pick(4), pick(5)};
    if (outputs[0] == outputs[1])
        outputs[1] = nullptr;
    if constexpr (sizeof(Sample) == sizeof(float))
        plug.processReplacing(inputs.data(), outputs.data(), frames);
    else
        plug.processDoubleReplacing(inputs.data(), outputs.data(), frames);
    for (Sample* const output : outputs)
        for (std::int32_t i = 0; output != nullptr && i < frames; ++i)
            if (!std::isfinite(output[i]))
                std::abort();
}

void operate(core::Plug& plug, Bytes& bytes)
{
    switch (bytes.take<std::uint8_t>() % 14) {
    case 0:
        plug.setParameter(bytes.take<std::uint8_t>(), bytes.take<float>());
        break;
    case 1:
        plug.setNormalWithEdit(bytes.take<std::int8_t>(), static_cast<float>(bytes.take<std::uint8_t>()) / 255.0F);
        break;
    case 2:
    case 3:
        playBlock<double>(plug, bytes);
        break;
    case 4:
        playBlock<float>(plug, bytes);
        break;
    case 5:
        plug.resume();
        break;
    case 6:
        plug.setSampleRate(bytes.take<float>());
        break;
    case 7:
        plug.setBlockSize(bytes.take<std::int16_t>());
        break;
    case 8:
        plug.undo();
        break;
    case 9:
        plug.redo();
        break;
    case 10:
        plug.beginUndoGroup();
        break;
    case 11:
        plug.endUndoGroup();
        break;
    case 12:
        plug.setProgram(bytes.take<std::int8_t>());
        break;
    default: {
        std::array<char, 256> data{};
        const auto opcode = bytes.take<std::uint8_t>();
        if (opcode == host::effectSetChunk || opcode == host::effectGetSpeakerArrangement)
            break; // the value is a size or a pointer there, which a host owes to give right
        if (opcode == host::effectClose)
            break; // would end the effect
        host::AEffect* const record = plug.getAeffect();
        record->dispatcher(record, opcode, bytes.take<std::int8_t>(), bytes.take<std::int8_t>(), data.data(),
                           bytes.take<float>());
        break;
    }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto plug = std::make_unique<core::Plug>(nullptr, core::Plug::Start::factoryValues);
    Bytes bytes(data, size);
    while (!bytes.empty())
        operate(*plug, bytes);
    return 0;
}
