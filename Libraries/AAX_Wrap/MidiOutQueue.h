#pragma once

#include "AAX_Algorithm.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace sorvane::aax {

/// MIDI on its way to the host, cut into packets as it comes. What finds no room is dropped as a whole, so that nothing
/// is allocated on the audio thread. One thread at a time.
template <std::size_t mostPackets>
class MidiOutQueue {
public:
    /// \param timeStamp  in samples from the start of the block
    void add(std::uint32_t timeStamp, std::span<const std::uint8_t> bytes) noexcept
    {
        constexpr std::size_t kPacketBytes = sizeof(MidiPacket::data);
        if ((bytes.size() + kPacketBytes - 1) / kPacketBytes > packets.size() - count)
            return;
        for (; !bytes.empty(); ++count) {
            MidiPacket& packet = packets[count];
            const std::size_t length = std::min(bytes.size(), kPacketBytes);
            packet = {
                .timeStamp = timeStamp, .length = static_cast<std::uint32_t>(length), .data = {}, .isImmediate = false};
            std::copy_n(bytes.begin(), length, packet.data);
            bytes = bytes.subspan(length);
        }
    }
    [[nodiscard]] std::span<const MidiPacket> waiting() const noexcept { return std::span(packets).first(count); }
    void clear() noexcept { count = 0; }

private:
    std::array<MidiPacket, mostPackets> packets{};
    std::size_t count = 0;
};

} // namespace sorvane::aax
